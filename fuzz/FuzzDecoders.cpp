// Any bytes to each decoder, which the first byte chooses: what it does before and after its library, and every change
// of metadata. Decoders see bytes here that the loader would hand to no decoder, or to another one.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <new>
#include <span>
#include <stdexcept>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/ExifSummary.h"
#include "kestrel/codec/IptcRecords.h"
#include "kestrel/codec/TiffBlocks.h"
#include "kestrel/codec/XmpPacket.h"

using namespace kestrel;

namespace {

using Bytes = std::vector<std::uint8_t>;

void Require(bool good) {
    if (!good) std::abort();
}

void Decode(const FormatInfo& format, std::uint8_t choice, std::span<const std::uint8_t> bytes) {
    LoadResult result;
    result.format = format.format;
    LoadOptions options{.pixelLimit = 1 << 16, .sizeOnly = (choice & 64) != 0};
    if (choice & 32) options.preferredWidth = options.preferredHeight = 8;
    if (choice & 128) options.page = 1;
    ByteReader source(bytes);
    try {
        LoadWith(*FindCodec(format.format), source, options, result);
    } catch (const std::bad_alloc&) {
        return;
    } catch (const std::runtime_error&) {
        return;
    }
    Require(result.error || options.sizeOnly || result.image);
    Require(!result.error || !result.error.text.empty());
    if (result.image && result.mask) Require(result.mask->biWidth == result.image->biWidth);
}

void Edit(std::span<const std::uint8_t> data) {
    const Bytes bytes(data.begin(), data.end());
    const auto edited = [&](auto edit) {
        Bytes copy = bytes;
        edit(copy);
        Require(copy.size() <= bytes.size());
    };
    edited([](Bytes& exif) { UpdateExif(exif, 70000, 1); });
    edited([](Bytes& exif) { StripExifPlace(exif); });
    edited([](Bytes& exif) { ResetExifOrientation(exif), SetExifToSrgb(exif); });
    edited([](Bytes& xmp) { UpdateXmp(xmp); });
    edited([](Bytes& xmp) { StripXmpPlace(xmp); });
    edited([](Bytes& iptc) { StripIptcPlace(iptc); });
    SummarizeExif(bytes);
    ImageMetadata metadata;
    metadata.exif = bytes;
    Bytes file;
    const DibPtr image(DibCreate(24, 2, 2));
    Require(image &&
            !ImageLoader::Save(file, image.get(), nullptr, {.format = ImageFormat::Tiff, .metadata = &metadata}));
    Require(bool(ImageLoader::Load(file)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const auto formats = KnownFormats();
    const std::size_t which = data[0] % 32 % (formats.size() + 1);
    const std::span<const std::uint8_t> bytes(data + 1, size - 1);
    if (which == formats.size())
        Edit(bytes);
    else
        Decode(formats[which], data[0], bytes);
    return 0;
}
