#pragma once
#include <string>
#include <vector>

#include "kestrel/codec/ExifSummary.h"
#include "kestrel/codec/ImageLoader.h"

/// What `kestrel info` tells of a picture.
struct PictureInfo {
    std::string name;
    std::string problem{};  ///< why nothing is known; empty otherwise
    kestrel::LoadResult picture{};
    kestrel::ExifSummary exif{};
    std::string profile{};  ///< its name
    std::string chain{};    ///< the one that is stored with it; empty without one
};

/// The name of the format, "pixels" for a picture that a box keeps as such.
std::string FormatText(const kestrel::LoadResult& picture);

std::string InfoAsJson(const std::vector<PictureInfo>& pictures);
