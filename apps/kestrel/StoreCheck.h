#pragma once
#include <string>

/// Where a store lies, and what is reported of it.
struct StoreCheckOptions {
    std::string store;
    std::string target;  ///< the new file of a repair
    bool json = false;
};

/// Verifies every table, chain and tree of a compound file, and that everything in a folder tree can be read. Fails
/// when something is damaged.
int CheckStore(const StoreCheckOptions& options);

/// Saves what can be saved of a compound file into a new one, which appears whole or not at all. The result is
/// `kDamagedInput` when something was lost.
int RepairStore(const StoreCheckOptions& options);
