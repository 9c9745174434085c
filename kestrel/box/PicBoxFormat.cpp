#include "kestrel/box/PicBoxFormat.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "kestrel/codec/ImageFormat.h"
#include "kestrel/storage/QvDeflatingWriter.h"
#include "kestrel/storage/QvInflatingReader.h"

namespace kestrel {
namespace {

constexpr std::string_view kTokens = "JPG JPEG TIF TIFF GIF BMP PNG PSD PCD TYPE";
constexpr std::size_t kTypeBytes = 4;
constexpr unsigned kShortHeader = 5;
constexpr unsigned kLongPart = 9;
constexpr unsigned kLongPartWithoutSize = 5;
constexpr std::uint64_t kShortestMask = 50;  // no mask fits into a tail that is shorter
constexpr std::uint64_t kBestRatio = 1032;   // zlib expands no byte to more than this
constexpr std::size_t kSniffed = 0x8000;
constexpr std::uint32_t kBitMasks = 3;  // of 4 bytes each
constexpr char kInfMagic[] = {'Q', 'V', 'A', 'X'};
constexpr char kInfVersion[] = {'V', '1', '0', '0', '0'};

constexpr const char* kInnerStorages[] = {"PicMask", "OnlyPic", "OnlyMask"};

constexpr std::string_view kImageExtensions[] = {
    ".bmp", ".gif", ".jpe", ".jpeg", ".jpg", ".pcd",  ".png", ".psd", ".tif", ".j2k", ".jp2", ".jpf",
    ".jpc", ".ras", ".pnm", ".pgm",  ".ppm", ".tiff", ".bay", ".bmq", ".crw", ".cs1", ".dcr", ".fff",
    ".mrw", ".nef", ".orf", ".pef",  ".raf", ".raw",  ".rdc", ".srf", ".x3f", ".cr2", ".dng"};

std::string Upper(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

/// From the last dot on; empty without one.
std::string_view ExtensionOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos ? std::string_view() : name.substr(dot);
}

bool IsImageExtension(std::string_view extension) {
    return std::any_of(std::begin(kImageExtensions), std::end(kImageExtensions),
                       [&](std::string_view known) { return Upper(known) == Upper(extension); });
}

template <class T>
bool ReadValue(QvInputStream& stream, T& value) {
    return stream.Read(&value, sizeof value) == sizeof value;
}

template <class T>
bool WriteValue(QvOutputStream& stream, T value) {
    return stream.Write(&value, sizeof value) == sizeof value;
}

/// Kind and type; kind None, and the stream back at its start, for what is no header.
PicHeader Read5BytesHeader(QvStream& stream) {
    char bytes[kShortHeader + 1] = {};
    stream.Read(bytes, kShortHeader);
    const std::string type = Upper(bytes + 1);
    PicHeader header;
    if (bytes[0] < 1 || bytes[0] > 3 || kTokens.find(type) == std::string_view::npos) {
        stream.Seek(0, kSeekBegin);
        return header;
    }
    header.kind = static_cast<PicKind>(bytes[0]);
    header.type = type;
    return header;
}

/// The embedded flag and the size behind a version byte above 0.
void ReadLongPart(QvStream& stream, PicHeader& header) {
    std::uint32_t flag = 0, size = 0;
    if (!ReadValue(stream, header.version) || header.version == 0 || !ReadValue(stream, flag)) return;
    header.embedded = flag != 0;
    if (header.embedded && ReadValue(stream, size)) header.size = size;
}

void Narrow(QvStream& stream, PicHeader& header) {
    const auto total = static_cast<std::uint64_t>(std::max<std::int64_t>(stream.Size(), 0));
    if (total < kShortestMask || total - kShortestMask <= header.size) header.kind = PicKind::PictureOnly;
}

/// Rows of 16 or 32 bits come behind three masks then, whatever the count of colours says.
bool HasBitMasks(const Dib* dib) {
    return dib->biCompression == kDibBitFields && (dib->biBitCount == 16 || dib->biBitCount == 32);
}

std::uint64_t RecordSize(Dib* dib) { return dib->biSize + DibImageSize(dib) + 4ull * DibColorCount(dib); }

/// A record of `size` bytes. Null when the data breaks off or the record does not hold the rows that it names.
DibPtr ReadRecord(QvInflatingReader& reader, std::uint64_t longest, bool isImage) {
    std::uint32_t size = 0;
    if (!ReadValue(reader, size) || size < sizeof(Dib) || size > longest) return nullptr;
    // Room for what a mask's header may leave out, as in blocks that are made here.
    DibPtr record(DibCreateEx(24, 0, 0, size));
    if (!record || reader.Read(record.get(), size) != size) return nullptr;
    Dib* dib = record.get();
    const bool sized = dib->biSize == sizeof(Dib) && dib->biWidth > 0 && dib->biHeight > 0;
    const bool hasMasks = isImage && HasBitMasks(dib);
    if (!sized || (isImage ? dib->biBitCount > 32 : DibBitsPerPixel(dib) != 8) ||
        (dib->biCompression != kDibPlain && !hasMasks))
        return nullptr;
    const std::uint64_t rows = std::uint64_t{DibRowSize(dib)} * static_cast<std::uint32_t>(dib->biHeight);
    const std::uint64_t table = hasMasks ? kBitMasks : std::uint64_t{DibColorCount(dib)};
    return sizeof(Dib) + 4 * table + rows <= size ? std::move(record) : nullptr;
}

/// Masks between header and rows are counted as colours, so that the record's size has room for them.
void WriteRecord(QvDeflatingWriter& writer, Dib* dib) {
    Dib header = *dib;
    if (HasBitMasks(dib)) header.biClrUsed = kBitMasks;
    const auto size = static_cast<std::uint32_t>(RecordSize(&header));
    WriteValue(writer, size);
    writer.Write(&header, sizeof header);
    writer.Write(dib + 1, size - sizeof header);
}

}  // namespace

PicKind PicKindOfFile(std::string_view extension) {
    const std::string type = Upper(extension);
    return type.rfind("JP", 0) == 0 || type == "PCD" ? PicKind::PictureOnly : PicKind::PictureAndMask;
}

PicKind PicKindOf(bool picture, bool mask) {
    return picture ? mask ? PicKind::PictureAndMask : PicKind::PictureOnly : mask ? PicKind::MaskOnly : PicKind::None;
}

PicHeader ReadPicHeader(QvStream& stream, std::string_view name, bool keepNative) {
    PicHeader header = Read5BytesHeader(stream);
    const auto total = static_cast<std::uint64_t>(std::max<std::int64_t>(stream.Size(), 0));
    if (header.kind == PicKind::None) {
        const std::string_view extension = ExtensionOf(name);
        if (IsImageExtension(extension)) header.type = Upper(extension.substr(1));
        header.kind = PicKind::PictureOnly;
        header.native = header.embedded = true;
        header.size = total;
        return header;
    }
    header.length = kShortHeader;
    if (header.type.empty() && keepNative) {
        header.kind = PicKind::PictureAndMask;
        header.native = header.embedded = true;
        header.size = total;
        return header;
    }
    ReadLongPart(stream, header);
    header.length += kLongPart;
    Narrow(stream, header);
    if (header.type == "TYPE") header.type.clear();
    return header;
}

PicHeader NativePicHeader(QvStream& stream, std::string_view extension) {
    PicHeader header;
    header.kind = PicKindOfFile(extension);
    header.type = Upper(extension);
    header.native = header.embedded = true;
    header.size = static_cast<std::uint64_t>(std::max<std::int64_t>(stream.Size(), 0));
    return header;
}

std::vector<std::uint8_t> ReadPicBytes(QvStream& stream, std::uint64_t size) {
    const std::int64_t left = std::max<std::int64_t>(stream.Size() - stream.Tell(), 0);
    std::vector<std::uint8_t> bytes(std::min(size, static_cast<std::uint64_t>(left)));
    bytes.resize(stream.Read(bytes.data(), bytes.size()));
    return bytes;
}

bool WritePicBytes(QvOutputStream& stream, const std::vector<std::uint8_t>& bytes) {
    return stream.Write(bytes.data(), bytes.size()) == bytes.size();
}

PicHeader ReadOlderPicHeader(QvStream& stream, OlderPlace place) {
    PicHeader header;
    ReadLongPart(stream, header);
    header.kind = place == OlderPlace::OnlyPic    ? PicKind::PictureOnly
                  : place == OlderPlace::OnlyMask ? PicKind::MaskOnly
                                                  : PicKind::PictureAndMask;
    header.length = place == OlderPlace::OnlyPic && !header.embedded ? kLongPartWithoutSize : kLongPart;
    if (place == OlderPlace::OldPicMask) Narrow(stream, header);
    return header;
}

bool WritePicShortHeader(QvOutputStream& stream, PicKind kind, std::string_view type) {
    char bytes[kShortHeader] = {static_cast<char>(kind)};
    type.copy(bytes + 1, kTypeBytes);
    return stream.Write(bytes, sizeof bytes) == sizeof bytes;
}

bool WritePicLongPart(QvOutputStream& stream, std::uint8_t version, bool embedded, std::uint32_t size) {
    if (!WriteValue(stream, version)) return false;
    if (version == 0) return true;
    return WriteValue(stream, std::uint32_t{embedded}) && (!embedded || WriteValue(stream, size));
}

bool ReadPicTailStart(QvStream& stream, bool wantSize, PicTailStart& start) {
    QvInflatingReader reader(stream);
    std::uint32_t size = 0;
    Dib header{};
    if (!ReadValue(reader, start.x) || !ReadValue(reader, start.y)) return false;
    if (!wantSize) return true;
    if (!ReadValue(reader, size) || !ReadValue(reader, header)) return false;
    start.width = header.biWidth;
    start.height = header.biHeight;
    return header.biSize == sizeof(Dib) && start.width > 0 && start.height > 0;
}

PicTail ReadPicTail(QvStream& stream, PicKind kind, bool embedded) {
    PicTail tail;
    const std::int64_t left = stream.Size() - stream.Tell();
    if (embedded && left <= 0) return tail;
    const std::uint64_t longest = left > 0 ? static_cast<std::uint64_t>(left) * kBestRatio : 0;
    QvInflatingReader reader(stream);
    tail.failed = !ReadValue(reader, tail.x) || !ReadValue(reader, tail.y);
    if (!tail.failed && !embedded && kind != PicKind::MaskOnly) {
        tail.image = ReadRecord(reader, longest, true);
        tail.failed = !tail.image;
    }
    if (!tail.failed && kind != PicKind::PictureOnly) {
        const std::int64_t before = reader.Tell();
        tail.mask = ReadRecord(reader, longest, false);
        const bool endedBefore = reader.Tell() == before && !reader.HasFailed();
        tail.failed = !tail.mask && !(embedded && endedBefore);
    }
    return tail;
}

void WritePicTail(QvOutputStream& stream, std::int32_t x, std::int32_t y, Dib* image, Dib* mask) {
    QvDeflatingWriter writer(stream);
    WriteValue(writer, x);
    WriteValue(writer, y);
    if (image) WriteRecord(writer, image);
    if (mask) WriteRecord(writer, mask);
    writer.End();
}

std::string ReadPicInfo(QvStream& stream, PicInfoRecord& record) {
    char magic[sizeof kInfMagic] = {};
    std::uint32_t length = 0, recordSize = 0;
    if (!ReadValue(stream, magic) || std::strncmp(magic, kInfMagic, sizeof magic) != 0) return "";
    if (!ReadValue(stream, length) || length > stream.Size() - stream.Tell()) return "";
    std::string name(length, 0);
    PicInfoRecord read;
    if (stream.Read(name.data(), length) != length || !ReadValue(stream, recordSize) || !ReadValue(stream, read))
        return "";
    record = read;
    return name.c_str();
}

bool WritePicInfo(QvOutputStream& stream, std::string_view name, PicInfoRecord record) {
    std::memcpy(record.data(), kInfVersion, sizeof kInfVersion);
    const std::string stored(name);
    const auto length = static_cast<std::uint32_t>(stored.size() + 1);
    return stream.Write(kInfMagic, sizeof kInfMagic) == sizeof kInfMagic && WriteValue(stream, length) &&
           stream.Write(stored.c_str(), length) == length &&
           WriteValue(stream, static_cast<std::uint32_t>(record.size())) && WriteValue(stream, record);
}

std::string_view PicExtension(std::string_view name) {
    const std::string_view extension = ExtensionOf(name);
    const bool known = IsImageExtension(extension) || FormatOfName(extension) != ImageFormat::Unknown;
    return known && extension.size() < name.size() ? extension.substr(1) : std::string_view();
}

std::string CleanPicName(std::string_view name) {
    std::string clean(name);
    for (char& c : clean)
        if (c < 32 || c > 126 || std::strchr("\"*/:;<>?\\|", c)) c = '_';
    return clean;
}

std::string CleanPicName(std::string_view name, std::string_view extension) {
    std::string clean = CleanPicName(name);
    const std::string_view own = ExtensionOf(clean);
    if (!own.empty() && (IsImageExtension(own) || Upper(own.substr(1)) == Upper(extension)))
        clean.resize(clean.size() - own.size());
    return clean.append(".").append(extension);
}

std::string WrittenPicName(std::string_view name, std::string_view extension) {
    return extension.empty() ? CleanPicName(name) : CleanPicName(name, Upper(CleanPicName(extension)));
}

std::vector<std::string> StoredPicNames(std::string_view name, std::string_view extension) {
    std::vector<std::string> names;
    const auto isNamed = [&](const char* storage) { return PicNamesEqual(name, storage); };
    if (name.empty()) return names;
    if (extension.empty() && std::any_of(std::begin(kInnerStorages), std::end(kInnerStorages), isNamed)) return names;
    const bool isPath = name.find_first_of("/\\*?") != std::string_view::npos || name == "." || name == "..";
    if (!isPath) names.emplace_back(name).append(extension.empty() ? "" : ".").append(extension);
    std::string clean = extension.empty() ? CleanPicName(name) : CleanPicName(name, CleanPicName(extension));
    if (clean != "." && clean != ".." && (names.empty() || names[0] != clean)) names.push_back(std::move(clean));
    if (!extension.empty()) names.push_back(WrittenPicName(name, extension));
    return names;
}

bool PicNamesEqual(std::string_view a, std::string_view b) { return Upper(a) == Upper(b); }

bool IsPicInfo(std::string_view name) {
    return name.size() >= 4 && PicNamesEqual(name.substr(name.size() - 4), ".inf");
}

const char* PicTypeName(int type) {
    constexpr const char* kNames[] = {"",    "jpg", "tif", "aap", "psd", "acc", "ppx", "bmp", "acc",
                                      "gif", "png", "tmx", "gif", "jp2", "ras", "ppm", "pcd", "raw"};
    return type > 0 && type < static_cast<int>(std::size(kNames)) ? kNames[type] : "";
}

const char* PicSaveExtension(int type) {
    switch (type) {
        case 2:
            return ".TIF";
        case 3:
            return ".AAP";
        case 4:
            return ".PSD";
        case 6:
            return ".PPX";
        case 7:
            return ".BMP";
        case 9:
            return ".GIF";
        case 10:
            return ".PNG";
        case 13:
            return ".JPEG";
        case 14:
            return ".RAS";
        case 15:
            return ".PNM";
        case 16:
            return ".PCD";
        default:
            return ".JPG";
    }
}

int SniffPicType(QvStream& stream, const std::function<int(std::span<const std::uint8_t>)>& sniff) {
    const std::int64_t position = stream.Tell();
    const std::vector<std::uint8_t> bytes = ReadPicBytes(stream, kSniffed);
    stream.Seek(position, kSeekBegin);
    const bool jpeg = bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF;
    return jpeg ? 1 : sniff(bytes);
}

}  // namespace kestrel
