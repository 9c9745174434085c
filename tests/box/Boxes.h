#pragma once
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/storage/QvMemoryStorage.h"
#include "kestrel/storage/QvSimpStorage.h"
#include "kestrel/storage/StoragePath.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel::test {

inline constexpr unsigned long kChange = kStorageRead | kStorageWrite | kStorageCreate;

enum class BoxOn { Memory, Tree, NativeTree, Folder };
inline constexpr BoxOn kEveryBox[] = {BoxOn::Memory, BoxOn::Tree, BoxOn::NativeTree};

/// What boxes are built on, and what they log while a test runs.
struct Boxes : testing::Test {
    Boxes() {
        logged.clear();
        SetLogSink([](int, const char*, int, const std::string& text) { logged += text + "\n"; });
    }
    ~Boxes() override { SetLogSink(nullptr); }

    std::string FilePath(const std::string& name) const { return (folders / name).string(); }
    QvStoragePtr Root(BoxOn on, const std::string& name = "box") const {
        if (on == BoxOn::Memory) return QvStoragePtr(new QvMemoryStorage(0));
        return QvSimpStorage::CreateNewQvStorage(FilePath(name).c_str(), kChange, on == BoxOn::NativeTree,
                                                 on == BoxOn::Folder);
    }

    PrivateFolders folders;
    static inline std::string logged;
};

inline void Put(IQvStorage& root, const std::string& folder, const std::string& name, const std::string& bytes) {
    const QvStoragePtr inner = folder.empty() ? nullptr : root.OpenStorage(folder.c_str(), kChange);
    IQvStorage& storage = inner ? *inner : root;
    QvStreamPtr stream = storage.OpenStream(name.c_str(), kChange | kStorageTruncate);
    ASSERT_TRUE(stream) << name;
    ASSERT_TRUE(stream->SetSize(0));
    ASSERT_EQ(stream->Write(bytes.data(), bytes.size()), bytes.size());
    ASSERT_TRUE(CloseStream(stream));
}

/// The bytes of a stream; "(none)" when it is not there.
inline std::string Get(IQvStorage& root, const std::string& folder, const std::string& name) {
    const QvStoragePtr inner = folder.empty() ? nullptr : root.OpenStorage(folder.c_str(), kStorageRead);
    if (!folder.empty() && !inner) return "(none)";
    IQvStorage& storage = inner ? *inner : root;
    const QvStreamPtr stream = storage.OpenStream(name.c_str(), kStorageRead);
    if (!stream) return "(none)";
    std::string bytes(static_cast<std::size_t>(stream->Size()), 0);
    EXPECT_EQ(stream->Read(bytes.data(), bytes.size()), bytes.size());
    return bytes;
}

/// An image of one colour, and a mask of partly visible pixels.
inline DibPtr Plain(int width, int height, int blue, int green, int red) {
    DibPtr image(DibCreate(24, width, height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = DibRow(image.get(), y) + 3 * x;
            pixel[0] = static_cast<std::uint8_t>(blue);
            pixel[1] = static_cast<std::uint8_t>(green);
            pixel[2] = static_cast<std::uint8_t>(red);
        }
    return image;
}
inline DibPtr SomeMask(int width, int height) {
    DibPtr mask(DibCreate(8, width, height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) DibRow(mask.get(), y)[x] = static_cast<std::uint8_t>(x * 31 + y * 7 + 1);
    return mask;
}

inline std::string Encoded(const Dib* image, const Dib* mask, ImageFormat format) {
    std::vector<std::uint8_t> bytes;
    EXPECT_FALSE(ImageLoader::Save(bytes, image, mask, {.format = format, .jpegQuality = 95}));
    return {bytes.begin(), bytes.end()};
}

/// Whether two records show the same pixels.
inline bool SamePixels(const Dib* a, const Dib* b) {
    if (!a || !b || a->biWidth != b->biWidth || a->biHeight != b->biHeight || a->biBitCount != b->biBitCount)
        return a == b;
    const auto bytes = static_cast<std::size_t>(a->biWidth) * a->biBitCount / 8;
    for (int y = 0; y < a->biHeight; ++y)
        if (std::memcmp(DibRow(a, y), DibRow(b, y), bytes) != 0) return false;
    return true;
}

}  // namespace kestrel::test
