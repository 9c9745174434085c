#pragma once
#include <condition_variable>
#include <cstdint>
#include <mutex>

/// Lets pictures into work one after the other, as long as all that are in it need no more than a bound; one that needs
/// more than that works alone. Those that wait come in their order, so that a large one is not overtaken for ever.
class MemoryGate {
public:
    explicit MemoryGate(std::uint64_t bytes) : bound_(bytes) {}

    class Pass {
    public:
        Pass(MemoryGate& gate, std::uint64_t bytes);
        ~Pass();
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

    private:
        MemoryGate& gate_;
        std::uint64_t bytes_;
    };

private:
    std::mutex guard_;
    std::condition_variable changed_;
    std::uint64_t bound_;
    std::uint64_t used_ = 0;
    std::uint64_t next_ = 0;     // number of the next one that comes
    std::uint64_t serving_ = 0;  // number of the one that may enter
};

/// Bytes of memory that programs can have now.
std::uint64_t AvailableMemory();
