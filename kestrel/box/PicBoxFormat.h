#pragma once
#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"
#include "kestrel/storage/QvStream.h"

// How pictures lie in the streams of a picture box. All numbers are little-endian.
namespace kestrel {

/// What a stored picture consists of.
enum class PicKind : std::uint8_t { None = 0, PictureAndMask = 1, PictureOnly = 2, MaskOnly = 3 };

/// The kind of a picture that is a file of its own format: JPEG and Photo CD files hold no mask.
KESTREL_API PicKind PicKindOfFile(std::string_view extension);
/// The kind of what is about to be written.
KESTREL_API PicKind PicKindOf(bool picture, bool mask);

/// What the beginning of a picture's stream tells.
struct PicHeader {
    PicKind kind = PicKind::None;
    std::string type;          ///< such as "JPG", in capitals; empty when it is not known
    std::uint8_t version = 0;  ///< 0: nothing that could be read follows the header
    bool native = false;       ///< the stream, behind `length` bytes, is a file of its own format to its end
    bool embedded = false;     ///< an encoded image of `size` bytes follows the header; then, unless native, the tail
    std::uint64_t size = 0;    ///< bytes of the encoded image
    unsigned length = 0;       ///< bytes of the header as the box counts them
};

/// Where a stream without a short header was stored.
enum class OlderPlace { OnlyPic, PicMask, OnlyMask, OldPicMask };

/// The header of a stream of the main storage, which is at its start; afterwards the stream stands behind the header.
/// `name` gives the type of a bare file. `keepNative` is the storage's.
KESTREL_API PicHeader ReadPicHeader(QvStream& stream, std::string_view name, bool keepNative);
/// The header of a stream of an older storage; `OldPicMask` are the two storages of the root.
KESTREL_API PicHeader ReadOlderPicHeader(QvStream& stream, OlderPlace place);

/// The header of a stream that is a file of its own format, as its extension tells.
KESTREL_API PicHeader NativePicHeader(QvStream& stream, std::string_view extension);
/// The next `size` bytes, or those that are left.
KESTREL_API std::vector<std::uint8_t> ReadPicBytes(QvStream& stream, std::uint64_t size);

/// False when the stream took less.
[[nodiscard]] KESTREL_API bool WritePicBytes(QvOutputStream& stream, const std::vector<std::uint8_t>& bytes);

/// Writes kind and type, then the version, the flag of an embedded image and its size. False when the stream took less.
[[nodiscard]] KESTREL_API bool WritePicShortHeader(QvOutputStream& stream, PicKind kind, std::string_view type);
[[nodiscard]] KESTREL_API bool WritePicLongPart(QvOutputStream& stream, std::uint8_t version, bool embedded,
                                                std::uint32_t size);

/// What stands compressed at the end of a picture's stream: a position, and records that are not embedded.
struct PicTail {
    std::int32_t x = 0;
    std::int32_t y = 0;
    DibPtr image;
    DibPtr mask;
    bool failed = false;  ///< it breaks off, or a record contradicts itself; what was read before is kept
};
/// Reads the tail from the stream's position on. Behind an embedded image it may be missing, and so may the mask in it.
KESTREL_API PicTail ReadPicTail(QvStream& stream, PicKind kind, bool embedded);
/// Writes a tail; null records are left out. Throws `QvStreamException`.
KESTREL_API void WritePicTail(QvOutputStream& stream, std::int32_t x, std::int32_t y, Dib* image, Dib* mask);

/// The caller's record in an `.inf` stream. Its first five bytes are the box's.
using PicInfoRecord = std::array<std::uint8_t, 36>;
/// The stored name; empty, and the record untouched, for a stream that is none of these.
KESTREL_API std::string ReadPicInfo(QvStream& stream, PicInfoRecord& record);
[[nodiscard]] KESTREL_API bool WritePicInfo(QvOutputStream& stream, std::string_view name, PicInfoRecord record);

/// The extension of a picture file that a name ends with, without its dot; empty without one.
KESTREL_API std::string_view PicExtension(std::string_view name);

/// The beginning of a tail.
struct PicTailStart {
    std::int32_t x = 0, y = 0;
    std::int64_t width = 0, height = 0;  ///< pixels of the first record
};
/// Reads from the stream's position on; the size only when a record is expected. False when the data breaks off before.
KESTREL_API bool ReadPicTailStart(QvStream& stream, bool wantSize, PicTailStart& start);

/// A name from outside as one of a stream or file: what is no printable ASCII or means something in paths becomes `_`.
KESTREL_API std::string CleanPicName(std::string_view name);
/// The same with an extension, which takes the place of that of an image.
KESTREL_API std::string CleanPicName(std::string_view name, std::string_view extension);

/// The name that a picture is written under: cleaned, the extension, if any, in capitals.
KESTREL_API std::string WrittenPicName(std::string_view name, std::string_view extension = {});
/// The names under which a picture may be stored: as it is, unless it is a path, and cleaned; with an extension where
/// one is given. None for an empty name and for those of the older storages.
KESTREL_API std::vector<std::string> StoredPicNames(std::string_view name, std::string_view extension = {});
/// Whether two names differ in the case of ASCII letters only.
KESTREL_API bool PicNamesEqual(std::string_view a, std::string_view b);
/// Whether a stream of this name is the record that a caller keeps beside a picture.
KESTREL_API bool IsPicInfo(std::string_view name);

/// Numeric image types that the box itself asks for; the same numbers as in `ImageFormat`.
inline constexpr int kPicTypeJpeg = 1, kPicTypeTiff = 2, kPicTypePng = 10, kPicTypeRaw = 17;

/// The name of a numeric image type ("jpg"), empty for numbers without one; and the extension that files of that type
/// are saved with (".JPG" for types that cannot be saved).
KESTREL_API const char* PicTypeName(int type);
KESTREL_API const char* PicSaveExtension(int type);

/// The numeric type of the image that begins at the stream's position, which stays. `sniff` knows types other than
/// JPEG by up to 0x8000 bytes of theirs.
KESTREL_API int SniffPicType(QvStream& stream, const std::function<int(std::span<const std::uint8_t>)>& sniff);

}  // namespace kestrel
