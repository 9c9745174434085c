#pragma once
#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include <jpeglib.h>

#include "kestrel/codec/ImageLoader.h"

// Pictures and files for the codec tests. Files are made by the libraries themselves, in forms that Kestrel never
// writes. Errors inside a library end the test program: the samples are ours.
namespace kestrel::samples {

using Bytes = std::vector<std::uint8_t>;

inline DibPtr Noise(int depth, int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    DibPtr dib(DibCreate(depth, width, height));
    for (int y = 0; y < height; ++y)
        for (std::size_t i = 0; i < static_cast<std::size_t>(width * depth / 8); ++i)
            DibRow(dib.get(), y)[i] = static_cast<std::uint8_t>(random());
    return dib;
}

/// Smooth enough for JPEG to keep it within a few units.
inline DibPtr Gradient(int width, int height) {
    DibPtr dib(DibCreate(24, width, height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = DibRow(dib.get(), y) + 3 * x;
            pixel[0] = static_cast<std::uint8_t>(40 + 150 * x / width);
            pixel[1] = static_cast<std::uint8_t>(200 - 150 * y / height);
            pixel[2] = static_cast<std::uint8_t>(60 + 60 * x / width + 60 * y / height);
        }
    return dib;
}

/// The pixel in column x of line y from the top.
inline const std::uint8_t* At(const Dib* dib, int x, int y) {
    return DibRow(dib, dib->biHeight - 1 - y) + x * DibBitsPerPixel(dib) / 8;
}

/// Blue, green, red and the mask of each pixel, line for line.
inline std::vector<int> Pixels(const LoadResult& result) {
    std::vector<int> values;
    for (int y = 0; result && y < result.image->biHeight; ++y)
        for (int x = 0; x < result.image->biWidth; ++x) {
            for (int c = 0; c < 3; ++c) values.push_back(At(result.image.get(), x, y)[c]);
            if (result.mask) values.push_back(At(result.mask.get(), x, y)[0]);
        }
    return values;
}

inline bool SamePixels(const Dib* a, const Dib* b) {
    if (!a || !b || a->biWidth != b->biWidth || a->biHeight != b->biHeight || a->biBitCount != b->biBitCount)
        return false;
    const auto size = static_cast<std::size_t>(a->biWidth * DibBitsPerPixel(a) / 8);
    for (int y = 0; y < a->biHeight; ++y)
        if (std::memcmp(DibRow(a, y), DibRow(b, y), size) != 0) return false;
    return true;
}

inline int LargestDifference(const Dib* a, const Dib* b) {
    int largest = 0;
    for (int y = 0; y < a->biHeight; ++y)
        for (int i = 0; i < a->biWidth * 3; ++i)
            largest = std::max(largest, std::abs(DibRow(a, y)[i] - DibRow(b, y)[i]));
    return largest;
}

/// EXIF data with one entry before the orientation, in either byte order.
inline Bytes Exif(int orientation, bool bigEndian, bool prefix) {
    Bytes bytes;
    const auto put = [&](unsigned value, int size) {
        for (int i = 0; i < size; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? size - 1 - i : i)));
    };
    if (prefix) bytes = {'E', 'x', 'i', 'f', 0, 0};
    bytes.insert(bytes.end(), 2, bigEndian ? 'M' : 'I');
    put(42, 2);
    put(8, 4);
    put(2, 2);
    put(0x0103, 2), put(4, 2), put(1, 4), put(77, 4);
    put(0x0112, 2), put(3, 2), put(1, 4), put(static_cast<unsigned>(orientation), 2), put(0, 2);
    put(0, 4);
    return bytes;
}

/// An ICC profile: its header and nothing that makes sense.
inline Bytes Profile(std::size_t size, const char* colors) {
    Bytes bytes(size);
    for (std::size_t i = 128; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    for (std::size_t i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(size >> 8 * (3 - i));
    std::memcpy(bytes.data() + 16, colors, 4);
    std::memcpy(bytes.data() + 36, "acsp", 4);
    return bytes;
}

struct Png {
    int width = 0, height = 0, bits = 8, colorType = PNG_COLOR_TYPE_RGB;
    std::vector<Bytes> lines{};  // as they stand in the file
    std::vector<png_color> palette{};
    Bytes alpha{};  // of the palette's first entries
    bool hasKey = false;
    png_color_16 key{};  // the one transparent colour
    bool interlaced = false;
    Bytes exif{};
    bool exifAtEnd = false;
};

inline Bytes Encode(Png file) {
    Bytes bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &bytes,
        [](png_structp p, png_bytep from, std::size_t size) {
            auto* to = static_cast<Bytes*>(png_get_io_ptr(p));
            to->insert(to->end(), from, from + size);
        },
        [](png_structp) {});
    png_set_IHDR(png, info, static_cast<png_uint_32>(file.width), static_cast<png_uint_32>(file.height), file.bits,
                 file.colorType, file.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, 0, 0);
    if (!file.palette.empty()) png_set_PLTE(png, info, file.palette.data(), static_cast<int>(file.palette.size()));
    if (!file.alpha.empty() || file.hasKey)
        png_set_tRNS(png, info, file.alpha.data(), static_cast<int>(file.alpha.size()),
                     file.hasKey ? &file.key : nullptr);
    const auto setExif = [&] {
        png_set_eXIf_1(png, info, static_cast<png_uint_32>(file.exif.size()), file.exif.data());
    };
    if (!file.exif.empty() && !file.exifAtEnd) setExif();
    png_write_info(png, info);
    std::vector<png_bytep> rows;
    for (Bytes& line : file.lines) rows.push_back(line.data());
    png_write_image(png, rows.data());
    if (!file.exif.empty() && file.exifAtEnd) setExif();
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return bytes;
}

struct Jpeg {
    int width = 0, height = 0, components = 3, quality = 100;
    J_COLOR_SPACE input = JCS_RGB, stored = JCS_YCbCr;
    bool adobe = true;
    bool progressive = false, arithmetic = false;
    Bytes exif{};
    std::function<void(int x, int y, JSAMPLE* pixel)> pixel{};
};

inline Bytes Encode(const Jpeg& file) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    info.image_width = static_cast<JDIMENSION>(file.width);
    info.image_height = static_cast<JDIMENSION>(file.height);
    info.input_components = file.components;
    info.in_color_space = file.input;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, file.stored);
    jpeg_set_quality(&info, file.quality, TRUE);
    for (int i = 0; i < info.num_components; ++i) info.comp_info[i].h_samp_factor = info.comp_info[i].v_samp_factor = 1;
    if (!file.adobe) info.write_Adobe_marker = FALSE;
    if (file.progressive) jpeg_simple_progression(&info);
    info.arith_code = file.arithmetic;
    jpeg_start_compress(&info, TRUE);
    if (!file.exif.empty())
        jpeg_write_marker(&info, JPEG_APP0 + 1, file.exif.data(), static_cast<unsigned>(file.exif.size()));
    Bytes line(static_cast<std::size_t>(file.width * file.components));
    for (int y = 0; y < file.height; ++y) {
        for (int x = 0; x < file.width; ++x) file.pixel(x, y, line.data() + x * file.components);
        JSAMPROW rows[1] = {line.data()};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    Bytes bytes(memory, memory + size);
    std::free(memory);
    jpeg_destroy_compress(&info);
    return bytes;
}

}  // namespace kestrel::samples
