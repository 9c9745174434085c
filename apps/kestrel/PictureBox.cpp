#include "apps/kestrel/PictureBox.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>
#include <tuple>
#include <utility>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"
#include "apps/kestrel/Stores.h"
#include "kestrel/storage/NameMask.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StoragePath.h"
#include "kestrel/storage/compound/Error.h"

using namespace kestrel;

namespace {

constexpr std::string_view kBoxExtension = ".box";
constexpr std::string_view kCompoundMagic = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr int kOpenTries = 10;  // of about a second each
constexpr int kLockTries = 1000;
constexpr std::chrono::milliseconds kBetweenTries{10};

bool FileExists(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

/// A file beside a colon may be anything; a compound file shows by its first bytes.
bool IsBox(const std::string& path) {
    const Layout layout = LayoutOf(path);
    if (layout != Layout::Compound) return layout != Layout::Missing;
    char start[kCompoundMagic.size()] = {};
    std::ifstream(path, std::ios::binary).read(start, sizeof start);
    return std::string_view(start, sizeof start) == kCompoundMagic;
}

/// The folder that holds a box which is not a compound file.
std::string FolderOf(const std::string& path, Layout layout) {
    return SystemPath(layout == Layout::Tree ? BoxFolder(path) : path);
}

/// Folders have no lock of their own: those who change a box one after the other hold its folder meanwhile.
int LockFolder(const std::string& path, const std::string& folder) {
    if (!MakeFolders(folder)) FailStore(path, std::strerror(errno));
    const int lock = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock < 0) FailStore(path, std::strerror(errno));
    for (int tries = 0; flock(lock, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; ++tries) {
        if (tries == kLockTries) {
            close(lock);
            FailStore(path, "another program is changing the box");
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
    return lock;
}

/// Opens the box, also when others hold a compound file for longer than the storage waits by itself.
QvStoragePtr OpenPatiently(const std::string& path, unsigned long mode, const std::string& as) {
    for (int tries = 1;; ++tries) {
        try {
            return OpenStore(path, mode, as);
        } catch (const console::Failure&) {
            const bool held = LastStorageError().ends_with(compound::Text(compound::Error::kShareViolation));
            if (!held || tries == kOpenTries || interrupt::Happened()) throw;
        }
    }
}

}  // namespace

std::optional<BoxPath> FindBoxPath(const std::string& path, PathUse use) {
    if (path == "-" || FileExists(path)) return {};
    const std::size_t slash = path.rfind('/');
    const std::size_t first = slash == path.npos ? 0 : slash + 1;  // names of pictures hold no slash
    for (std::size_t colon = path.rfind(':'); colon != path.npos && colon > first; colon = path.rfind(':', colon - 1)) {
        const std::string box = path.substr(0, colon);
        const bool makes = use == PathUse::Output && box.ends_with(kBoxExtension) && LayoutOf(box) == Layout::Missing;
        if (makes || IsBox(box)) return BoxPath{box, path.substr(colon + 1)};
    }
    return {};
}

std::string BoxIdentity(const std::string& path) {
    const Layout layout = LayoutOf(path);
    return std::filesystem::weakly_canonical(layout == Layout::Tree ? FolderOf(path, layout) : SystemPath(path));
}

std::string WithoutExtension(const std::string& name) {
    const std::string_view extension = PicExtension(name);
    return extension.empty() ? name : name.substr(0, name.size() - extension.size() - 1);
}

bool StoredPicture::IsFile() const {
    const PicHeader& header = about.header;
    return header.embedded && (header.native || header.kind == PicKind::PictureOnly);
}

PictureBox::PictureBox(const std::string& path, unsigned long mode, const std::string& as) : path_(path) {
    Layout layout = LayoutOf(path);
    isNew_ = layout == Layout::Missing;
    if (isNew_ && !(mode & kStorageCreate)) FailStore(path, "there is no such box");
    if (isNew_) layout = as == "folder" ? Layout::Folder : as == "tree" ? Layout::Tree : Layout::Compound;
    if (layout != Layout::Compound && (mode & kStorageWrite)) lock_ = LockFolder(path, FolderOf(path, layout));
    root_ = OpenPatiently(path, mode, as);
    box_ = std::make_unique<qvPicBox>(*root_, mode);
    if (box_->HasFailed()) FailStore(path, "is no picture box: it has no storage \"Pictures\"");
    box_->SetPump([] {
        if (interrupt::Happened()) throw CQvError("interrupted", EINTR);
    });
}

PictureBox::~PictureBox() { RemoveIfMadeForNothing(); }

/// Closes the box; a new one that holds nothing goes while it is still held, so that nobody else can be in it.
void PictureBox::RemoveIfMadeForNothing() {
    const bool empty = isNew_ && box_ && box_->Pictures().empty();
    const Layout layout = LayoutOf(path_);
    box_.reset();
    if (empty && layout == Layout::Compound) unlink(path_.c_str());
    root_.reset();
    if (empty && layout != Layout::Compound) {
        std::error_code none;
        std::filesystem::remove(FolderOf(path_, layout), none);  // a folder that holds something refuses
    }
    if (lock_ >= 0) close(std::exchange(lock_, -1));
}

void PictureBox::Finish() {
    if (isNew_ && box_->Pictures().empty()) return RemoveIfMadeForNothing();
    box_.reset();
    if (!CloseStorage(root_)) ::FailWithStorage(path_, "");
}

std::string PictureBox::Shown(const std::string& name) const { return path_ + ":" + ::Shown(name); }

void PictureBox::Fail(const std::string& name, const std::string& why) const {
    throw console::Failure{Shown(name) + ": " + why};
}

void PictureBox::FailWithStorage(const std::string& name, const std::string& what) const {
    const std::string& why = LastStorageError();
    Fail(name, why.empty() ? what : fmt::format("{}: {}", what, why));
}

std::set<std::string> PictureBox::ChainNames() {
    std::set<std::string> names;
    const QvStoragePtr chains = root_->Exists("Chains") ? root_->OpenStorage("Chains", kStorageRead) : nullptr;
    QvString name;
    unsigned long flags = 0;
    for (bool more = chains && chains->FirstElement(name, flags); more; more = chains->NextElement(name, flags))
        names.insert(std::string(name));
    return names;
}

const std::vector<PicEntry>& PictureBox::Entries() {
    if (!entries_) {
        entries_ = box_->Pictures();
        std::sort(entries_->begin(), entries_->end(), [](const PicEntry& a, const PicEntry& b) {
            return std::tie(a.stream, a.storage) < std::tie(b.stream, b.storage);
        });
    }
    return *entries_;
}

std::vector<PicEntry> PictureBox::Matching(const std::string& mask) {
    if (mask.find_first_of("*?") == mask.npos) return {Find(mask).entry};
    std::vector<PicEntry> matching;
    for (const PicEntry& entry : Entries())
        if (MaskFits(mask, entry.stream)) matching.push_back(entry);
    if (matching.empty()) Fail(mask, "no picture has such a name");
    return matching;
}

StoredPicture PictureBox::Find(const std::string& name) {
    auto found = FindIfThere(name);
    if (!found) Fail(name, "there is no such picture");
    return *std::move(found);
}

std::optional<StoredPicture> PictureBox::FindIfThere(const std::string& name) {
    const auto find = [this](const auto& fits) {
        const auto found = std::find_if(Entries().begin(), Entries().end(), fits);
        return found == Entries().end() ? nullptr : &*found;
    };
    const std::string clean = CleanPicName(name);
    const auto named = [&](const std::string& stream) {
        return PicNamesEqual(stream, name) || PicNamesEqual(stream, clean);
    };
    // The order of a lookup in the box itself.
    if (PicExtension(name).empty() && !box_->External())
        if (const auto* jpeg = find([&](const PicEntry& e) { return PicNamesEqual(e.stream, clean + ".JPG"); }))
            return Describe(*jpeg);
    if (const auto* exact = find([&](const PicEntry& entry) { return entry.stream == name; })) return Describe(*exact);
    if (const auto* alike = find([&](const PicEntry& entry) { return named(entry.stream); })) return Describe(*alike);
    std::vector<const PicEntry*> files;
    for (const PicEntry& entry : Entries())
        if (named(WithoutExtension(entry.stream))) files.push_back(&entry);
    if (files.empty()) return FindWithoutExtension(name);
    if (files.size() > 1)
        Fail(name, fmt::format("may be {} or {}; name one", ::Shown(files[0]->stream), ::Shown(files[1]->stream)));
    return Describe(*files[0]);
}

/// Where a box keeps no extensions, "harbour.jpg" finds the JPEG picture "harbour".
std::optional<StoredPicture> PictureBox::FindWithoutExtension(const std::string& name) {
    const ImageFormat format = FormatOfName(PicExtension(name));
    if (format == ImageFormat::Unknown) return {};
    const std::string clean = CleanPicName(WithoutExtension(name));
    for (const PicEntry& entry : Entries()) {
        if (!PicNamesEqual(entry.stream, clean)) continue;
        if (StoredPicture picture = Describe(entry); picture.about.format == format) return picture;
    }
    return {};
}

StoredPicture PictureBox::Describe(PicEntry entry) {
    StoredPicture picture{std::move(entry), {}};
    if (!box_->Describe(picture.entry, picture.about)) Fail(picture.entry.stream, picture.about.problem);
    return picture;
}

LoadResult PictureBox::Load(const StoredPicture& picture, const LoadOptions& limits) {
    LoadResult result;
    const auto& about = picture.about;
    const auto pixels = static_cast<std::uint64_t>(about.width) * static_cast<std::uint64_t>(about.height);
    if (pixels > limits.pixelLimit) {
        result.error = {CodecFault::PixelLimit, fmt::format("the picture has {} x {} pixels, the limit is {}",
                                                            about.width, about.height, limits.pixelLimit)};
        return result;
    }
    std::int32_t x = 0, y = 0;
    box_->SetLimits(limits);
    const bool read =
        box_->GetPic(picture.entry.name.c_str(), picture.entry.extension.c_str(), result.image, &result.mask, x, y);
    if (read && result.image && result.image->biBitCount != 24) result.image.reset(Make24BitDib(result.image.get()));
    if (!read || !result.image) {
        result.image.reset();
        result.error = box_->LastError();
        if (read) result.error = {CodecFault::NotSupported, "is a mask without a picture"};
        if (!result.error) result.error = {CodecFault::Broken, "the stored picture is damaged"};
        return result;
    }
    result.format = static_cast<ImageFormat>(box_->LastImageType());
    result.metadata = box_->LastMetadata();
    result.warnings = box_->LastWarnings();
    result.condition = box_->LastWasDamaged() ? Condition::Damaged : Condition::Whole;
    return result;
}

QvStreamPtr PictureBox::OpenImage(const StoredPicture& picture, std::uint64_t& size) {
    QvStreamPtr stream = box_->OpenImage(picture.entry, picture.about.header, size);
    if (!stream) Fail(picture.entry.stream, "the stored picture is damaged");
    return stream;
}

std::vector<PicEntry> PictureBox::Rivals(const std::string& name, const std::string& extension) {
    const std::string target = WrittenPicName(name, extension);
    const std::string stem = extension.empty() ? target : WithoutExtension(target);
    std::vector<PicEntry> rivals;
    for (const PicEntry& entry : Entries()) {
        const bool same = PicNamesEqual(entry.stream, target);
        const bool oneHasNone = extension.empty() || PicExtension(entry.stream).empty();
        if (same || (!box_->External() && oneHasNone && PicNamesEqual(WithoutExtension(entry.stream), stem)))
            rivals.push_back(entry);
    }
    return rivals;
}

std::optional<std::string> PictureBox::FreeName(const std::string& name, const std::string& extension,
                                                Existing existing) {
    for (int number = 1;; ++number) {
        const std::string free = NumberedName(name, number);
        const std::vector<PicEntry> rivals = Rivals(free, extension);
        if (rivals.empty() || existing == Existing::Replace) return free;
        if (existing == Existing::Skip) return {};
        if (existing == Existing::Refuse)
            Fail(rivals[0].stream, "is there already; --existing says what to do: skip, replace, rename");
    }
}

bool PictureBox::IsTaken(const std::string& name) {
    const std::string_view told = PicExtension(name);
    if (told.empty()) return FindIfThere(name) || !Rivals(name, StoredExtension("PNG")).empty();
    return !Rivals(WithoutExtension(name), StoredExtension(std::string(told))).empty();
}

std::string PictureBox::StoredExtension(const std::string& extension) const {
    return box_->External() || box_->KeepNative() ? extension : "";
}

std::string PictureBox::AddFile(const std::string& name, const std::string& extension, std::FILE* file) {
    std::string target = WrittenPicName(name, StoredExtension(extension));
    if (fseeko(file, 0, SEEK_END) != 0 || ftello(file) == 0) Fail(target, "the file is empty");
    if (!box_->External()) {
        if (StoredExtension(extension).empty() && ftello(file) > std::int64_t{UINT32_MAX})
            Fail(target, "the file is larger than 4 GiB, more than a picture in a compound file can have");
        if (!box_->AddFile(name.c_str(), extension.c_str(), file, true)) FailWithStorage(target, "cannot be stored");
    } else {
        std::rewind(file);
        QvStreamPtr stream = root_->CreateStream(target.c_str(), kMakeBox | kStorageTruncate);
        if (!stream) FailWithStorage(target, "cannot be stored");
        const std::unique_ptr<char[]> buffer(new char[kStoreChunk]);
        for (std::size_t got; (got = std::fread(buffer.get(), 1, kStoreChunk, file)) > 0;) {
            if (interrupt::Happened()) Fail(target, "interrupted");
            if (stream->Write(buffer.get(), got) != got) FailWithStorage(target, "cannot be stored");
        }
        if (std::ferror(file)) Fail(target, std::strerror(errno));
        if (!CloseStream(stream)) FailWithStorage(target, "cannot be stored");
    }
    GiveWay(name, StoredExtension(extension));
    return target;
}

void PictureBox::Delete(const PicEntry& entry) {
    const auto is = [&](const PicEntry& other) {
        return other.stream == entry.stream && other.storage == entry.storage;
    };
    if (std::none_of(Entries().begin(), Entries().end(), is)) return;
    if (!box_->Delete(entry)) FailWithStorage(entry.stream, "cannot be removed");
    entries_.reset();
}

void PictureBox::GiveWay(const std::string& name, const std::string& extension) {
    const std::string target = WrittenPicName(name, extension);
    for (const PicEntry& rival : Rivals(name, extension)) {
        if (!box_->External()) box_->DeleteBeside(rival.name);
        const bool sameStream = root_->Kind() == 0 ? PicNamesEqual(rival.stream, target) : rival.stream == target;
        const bool sameStorage = box_->External() || rival.storage == "Pictures";
        if (!(sameStream && sameStorage) && !box_->Delete(rival)) FailWithStorage(rival.stream, "cannot be removed");
    }
    entries_.reset();
}
