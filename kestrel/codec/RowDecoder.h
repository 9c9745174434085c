#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A picture file of which the rows are decoded one after the other, from the top of the upright picture, so that the
/// picture need not be in memory. Not every file can be read so: others are loaded whole. The bytes are those of
/// `ImageLoader::Load`. One thread at a time.
class KESTREL_API RowDecoder {
public:
    /// Reads the header.
    explicit RowDecoder(const std::string& path, const LoadOptions& options = {});
    /// The same from an open stream, from its position on; it has to outlive the decoder.
    explicit RowDecoder(std::FILE* stream, const LoadOptions& options = {});
    ~RowDecoder();
    RowDecoder(const RowDecoder&) = delete;
    RowDecoder& operator=(const RowDecoder&) = delete;

    /// What is known without the pixels, or the error.
    const LoadResult& About() const { return about_; }
    /// Can the rows be read? Otherwise, and without an error, `LoadWhole` can do it.
    bool ReadsRows() const { return decoder_ != nullptr; }
    /// Of the rows that come; a reduced picture is smaller than the file's.
    int Width() const { return width_; }
    int Height() const { return height_; }
    bool HasAlpha() const { return about_.hasAlpha; }
    /// Bytes that decoding keeps beside a few rows: a progressive JPEG file has the parts of every row all over it.
    std::uint64_t Memory() const;

    /// The next of `Height` rows: 24-bit pixels, and the mask of a picture with alpha. A row that cannot be read is
    /// black and hidden. False when not even the first one can; `Finish` then has the error. Throws `std::bad_alloc`.
    bool Read(std::uint8_t* pixels, std::uint8_t* mask);
    /// After the last row that was read: condition and warnings, or the error.
    const LoadResult& Finish();
    /// Begins again, this time with the preferred size of `LoadOptions`; 0, 0: the full one. For rows and for the
    /// whole.
    void Prefer(int width, int height);
    /// Begins again with the first row. False when that fails.
    bool Restart();

    /// The whole picture instead of its rows.
    LoadResult LoadWhole();

private:
    void Open();

    std::unique_ptr<class PictureInput> input_;
    LoadResult about_;
    std::unique_ptr<class LineDecoder> decoder_;
    int width_ = 0;
    int height_ = 0;
    bool began_ = false;
    bool broken_ = false;
    bool finished_ = false;
};

}  // namespace kestrel
