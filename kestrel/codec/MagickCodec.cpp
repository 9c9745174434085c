// GIF, PNM, Sun raster and Photo CD by GraphicsMagick. Only coders named here are reached, never a delegate program.
#include <magick/api.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

/// In place of printing the reason and ending the program.
__attribute__((noreturn)) void GiveUp(ExceptionType kind, const char* reason, const char*) {
    if (kind % 100 == ResourceLimitFatalError % 100) throw std::bad_alloc();
    throw std::runtime_error(reason ? reason : "the decoder gave up");
}

struct MagickLibrary : SharedLibrary {
    MagickLibrary() : SharedLibrary(KESTREL_MAGICK_LIBRARY) {
        if (!IsThere()) return;
        ExceptionInfo info;
        GetExceptionInfo(&info);
        InitializeMagickEx(nullptr, MAGICK_OPT_NO_SIGNAL_HANDER, &info);
        DestroyExceptionInfo(&info);
        SetMagickResourceLimit(ThreadsResource, 1);
        SetMagickResourceLimit(DiskResource, 0);
        SetWarningHandler(nullptr);
        SetErrorHandler(nullptr);
        SetFatalErrorHandler(GiveUp);
    }
    KESTREL_LATE(InitializeMagickEx);
    KESTREL_LATE(SetMagickResourceLimit);
    KESTREL_LATE(SetWarningHandler);
    KESTREL_LATE(SetErrorHandler);
    KESTREL_LATE(SetFatalErrorHandler);
    KESTREL_LATE(GetExceptionInfo);
    KESTREL_LATE(DestroyExceptionInfo);
    KESTREL_LATE(CloneImageInfo);
    KESTREL_LATE(DestroyImageInfo);
    KESTREL_LATE(PingBlob);
    KESTREL_LATE(BlobToImage);
    KESTREL_LATE(CoalesceImages);
    KESTREL_LATE(GetImageListLength);
    KESTREL_LATE(GetLastImageInList);
    KESTREL_LATE(ImageToBlob);
    KESTREL_LATE(DestroyImageList);
    KESTREL_LATE(TransformColorspace);
    KESTREL_LATE(DispatchImage);
    KESTREL_LATE(ConstituteImage);
    KESTREL_LATE(MagickFree);

    /// Null when it is not installed.
    static const MagickLibrary* Get() {
        static const MagickLibrary library;
        return library.IsThere() ? &library : nullptr;
    }
};

struct Deleter {
    void operator()(Image* image) const { MagickLibrary::Get()->DestroyImageList(image); }
    void operator()(ImageInfo* info) const { MagickLibrary::Get()->DestroyImageInfo(info); }
};
using ImagePtr = std::unique_ptr<Image, Deleter>;
using InfoPtr = std::unique_ptr<ImageInfo, Deleter>;

/// What the library says of a call.
class Exception {
public:
    explicit Exception(const MagickLibrary& library) : library_(library) { library.GetExceptionInfo(&info_); }
    ~Exception() { library_.DestroyExceptionInfo(&info_); }
    Exception(const Exception&) = delete;
    Exception& operator=(const Exception&) = delete;

    ExceptionInfo* Info() { return &info_; }
    bool IsError() const { return info_.severity >= ErrorException; }
    /// Pixels that find no memory would go to a file, which the limits do not allow.
    bool IsMemory() const {
        const int about = info_.severity % 100;
        return IsError() && (about == ResourceLimitError % 100 || about == CacheError % 100);
    }
    bool IsSilent() const { return info_.severity == UndefinedException; }
    CodecError Error() const { return IsMemory() ? NoMemory() : CodecError{CodecFault::Broken, Text()}; }
    std::string Text() const {
        std::string text = info_.reason ? info_.reason : "the file is damaged";
        if (info_.description && *info_.description) text += std::string(" (") + info_.description + ")";
        return text;
    }

private:
    const MagickLibrary& library_;
    ExceptionInfo info_;
};

const char* CoderName(ImageFormat format) {
    switch (format) {
        case ImageFormat::Gif:
            return "GIF";
        case ImageFormat::SunRaster:
            return "SUN";
        case ImageFormat::PhotoCd:
            return "PCD";
        default:
            return "PNM";
    }
}

InfoPtr MakeInfo(const MagickLibrary& library, ImageFormat format, int page = 0) {
    InfoPtr info(library.CloneImageInfo(nullptr));
    if (!info) throw std::bad_alloc();
    std::strcpy(info->magick, CoderName(format));
    info->subimage = 0;
    // A number would choose one of the reduced pictures of a Photo CD file.
    info->subrange = format == ImageFormat::PhotoCd ? 0 : static_cast<unsigned long>(page) + 1;
    return info;
}

CodecError Missing(ImageFormat format) {
    return {CodecFault::NotSupported,
            std::string(FormatName(format)) + " files need the library " KESTREL_MAGICK_LIBRARY};
}

/// The frames of a GIF file, told by the blocks that it consists of.
int CountFrames(std::span<const std::uint8_t> bytes) {
    constexpr std::uint8_t kFrame = 0x2C, kExtension = 0x21;
    const auto colors = [](std::uint8_t flags) { return flags & 0x80 ? std::size_t{6} << (flags & 7) : 0; };
    std::size_t at = 13;  // the header and the screen's size
    if (bytes.size() > 10) at += colors(bytes[10]);
    int frames = 0;
    while (at < bytes.size() && (bytes[at] == kFrame || bytes[at] == kExtension)) {
        const bool isFrame = bytes[at] == kFrame;
        if (isFrame && at + 10 >= bytes.size()) break;
        at += isFrame ? 11 + colors(bytes[at + 9]) : 2;  // place and size, then the codes' width; a label
        while (at < bytes.size() && bytes[at] != 0) at += std::size_t{1} + bytes[at];
        ++at;
        if (isFrame) ++frames;
    }
    return std::max(frames, 1);
}

/// The last of the frames that were read, as it is seen: drawn over those before it.
ImagePtr Composed(const MagickLibrary& library, ImagePtr images, LoadResult& result) {
    if (library.GetImageListLength(images.get()) < 2) return images;
    Exception exception(library);
    ImagePtr all(library.CoalesceImages(images.get(), exception.Info()));
    images.reset();
    if (!all) {
        result.error = exception.Error();
        return nullptr;
    }
    Image* const last = library.GetLastImageInList(all.get());
    if (last->previous) last->previous->next = nullptr;
    if (last != all.get()) {
        last->previous = nullptr;
    } else {
        std::ignore = all.release();
    }
    return ImagePtr(last);
}

bool TakePixels(const MagickLibrary& library, const Image* from, LoadResult& result) {
    Exception exception(library);
    const auto width = static_cast<std::size_t>(from->columns);
    std::vector<std::uint8_t> line(4 * width);
    for (int y = 0; y < result.image->biHeight; ++y) {
        if (library.DispatchImage(from, 0, y, from->columns, 1, "BGRA", CharPixel, line.data(), exception.Info()) ==
            MagickFail)
            return false;
        const int row = result.image->biHeight - 1 - y;
        std::uint8_t* to = DibRow(result.image.get(), row);
        std::uint8_t* hidden = result.mask ? DibRow(result.mask.get(), row) : nullptr;
        for (std::size_t x = 0; x < width; ++x) {
            std::memcpy(to + 3 * x, line.data() + 4 * x, 3);
            if (hidden) hidden[x] = static_cast<std::uint8_t>(255 - line[4 * x + 3]);
        }
    }
    return true;
}

}  // namespace

void LoadMagick(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const MagickLibrary* library = MagickLibrary::Get();
    if (!library) {
        result.error = Missing(result.format);
        return;
    }
    const std::vector<std::uint8_t> bytes = ReadRest(source);
    if (result.format == ImageFormat::Gif) result.pages = CountFrames(bytes);
    if (!HasPage(options, result)) return;
    const InfoPtr info = MakeInfo(*library, result.format, options.page);
    Exception exception(*library);
    const ImagePtr seen(library->PingBlob(info.get(), bytes.data(), bytes.size(), exception.Info()));
    if (!seen) {
        result.error = exception.Error();
        return;
    }
    const auto fits = [&](const Image* image) {
        return SizeIsAllowed(static_cast<std::int64_t>(image->columns), static_cast<std::int64_t>(image->rows),
                             bytes.size(), options, result);
    };
    if (!fits(seen.get())) return;
    const auto frames = static_cast<std::uint64_t>(options.page) + 1;
    if (frames > 1 && std::uint64_t{seen->columns} * seen->rows > options.pixelLimit / frames) {
        result.error = {CodecFault::PixelLimit, "the frames up to this one have more pixels than the limit of " +
                                                    std::to_string(options.pixelLimit)};
        return;
    }
    result.fullWidth = static_cast<std::int64_t>(seen->columns);
    result.fullHeight = static_cast<std::int64_t>(seen->rows);
    result.hasAlpha = seen->matte != 0;
    if (options.sizeOnly) return;
    Exception reading(*library);
    ImagePtr image(library->BlobToImage(info.get(), bytes.data(), bytes.size(), reading.Info()));
    if (!image || image->columns == 0 || image->rows == 0) {
        result.error = reading.Error();
        return;
    }
    image = Composed(*library, std::move(image), result);
    if (!image) return;
    if (!reading.IsSilent()) result.warnings.push_back(reading.Text());
    if (reading.IsError()) result.condition = Condition::Damaged;
    if (image->colorspace != RGBColorspace && !library->TransformColorspace(image.get(), RGBColorspace)) {
        result.error = {CodecFault::NotSupported, "its colours cannot be converted"};
        return;
    }
    if (!MakePlanes(static_cast<std::int64_t>(image->columns), static_cast<std::int64_t>(image->rows), image->matte,
                    bytes.size(), options, result))
        return;
    if (!TakePixels(*library, image.get(), result)) result.error = NoMemory();
}

CodecError SaveMagick(ByteWriter& target, const Dib* image, const Dib*, const SaveOptions& options) {
    const MagickLibrary* library = MagickLibrary::Get();
    if (!library) return Missing(options.format);
    const auto width = static_cast<std::size_t>(image->biWidth);
    const auto height = static_cast<std::size_t>(image->biHeight);
    std::vector<std::uint8_t> pixels(3 * width * height);
    for (std::size_t y = 0; y < height; ++y)
        std::memcpy(pixels.data() + 3 * width * y, DibRow(image, static_cast<int>(height - 1 - y)), 3 * width);
    Exception exception(*library);
    const ImagePtr made(library->ConstituteImage(width, height, "BGR", CharPixel, pixels.data(), exception.Info()));
    if (!made) return NoMemory();
    made->depth = 8;
    std::strcpy(made->magick, CoderName(options.format));
    const InfoPtr info = MakeInfo(*library, options.format);
    std::size_t size = 0;
    const auto free = [library](void* blob) { library->MagickFree(blob); };
    const std::unique_ptr<void, decltype(free)> blob(
        library->ImageToBlob(info.get(), made.get(), &size, exception.Info()), free);
    if (!blob) return exception.IsMemory() ? NoMemory() : CodecError{CodecFault::CannotHold, exception.Text()};
    target.Write(blob.get(), size);
    return WriteErrorOf(target);
}

}  // namespace kestrel
