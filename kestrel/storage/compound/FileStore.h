#pragma once
#include <sys/types.h>

#include <memory>
#include <span>
#include <string>

#include "kestrel/storage/compound/ByteStore.h"

namespace kestrel::compound {

/// What a handle may do with a file.
enum class Access : std::uint8_t { kRead, kReadWrite };

/// A file, held exclusively: a lock on the open file keeps every other opener out, those that only read as well, in
/// this process or another. The lock falls with the object or the process. Nothing waits for a lock: the caller
/// retries.
class KESTREL_API FileStore : public ByteStore {
public:
    /// Opens a regular file. kShareViolation while another opener holds it; symbolic links are followed.
    static Result<std::unique_ptr<FileStore>> Open(const std::string& path, Access access);

    /// Makes a file that appears under its name with all of `content` and already locked, or not at all. kExists when
    /// there is one of that name; it is left as it is. The mode follows the umask.
    static Result<std::unique_ptr<FileStore>> CreateNew(const std::string& path, std::span<const std::uint8_t> content);

    ~FileStore() override;

    bool Writable() const override { return writable_; }
    Result<std::uint64_t> Size() override;
    Result<std::size_t> ReadAt(std::uint64_t offset, std::span<std::uint8_t> to) override;
    Error WriteAt(std::uint64_t offset, std::span<const std::uint8_t> from) override;
    Error SetSize(std::uint64_t size) override;
    Error Flush() override;

protected:
    FileStore(int descriptor, bool writable) : descriptor_(descriptor), writable_(writable) {}
    /// Opens and locks; the descriptor belongs to the caller.
    static Result<int> OpenLocked(const std::string& path, Access access);

    // The system calls, so that a test can let each of them fail.
    virtual ssize_t SystemRead(void* to, std::size_t count, off_t offset);
    virtual ssize_t SystemWrite(const void* from, std::size_t count, off_t offset);
    virtual int SystemTruncate(off_t size);
    virtual int SystemFlush();

private:
    int descriptor_;
    bool writable_;
};

}  // namespace kestrel::compound
