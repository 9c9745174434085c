#pragma once
#include <string>
#include <string_view>

#include "kestrel/storage/compound/Check.h"
#include "kestrel/storage/compound/NameTree.h"

namespace kestrel::compound {

/// A store that somebody else owns and that is only read.
class BorrowedStore final : public ByteStore {
public:
    explicit BorrowedStore(ByteStore& store) : store_(store) {}

    bool Writable() const override { return false; }
    Result<std::uint64_t> Size() override { return store_.Size(); }
    Result<std::size_t> ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) override {
        return store_.ReadAt(offset, to);
    }
    Error WriteAt(std::uint64_t, std::span<const std::uint8_t>) override { return Error::kAccessDenied; }
    Error SetSize(std::uint64_t) override { return Error::kAccessDenied; }
    Error Flush() override { return Error::kNone; }

private:
    ByteStore& store_;
};

/// UTF-16 as UTF-8; control characters and halves of pairs become '?'.
std::string Utf8(std::u16string_view text);

/// "stream Pictures/7" and the like, for findings; "entry 12" where the directory cannot be read.
std::string Describe(Directory& directory, const NameTree& tree, EntryId id);

}  // namespace kestrel::compound
