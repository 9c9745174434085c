#include "kestrel/codec/TiffPage.h"

#include <algorithm>
#include <string>

#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/TiffBlocks.h"

namespace kestrel {
namespace {

constexpr int kMostSamples = 32;
constexpr std::uint64_t kSmallestBound = 256 << 20;  ///< bytes that a block may have in any file

CodecError Unsupported(const std::string& what) {
    return {CodecFault::NotSupported, "TIFF files " + what + " are not read"};
}

}  // namespace

TiffPage::TiffPage(ByteReader& source, const TiffLibrary& library)
    : library_(library),
      stream_(source),
      file_(OpenTiffFile(stream_, "rmO", std::max<std::uint64_t>(kSmallestBound, source.Left()))) {}

bool TiffPage::Open(const LoadOptions& options, LoadResult& result) {
    if (!file_) result.error = {CodecFault::Broken, Error()};
    if (result.error || !Turn(options, result)) return false;
    result.error = ReadForm();
    return !result.error;
}

/// Goes to the page.
bool TiffPage::Turn(const LoadOptions& options, LoadResult& result) {
    if (options.page == 0 && !options.sizeOnly) return true;  // counting reads every directory of the file
    result.pages = std::max(static_cast<int>(library_.TIFFNumberOfDirectories(File())), 1);
    if (!HasPage(options, result)) return false;
    if (options.page == 0 || library_.TIFFSetDirectory(File(), static_cast<tdir_t>(options.page))) return true;
    result.error = {CodecFault::Broken, Error()};
    return false;
}

CodecError TiffPage::ReadForm() {
    form_.width = Field<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
    form_.height = Field<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
    form_.bits = Field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
    form_.samples = Field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
    form_.photometric =
        Field<std::uint16_t>(TIFFTAG_PHOTOMETRIC, form_.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    form_.orientation = Field<std::uint16_t>(TIFFTAG_ORIENTATION, 1);
    if (form_.orientation < 1 || form_.orientation > 8) form_.orientation = 1;
    form_.separate = Field<std::uint16_t>(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
    const auto compression = Field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (!library_.TIFFIsCODECConfigured(compression))
        return Unsupported("with compression " + std::to_string(compression));
    if (form_.photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG) {
        library_.TIFFSetField(File(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        form_.photometric = PHOTOMETRIC_RGB;
    }
    if (form_.samples < 1 || form_.samples > kMostSamples)
        return Unsupported("of " + std::to_string(form_.samples) + " samples");
    if (!form_.IsConvertedHere()) return {};
    const auto kind = Field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    if (kind != SAMPLEFORMAT_UINT && kind != SAMPLEFORMAT_VOID)
        return Unsupported("of samples that are no plain numbers");
    if (form_.bits != 1 && form_.bits != 2 && form_.bits != 4 && form_.bits != 8 && form_.bits != 16)
        return Unsupported("of " + std::to_string(form_.bits) + " bits per sample");
    if (form_.samples < form_.ColorSamples()) return Unsupported("that lack samples");
    FindAlpha();
    return form_.photometric == PHOTOMETRIC_PALETTE ? FindPalette() : CodecError();
}

CodecError TiffPage::FindPalette() {
    std::uint16_t* colors[3] = {};
    if (!library_.TIFFGetField(File(), TIFFTAG_COLORMAP, &colors[0], &colors[1], &colors[2]))
        return {CodecFault::Broken, "the palette is missing"};
    const std::size_t entries = std::size_t{1} << form_.bits;
    for (int c = 0; c < 3; ++c) {
        form_.colors[c] = colors[c];
        form_.wideColors |= std::any_of(colors[c], colors[c] + entries, [](std::uint16_t v) { return v > 255; });
    }
    return {};
}

void TiffPage::FindAlpha() {
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    if (!library_.TIFFGetFieldDefaulted(File(), TIFFTAG_EXTRASAMPLES, &count, &kinds)) return;
    for (int i = 0; i < count && form_.ColorSamples() + i < form_.samples; ++i) {
        if (kinds[i] != EXTRASAMPLE_ASSOCALPHA && kinds[i] != EXTRASAMPLE_UNASSALPHA) continue;
        form_.alpha = form_.ColorSamples() + i;
        form_.premultiplied = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
        return;
    }
}

void TiffPage::TakeMetadata(LoadResult& result) {
    const auto block = [&](std::uint32_t tag) -> std::span<const std::uint8_t> {
        std::uint32_t size = 0;
        const std::uint8_t* bytes = nullptr;
        if (!library_.TIFFGetField(File(), tag, &size, &bytes) || !bytes) return {};
        return {bytes, size};
    };
    ReadTiffBlocks(stream_.Whole(), library_.TIFFCurrentDirOffset(File()), result.metadata);
    const auto xmp = block(TIFFTAG_XMLPACKET);
    result.metadata.xmp.assign(xmp.begin(), xmp.end());
    TakeProfile(block(TIFFTAG_ICCPROFILE), result);
    const auto x = Field<float>(TIFFTAG_XRESOLUTION, 0), y = Field<float>(TIFFTAG_YRESOLUTION, 0);
    if (!(x > 0 && y > 0)) return;
    const auto unit = Field<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    result.metadata.density = {unit == RESUNIT_INCH         ? Density::Unit::PerInch
                               : unit == RESUNIT_CENTIMETER ? Density::Unit::PerCentimeter
                                                            : Density::Unit::AspectOnly,
                               double{x}, double{y}};
}

}  // namespace kestrel
