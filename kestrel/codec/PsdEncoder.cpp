// PSD of 8 bits, red, green, blue and alpha, with packed lines and no layers.
#include <algorithm>
#include <cmath>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/ImageResources.h"

namespace kestrel {
namespace {

constexpr std::uint32_t kLargestSide = 30000;
constexpr int kRgbMode = 3;

void Put(std::vector<std::uint8_t>& bytes, std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

std::vector<std::uint8_t> MakeResources(const ImageMetadata& metadata) {
    std::vector<std::uint8_t> bytes, density;
    if (const auto [x, y] = PerMeter(metadata.density); x > 0 && metadata.density.unit != Density::Unit::AspectOnly) {
        const double factor = metadata.density.unit == Density::Unit::PerInch    ? 1
                              : metadata.density.unit == Density::Unit::PerMeter ? 0.0254
                                                                                 : 2.54;
        for (const double value : {metadata.density.x * factor, metadata.density.y * factor}) {
            Put(density, static_cast<std::uint64_t>(std::lround(std::min(value, 65535.0) * 65536)), 4);
            Put(density, 1, 2);  // shown for each inch
            Put(density, 1, 2);
        }
    }
    AddResource(bytes, ImageResource::Resolution, density);
    AddResource(bytes, ImageResource::Iptc, metadata.iptc);
    AddResource(bytes, ImageResource::Profile, metadata.profile);
    AddResource(bytes, ImageResource::Exif, metadata.exif);
    AddResource(bytes, ImageResource::Xmp, metadata.xmp);
    return bytes;
}

/// Runs of three or more equal bytes are packed, all else is copied.
void PackLine(std::span<const std::uint8_t> line, std::vector<std::uint8_t>& to) {
    const auto runAt = [&](std::size_t at) {
        std::size_t end = at + 1;
        while (end < line.size() && end - at < 128 && line[end] == line[at]) ++end;
        return end - at;
    };
    for (std::size_t at = 0; at < line.size();) {
        if (const std::size_t run = runAt(at); run >= 3) {
            to.push_back(static_cast<std::uint8_t>(257 - run));
            to.push_back(line[at]);
            at += run;
            continue;
        }
        std::size_t end = at + 1;
        while (end < line.size() && end - at < 128 && runAt(end) < 3) ++end;
        to.push_back(static_cast<std::uint8_t>(end - at - 1));
        to.insert(to.end(), line.begin() + static_cast<std::ptrdiff_t>(at),
                  line.begin() + static_cast<std::ptrdiff_t>(end));
        at = end;
    }
}

}  // namespace

CodecError SavePsd(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options) {
    const auto width = static_cast<std::uint32_t>(image->biWidth), height = static_cast<std::uint32_t>(image->biHeight);
    if (width > kLargestSide || height > kLargestSide)
        return {CodecFault::CannotHold, "a PSD file holds at most 30000 x 30000 pixels"};
    const std::uint32_t channels = mask ? 4 : 3;
    std::vector<std::uint8_t> head = {'8', 'B', 'P', 'S', 0, 1, 0, 0, 0, 0, 0, 0};
    Put(head, channels, 2), Put(head, height, 4), Put(head, width, 4), Put(head, 8, 2), Put(head, kRgbMode, 2);
    Put(head, 0, 4);  // no palette
    const auto resources = options.metadata ? MakeResources(*options.metadata) : std::vector<std::uint8_t>();
    Put(head, resources.size(), 4);
    head.insert(head.end(), resources.begin(), resources.end());
    Put(head, 0, 4);  // no layers
    Put(head, 1, 2);  // packed lines, whose lengths come first
    std::vector<std::uint8_t> pixels, line(width);
    for (std::uint32_t channel = 0; channel < channels; ++channel)
        for (int row = image->biHeight - 1; row >= 0; --row) {
            const std::uint8_t* from = channel == 3 ? DibRow(mask, row) : DibRow(image, row) + 2 - channel;
            for (std::size_t x = 0; x < width; ++x)
                line[x] = channel == 3 ? static_cast<std::uint8_t>(255 - from[x]) : from[3 * x];
            const std::size_t before = pixels.size();
            PackLine(line, pixels);
            Put(head, pixels.size() - before, 2);
        }
    target.Write(head.data(), head.size());
    target.Write(pixels.data(), pixels.size());
    return WriteErrorOf(target);
}

}  // namespace kestrel
