#include "kestrel/settings/Store.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

constexpr int kBusyWait = 10000;  // milliseconds
constexpr std::int64_t kRootId = 1;
constexpr std::size_t kMaxParts = 512;  // the cascade of a deletion has a bound

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS key("
    "  id INTEGER PRIMARY KEY,"
    "  parent INTEGER REFERENCES key(id) ON DELETE CASCADE,"
    "  name TEXT NOT NULL COLLATE NOCASE,"
    "  UNIQUE(parent, name));"
    "CREATE TABLE IF NOT EXISTS value("
    "  key INTEGER NOT NULL REFERENCES key(id) ON DELETE CASCADE,"
    "  name TEXT NOT NULL COLLATE NOCASE,"
    "  data BLOB NOT NULL,"
    "  PRIMARY KEY(key, name)) WITHOUT ROWID;"
    "INSERT OR IGNORE INTO key VALUES(1, NULL, '');";

struct SqliteLibrary : SharedLibrary {
    SqliteLibrary() : SharedLibrary(KESTREL_SETTINGS_LIBRARY) {}

    KESTREL_LATE(sqlite3_bind_blob64);
    KESTREL_LATE(sqlite3_bind_int64);
    KESTREL_LATE(sqlite3_bind_text64);
    KESTREL_LATE(sqlite3_busy_timeout);
    KESTREL_LATE(sqlite3_close);
    KESTREL_LATE(sqlite3_column_blob);
    KESTREL_LATE(sqlite3_column_bytes);
    KESTREL_LATE(sqlite3_column_int64);
    KESTREL_LATE(sqlite3_exec);
    KESTREL_LATE(sqlite3_finalize);
    KESTREL_LATE(sqlite3_open_v2);
    KESTREL_LATE(sqlite3_prepare_v2);
    KESTREL_LATE(sqlite3_step);
};

/// Loaded by the first call, which a program without settings does without. From any thread.
const SqliteLibrary& Sqlite() {
    static const SqliteLibrary library;
    return library;
}

/// A prepared statement; parameters are bound from 1 on.
class Statement {
public:
    Statement(sqlite3* database, const char* sql, Status onFailure) : onFailure_(onFailure) {
        Check(Sqlite().sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr));
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { Sqlite().sqlite3_finalize(statement_); }

    Statement& Bind(int index, std::int64_t value) {
        Check(Sqlite().sqlite3_bind_int64(statement_, index, value));
        return *this;
    }
    Statement& Bind(int index, std::string_view text) {
        Check(Sqlite().sqlite3_bind_text64(statement_, index, Bytes(text), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
        return *this;
    }
    Statement& BindData(int index, std::string_view bytes) {
        Check(Sqlite().sqlite3_bind_blob64(statement_, index, Bytes(bytes), bytes.size(), SQLITE_TRANSIENT));
        return *this;
    }

    /// True when there is a row.
    bool Step() {
        const int result = Sqlite().sqlite3_step(statement_);
        if (result != SQLITE_ROW && result != SQLITE_DONE) throw StoreError{onFailure_};
        return result == SQLITE_ROW;
    }
    std::int64_t Integer(int column) const { return Sqlite().sqlite3_column_int64(statement_, column); }
    std::string Data(int column) const {
        const auto* bytes = static_cast<const char*>(Sqlite().sqlite3_column_blob(statement_, column));
        return bytes ? std::string(bytes, static_cast<std::size_t>(Sqlite().sqlite3_column_bytes(statement_, column)))
                     : "";
    }

private:
    static const char* Bytes(std::string_view text) { return text.empty() ? "" : text.data(); }  // null binds NULL
    void Check(int result) const {
        if (result != SQLITE_OK) throw StoreError{onFailure_};
    }

    Status onFailure_;
    sqlite3_stmt* statement_ = nullptr;
};

std::vector<std::string_view> Parts(std::string_view key) {
    std::vector<std::string_view> parts;
    while (!key.empty()) {
        const auto cut = std::min(key.find('\\'), key.size());
        if (cut > 0) parts.push_back(key.substr(0, cut));
        key.remove_prefix(std::min(cut + 1, key.size()));
    }
    return parts;
}

bool IsAbsent(const std::filesystem::path& file) {
    struct stat facts {};
    return stat(file.c_str(), &facts) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

/// The mode is set at every write, as a maker may have been killed before it; who did not make the file cannot set it
/// and need not.
void OpenForEverybody(const std::filesystem::path& file) { (void)chmod(file.c_str(), 0666); }

}  // namespace

void Store::Closer::operator()(sqlite3* database) const { Sqlite().sqlite3_close(database); }

Store::Store(const std::filesystem::path& file, Access access, bool forEverybody) : write_(access == Access::kWrite) {
    const bool write = write_;
    const Status onFailure = write ? kKeyNotCreated : kKeyUnreadable;
    const bool missing = IsAbsent(file);
    if (missing && !write) return;
    if (!Sqlite().IsThere()) throw StoreError{onFailure};
    if (missing) {
        std::error_code error;
        std::filesystem::create_directories(file.parent_path(), error);
        if (error) throw StoreError{onFailure};
    }
    // A reader may have to roll back what a killed writer left, hence no read-only opening.
    sqlite3* database = nullptr;
    // Where everybody may make files, a link could lead a write elsewhere.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (write ? SQLITE_OPEN_CREATE : 0) |
                      (forEverybody ? SQLITE_OPEN_NOFOLLOW : 0);
    const int result = Sqlite().sqlite3_open_v2(file.c_str(), &database, flags, nullptr);
    database_.reset(database);
    if (result != SQLITE_OK) throw StoreError{onFailure};
    Sqlite().sqlite3_busy_timeout(database, kBusyWait);
    if (write) {
        Execute("PRAGMA foreign_keys = ON; BEGIN IMMEDIATE", onFailure);
        if (forEverybody) OpenForEverybody(file);
        Execute(kSchema, onFailure);
    } else {
        Execute("BEGIN", onFailure);
        // A writer may be between making the file and its first commit.
        if (!Statement(database, "SELECT 1 FROM sqlite_master WHERE name = 'value'", onFailure).Step())
            database_.reset();
    }
}

Store::~Store() = default;  // closing rolls an open transaction back

void Store::Execute(const char* sql, Status onFailure) const {
    if (Sqlite().sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw StoreError{onFailure};
}

void Store::Commit() { Execute("COMMIT", kKeyNotWritable); }

std::optional<std::int64_t> Store::Find(std::string_view key) const {
    if (!database_) return std::nullopt;
    std::int64_t id = kRootId;
    for (const auto part : Parts(key)) {
        Statement child(database_.get(), "SELECT id FROM key WHERE parent = ?1 AND name = ?2", kKeyUnreadable);
        if (!child.Bind(1, id).Bind(2, part).Step()) return std::nullopt;
        id = child.Integer(0);
    }
    return id;
}

std::int64_t Store::Make(std::string_view key) {
    const auto parts = Parts(key);
    if (parts.size() > kMaxParts) throw StoreError{kKeyNotCreated};
    std::int64_t id = kRootId;
    for (const auto part : parts) {
        Statement(database_.get(), "INSERT OR IGNORE INTO key(parent, name) VALUES(?1, ?2)", kKeyNotCreated)
            .Bind(1, id)
            .Bind(2, part)
            .Step();
        Statement child(database_.get(), "SELECT id FROM key WHERE parent = ?1 AND name = ?2", kKeyNotCreated);
        if (!child.Bind(1, id).Bind(2, part).Step()) throw StoreError{kKeyNotCreated};
        id = child.Integer(0);
    }
    return id;
}

std::optional<std::string> Store::Get(std::string_view key, std::string_view name) const {
    const auto id = Find(key);
    if (!id) return std::nullopt;
    Statement value(database_.get(), "SELECT data FROM value WHERE key = ?1 AND name = ?2", kKeyUnreadable);
    if (!value.Bind(1, *id).Bind(2, name).Step()) return std::nullopt;
    return value.Data(0);
}

void Store::Set(std::string_view key, std::string_view name, std::string_view text) {
    const std::int64_t id = Make(key);
    Statement(database_.get(),
              "INSERT INTO value VALUES(?1, ?2, ?3) ON CONFLICT(key, name) DO UPDATE SET data = excluded.data",
              kKeyNotWritable)
        .Bind(1, id)
        .Bind(2, name)
        .BindData(3, text)
        .Step();
}

bool Store::DeleteKey(std::string_view key) {
    const auto id = Find(key);
    if (!id || *id == kRootId) return false;
    Statement(database_.get(), "DELETE FROM key WHERE id = ?1", kKeyNotWritable).Bind(1, *id).Step();
    return true;
}

bool Store::IsBare(std::int64_t id) const {
    Statement held(database_.get(),
                   "SELECT EXISTS(SELECT 1 FROM value WHERE key = ?1) OR EXISTS(SELECT 1 FROM key WHERE parent = ?1)",
                   kKeyUnreadable);
    return held.Bind(1, id).Step() && held.Integer(0) == 0;
}

void Store::DeleteWhileEmpty(std::string_view key) {
    for (std::size_t cut; (cut = key.rfind('\\')) != std::string_view::npos; key = key.substr(0, cut)) {
        const auto id = Find(key);
        if (id && !IsBare(*id)) return;
        DeleteKey(key);
    }
}

std::vector<std::string> Store::Subkeys(std::string_view key) const {
    std::vector<std::string> names;
    const auto id = Find(key);
    if (!id) return names;
    Statement children(database_.get(), "SELECT name FROM key WHERE parent = ?1 ORDER BY name", kKeyUnreadable);
    children.Bind(1, *id);
    while (children.Step()) names.push_back(children.Data(0));
    return names;
}

std::vector<std::pair<std::string, std::string>> Store::Texts(std::string_view key) const {
    std::vector<std::pair<std::string, std::string>> texts;
    const auto id = Find(key);
    if (!id) return texts;
    Statement values(database_.get(), "SELECT name, data FROM value WHERE key = ?1 ORDER BY name", kKeyUnreadable);
    values.Bind(1, *id);
    while (values.Step()) texts.emplace_back(values.Data(0), values.Data(1));
    return texts;
}

}  // namespace kestrel
