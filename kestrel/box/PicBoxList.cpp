// Every picture of a box, and what the beginning of its stream tells.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>

#include "kestrel/box/PicBox.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StorageFileException.h"

namespace kestrel {
namespace {

/// Streams beside pictures, and what killed writers left: new files of folder trees, unfinished streams of compound
/// files.
bool IsNoPicture(std::string_view name) {
    const bool unfinished = name.starts_with('\x06') || (name.starts_with('.') && name.ends_with(".part"));
    return name.empty() || IsPicInfo(name) || unfinished;
}

/// The encoded image within a stream, as a file to read.
class EmbeddedFile {
public:
    EmbeddedFile(QvStream& stream, std::uint64_t size) : stream_(stream), start_(stream.Tell()) {
        const std::int64_t left = std::max<std::int64_t>(stream.Size() - start_, 0);
        size_ = static_cast<std::int64_t>(std::min(size, static_cast<std::uint64_t>(left)));
        const cookie_io_functions_t functions{.read = Read, .write = nullptr, .seek = Seek, .close = nullptr};
        file_ = fopencookie(this, "rb", functions);
        if (!file_) throw std::bad_alloc();
    }
    ~EmbeddedFile() { std::fclose(file_); }
    EmbeddedFile(const EmbeddedFile&) = delete;
    EmbeddedFile& operator=(const EmbeddedFile&) = delete;
    std::FILE* File() const { return file_; }

private:
    static ssize_t Read(void* cookie, char* buffer, std::size_t count) try {
        auto& self = *static_cast<EmbeddedFile*>(cookie);
        const auto left = static_cast<std::size_t>(self.size_ - self.at_);
        if (self.stream_.Seek(self.start_ + self.at_, kSeekBegin) < 0) return -1;
        const std::size_t got = self.stream_.Read(buffer, std::min(count, left));
        self.at_ += static_cast<std::int64_t>(got);
        return static_cast<ssize_t>(got);
    } catch (const CQvError&) {  // nothing may be thrown through the C library
        errno = EIO;
        return -1;
    }
    static int Seek(void* cookie, off64_t* offset, int whence) {
        auto& self = *static_cast<EmbeddedFile*>(cookie);
        const std::int64_t base = whence == SEEK_CUR ? self.at_ : whence == SEEK_END ? self.size_ : 0;
        const std::int64_t to = base + *offset;
        if (to < 0 || to > self.size_) return -1;
        *offset = self.at_ = to;
        return 0;
    }

    QvStream& stream_;
    std::int64_t start_;
    std::int64_t size_ = 0;
    std::int64_t at_ = 0;
    std::FILE* file_ = nullptr;
};

}  // namespace

std::vector<qvPicBox::Shelf> qvPicBox::Shelves() const {
    if (external_) return {{"", &root_}};
    std::vector<Shelf> shelves{{picturesName_, pictures_.get()},
                               {picturesName_ + "/PicMask", picMask_.get()},
                               {picturesName_ + "/OnlyPic", onlyPic_.get()},
                               {picturesName_ + "/OnlyMask", onlyMask_.get()},
                               {"Pic_Mask", oldPicMask_.get()},
                               {"PicMask", rootPicMask_.get()},
                               {"", &root_}};
    std::erase_if(shelves, [](const Shelf& shelf) { return !shelf.storage; });
    return shelves;
}

std::vector<PicEntry> qvPicBox::Pictures() {
    std::vector<PicEntry> pictures;
    for (const Shelf& shelf : Shelves()) {
        QvString found;
        unsigned long flags = 0;
        for (bool more = shelf.storage->FirstElement(found, flags); more;
             more = shelf.storage->NextElement(found, flags)) {
            PicEntry entry{shelf.path, std::string(found), std::string(found), ""};
            const std::string_view extension = PicExtension(entry.stream);
            const bool onlyFiles = shelf.path.empty();
            if (flags != kElementStream || IsNoPicture(entry.stream) || (onlyFiles && extension.empty())) continue;
            if (!extension.empty() && !external_ && (onlyFiles || shelf.storage == pictures_.get())) {
                entry.extension = extension;
                entry.name.resize(entry.name.size() - extension.size() - 1);
            }
            pictures.push_back(std::move(entry));
        }
    }
    return pictures;
}

IQvStorage* qvPicBox::FindShelf(const PicEntry& entry) const {
    for (const Shelf& shelf : Shelves())
        if (shelf.path == entry.storage) return shelf.storage;
    return nullptr;
}

PicHeader qvPicBox::ReadHeaderOf(IQvStorage* storage, const PicEntry& entry, QvStream& stream) const {
    const std::string_view extension = PicExtension(entry.stream);
    if (storage == &root_) return NativePicHeader(stream, extension);
    if (storage == pictures_.get()) {
        PicHeader header = ReadPicHeader(stream, entry.stream, keepNative_);
        const bool isFile = header.native && header.length == 0 && !extension.empty();
        return isFile ? NativePicHeader(stream, extension) : header;
    }
    return ReadOlderPicHeader(stream, storage == onlyPic_.get()    ? OlderPlace::OnlyPic
                                      : storage == picMask_.get()  ? OlderPlace::PicMask
                                      : storage == onlyMask_.get() ? OlderPlace::OnlyMask
                                                                   : OlderPlace::OldPicMask);
}

bool qvPicBox::Describe(PicEntry& entry, PicDescription& description) {
    description = {};
    try {
        IQvStorage* const storage = FindShelf(entry);
        const QvStreamPtr stream = storage ? storage->OpenStream(entry.stream.c_str(), kStorageRead) : nullptr;
        if (!stream) {
            description.problem = LastStorageError();
            return false;
        }
        description.header = ReadHeaderOf(storage, entry, *stream);
        if (description.header.length > 0) {
            entry.name = entry.stream;
            entry.extension.clear();
        }
        description.bytes = static_cast<std::uint64_t>(std::max<std::int64_t>(stream->Size(), 0));
        DescribeStream(*stream, description);
        return true;
    } catch (const StorageFileException& error) {
        description.problem = error.OneLine();
    } catch (const CQvError& error) {
        description.problem = error.what();
    } catch (const std::bad_alloc&) {
        description.problem = "not enough memory";
    }
    return false;
}

QvStreamPtr qvPicBox::OpenImage(const PicEntry& entry, const PicHeader& header, std::uint64_t& size) {
    IQvStorage* const storage = FindShelf(entry);
    QvStreamPtr stream = storage ? storage->OpenStream(entry.stream.c_str(), kStorageRead) : nullptr;
    if (!stream) return nullptr;
    const std::int64_t left = stream->Size() - header.length;
    size = header.native ? static_cast<std::uint64_t>(std::max<std::int64_t>(left, 0)) : header.size;
    const bool whole = left >= 0 && size <= static_cast<std::uint64_t>(left);
    return whole && stream->Seek(header.length, kSeekBegin) >= 0 ? std::move(stream) : nullptr;
}

void qvPicBox::DescribeStream(QvStream& stream, PicDescription& description) const {
    const PicHeader& header = description.header;
    if (header.embedded) {
        LoadOptions options = limits_ ? *limits_ : LoadOptions();
        options.sizeOnly = true;
        if (FormatOfName(header.type) == ImageFormat::Raw) options.named = ImageFormat::Raw;
        const std::int64_t begin = stream.Tell();
        const EmbeddedFile image(stream, header.size);
        const LoadResult seen = ImageLoader::Load(image.File(), options);
        description.format = seen.format;
        description.width = seen.fullWidth;
        description.height = seen.fullHeight;
        description.hasMask = seen.hasAlpha || (!header.native && header.kind == PicKind::PictureAndMask);
        description.problem = seen.error.text;
        if (header.native || stream.Seek(begin + static_cast<std::int64_t>(header.size), kSeekBegin) < 0) return;
    } else {
        description.hasMask = header.kind != PicKind::PictureOnly;
    }
    PicTailStart tail;
    const bool read = ReadPicTailStart(stream, !header.embedded, tail);
    if (!read && !header.embedded) description.problem = "its records are damaged";
    if (!read) return;
    description.x = tail.x;
    description.y = tail.y;
    if (!header.embedded) {
        description.width = tail.width;
        description.height = tail.height;
    }
}

}  // namespace kestrel
