#include "kestrel/storage/SharedMemory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kestrel {
namespace {

bool Lock(int descriptor, int how) {
    int result;
    do result = flock(descriptor, how);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

}  // namespace

std::unique_ptr<SharedMemory> SharedMemory::Open(const std::string& name, std::size_t size, Which which,
                                                 void (*fresh)(void*)) {
    for (;;) {
        const int descriptor =
            shm_open(name.c_str(), O_RDWR | O_CLOEXEC | (which == Which::Any ? O_CREAT : 0), S_IRUSR | S_IWUSR);
        if (descriptor < 0) return nullptr;
        std::unique_ptr<SharedMemory> block(new SharedMemory(name, descriptor));
        // Nobody holds the shared lock: the block is new, or its users were killed.
        const bool alone = Lock(descriptor, LOCK_EX | LOCK_NB);
        if (!alone && (errno != EWOULDBLOCK || !Lock(descriptor, LOCK_SH))) return nullptr;
        if (!block->IsNamed()) continue;  // its last user has just removed it
        if (alone) {
            if (which == Which::Existing) {
                errno = ENOENT;
                return nullptr;  // a leftover; the destructor removes it
            }
            if (!block->MakeNew(size)) return nullptr;
            if (fresh) fresh(block->address_);
            // Another process may come in between and make the block anew once more; this waits until it is done.
            if (!Lock(descriptor, LOCK_SH)) return nullptr;
            if (block->IsNamed()) return block;
            continue;
        }
        struct stat status;
        if (fstat(descriptor, &status) != 0) return nullptr;
        if (status.st_size < static_cast<off_t>(size)) {
            errno = EINVAL;  // somebody else's block of that name
            return nullptr;
        }
        if (!block->Map(static_cast<std::size_t>(status.st_size))) return nullptr;
        return block;
    }
}

SharedMemory::~SharedMemory() {
    const int error = errno;
    if (address_) munmap(address_, size_);
    if (Lock(descriptor_, LOCK_EX | LOCK_NB) && IsNamed()) shm_unlink(name_.c_str());
    close(descriptor_);
    errno = error;
}

/// Whether the name still leads to this block.
bool SharedMemory::IsNamed() const {
    struct stat status;
    return fstat(descriptor_, &status) == 0 && status.st_nlink > 0;
}

/// A block of zeros of that size, whatever was left under the name. One of the right size is not cut first: whoever has
/// mapped it must never find it shorter.
bool SharedMemory::MakeNew(std::size_t size) {
    struct stat status;
    if (fstat(descriptor_, &status) != 0) return false;
    if (status.st_size != static_cast<off_t>(size)) {
        // Room is reserved at once: with a full memory the process would be killed at its first touch of a page.
        if (ftruncate(descriptor_, 0) != 0) return false;
        if (const int error = posix_fallocate(descriptor_, 0, static_cast<off_t>(size)); error != 0) {
            errno = error;
            return false;
        }
    }
    if (!Map(size)) return false;
    std::memset(address_, 0, size);
    return true;
}

bool SharedMemory::Map(std::size_t size) {
    void* address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
    if (address == MAP_FAILED) return false;
    address_ = static_cast<std::uint8_t*>(address);
    size_ = size;
    return true;
}

}  // namespace kestrel
