#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// Named bitmaps that a program carries with it: bare records in memory, found by name. The module owns them; callers
/// get a pointer into it and must not use it after the module has gone. All functions may be called from any thread;
/// `DibOpenFromModule` expands a record in place, so a first use from two threads at once needs a lock of theirs.
class KESTREL_API DibModule {
public:
    DibModule() = default;
    ~DibModule();
    DibModule(const DibModule&) = delete;
    DibModule& operator=(const DibModule&) = delete;

    /// The program's own module.
    static DibModule& Main();

    /// Copies a bare record (header, colour table, image) in under `name`. False when the bytes are no whole record or
    /// the name is taken.
    bool Add(const std::string& name, std::span<const std::uint8_t> record);
    /// The record as it was added; null when there is none.
    Dib* Find(const char* name) const;

    /// Whether any module that lives owns this block.
    static bool Owns(const Dib* dib);

private:
    mutable std::mutex lock_;
    std::map<std::string, Dib*, std::less<>> records_;
};

}  // namespace kestrel
