#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apps/kestrel/Existing.h"
#include "kestrel/box/PicBox.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/storage/IQvStorage.h"

inline constexpr unsigned long kChangeBox = kestrel::kStorageRead | kestrel::kStorageWrite;
inline constexpr unsigned long kMakeBox = kChangeBox | kestrel::kStorageCreate;

/// A picture in a box: "shop.box:harbour".
struct BoxPath {
    std::string box;
    std::string name;  ///< empty for the box itself
};

enum class PathUse { Input, Output };
/// What a path with a colon means. A file of the whole name comes first; then a box or folder before a colon, the last
/// one that names any. As the place to write to, one that ends with ".box" need not be there yet. None for all other
/// paths, which are the file system's.
std::optional<BoxPath> FindBoxPath(const std::string& path, PathUse use);

/// The place of a box on the disk, the same for every path that leads to it.
std::string BoxIdentity(const std::string& path);

/// A name without the extension of a picture file that it ends with.
std::string WithoutExtension(const std::string& name);

/// A stored picture with what its stream tells.
struct StoredPicture {
    kestrel::PicEntry entry;
    kestrel::PicDescription about;

    /// Whether the stored image is a picture file that holds all of the picture.
    bool IsFile() const;
};

/// A picture box of any kind on the disk: a compound file, a folder tree, a plain folder. All operations throw
/// `console::Failure` with one line.
class PictureBox {
public:
    /// `as` is the kind of a box that is made (`OpenStore`).
    PictureBox(const std::string& path, unsigned long mode, const std::string& as = "");
    ~PictureBox();
    PictureBox(const PictureBox&) = delete;
    PictureBox& operator=(const PictureBox&) = delete;

    const std::string& Path() const { return path_; }
    kestrel::qvPicBox& Box() { return *box_; }
    kestrel::IQvStorage& Root() { return *root_; }
    /// A picture of the box as messages name it: `path:name`.
    std::string Shown(const std::string& name) const;

    /// Names under which chains are kept.
    std::set<std::string> ChainNames();
    /// All pictures, sorted by name.
    const std::vector<kestrel::PicEntry>& Entries();
    /// Those whose names a mask such as "har*" fits; a mask without `*` and `?` is a name (`Find`).
    std::vector<kestrel::PicEntry> Matching(const std::string& mask);
    /// The picture that a name means: that of a stream of this name, else NAME.JPG, else the only NAME with another
    /// extension of pictures. NAME.png also finds the PNG picture of a stream NAME.
    StoredPicture Find(const std::string& name);
    std::optional<StoredPicture> FindIfThere(const std::string& name);
    StoredPicture Describe(kestrel::PicEntry entry);

    /// The picture, decoded.
    kestrel::LoadResult Load(const StoredPicture& picture, const kestrel::LoadOptions& limits);
    /// A stream at the beginning of the encoded image, and its size.
    kestrel::QvStreamPtr OpenImage(const StoredPicture& picture, std::uint64_t& size);

    /// The name under which a picture may be stored, given what its name and extension would be; none for one that is
    /// skipped. An empty extension stands for a stream of the box's own form.
    std::optional<std::string> FreeName(const std::string& name, const std::string& extension, Existing existing);
    /// Whether a picture that is written as `name`, with or without an extension, takes the place of another one.
    bool IsTaken(const std::string& name);
    /// Stores a picture file as it is, atomically; what has its name gives way. Returns the name of the stream.
    std::string AddFile(const std::string& name, const std::string& extension, std::FILE* file);
    /// Removes a picture and what is kept beside it, unless it has gone already.
    void Delete(const kestrel::PicEntry& entry);
    /// Has pictures of the name that were there before give way to the stream that was just stored.
    void GiveWay(const std::string& name, const std::string& extension);
    /// The extension that a picture file of this extension has in a stream's name: none where the box has a header of
    /// its own instead.
    std::string StoredExtension(const std::string& extension) const;

    /// Ends the work; what was changed is kept. Without it a box that was made for nothing goes again.
    void Finish();
    [[noreturn]] void Fail(const std::string& name, const std::string& why) const;
    /// Fails with the line that the storage left.
    [[noreturn]] void FailWithStorage(const std::string& name, const std::string& what) const;

private:
    void RemoveIfMadeForNothing();
    std::optional<StoredPicture> FindWithoutExtension(const std::string& name);
    std::vector<kestrel::PicEntry> Rivals(const std::string& name, const std::string& extension);

    std::string path_;
    bool isNew_;
    int lock_ = -1;  // of a folder, while it is changed
    kestrel::QvStoragePtr root_;
    std::unique_ptr<kestrel::qvPicBox> box_;
    std::optional<std::vector<kestrel::PicEntry>> entries_;
};
