#pragma once
#include <unordered_map>
#include <vector>

#include "kestrel/storage/compound/Directory.h"

namespace kestrel::compound {

/// One change of a red-black tree. All entries that it touches are read first and written together at the end, so that
/// an entry that cannot be read leaves the tree as it was.
class TreeEdit {
public:
    TreeEdit(Directory& directory, EntryId storage) : directory_(directory), storage_(storage) {}

    /// Adds a node to a sound tree.
    void Insert(EntryId id);
    /// Takes a node out of a sound tree.
    void Remove(EntryId id);
    /// Makes a balanced tree of nodes in order, whatever their links were.
    void Build(const std::vector<EntryId>& elements);

    /// Writes the entries; or tells the first error, and nothing was written.
    Error Finish();

private:
    DirectoryEntry& Node(EntryId id);
    bool Red(EntryId id);
    EntryId& Child(EntryId id, bool right) { return right ? Node(id).right : Node(id).left; }
    void Replace(EntryId parent, EntryId old, EntryId by);
    EntryId Rotate(EntryId parent, EntryId top, bool right);
    std::vector<EntryId> PathTo(EntryId id, std::u16string_view name);
    void MendAfterInsert(std::vector<EntryId> path);
    void MendAfterRemove(std::vector<EntryId> parents, bool right);
    EntryId BuildPart(const std::vector<EntryId>& elements, std::size_t begin, std::size_t end, unsigned blackLevels);
    bool Failed() const { return error_ != Error::kNone; }

    Directory& directory_;
    EntryId storage_;
    std::unordered_map<EntryId, DirectoryEntry> nodes_;
    Error error_ = Error::kNone;
};

}  // namespace kestrel::compound
