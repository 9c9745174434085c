#pragma once
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/settings/Status.h"

struct sqlite3;

namespace kestrel {

/// Why a store could not do something; stays within the settings.
struct StoreError {
    Status status;
};

/// A tree of keys in one file; each key holds named texts. Names are separated by backslashes and compared without case
/// (ASCII), texts are bytes. One object is one transaction: what is not committed never happened, whatever kills the
/// process. Any number of processes may use a file at once; a writer waits at most 10 seconds for another.
class Store {
public:
    enum class Access { kRead, kWrite };

    /// A store that is missing reads as empty and is made for a write, readable and writable for everybody when asked
    /// for; its folder must let everybody make and remove files (SQLite's journal). Throws `StoreError`:
    /// `kKeyUnreadable` or `kKeyNotCreated`.
    Store(const std::filesystem::path& file, Access access, bool forEverybody = false);
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    ~Store();

    bool HasKey(std::string_view key) const { return Find(key).has_value(); }
    std::optional<std::string> Get(std::string_view key, std::string_view name) const;
    /// Makes the keys on the way.
    void Set(std::string_view key, std::string_view name, std::string_view text);
    /// The key with all its texts and subkeys; false when there is none.
    bool DeleteKey(std::string_view key);
    /// Removes the key and then its parents while they hold neither texts nor subkeys; the first part of the name
    /// stays.
    void DeleteWhileEmpty(std::string_view key);

    std::vector<std::string> Subkeys(std::string_view key) const;
    std::vector<std::pair<std::string, std::string>> Texts(std::string_view key) const;

    bool IsWritable() const { return write_; }
    /// Ends a write; throws `StoreError` when it could not be kept.
    void Commit();

private:
    struct Closer {
        void operator()(sqlite3* database) const;
    };

    void Execute(const char* sql, Status onFailure) const;
    std::optional<std::int64_t> Find(std::string_view key) const;
    std::int64_t Make(std::string_view key);
    bool IsBare(std::int64_t id) const;

    bool write_;
    std::unique_ptr<sqlite3, Closer> database_;  ///< null: a missing store is read
};

}  // namespace kestrel
