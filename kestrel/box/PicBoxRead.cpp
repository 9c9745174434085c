// Pictures out of a box: encoded ones by the loaders, the box's own records as they are.
#include <cerrno>
#include <chrono>
#include <new>

#include "kestrel/box/PicBox.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/codec/PolyImagePro.h"
#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/image/Mask.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/StoragePath.h"

namespace kestrel {
namespace {

constexpr int kSmallestSide = 200;  // of a reduced picture of the second loader
constexpr int kPreviewLacks = 100;  // pixels that the preview of a raw file is smaller in each direction

/// Tells the debug output how long something took.
class LoadingTime {
public:
    explicit LoadingTime(const char* what) : what_(what) {}
    ~LoadingTime() {
        const auto passed = std::chrono::steady_clock::now() - begin_;
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
        char text[80];
        std::snprintf(text, sizeof text, "%s loading time: in %dms\n", what_, static_cast<int>(ms));
        WriteDebugOutput(text);
    }
    LoadingTime(const LoadingTime&) = delete;
    LoadingTime& operator=(const LoadingTime&) = delete;

private:
    const char* what_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

/// Whether a file is not worth reading whole for a picture of that size.
bool TooLargeForMemory(std::int64_t bytes, int width, int height) {
    constexpr struct {
        std::int64_t bytes;
        int side;
    } kRules[] = {{20'000'000, 800}, {15'000'000, 650}, {10'000'000, 500}};
    if (width < 0 || height < 0) return false;
    for (const auto& rule : kRules)
        if (bytes > rule.bytes && width < rule.side && height < rule.side) return true;
    return false;
}

/// What the second loader's codes of formats mean.
int TypeOfFormatCode(int code) {
    switch (code) {
        case 0:
        case 1:
        case 2:
            return 7;
        case 4:
        case 5:
            return 1;
        case 6:
            return 16;
        case 0xB:
        case 0xC:
            return 10;
        case 0xD:
            return 15;
        case 0x12:
        case 0x13:
        case 0x14:
        case 0x15:
        case 0x16:
        case 0x18:
        case 0x19:
        case 0x1B:
        case 0x1C:
        case 0x36:
            return 2;
        case 0x1F:
            return 4;
        case 0x38:
            return 13;
        case 0x42:
        case 0x43:
            return 9;
        default:
            return 0;
    }
}

struct SessionEnd {
    void operator()(PolyImagePro::Session* session) const { PolyImagePro::_cDestroySession(session); }
};

}  // namespace

bool qvPicBox::GetQuick(const char* name, const char* extension, DibPtr& image, DibPtr* mask, int preferredWidth,
                        int preferredHeight, std::int32_t& x, std::int32_t& y, bool useSecondLoader) {
    image.reset();
    if (mask) mask->reset();
    x = y = 0;
    ForgetLast();
    if (!name || (!external_ && !pictures_)) return false;
    Loaded loaded;
    try {
        const Request request{preferredWidth, preferredHeight, mask != nullptr, useSecondLoader};
        if (!Read(name, extension ? extension : "", request, loaded)) return false;
    } catch (const CQvError& error) {
        return Fail(__LINE__, std::string("qvPicBox::GetQuick CStream-Exception ") + error.what());
    } catch (const std::bad_alloc&) {
        return Fail(__LINE__, "CStream-Exception: unexpected Error in qvPicBox::GetQuick");
    }
    image = std::move(loaded.image);
    if (mask) *mask = std::move(loaded.mask);
    x = loaded.x;
    y = loaded.y;
    return true;
}

bool qvPicBox::GetPic(const char* name, const char* extension, DibPtr& image, DibPtr* mask, std::int32_t& x,
                      std::int32_t& y) {
    return GetQuick(name, extension, image, mask, -1, -1, x, y, false);
}

void qvPicBox::ForgetLast() {
    lastImageType_ = 0;
    lastMetadata_ = {};
    lastDamaged_ = false;
    lastWarnings_.clear();
    lastError_ = {};
}

bool qvPicBox::Read(const std::string& name, const std::string& extension, const Request& request, Loaded& loaded) {
    Stored stored;
    if (!Lookup(name, extension, stored)) return false;
    errno = 0;
    if (stored.header.native ? ReadNative(stored, request, loaded) : ReadOwnForm(stored, request, loaded)) return true;
    return Fail(__LINE__, "PicBox::GetPic(): Fehler " + std::to_string(errno) + " beim Lesen des Bildes " + name);
}

bool qvPicBox::ReadOwnForm(Stored& stored, const Request& request, Loaded& loaded) {
    const LoadingTime time("Whole Image");
    const PicHeader& header = stored.header;
    if (header.embedded) {
        const std::vector<std::uint8_t> bytes = ReadPicBytes(*stored.stream, header.size);
        ImageLoader loader(bytes, request.Reduced());
        SetOptions(loader, request);
        if (!Take(loader, request, loaded)) return false;
    }
    PicTail tail = ReadPicTail(*stored.stream, header.kind, header.embedded);
    // The position of an image that is whole without it may be missing.
    if (tail.failed && !(header.embedded && header.kind == PicKind::PictureOnly)) return false;
    loaded.x = tail.x;
    loaded.y = tail.y;
    if (tail.image) loaded.image = std::move(tail.image);
    if (tail.mask && request.mask) loaded.mask = std::move(tail.mask);
    return true;
}

void qvPicBox::SetOptions(ImageLoader& loader, const Request& request) const {
    loader.SetRawVersion(rawVersion_);
    if (limits_) loader.SetLimits(*limits_);
    if (request.width >= 0 && request.height >= 0) loader.PreferedLoadingSize(request.width, request.height);
    if (rawFactors_[0] < 0) return;
    for (int time = 0; time < 2; ++time) {  // beginning anew loses what was set
        if (time == 1) loader.RAW_Initialize();
        loader.RAW_SetWhitebalance(whiteBalance_, rawFactors_);
        loader.RAW_SetBrightness(rawFactor_);
    }
}

/// The decoded records, which become the box's.
bool qvPicBox::Take(ImageLoader& loader, const Request& request, Loaded& loaded) {
    if (loader.HadError() || !loader.ImageDIB()) {
        lastError_ = loader.Error();
        lastWarnings_ = {lastError_.text};
        return false;
    }
    lastImageType_ = loader.GetType();
    lastMetadata_ = loader.Metadata();
    lastDamaged_ = loader.Damaged();
    lastWarnings_ = loader.Warnings();
    loaded.image.reset(loader.ImageDIB());
    loaded.mask.reset(loader.MaskDIB());
    loader.KeepDibMemory();
    DibImageSize(loaded.image.get());  // both fill in what the record leaves open
    DibColorCount(loaded.image.get());
    if (!request.mask) loaded.mask.reset();
    return true;
}

bool qvPicBox::ReadNative(Stored& stored, const Request& request, Loaded& loaded) {
    const LoadingTime time("Image");
    const std::string path = SystemPath(stored.path);
    bool fromMemory = true;
    const bool faster = ImageLoader::IsPolyViewFaster(path.c_str(), &fromMemory);
    // At full size there is nothing that it could do sooner.
    const bool second = faster && stored.isFile && request.secondLoader && request.Reduced();
    if (second && ReadBySecondLoader(path, request, loaded)) return true;

    const std::int64_t size = stored.stream->Size();
    const ImageFormat type = FormatOfName(stored.header.type);
    if (type == ImageFormat::Psd || type == ImageFormat::PhotoCd) fromMemory = false;
    if (TooLargeForMemory(size, request.width, request.height)) fromMemory = false;
    std::vector<std::uint8_t> bytes;
    std::unique_ptr<ImageLoader> loader;
    if (stored.isFile && !fromMemory) {
        stored.stream.reset();
        loader = std::make_unique<ImageLoader>(path.c_str(), static_cast<long>(type), false, request.Reduced());
    } else {
        bytes = ReadPicBytes(*stored.stream, static_cast<std::uint64_t>(size));
        loader = std::make_unique<ImageLoader>(bytes, request.Reduced());
    }
    SetOptions(*loader, request);
    return Take(*loader, request, loaded);
}

bool qvPicBox::ReadBySecondLoader(const std::string& path, const Request& request, Loaded& loaded) {
    const std::unique_ptr<PolyImagePro::Session, SessionEnd> session(PolyImagePro::_cNewSession());
    int width = 0, height = 0, format = 0;
    if (!PolyImagePro::_cLoadImage(session.get(), path.c_str(), 0, 0, 0) ||
        !PolyImagePro::_cGetImageInfo(session.get(), &width, &height, nullptr, nullptr, nullptr, nullptr, &format,
                                      nullptr, nullptr))
        return false;
    const LoadResult first = ImageLoader::Load(path, {.sizeOnly = true});
    const bool onlyPreview = first.fullWidth - width >= kPreviewLacks && first.fullHeight - height >= kPreviewLacks;
    if (first.format == ImageFormat::Raw && onlyPreview) return false;
    if (request.Reduced()) {
        std::int64_t wantedWidth = request.width, wantedHeight = request.height;
        while (wantedWidth < kSmallestSide || wantedHeight < kSmallestSide) wantedWidth *= 2, wantedHeight *= 2;
        if (wantedWidth < width && wantedHeight < height &&
            !PolyImagePro::_cOpResizeEx(session.get(), static_cast<int>(wantedWidth), static_cast<int>(wantedHeight), 6,
                                        1))
            return false;
    }
    std::vector<std::uint8_t> record, alpha;
    if (!PolyImagePro::_cGetDIB(session.get(), &record, 0)) return false;
    loaded.image.reset(Make24BitDib(reinterpret_cast<Dib*>(record.data())));
    if (!loaded.image) return false;
    if (request.mask && PolyImagePro::_cGetAlphaMask(session.get(), &alpha))
        loaded.mask.reset(ConvertMaskArrayToDib(alpha.data(), loaded.image->biWidth, loaded.image->biHeight));
    lastImageType_ = TypeOfFormatCode(format);
    lastMetadata_ = first.metadata;
    return true;
}

}  // namespace kestrel
