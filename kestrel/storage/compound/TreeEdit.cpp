#include "kestrel/storage/compound/TreeEdit.h"

#include <bit>

#include "kestrel/storage/compound/NameOrder.h"

namespace kestrel::compound {
/// After an error any entry, so that the algorithms below need not ask at each step.
DirectoryEntry& TreeEdit::Node(EntryId id) {
    const auto [node, added] = nodes_.try_emplace(id);
    if (added && !Failed()) {
        if (const auto entry = directory_.Read(id))
            node->second = *entry;
        else
            error_ = entry.Failure();
    }
    return node->second;
}

bool TreeEdit::Red(EntryId id) { return id != kNoEntry && !Node(id).black; }

/// `parent` may be none: then the node is the root of the storage's tree.
void TreeEdit::Replace(EntryId parent, EntryId old, EntryId by) {
    if (parent == kNoEntry)
        Node(storage_).child = by;
    else
        Child(parent, Node(parent).right == old) = by;
}

/// Turns `top` down to the right or the left; its child on the other side takes its place and is returned.
EntryId TreeEdit::Rotate(EntryId parent, EntryId top, bool right) {
    const EntryId up = Child(top, !right);
    const EntryId between = Child(up, right);
    Replace(parent, top, up);
    Child(top, !right) = between;
    Child(up, right) = top;
    return up;
}

/// The nodes from the root to `id`, or to the place below which it belongs; `id` itself comes last.
std::vector<EntryId> TreeEdit::PathTo(EntryId id, std::u16string_view name) {
    std::vector<EntryId> path;
    for (EntryId at = Node(storage_).child; at != kNoEntry && at != id;) {
        path.push_back(at);
        if (path.size() > kMaximumDepth) error_ = Error::kDamaged;
        if (Failed()) return path;
        at = Child(at, CompareNames(name, Node(at).Name()) > 0);
    }
    path.push_back(id);
    return path;
}

void TreeEdit::Insert(EntryId id) {
    DirectoryEntry& added = Node(id);
    added.left = added.right = kNoEntry;
    added.black = false;
    std::vector<EntryId> path = PathTo(id, added.Name());
    if (Failed()) return;
    if (path.size() == 1) {
        Node(storage_).child = id;
    } else {
        const EntryId parent = path[path.size() - 2];
        Child(parent, CompareNames(added.Name(), Node(parent).Name()) > 0) = id;
    }
    MendAfterInsert(std::move(path));
}

/// The last node of the path is red, and so may its parent be.
void TreeEdit::MendAfterInsert(std::vector<EntryId> path) {
    while (path.size() > 2 && Red(path[path.size() - 2]) && !Failed()) {
        const EntryId parent = path[path.size() - 2];
        const EntryId top = path[path.size() - 3];
        const EntryId above = path.size() > 3 ? path[path.size() - 4] : kNoEntry;
        const bool right = Node(top).right == parent;
        const EntryId uncle = Child(top, !right);
        if (Red(uncle)) {
            Node(parent).black = Node(uncle).black = true;
            Node(top).black = false;
            path.resize(path.size() - 2);
            continue;
        }
        if (Child(parent, !right) == path.back()) Rotate(top, parent, right);
        Node(top).black = false;
        Node(Rotate(above, top, !right)).black = true;
        break;
    }
    Node(Node(storage_).child).black = true;
}

void TreeEdit::Remove(EntryId id) {
    const DirectoryEntry removed = Node(id);
    std::vector<EntryId> path = PathTo(id, removed.Name());
    if (Failed()) return;
    const std::size_t place = path.size() - 1;
    const EntryId parent = place > 0 ? path[place - 1] : kNoEntry;
    if (parent == kNoEntry ? Node(storage_).child != id : Node(parent).left != id && Node(parent).right != id)
        error_ = Error::kDamaged;  // not where its name belongs

    EntryId child = removed.left == kNoEntry ? removed.right : removed.left;
    bool black = removed.black;
    bool right = parent != kNoEntry && Node(parent).right == id;
    if (removed.left != kNoEntry && removed.right != kNoEntry) {
        // The next node in order, which has no left child, takes this place; what is missing is missing at its own.
        for (EntryId at = removed.right; at != kNoEntry && !Failed(); at = Node(at).left) {
            path.push_back(at);
            if (path.size() > kMaximumDepth) error_ = Error::kDamaged;
        }
        if (Failed()) return;
        const EntryId next = path.back();
        child = Node(next).right;
        black = Node(next).black;
        path.pop_back();
        right = path.back() == id;
        Replace(path.back(), next, child);
        const EntryId newRight = Node(id).right;
        DirectoryEntry& taking = Node(next);
        taking.left = removed.left;
        taking.right = newRight;
        taking.black = removed.black;
        path[place] = next;
        Replace(parent, id, next);
    } else {
        path.pop_back();
        Replace(parent, id, child);
    }
    if (Failed() || !black) return;
    if (Red(child))
        Node(child).black = true;
    else
        MendAfterRemove(std::move(path), right);
}

/// One black node too few lies on the given side of the last parent.
void TreeEdit::MendAfterRemove(std::vector<EntryId> parents, bool right) {
    while (!parents.empty() && !Failed()) {
        EntryId above = parents.size() > 1 ? parents[parents.size() - 2] : kNoEntry;
        const EntryId parent = parents.back();
        EntryId sibling = Child(parent, !right);
        if (sibling == kNoEntry) error_ = Error::kDamaged;  // a sound tree has one
        if (Failed()) return;
        if (Red(sibling)) {
            Node(sibling).black = true;
            Node(parent).black = false;
            above = Rotate(above, parent, right);
            parents.insert(parents.end() - 1, above);
            sibling = Child(parent, !right);
            if (sibling == kNoEntry) error_ = Error::kDamaged;
            if (Failed()) return;
        }
        const EntryId near = Child(sibling, right);
        const EntryId far = Child(sibling, !right);
        if (!Red(near) && !Red(far)) {
            Node(sibling).black = false;
            if (Red(parent)) {
                Node(parent).black = true;
                return;
            }
            parents.pop_back();
            right = !parents.empty() && Node(parents.back()).right == parent;
            continue;
        }
        if (!Red(far)) {
            Node(near).black = true;
            Node(sibling).black = false;
            sibling = Rotate(parent, sibling, !right);
        }
        Node(sibling).black = Node(parent).black;
        Node(parent).black = true;
        Node(Child(sibling, !right)).black = true;
        Rotate(above, parent, right);
        return;
    }
}

void TreeEdit::Build(const std::vector<EntryId>& elements) {
    const auto full = static_cast<unsigned>(std::bit_width(elements.size() + 1)) - 1;  // levels without a gap
    const EntryId root = BuildPart(elements, 0, elements.size(), full);
    Node(storage_).child = root;
}

/// The middle element above both halves; the last level, which has gaps, is red.
EntryId TreeEdit::BuildPart(const std::vector<EntryId>& elements, std::size_t begin, std::size_t end,
                            unsigned blackLevels) {
    if (begin == end) return kNoEntry;
    const std::size_t middle = begin + (end - begin) / 2;
    const unsigned below = blackLevels > 0 ? blackLevels - 1 : 0;
    const EntryId left = BuildPart(elements, begin, middle, below);
    const EntryId right = BuildPart(elements, middle + 1, end, below);
    DirectoryEntry& node = Node(elements[middle]);
    node.left = left;
    node.right = right;
    node.black = blackLevels > 0;
    return elements[middle];
}

Error TreeEdit::Finish() {
    for (const auto& [id, node] : nodes_) {
        if (Failed()) break;
        error_ = directory_.Write(id, node);
    }
    return error_;
}

}  // namespace kestrel::compound
