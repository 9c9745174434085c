#pragma once
#include <string>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/ByteReader.h"
#include "kestrel/foundation/ByteWriter.h"

// The formats behind `ImageLoader`, one file each. Not installed. Loading reads from the source's position on and fills
// image and mask, or the error; saving gives an error text or an empty one. Blocks are known to be 24-bit and 8-bit and
// of one size, and the mask to be null where nothing is hidden.
namespace kestrel {

void LoadBmp(ByteReader& source, const LoadOptions& options, LoadResult& result);
void LoadJpeg(ByteReader& source, const LoadOptions& options, LoadResult& result);
void LoadPng(ByteReader& source, const LoadOptions& options, LoadResult& result);

std::string SaveBmp(ByteWriter& target, const Dib* image);
std::string SaveJpeg(ByteWriter& target, const Dib* image, int quality);
std::string SavePng(ByteWriter& target, const Dib* image, const Dib* mask, int compression);

/// Makes image and mask (with `alpha`) of this size, if the limit and memory allow it; otherwise sets the error.
bool MakePlanes(std::int64_t width, std::int64_t height, bool alpha, const LoadOptions& options, LoadResult& result);

/// What the last system call said.
std::string SystemError();

}  // namespace kestrel
