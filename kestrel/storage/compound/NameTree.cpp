#include "kestrel/storage/compound/NameTree.h"

#include <algorithm>

#include "kestrel/storage/compound/NameOrder.h"
#include "kestrel/storage/compound/TreeEdit.h"

namespace kestrel::compound {

/// All nodes of one tree from left to right, each once, whatever its links are.
class NameTree::Walk {
public:
    Walk(NameTree& tree, EntryId storage) : tree_(tree), storage_(storage) {}

    Error Run(EntryId root) {
        if (const Error error = Down(root, 0, false); error != Error::kNone) return error;
        while (!stack_.empty()) {
            const Step step = stack_.back();
            stack_.pop_back();
            elements_.push_back(step.id);
            if (elements_.size() > 1 && sound_) {
                const auto before = tree_.directory_.Read(elements_[elements_.size() - 2]);
                if (!before) return before.Failure();
                const auto here = tree_.directory_.Read(step.id);
                if (!here) return here.Failure();
                sound_ = CompareNames(before->Name(), here->Name()) < 0;
            }
            if (const Error error = Down(step.right, step.blacks, step.red); error != Error::kNone) return error;
        }
        return Error::kNone;
    }

    bool Linked() const { return linked_; }
    bool Sound() const { return sound_; }
    std::vector<EntryId> Elements() { return std::move(elements_); }

private:
    struct Step {
        EntryId id;
        EntryId right;
        int blacks;  // black nodes from the root down to this one
        bool red;
    };

    Error Down(EntryId id, int blacks, bool belowRed) {
        while (id != kNoEntry) {
            if (id < seen_.size() && seen_[id]) return Broken();
            const auto entry = tree_.directory_.Read(id);
            if (!entry && entry.Failure() != Error::kDamaged) return entry.Failure();
            if (!entry || (!entry->IsStream() && entry->kind != DirectoryEntry::Kind::kStorage)) return Broken();
            if (!tree_.Claim(storage_, id)) return Broken();
            if (id >= seen_.size()) seen_.resize(id + 1 + seen_.size() / 2);
            seen_[id] = true;
            sound_ = sound_ && !(belowRed && !entry->black) && !(stack_.empty() && elements_.empty() && !entry->black);
            blacks += entry->black ? 1 : 0;
            belowRed = !entry->black;
            stack_.push_back({id, entry->right, blacks, belowRed});
            id = entry->left;
        }
        if (blacksBelow_ < 0) blacksBelow_ = blacks;
        sound_ = sound_ && blacks == blacksBelow_;
        return Error::kNone;
    }

    Error Broken() {
        sound_ = linked_ = false;
        return Error::kNone;
    }

    NameTree& tree_;
    EntryId storage_;
    std::vector<bool> seen_;
    std::vector<Step> stack_;
    std::vector<EntryId> elements_;
    int blacksBelow_ = -1;
    bool linked_ = true;
    bool sound_ = true;
};

bool NameTree::Claim(EntryId storage, EntryId id) {
    if (id >= owners_.size()) owners_.resize(id + 1 + owners_.size() / 2, kNoEntry);
    if (owners_[id] == kNoEntry) owners_[id] = storage;
    return owners_[id] == storage && id != kRootEntry;
}

bool NameTree::Sound(EntryId storage) const {
    const auto shape = shapes_.find(storage);
    return shape != shapes_.end() && shape->second.sound;
}

Result<NameTree::Shape> NameTree::Look(EntryId storage) {
    const auto entry = directory_.Read(storage);
    if (!entry) return entry.Failure();
    Walk walk(*this, storage);
    if (const Error error = walk.Run(entry->child); error != Error::kNone) return error;
    Shape shape{walk.Linked(), walk.Sound(), walk.Elements()};
    if (shape.sound) {
        shapes_[storage] = {true, true, {}};
        return shape;
    }
    std::vector<std::pair<std::u16string, EntryId>> named;
    for (const EntryId id : shape.elements) {
        const auto element = directory_.Read(id);
        if (!element) return element.Failure();
        named.emplace_back(element->Name(), id);
    }
    std::stable_sort(named.begin(), named.end(),
                     [](const auto& a, const auto& b) { return CompareNames(a.first, b.first) < 0; });
    std::transform(named.begin(), named.end(), shape.elements.begin(), [](const auto& name) { return name.second; });
    shapes_[storage] = shape;
    return shape;
}

Result<std::vector<EntryId>> NameTree::Elements(EntryId storage) {
    if (const auto known = shapes_.find(storage); known != shapes_.end() && !known->second.sound)
        return known->second.elements;
    auto shape = Look(storage);
    if (!shape) return shape.Failure();
    return std::move(shape->elements);
}

Result<EntryId> NameTree::Descend(EntryId storage, std::u16string_view name) {
    const auto entry = directory_.Read(storage);
    if (!entry) return entry.Failure();
    EntryId id = entry->child;
    for (std::size_t depth = 0; id != kNoEntry && depth < kMaximumDepth; ++depth) {
        const auto node = directory_.Read(id);
        if (!node) return node.Failure();
        const int order = CompareNames(name, node->Name());
        if (order == 0) {
            const bool element = node->IsStream() || node->kind == DirectoryEntry::Kind::kStorage;
            return element && Claim(storage, id) ? id : kNoEntry;
        }
        id = order < 0 ? node->left : node->right;
    }
    return kNoEntry;
}

Result<EntryId> NameTree::Find(EntryId storage, std::u16string_view name) {
    const auto id = Descend(storage, name);
    if (!id && id.Failure() != Error::kDamaged) return id;
    if (id && (*id != kNoEntry || Sound(storage))) return id;
    if (!shapes_.count(storage))
        if (const auto shape = Look(storage); !shape) return shape.Failure();
    if (Sound(storage)) return kNoEntry;
    const std::vector<EntryId>& elements = shapes_[storage].elements;
    Error error = Error::kNone;
    const auto found = std::lower_bound(elements.begin(), elements.end(), name, [&](EntryId at, auto sought) {
        const auto node = directory_.Read(at);
        if (!node) error = node.Failure();
        return node && CompareNames(node->Name(), sought) < 0;
    });
    if (error != Error::kNone) return error;
    if (found == elements.end()) return kNoEntry;
    const auto node = directory_.Read(*found);
    if (!node) return node.Failure();
    return CompareNames(node->Name(), name) == 0 ? *found : kNoEntry;
}

Error NameTree::Build(EntryId storage, const std::vector<EntryId>& elements) {
    TreeEdit edit(directory_, storage);
    edit.Build(elements);
    const Error error = edit.Finish();
    if (error == Error::kNone) shapes_[storage] = {true, true, {}};
    return error;
}

Error NameTree::MakeSound(EntryId storage) {
    if (Sound(storage)) return Error::kNone;
    const auto elements = Elements(storage);
    if (!elements) return elements.Failure();
    return Sound(storage) ? Error::kNone : Build(storage, *elements);
}

Error NameTree::Insert(EntryId storage, EntryId id) {
    if (const Error error = MakeSound(storage); error != Error::kNone) return error;
    TreeEdit edit(directory_, storage);
    edit.Insert(id);
    const Error error = edit.Finish();
    if (error != Error::kNone) return error;
    return Claim(storage, id) ? Error::kNone : Error::kDamaged;
}

Error NameTree::Remove(EntryId storage, EntryId id) {
    if (const Error error = MakeSound(storage); error != Error::kNone) return error;
    TreeEdit edit(directory_, storage);
    edit.Remove(id);
    Error error = edit.Finish();
    if (error == Error::kDamaged) {  // two elements of one name: the order does not tell which
        auto elements = Elements(storage);
        if (!elements) return elements.Failure();
        std::erase(*elements, id);
        error = Build(storage, *elements);
    }
    if (error == Error::kNone && id < owners_.size()) owners_[id] = kNoEntry;
    return error;
}

void NameTree::Forget(EntryId id) {
    shapes_.erase(id);
    if (id < owners_.size()) owners_[id] = kNoEntry;
}

}  // namespace kestrel::compound
