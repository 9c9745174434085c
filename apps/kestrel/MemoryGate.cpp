#include "apps/kestrel/MemoryGate.h"

#include <unistd.h>

#include <fstream>
#include <string>

MemoryGate::Pass::Pass(MemoryGate& gate, std::uint64_t bytes) : gate_(gate), bytes_(bytes) {
    std::unique_lock lock(gate_.guard_);
    const std::uint64_t number = gate_.next_++;
    gate_.changed_.wait(
        lock, [&] { return number == gate_.serving_ && (gate_.used_ == 0 || gate_.used_ + bytes_ <= gate_.bound_); });
    ++gate_.serving_;
    gate_.used_ += bytes_;
    gate_.changed_.notify_all();
}

MemoryGate::Pass::~Pass() {
    const std::lock_guard lock(gate_.guard_);
    gate_.used_ -= bytes_;
    gate_.changed_.notify_all();
}

std::uint64_t AvailableMemory() {
    std::ifstream info("/proc/meminfo");
    std::string word;
    for (std::uint64_t kilobytes = 0; info >> word;)
        if (word == "MemAvailable:" && info >> kilobytes) return kilobytes * 1024;
    return static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) / 2;
}
