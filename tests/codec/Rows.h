// Files read row by row, against the same files as wholes.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <optional>

#include "kestrel/codec/RowDecoder.h"
#include "tests/codec/Samples.h"

namespace kestrel::samples {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

inline File Open(Bytes& bytes) { return File(fmemopen(bytes.data(), bytes.size(), "rb")); }

/// Reads all rows into blocks that began with other bytes.
inline LoadResult ByRows(RowDecoder& decoder) {
    LoadResult read;
    read.image = Noise(24, decoder.Width(), decoder.Height(), 9);
    if (decoder.HasAlpha()) read.mask = Noise(8, decoder.Width(), decoder.Height(), 9);
    bool any = true;
    for (int y = decoder.Height() - 1; y >= 0 && any; --y)
        any = decoder.Read(DibRow(read.image.get(), y), read.mask ? DibRow(read.mask.get(), y) : nullptr);
    const LoadResult& about = decoder.Finish();
    read.condition = about.condition;
    read.warnings = about.warnings;
    read.error = about.error;
    if (!any) read.image.reset();
    return read;
}

/// `byRows` says whether the file is one that can be read so.
inline void ExpectTheWhole(Bytes bytes, std::optional<bool> byRows = {}, const LoadOptions& options = {}) {
    const LoadResult whole = ImageLoader::Load(bytes, options);
    const File file = Open(bytes);
    RowDecoder decoder(file.get(), options);
    EXPECT_EQ(decoder.ReadsRows(), byRows.value_or(decoder.ReadsRows()));
    if (decoder.ReadsRows())
        for (const bool again : {false, true}) {
            ASSERT_TRUE(!again || decoder.Restart());
            const LoadResult read = ByRows(decoder);
            EXPECT_EQ(read.error.text, whole.error.text);
            EXPECT_EQ(read.condition, whole.condition);
            EXPECT_EQ(read.warnings, whole.warnings);
            EXPECT_EQ(decoder.About().orientation, whole.orientation);
            EXPECT_EQ(decoder.About().metadata.exif, whole.metadata.exif);
            ASSERT_EQ(read.image != nullptr, whole.image != nullptr);
            if (!read.image) continue;
            EXPECT_TRUE(SamePixels(read.image.get(), whole.image.get()));
            EXPECT_EQ(read.mask != nullptr, whole.mask != nullptr);
            EXPECT_TRUE(!read.mask || SamePixels(read.mask.get(), whole.mask.get()));
        }
    const LoadResult loaded = decoder.LoadWhole();
    EXPECT_EQ(loaded.error.text, whole.error.text);
    EXPECT_TRUE(!whole.image || SamePixels(loaded.image.get(), whole.image.get()));
}

}  // namespace kestrel::samples
