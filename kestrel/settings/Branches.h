#pragma once
#include <exception>
#include <filesystem>
#include <string>

#include "kestrel/foundation/QvString.h"
#include "kestrel/settings/Folders.h"
#include "kestrel/settings/Store.h"

namespace kestrel {

/// The store of all users, written by those whom the system lets write there: registered classes, and what programs set
/// for everybody.
std::filesystem::path MachineStore();
/// The store that every user may write, whoever made it. It has a folder of its own, since whoever may write the
/// journal beside a store may remove the store. What the store of all users holds counts before it.
std::filesystem::path SharedStore();
/// Makes the folder of the shared store where that is allowed: whoever writes for all users opens it to everybody.
void PrepareSharedStore();
/// The store of the current user.
std::filesystem::path UserStore();

/// A text as the settings hold it, in any bytes.
inline QvString ToText(const std::string& bytes) { return {bytes.data(), static_cast<int>(bytes.size())}; }

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
