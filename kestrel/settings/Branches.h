#pragma once
#include <exception>
#include <filesystem>

#include "kestrel/settings/Folders.h"
#include "kestrel/settings/Store.h"

namespace kestrel {

/// The store of all users.
std::filesystem::path MachineStore();
/// The store of the current user.
std::filesystem::path UserStore();

/// Runs an operation of the settings; what it throws becomes its status.
template <class Operation>
Status Guarded(const Operation& operation) noexcept {
    try {
        return operation();
    } catch (const StoreError& error) {
        return error.status;
    } catch (const std::exception&) {  // out of memory, or a path that the system refuses
        return kKeyUnreadable;
    }
}

}  // namespace kestrel
