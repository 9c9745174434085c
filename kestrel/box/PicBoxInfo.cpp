// What a box tells about its pictures without decoding them.
#include <algorithm>
#include <new>

#include "kestrel/box/JPegHeader.h"
#include "kestrel/box/PicBox.h"
#include "kestrel/codec/ImageFormat.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/storage/QvError.h"

namespace kestrel {
namespace {

int LoaderType(std::span<const std::uint8_t> bytes) {
    return ImageLoader::GetType(bytes.data(), static_cast<int>(bytes.size()));
}

}  // namespace

std::string qvPicBox::GetImageInfo(const char* name, PicInfoRecord& record) {
    if (!name || !pictures_) return "";
    try {
        for (const std::string& stored : StoredPicNames(name)) {
            const std::string info = stored + ".inf";
            if (!pictures_->Exists(info.c_str())) continue;
            if (const QvStreamPtr stream = pictures_->OpenStream(info.c_str(), kStorageRead))
                return ReadPicInfo(*stream, record);
        }
    } catch (const CQvError& error) {
        Fail(__LINE__, std::string("CStream-Exception in qvPicBox::GetImageInfo: ") + error.what());
    } catch (const std::bad_alloc&) {
        Fail(__LINE__, "CStream-Exception in qvPicBox::GetImageInfo");
    }
    return "";
}

bool qvPicBox::GetImageFileInfo(const char* name, bool wantPicture, bool wantMask, std::uint64_t& size, void* buffer,
                                const char* extension) {
    const std::uint64_t room = buffer ? size : 0;
    size = 0;
    Stored stored;
    try {
        if (!name || !Lookup(name, extension ? extension : "", stored)) return false;
        const PicHeader& header = stored.header;
        if (!header.native && header.version == 0) {
            WriteDebugOutput("\a");
            return false;
        }
        const bool hasMask = header.kind != PicKind::PictureOnly, hasPicture = header.kind != PicKind::MaskOnly;
        if (!header.embedded || (wantPicture && !hasPicture) || (wantMask && !hasMask)) return false;
        const std::int64_t left = stored.stream->Size() - stored.stream->Tell();
        const std::uint64_t whole =
            header.native ? static_cast<std::uint64_t>(std::max<std::int64_t>(left, 0)) : header.size;
        if (left < 0 || whole > static_cast<std::uint64_t>(left)) {
            failed_ = true;
            return false;
        }
        const auto wanted = static_cast<std::size_t>(std::min(room, whole));
        if (wanted > 0 && stored.stream->Read(buffer, wanted) != wanted) {
            failed_ = true;
            return false;
        }
        size = whole;
        return true;
    } catch (const CQvError& error) {
        return Fail(__LINE__, std::string("CStream-Exception in QvPicBox :: GetImageFileInfo: ") + error.what());
    } catch (const std::bad_alloc&) {
        return Fail(__LINE__, "CStream-Exception: unexpected Error in QvPicBox :: GetImageFileInfo");
    }
}

std::vector<std::uint8_t> qvPicBox::GetJPegHeader(const char* name, const char* extension) {
    Stored stored;
    try {
        if (!name || !Lookup(name, extension ? extension : "", stored) || !stored.header.embedded) return {};
        return ReadJPegHeader(*stored.stream);
    } catch (const CQvError& error) {
        Fail(__LINE__, std::string("CStream-Exception QvPicBox::GetJPegHeader: ") + error.what());
    } catch (const std::bad_alloc&) {
        Fail(__LINE__, "CStream-Exception: unexpected Error in QvPicBox :: GetJPegHeader");
    }
    return {};
}

int qvPicBox::FileType(const Stored& stored) {
    if (!stored.header.embedded) return 0;
    return SniffPicType(*stored.stream, LoaderType);
}

/// What a JPEG image with a mask becomes as a file.
int qvPicBox::TypeWithMask(std::string_view type) {
    return PicNamesEqual(type, "TIF") || PicNamesEqual(type, "TIFF") ? kPicTypeTiff : kPicTypePng;
}

int qvPicBox::AnalyzeFile(const char* name, std::string& extension) {
    Stored stored;
    try {
        if (!name || !Lookup(name, extension, stored)) {
            Log(__LINE__, "qvPicBox(" + std::string(root_.Path()) + ")::AnalyzeFile failed - source \"" +
                              (name ? name : "") + "\" not found");
            return 0;
        }
        const PicHeader& header = stored.header;
        if (const auto known = static_cast<int>(FormatOfName(header.type)); header.native && known != 0) {
            extension = header.type;
            return known;
        }
        int type = FileType(stored);
        if (type == kPicTypeJpeg && !header.native && header.kind == PicKind::PictureAndMask)
            type = TypeWithMask(header.type);
        extension = PicTypeName(type);
        return type;
    } catch (const CQvError& error) {
        Fail(__LINE__, std::string("CStream-Exception in qvPicBox::AnalyzeFile: ") + error.what());
    } catch (const std::bad_alloc&) {
        Fail(__LINE__, "CStream-Exception: unexpected Error in qvPicBox::AnalyzeFile");
    }
    return 0;
}

}  // namespace kestrel
