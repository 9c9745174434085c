#pragma once
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kestrel/storage/compound/Directory.h"

namespace kestrel::compound {

/// The elements of each storage: a red-black tree in the format's order of names, whose nodes are directory entries.
///
/// Other writers order and color their trees as they like, and damaged files have circles. So an element that the order
/// does not find is looked for in the whole tree, and a tree that breaks the rules is put in order before it is
/// changed. Each entry belongs to the first storage that reached it: whoever walks down from the root meets it once.
class NameTree {
public:
    explicit NameTree(Directory& directory) : directory_(directory) {}

    /// `kNoEntry` when the storage has no element of that name.
    Result<EntryId> Find(EntryId storage, std::u16string_view name);
    /// All elements in order.
    Result<std::vector<EntryId>> Elements(EntryId storage);

    /// Hangs in an entry whose name the storage does not have yet.
    Error Insert(EntryId storage, EntryId id);
    /// Takes an entry out; the entry itself stays.
    Error Remove(EntryId storage, EntryId id);
    /// The entry is gone; its number may come to mean something else.
    void Forget(EntryId id);

    /// What a walk over the whole tree of a storage found.
    struct Shape {
        bool linked = false;            // every link leads to an element that is this storage's own
        bool sound = false;             // besides, in order and colored by the rules
        std::vector<EntryId> elements;  // in order of names
    };
    Result<Shape> Look(EntryId storage);

    /// The storage that an entry was found in; `kNoEntry` for one that nobody came across.
    EntryId Owner(EntryId id) const { return id < owners_.size() ? owners_[id] : kNoEntry; }
    /// From now on the entry belongs to the root, though it hangs nowhere. For lost ones, whose links may form circles.
    void Adopt(EntryId id) { static_cast<void>(Claim(kRootEntry, id)); }

private:
    class Walk;

    bool Claim(EntryId storage, EntryId id);
    bool Sound(EntryId storage) const;
    Result<EntryId> Descend(EntryId storage, std::u16string_view name);
    Error MakeSound(EntryId storage);
    Error Build(EntryId storage, const std::vector<EntryId>& elements);

    Directory& directory_;
    std::vector<EntryId> owners_;
    std::unordered_map<EntryId, Shape> shapes_;  // sound ones without their elements
};

}  // namespace kestrel::compound
