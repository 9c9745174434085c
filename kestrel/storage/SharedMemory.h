#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace kestrel {

/// A block of memory that processes share by a name. It lives as long as somebody maps it: who is the last to let go,
/// or who comes after users that were killed, removes what is left. Not to be used across a fork. Not installed.
class SharedMemory {
public:
    enum class Which { Any, Existing };

    /// Maps the block of that name; one that nobody uses is made anew, of zeros, with `size` bytes. `fresh` runs before
    /// another process can see the new block. An existing block keeps its size. Null, with `errno`, when there is none
    /// (`Which::Existing`) or the system refuses.
    static std::unique_ptr<SharedMemory> Open(const std::string& name, std::size_t size, Which which,
                                              void (*fresh)(void*) = nullptr);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    std::uint8_t* Address() const { return address_; }
    std::size_t Size() const { return size_; }

private:
    SharedMemory(std::string name, int descriptor) : name_(std::move(name)), descriptor_(descriptor) {}
    bool IsNamed() const;
    bool MakeNew(std::size_t size);
    bool Map(std::size_t size);

    std::string name_;
    int descriptor_;  // holds a shared lock, which falls with the process: that is how users are told from leftovers
    std::uint8_t* address_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace kestrel
