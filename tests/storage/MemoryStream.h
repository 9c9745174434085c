#pragma once
#include <algorithm>
#include <cstring>
#include <string>

#include "kestrel/storage/QvStream.h"

namespace kestrel::test {

/// A stream over a text, on the stack. Writes beyond `room` come up short.
class MemoryStream final : public QvStream {
public:
    explicit MemoryStream(std::string begin = {}) : bytes(std::move(begin)) {}

    std::int64_t Size() override { return static_cast<std::int64_t>(bytes.size()); }
    std::int64_t Tell() override { return static_cast<std::int64_t>(at); }
    std::int64_t Seek(std::int64_t offset, int) override { return static_cast<std::int64_t>(at = std::size_t(offset)); }
    std::size_t Read(void* buffer, std::size_t count) override {
        mostRead = std::max(mostRead, count);
        count = at < bytes.size() ? std::min(count, bytes.size() - at) : 0;
        std::memcpy(buffer, bytes.data() + at, count);
        at += count;
        return count;
    }
    std::size_t Write(const void* buffer, std::size_t count) override {
        mostWritten = std::max(mostWritten, count);
        const std::size_t fits = std::min(count, room - bytes.size());
        failed |= fits < count;
        bytes.append(static_cast<const char*>(buffer), fits);
        return fits;
    }
    bool HasFailed() const override { return failed; }
    bool Close() override { return !failed; }
    bool SetSize(std::int64_t size) override { return bytes.resize(static_cast<std::size_t>(size)), true; }
    bool Stat(QvStat&) override { return false; }
    void Revert() noexcept override {}

    std::string bytes;
    std::size_t at = 0;
    std::size_t room = SIZE_MAX;
    std::size_t mostRead = 0;
    std::size_t mostWritten = 0;
    bool failed = false;
};

}  // namespace kestrel::test
