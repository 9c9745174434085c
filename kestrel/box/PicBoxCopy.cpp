// Copies pictures between boxes. What is copied is in memory at once, so that a copy within one box, onto itself too,
// never meets its own source while that is open.
#include <fmt/format.h>

#include <cstdint>
#include <new>

#include "kestrel/box/PicBox.h"
#include "kestrel/codec/ImageFormat.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/StorageFile.h"

namespace kestrel {
namespace {

bool IsVideo(const std::string& type) {
    for (const char* const video : {"AVI", "MPG", "MPEG", "MOV", "WMV", "ASF"})
        if (PicNamesEqual(video, type)) return true;
    return false;
}

std::string Capitals(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

}  // namespace

bool qvPicBox::CopyImage(const char* source, qvPicBox& destination, const char* destinationName, bool newFormat,
                         const char* type, bool keep) {
    if (!source || !destinationName) return false;
    CopyJob job{source, destination, destinationName, newFormat, type ? type : "", keep};
    CopyLog(__LINE__, fmt::format("({}...\\{}.{} to {}...\\{})", std::string(root_.Path()), job.source, job.type,
                                  std::string(destination.root_.Path()), job.name));
    bool copied = false;
    try {
        copied = external_ ? CopyFromFolder(job) : CopyFromBox(job);
    } catch (const CQvError& error) {
        Log(__LINE__, std::string("CStream-Exception in qvPicBox::CopyImage: ") + error.what());
    } catch (const std::bad_alloc&) {
        Log(__LINE__, "CStream-Exception: unexpected Error in qvPicBox::CopyImage");
    }
    if (!copied) failed_ = true;
    CopyLog(__LINE__, copied ? "(): success!" : "(): failed!");
    return copied;
}

/// Logs a line of `CopyImage`.
void qvPicBox::CopyLog(int line, const std::string& text) { Log(line, "      qvPicBox::CopyImage" + text); }

bool qvPicBox::CopyFromFolder(const CopyJob& job) {
    CopyLog(__LINE__, "(): Source is external");
    if (job.destination.external_) {
        CopyLog(__LINE__, "(): dest is external");
        return CopyFolderFile(job, &job.destination.root_);
    }
    if (job.type.empty()) CopyLog(__LINE__, "(): really need the file extension here!");
    if (job.newFormat) {
        CopyLog(__LINE__, "(): dest is not native but new (14 bytes header)");
        return CopyFolderFile(job, job.destination.pictures_.get());
    }
    CopyLog(__LINE__, "(): dest is old format");
    QvStreamPtr file = root_.Exists(job.source.c_str()) ? root_.OpenStream(job.source.c_str(), kStorageRead) : nullptr;
    if (!file) {
        CopyLog(__LINE__, "(): 1st Open failed");
        const std::string with = job.source + "." + job.type;
        if (root_.Exists(with.c_str())) file = root_.OpenStream(with.c_str(), kStorageRead);
    }
    if (!file || !file->File()) {
        CopyLog(__LINE__, "(): both open failed");
        return false;
    }
    if (job.destination.AddFile(job.name.c_str(), job.type.c_str(), file->File()->Stream(), false, nullptr, nullptr,
                                true))
        return true;
    CopyLog(__LINE__, "(): Open succeeded, AddFile failed");
    return false;
}

/// Copies a file of this external box, tried without and with the extension, as it is.
bool qvPicBox::CopyFolderFile(const CopyJob& job, IQvStorage* to) {
    Stored stored;
    const auto copy = [&](const std::string& file) {
        if (!root_.Exists(file.c_str())) return false;
        stored.stream = root_.OpenStream(file.c_str(), kStorageRead);
        if (!stored.stream) return false;
        const Place old = job.destination.external_ ? Place{} : job.destination.FindPlace(job.name, job.type);
        const std::vector<std::uint8_t> bytes = ReadPicBytes(*stored.stream, UINT64_MAX);
        stored.stream.reset();
        Target target = OpenTarget(to, WrittenPicName(job.name, job.type));
        return target.stream && WritePicBytes(*target.stream, bytes) && job.destination.Finish(target, old, job.name);
    };
    if (copy(job.source)) return true;
    CopyLog(__LINE__, "(): 1st CopyFile failed");
    if (copy(job.source + "." + job.type)) return true;
    CopyLog(__LINE__, "(): 2nd CopyFile failed");
    return false;
}

bool qvPicBox::CopyFromBox(CopyJob& job) {
    const std::string ownPath(root_.Path()), otherPath(job.destination.root_.Path());
    const bool sameBox = &root_ == &job.destination.root_ || (!ownPath.empty() && ownPath == otherPath);
    Stored stored;
    if (!Lookup(job.source, job.type, stored)) {
        CopyLog(__LINE__, fmt::format("(): source {}.{} not found!", job.source, job.type));
        return false;
    }
    // What is there under the new name gives way once the copy is whole.
    const bool replaces = !job.destination.external_ && !(sameBox && job.source == job.name);
    const Place old = replaces ? job.destination.FindPlace(job.name, job.type) : Place{};
    ChooseForm(job, stored);
    Target target;
    const bool written = job.convert                 ? CopyConverted(job, stored, target)
                         : job.destination.external_ ? CopyToFolder(job, stored, target)
                                                     : CopyToBox(job, stored, target);
    return written && (!target.stream || job.destination.Finish(target, old, job.name));
}

/// Decides about the type of the copy, and whether it is a file of its own format or has to be encoded anew.
void qvPicBox::ChooseForm(CopyJob& job, Stored& stored) {
    const PicHeader& header = stored.header;
    int format = header.embedded ? FileType(stored) : 0;
    std::string formatName = Capitals(PicTypeName(format));
    if (header.embedded && (format == 0 || format == kPicTypeRaw) && !job.type.empty()) formatName = job.type;
    if (job.type.empty()) job.newFormat = false;
    const bool video = IsVideo(job.type);
    const bool withMask = header.kind == PicKind::PictureAndMask;
    job.native = video;
    if (!video && !job.keep) {
        CopyLog(__LINE__, "(): dest shall be native");
        job.native = true;
        if (!header.native && job.newFormat && format == kPicTypeJpeg && withMask) {
            CopyLog(__LINE__, "(): have to convert to native");
            job.convert = true;
        }
    }
    // Records of the box's own make no file.
    if (!header.embedded && job.destination.external_) job.convert = true;
    if (job.convert) {
        format = TypeWithMask(job.type);
        formatName = Capitals(PicTypeName(format));
    }
    if (!header.native && (job.newFormat || job.convert)) job.type = formatName;
    job.native = job.native && job.newFormat && header.embedded;
}

bool qvPicBox::CopyToBox(const CopyJob& job, Stored& stored, Target& target) {
    CopyLog(__LINE__, "(): destination is internal");
    qvPicBox& box = job.destination;
    const PicHeader header = stored.header;
    if (header.native) {
        CopyLog(__LINE__, "(): src is native");
        const bool asFile = stored.isFile && box.pictures_ && box.pictures_->Kind() == 1;
        CopyLog(__LINE__, asFile ? "(): do copy" : "(): do not copy");
        if (asFile) return CopyAsFile(job, stored, 'd', box.pictures_.get(), target);
    }
    const std::uint64_t size = job.native ? header.size : UINT64_MAX;
    const std::vector<std::uint8_t> bytes = ReadPicBytes(*stored.stream, size);
    stored.stream.reset();
    const std::uint64_t embedded = header.native ? bytes.size() : header.size;
    target = box.OpenWritePic(job.name, job.type, job.native, job.newFormat, header.kind, embedded, header.embedded);
    if (!target.stream) {
        CopyLog(__LINE__, "(): OpenWritePic failed");
        Log(__LINE__, fmt::format("      qvPicBox({})::CopyImage failed - couldn't open destination \"{}\" !",
                                  std::string(box.root_.Path()), job.name));
        return false;
    }
    if (bytes.empty() || bytes.size() < embedded) {
        CopyLog(__LINE__, "(): invalid stream size");
        return false;
    }
    const std::size_t written = target.stream->Write(bytes.data(), bytes.size());
    CopyLog(__LINE__,
            fmt::format("(): Dest image '{}.{}', {} of {} bytes written", job.name, job.type, written, bytes.size()));
    return written == bytes.size();
}

/// Copies a stream that is a file into a folder; `mark` tells in the log where that was done.
bool qvPicBox::CopyAsFile(const CopyJob& job, Stored& stored, char mark, IQvStorage* to, Target& target) {
    const std::string name = WrittenPicName(job.name, job.type);
    const std::string path = std::string(to->Path()) + name;
    const std::vector<std::uint8_t> bytes = ReadPicBytes(*stored.stream, UINT64_MAX);
    stored.stream.reset();
    target = OpenTarget(to, name);
    if (!target.stream || !WritePicBytes(*target.stream, bytes)) {
        CopyLog(__LINE__, "(): CopyFile() failed");
        return false;
    }
    CopyLog(__LINE__, "(): removing read only file status of " + path);
    CopyLog(__LINE__, fmt::format("({}): copied '{}' to '{}'", mark, stored.path, path));
    return true;
}

bool qvPicBox::CopyToFolder(const CopyJob& job, Stored& stored, Target& target) {
    CopyLog(__LINE__, "(): dest is external");
    IQvStorage* const folder = &job.destination.root_;
    if (stored.header.native) {
        CopyLog(__LINE__, "(): source is native");
        return CopyAsFile(job, stored, 'b', folder, target);
    }
    CopyLog(__LINE__, "(): source is not native");
    const std::vector<std::uint8_t> bytes = ReadPicBytes(*stored.stream, stored.header.size);
    stored.stream.reset();
    const std::string name = WrittenPicName(job.name, job.type);
    target = OpenTarget(folder, name);
    if (!target.stream) {
        Log(__LINE__, "      qvPicBox(external)::CopyImage failed - couldn't open destination \"" +
                          job.destination.ExternalPath(name) + "\" !");
        return false;
    }
    if (!bytes.empty() && WritePicBytes(*target.stream, bytes)) return true;
    CopyLog(__LINE__, "(): failed");
    return false;
}

bool qvPicBox::CopyConverted(const CopyJob& job, Stored& stored, Target& target) {
    CopyLog(__LINE__, "(): convert to PNG or TIF");
    Loaded loaded;
    const bool read = ReadOwnForm(stored, Request{}, loaded);
    stored.stream.reset();
    if (!read || !loaded.image) {
        CopyLog(__LINE__, "(): didn't get pic");
        return false;
    }
    std::vector<std::uint8_t> bytes;
    const auto type = static_cast<int>(FormatOfName(job.type));
    const bool encoded = Encode(loaded.image.get(), loaded.mask.get(), type, lastMetadata_, bytes);
    if (encoded) {
        qvPicBox& box = job.destination;
        target = OpenTarget(box.external_ ? &box.root_ : box.pictures_.get(), WrittenPicName(job.name, job.type));
        if (!target.stream) {
            CopyLog(__LINE__, "(): failed to open dest file");
            return false;
        }
    }
    if (encoded && WritePicBytes(*target.stream, bytes)) return true;
    CopyLog(__LINE__, "(): image loader has error");
    return false;
}

}  // namespace kestrel
