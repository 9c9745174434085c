// Pictures into a box.
#include <algorithm>
#include <climits>
#include <new>

#include "kestrel/box/PicBox.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/storage/QvError.h"

namespace kestrel {
namespace {

constexpr unsigned long kReplace = kStorageRead | kStorageWrite | kStorageCreate | kStorageTruncate;
constexpr std::uint8_t kWriterVersion = 8, kCopyVersion = 1;
constexpr std::uint64_t kChunk = 0x1000000;  // bytes of a file that are in memory at a time
constexpr int kNoStorage = static_cast<int>(0x88870004);

/// The type field of a stream, which knows some formats only.
std::string TypeToken(const std::string& extension) {
    for (const char* const known : {"JPG", "JPEG", "TIF", "TIFF", "GIF", "BMP", "PNG", "PSD", "PCD"})
        if (PicNamesEqual(known, extension)) return known;
    return "TYPE";
}

}  // namespace

/// A stream that takes the place of one of that name when it is closed.
qvPicBox::Target qvPicBox::OpenTarget(IQvStorage* storage, const std::string& name) {
    Target target;
    if (!storage || name.empty() || name == "." || name == "..") return target;
    target.stream = storage->CreateStream(name.c_str(), kReplace);
    target.place = {storage, name};
    return target;
}

qvPicBox::Target qvPicBox::OpenWritePic(const std::string& name, const std::string& extension, bool native,
                                        bool newFormat, PicKind kind, std::uint64_t size, bool embedded) {
    if (native) return OpenTarget(pictures_.get(), WrittenPicName(name, extension));
    Target target;
    if (StoredPicNames(name).empty() || size > UINT32_MAX) return target;
    IQvStorage* const older = kind == PicKind::PictureAndMask ? picMask_.get()
                              : kind == PicKind::PictureOnly  ? onlyPic_.get()
                                                              : onlyMask_.get();
    target = OpenTarget(newFormat ? pictures_.get() : older, WrittenPicName(name));
    if (!target.stream) return target;
    const bool written =
        (!newFormat || WritePicShortHeader(*target.stream, kind, embedded ? TypeToken(extension) : "JPG")) &&
        WritePicLongPart(*target.stream, kCopyVersion, embedded, static_cast<std::uint32_t>(size));
    if (!written) target.stream.reset();
    return target;
}

/// Closes what was written; then the picture that it replaces, if any, gives way.
bool qvPicBox::Finish(Target& target, const Place& old, const std::string& name) {
    if (!CloseStream(target.stream)) return false;
    if (!old) return true;
    DeleteBeside(name);
    return old.IsSameAs(target.place) || DeletePlace(old);
}

bool qvPicBox::Encode(Dib* image, const Dib* mask, int type, const ImageMetadata& metadata,
                      std::vector<std::uint8_t>& bytes) const {
    const auto pixels = static_cast<std::size_t>(image->biWidth) * static_cast<std::size_t>(image->biHeight);
    bytes.reserve(pixels + pixels / 4);
    ImageLoader loader(true);
    loader.SetJpgQuality(jpegQuality_);
    loader.SetImage(image);
    loader.SetMask(mask);
    loader.PutMetadata(metadata);
    return loader.Save(bytes, type);
}

std::uint64_t qvPicBox::AddFile(const char* name, Dib* image, Dib* mask, std::int32_t x, std::int32_t y, bool embedded,
                                bool native, bool replace) {
    if (!image || !name) return 0;
    if (!pictures_) {
        failed_ = true;
        throw CGalleryError("PicBox File may be not opened", kNoStorage, "qvPicBox", __LINE__);
    }
    std::uint64_t stored = 0;
    try {
        stored = AddPicture(name, image, mask, x, y, embedded, native, replace);
    } catch (const CQvError&) {
        stored = 0;
    } catch (const std::bad_alloc&) {
        stored = 0;
    }
    if (stored == 0) Fail(__LINE__, std::string("PicBox AddFile Error on ") + name);
    return stored;
}

std::uint64_t qvPicBox::AddPicture(const std::string& name, Dib* image, Dib* mask, std::int32_t x, std::int32_t y,
                                   bool embedded, bool native, bool replace) {
    const bool sized = image->biWidth > 0 && image->biHeight > 0;
    if (!sized || (mask && DibBitsPerPixel(mask) != 8) || StoredPicNames(name).empty()) return 0;
    const bool ownForm = !native && (mask || !embedded);
    const std::string saved = PicSaveExtension(saveType_);
    const int type = ownForm || saved == ".JPG" ? kPicTypeJpeg : saveType_;
    std::vector<std::uint8_t> encoded;
    if ((embedded || !ownForm) && !Encode(image, ownForm ? nullptr : mask, type, metadata_, encoded)) return 0;

    const Place old = replace ? FindPlace(name, "") : Place{};
    Target target = OpenTarget(pictures_.get(), ownForm ? WrittenPicName(name) : WrittenPicName(name, saved.substr(1)));
    if (!target.stream) return 0;
    const bool written = ownForm ? WriteOwnForm(*target.stream, image, mask, x, y, encoded, embedded)
                                 : WritePicBytes(*target.stream, encoded);
    const auto size = static_cast<std::uint64_t>(std::max<std::int64_t>(target.stream->Tell(), 0));
    return written && Finish(target, old, name) ? size : 0;
}

bool qvPicBox::WriteOwnForm(QvStream& stream, Dib* image, Dib* mask, std::int32_t x, std::int32_t y,
                            const std::vector<std::uint8_t>& encoded, bool embedded) {
    const PicKind kind = PicKindOf(true, mask != nullptr);
    if (encoded.size() > UINT32_MAX || !WritePicShortHeader(stream, kind, "JPG") ||
        !WritePicLongPart(stream, kWriterVersion, embedded, static_cast<std::uint32_t>(encoded.size())) ||
        !WritePicBytes(stream, encoded))
        return false;
    WritePicTail(stream, x, y, embedded ? nullptr : image, mask);
    return !stream.HasFailed();
}

bool qvPicBox::AddFile(const char* name, const char* extension, std::FILE* file, bool newFormat,
                       std::vector<std::uint8_t>* copy, std::uint64_t* size, bool replace) {
    if (copy) copy->clear();
    if (size) *size = 0;
    if (!name || !file) return false;
    const off_t length = fseeko(file, 0, SEEK_END) == 0 ? ftello(file) : -1;
    bool added = false;
    try {
        added = pictures_ && length >= 0 && fseeko(file, 0, SEEK_SET) == 0 &&
                AddOpenFile(name, extension ? extension : "", file, newFormat, copy, static_cast<std::uint64_t>(length),
                            replace);
    } catch (const CQvError&) {
        added = false;
    } catch (const std::bad_alloc&) {
        added = false;
    }
    if (!added) return Fail(__LINE__, std::string("PicBox AddFile Error on ") + name);
    if (size) *size = static_cast<std::uint64_t>(length);
    return true;
}

bool qvPicBox::AddOpenFile(const std::string& name, const std::string& extension, std::FILE* file, bool newFormat,
                           std::vector<std::uint8_t>* copy, std::uint64_t length, bool replace) {
    if (length == 0 || StoredPicNames(name).empty()) return false;
    const Place old = replace ? FindPlace(name, extension) : Place{};
    const bool native = keepNative_ && newFormat && !extension.empty();
    Target target = OpenWritePic(name, extension, native, newFormat, PicKindOfFile(extension), length, true);
    if (!target.stream) return false;
    Log(__LINE__, "PicBox AddFile: copying " + std::to_string(length) + " bytes file...");
    if (!CopyChunks(file, *target.stream, length, copy)) return false;
    Log(__LINE__, "PicBox AddFile: copying done.");
    if (!newFormat) WritePicTail(*target.stream, 0, 0, nullptr, nullptr);
    return Finish(target, old, name);
}

/// False unless the file has exactly that many bytes: its header tells how many there are.
bool qvPicBox::CopyChunks(std::FILE* file, QvStream& stream, std::uint64_t length, std::vector<std::uint8_t>* copy) {
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(std::min(length, kChunk)));
    std::uint64_t copied = 0;
    for (std::size_t got = buffer.size(); got == buffer.size(); copied += got) {
        got = std::fread(buffer.data(), 1, buffer.size(), file);
        if (stream.Write(buffer.data(), got) != got) return false;
        if (pump_) pump_();
        if (got == length && copied == 0 && copy) *copy = buffer;
    }
    return copied == length && !std::ferror(file);
}

bool qvPicBox::SetImageInfo(const char* name, const PicInfoRecord& record) {
    if (!name || !pictures_ || StoredPicNames(name).empty()) return false;
    try {
        Target target = OpenTarget(pictures_.get(), WrittenPicName(name) + ".inf");
        if (target.stream && WritePicInfo(*target.stream, name, record) && CloseStream(target.stream)) return true;
    } catch (const CQvError& error) {
        return Fail(__LINE__, std::string("CStream-Exception in qvPicBox::SetImageInfo: ") + error.what());
    }
    return Fail(__LINE__, "CStream-Exception in qvPicBox::SetImageInfo");
}

}  // namespace kestrel
