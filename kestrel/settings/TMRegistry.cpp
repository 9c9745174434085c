#include "kestrel/settings/TMRegistry.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <optional>

#include "kestrel/foundation/CodePage.h"
#include "kestrel/settings/Branches.h"
#include "kestrel/settings/IniFile.h"
#include "kestrel/settings/WholeFile.h"

namespace kestrel {
namespace {

constexpr const char* kDefaultSection = "TMGallery";
constexpr const char* kIdentityFile = "Velda.inf";
constexpr const char* kIniName = "Relax.ini";
constexpr std::size_t kNumberBytes = 20;  // a number as text, with its terminator
constexpr std::size_t kUserBytes = 5;     // a user's number as text, with its terminator

bool IsEmpty(const char* text) { return !text || *text == '\0'; }

std::string ToBytes(const QvString& text) {
    return {static_cast<const char*>(text), static_cast<std::size_t>(text.GetLength())};
}

std::filesystem::path IdentityPath() {
    auto beside = ProgramFolder() / kIdentityFile;
    std::error_code error;
    if (std::filesystem::exists(beside, error)) return beside;
    return std::filesystem::current_path(error) / kIdentityFile;
}

bool EndsWithSeparator(const std::string& path) { return !path.empty() && (path.back() == '\\' || path.back() == '/'); }

/// What closes a folder's name: values that other systems wrote hold backslashes.
char SeparatorFor(const std::string& path) {
    return path.find('\\') == std::string::npos && path.find('/') != std::string::npos ? '/' : '\\';
}

Status CopyOut(const std::string& text, char* buffer, int size) {
    if (text.size() + 1 > static_cast<std::size_t>(size)) return kBufferTooSmall;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return kSuccess;
}

std::string ListKey(const char* section, const char* entry, int index) {
    QvString key;
    key.Format("%s\\%s_%04d", section, entry, index);
    return ToBytes(key);
}

std::optional<int> ToInteger(const std::string& text) {
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (end == text.c_str()) return std::nullopt;
    return static_cast<int>(static_cast<unsigned>(value));  // beyond 32 bits the low ones count
}

}  // namespace

// One interface to the two kinds of places

class TMRegistry::Editor {
public:
    virtual ~Editor() = default;
    virtual Status Get(const std::string& section, const std::string& key, std::string& text) = 0;
    virtual Status Set(const std::string& section, const std::string& key, const std::string& text) = 0;
    /// The section with all that it holds, and parents that are empty after it.
    virtual Status Delete(const std::string& section) = 0;

    int Count(const char* section, const char* entry) {
        int count = 0;
        for (std::string text; Get(ListKey(section, entry, count), entry, text) == kSuccess;) ++count;
        return count;
    }
};

class TMRegistry::BranchEditor final : public Editor {
public:
    BranchEditor(Store& store, std::string root) : store_(store), root_(std::move(root)) {}

    Status Get(const std::string& section, const std::string& key, std::string& text) override {
        const std::string path = Path(section);
        if (!store_.HasKey(path)) return kKeyMissing;
        const auto found = store_.Get(path, key);
        if (!found) return kKeyUnreadable;
        text = *found;
        return kSuccess;
    }
    Status Set(const std::string& section, const std::string& key, const std::string& text) override {
        store_.Set(Path(section), key, text);
        return kSuccess;
    }
    Status Delete(const std::string& section) override {
        store_.DeleteKey(Path(section));
        store_.DeleteWhileEmpty(Path(section));
        return kSuccess;
    }

    bool Has(const std::string& section) const { return store_.HasKey(Path(section)); }

private:
    /// The root itself for an empty section.
    std::string Path(const std::string& section) const { return section.empty() ? root_ : root_ + "\\" + section; }

    Store& store_;
    std::string root_;
};

/// The two stores of all users as one: texts of the machine's store come first, new ones go to the shared store when
/// everybody may write them.
class TMRegistry::AllUsersEditor final : public Editor {
public:
    enum class Writer { kNobody, kWhoMay, kEverybody };

    AllUsersEditor(const std::string& root, Writer writer)
        : forEverybody_(writer == Writer::kEverybody),
          machineStore_(OpenMachine(writer)),
          sharedStore_(OpenShared(writer)),
          machine_(machineStore_, root),
          shared_(sharedStore_, root) {}

    Status Get(const std::string& section, const std::string& key, std::string& text) override {
        const Status status = machine_.Get(section, key, text);
        if (status == kSuccess) return status;
        const Status other = shared_.Get(section, key, text);
        return other == kKeyMissing ? status : other;
    }
    Status Set(const std::string& section, const std::string& key, const std::string& text) override {
        std::string existing;
        const bool ofMachine = machine_.Get(section, key, existing) == kSuccess;
        if (forEverybody_ && !ofMachine) return shared_.Set(section, key, text);
        return machineStore_.IsWritable() ? machine_.Set(section, key, text) : kKeyNotWritable;
    }
    Status Delete(const std::string& section) override {
        if (machine_.Has(section)) {
            if (!machineStore_.IsWritable()) return kKeyNotWritable;
            if (const Status status = machine_.Delete(section); status != kSuccess) return status;
        }
        return sharedStore_.IsWritable() ? shared_.Delete(section) : kSuccess;
    }
    void Commit() {
        if (sharedStore_.IsWritable()) sharedStore_.Commit();
        if (machineStore_.IsWritable()) machineStore_.Commit();
    }

private:
    static bool Exists(const std::filesystem::path& store) {
        std::error_code error;
        return std::filesystem::exists(store, error);
    }
    static Store OpenMachine(Writer writer) {
        if (writer != Writer::kNobody) PrepareSharedStore();
        if (writer == Writer::kWhoMay) return {MachineStore(), Store::Access::kWrite};
        // Who writes the shared store needs the other only for texts that lie there.
        const bool own = writer == Writer::kEverybody && access(MachineStore().c_str(), W_OK) == 0;
        return {MachineStore(), own ? Store::Access::kWrite : Store::Access::kRead};
    }
    static Store OpenShared(Writer writer) {
        const bool write = writer == Writer::kEverybody || (writer == Writer::kWhoMay && Exists(SharedStore()));
        return {SharedStore(), write ? Store::Access::kWrite : Store::Access::kRead, true};
    }

    bool forEverybody_;
    Store machineStore_;
    Store sharedStore_;
    BranchEditor machine_;
    BranchEditor shared_;
};

class TMRegistry::IniEditor final : public Editor {
public:
    IniEditor(IniText& text, std::string prefix) : text_(text), prefix_(std::move(prefix)) {}

    Status Get(const std::string& section, const std::string& key, std::string& text) override {
        const auto found = text_.Get(prefix_ + section, key);
        if (!found || found->empty()) return kNoIniValue;
        text = *found;
        return kSuccess;
    }
    Status Set(const std::string& section, const std::string& key, const std::string& text) override {
        if (!IniText::IsSection(prefix_ + section) || !IniText::IsKey(key) || !IniText::IsValue(text))
            return kBadArguments;
        text_.Set(prefix_ + section, key, text);
        return kSuccess;
    }
    Status Delete(const std::string& section) override {
        text_.DeleteSection(prefix_ + section);
        return kSuccess;
    }

private:
    IniText& text_;
    std::string prefix_;
};

// Identity

TMRegistry::TMRegistry() : TMRegistry(kDefaultSection) {}

TMRegistry::TMRegistry(const char* section, const char* version) {
    const Status status = Guarded([&] {
        ReadIdentity(section, version);
        return status_;
    });
    status_ = status;
}

void TMRegistry::ReadIdentity(const char* section, const char* version) {
    if (IsEmpty(section)) {
        status_ = kBadArguments;
        return;
    }
    const auto path = IdentityPath();
    if (path.native().size() >= kMaxPath) {
        status_ = kPathTooLong;
        return;
    }
    const IniText profile(ReadWholeFile(path).value_or(""));
    const auto read = [&](const char* key, QvString& field) {
        field = ToText(profile.Get(section, key).value_or(""));
        return !field.IsEmpty();
    };
    if (!read("Company", company_) || !read("Product", product_) || !read("Version", version_) ||
        !read("ShortId", shortId_)) {
        status_ = kNoIniValue;
        return;
    }
    if (!IsEmpty(version)) (std::strstr(version, ".ini") ? iniPath_ : version_) = version;
    status_ = kSuccess;
}

QvString TMRegistry::GetRootKey() const { return "Software\\" + company_ + "\\" + product_ + "\\" + version_; }

Status TMRegistry::GetUserName(QvString& name) {
    if (status_ != kSuccess) return kNotInitialized;
    if (!userName_.IsEmpty()) {
        name = userName_;
        return kSuccess;
    }
    const std::string root = ToBytes(GetRootKey());
    const auto known = [&](const Store& store) -> std::optional<std::string> {
        auto user = store.Get(root, "User");
        if (user && (user->empty() || user->size() >= kUserBytes)) user.reset();
        return user;
    };
    const auto next = [&](Editor& machine) {
        std::string last;
        const bool any = machine.Get("", "LastUser", last) == kSuccess;
        const auto number = any ? ToInteger(last).value_or(0) : 0;
        QvString text;
        text.Format("%.4d", static_cast<int>(static_cast<unsigned>(number) + 1u));
        return ToBytes(text);
    };
    const auto assign = [&] {
        Store user(UserStore(), Store::Access::kWrite);  // held meanwhile: one number, however many processes ask
        if (const auto number = known(user)) return *number;
        AllUsersEditor machine(root, AllUsersEditor::Writer::kEverybody);  // every user takes a number
        std::string number = next(machine);
        if (const Status status = machine.Set("", "LastUser", number); status != kSuccess) throw StoreError{status};
        machine.Commit();
        user.Set(root, "User", number);
        user.Commit();
        return number;
    };
    return Guarded([&] {
        auto number = known(Store(UserStore(), Store::Access::kRead));
        if (!number) number = assign();
        name = userName_ = "User" + ToText(*number);
        return kSuccess;
    });
}

Status TMRegistry::GetIniPath(QvString& path) {
    if (status_ != kSuccess) return kNotInitialized;
    return Guarded([&] {
        if (iniPath_.IsEmpty()) {
            std::string folder = ProgramFolder().string();
            AllUsersEditor machine(ToBytes(GetRootKey()), AllUsersEditor::Writer::kNobody);
            std::string named;
            if (machine.Get("", "IniFilePath", named) == kSuccess && !named.empty()) folder = named;
            if (!EndsWithSeparator(folder)) folder += '/';
            iniPath_ = ToText(folder + kIniName);
        }
        if (static_cast<std::size_t>(iniPath_.GetLength()) >= kMaxPath) return kPathTooLong;
        path = iniPath_;
        return kSuccess;
    });
}

// Access to a place

Status TMRegistry::CheckNames(const char* section, const char* key) const {
    if (status_ != kSuccess) return kNotInitialized;
    return IsEmpty(section) || IsEmpty(key) ? kBadArguments : kSuccess;
}

Status TMRegistry::IniSection(SettingsPlace place, const std::string& section, std::string& name) {
    QvString owner = shortId_;
    if (place == SettingsPlace::kIniFileUser)
        if (const Status status = GetUserName(owner); status != kSuccess) return status;
    name = ToBytes(owner) + "_#_" + section;
    return kSuccess;
}

Status TMRegistry::View(SettingsPlace place, const std::function<Status(Editor&)>& view) {
    return Guarded([&] {
        if (place == SettingsPlace::kAllUsers) {
            AllUsersEditor editor(ToBytes(GetRootKey()), AllUsersEditor::Writer::kNobody);
            return view(editor);
        }
        if (place == SettingsPlace::kCurrentUser) {
            Store store(UserStore(), Store::Access::kRead);
            BranchEditor editor(store, ToBytes(GetRootKey()));
            return view(editor);
        }
        QvString path;
        std::string prefix;
        if (const Status status = GetIniPath(path); status != kSuccess) return status;
        if (const Status status = IniSection(place, "", prefix); status != kSuccess) return status;
        Status status = kSuccess;
        auto text = IniFile(ToBytes(path)).Read(status);
        if (!text) return status;
        IniEditor editor(*text, prefix);
        return view(editor);
    });
}

Status TMRegistry::Change(SettingsPlace place, const std::function<Status(Editor&)>& change) {
    return Guarded([&] {
        if (place == SettingsPlace::kAllUsers) {
            using Writer = AllUsersEditor::Writer;
            AllUsersEditor editor(ToBytes(GetRootKey()), forEverybody_ ? Writer::kEverybody : Writer::kWhoMay);
            if (const Status status = change(editor); status != kSuccess) return status;
            editor.Commit();
            return kSuccess;
        }
        if (place == SettingsPlace::kCurrentUser) {
            Store store(UserStore(), Store::Access::kWrite);
            BranchEditor editor(store, ToBytes(GetRootKey()));
            if (const Status status = change(editor); status != kSuccess) return status;
            store.Commit();
            return kSuccess;
        }
        QvString path;
        std::string prefix;
        if (const Status status = GetIniPath(path); status != kSuccess) return status;
        if (const Status status = IniSection(place, "", prefix); status != kSuccess) return status;
        return IniFile(ToBytes(path)).Change([&](IniText& text) {
            IniEditor editor(text, prefix);
            return change(editor);
        });
    });
}

Status TMRegistry::ReadRaw(SettingsPlace place, const char* section, const char* key, std::string& text) {
    if (const Status status = CheckNames(section, key); status != kSuccess) return status;
    return View(place, [&](Editor& editor) { return editor.Get(section, key, text); });
}

// Single texts

Status TMRegistry::WriteText(SettingsPlace place, const char* section, const char* key, const char* text,
                             bool overwrite) {
    if (const Status status = CheckNames(section, key); status != kSuccess) return status;
    if (!text) return kBadArguments;
    return Change(place, [&](Editor& editor) {
        std::string existing;
        if (!overwrite && editor.Get(section, key, existing) == kSuccess) return kKeptExisting;
        return editor.Set(section, key, text);
    });
}

Status TMRegistry::WriteInteger(SettingsPlace place, const char* section, const char* key, int value) {
    return WriteText(place, section, key, std::to_string(value).c_str());
}

Status TMRegistry::WriteBool(SettingsPlace place, const char* section, const char* key, bool value) {
    return WriteText(place, section, key, value ? "true" : "false");
}

Status TMRegistry::ReadText(SettingsPlace place, const char* section, const char* key, char* buffer, int size) {
    std::string text;
    if (status_ == kSuccess && (!buffer || size < 1)) return kBadArguments;
    const Status status = ReadRaw(place, section, key, text);
    return status == kSuccess ? CopyOut(text, buffer, size) : status;
}

Status TMRegistry::ReadText(SettingsPlace place, const char* section, const char* key, QvString& text) {
    std::string bytes;
    const Status status = ReadRaw(place, section, key, bytes);
    if (status == kSuccess) text = ToText(bytes);
    return status;
}

Status TMRegistry::ReadInteger(SettingsPlace place, const char* section, const char* key, int& value) {
    std::string text;
    if (const Status status = ReadRaw(place, section, key, text); status != kSuccess) return status;
    if (text.size() >= kNumberBytes) return kBufferTooSmall;
    const auto number = ToInteger(text);
    if (!number) return kBadConversion;
    value = *number;
    return kSuccess;
}

Status TMRegistry::ReadBool(SettingsPlace place, const char* section, const char* key, bool& value) {
    std::string text;
    if (const Status status = ReadRaw(place, section, key, text); status != kSuccess) return status;
    if (text != "true" && text != "false") return kBadConversion;
    value = text == "true";
    return kSuccess;
}

// With a default. A call that was wrong in itself keeps its status.

namespace {
Status WithDefault(Status status) { return status == kNotInitialized || status == kBadArguments ? status : kSuccess; }
}  // namespace

Status TMRegistry::ReadText(SettingsPlace place, const char* section, const char* key, char* buffer, int size,
                            const char* fallback) {
    const Status status = ReadText(place, section, key, buffer, size);
    if (status == kSuccess) return status;
    if (!buffer || size < 1 || !fallback) return status_ == kSuccess ? kBadArguments : kNotInitialized;
    const std::size_t copied = strnlen(fallback, static_cast<std::size_t>(size) - 1);
    std::memmove(buffer, fallback, copied);
    buffer[copied] = '\0';
    if (const Status wrong = WithDefault(status); wrong != kSuccess) return wrong;
    return fallback[copied] == '\0' ? kSuccess : kDefaultTooLong;
}

Status TMRegistry::ReadText(SettingsPlace place, const char* section, const char* key, QvString& text,
                            const char* fallback) {
    const Status status = ReadText(place, section, key, text);
    if (status == kSuccess) return status;
    if (!fallback) return status_ == kSuccess ? kBadArguments : kNotInitialized;
    text = fallback;
    return WithDefault(status);
}

Status TMRegistry::ReadInteger(SettingsPlace place, const char* section, const char* key, int& value, int fallback) {
    const Status status = ReadInteger(place, section, key, value);
    if (status != kSuccess) value = fallback;
    return WithDefault(status);
}

Status TMRegistry::ReadBool(SettingsPlace place, const char* section, const char* key, bool& value, bool fallback) {
    const Status status = ReadBool(place, section, key, value);
    if (status != kSuccess) value = fallback;
    return WithDefault(status);
}

// Paths

Status TMRegistry::ReadPath(SettingsPlace place, const char* section, const char* key, char* buffer, int size) {
    if (status_ == kSuccess && (!buffer || size < 1)) return kBadArguments;
    std::string text;
    if (const Status status = ReadRaw(place, section, key, text); status != kSuccess) return status;
    if (text.size() + 1 > static_cast<std::size_t>(size)) return kBufferTooSmall;
    if (!text.empty() && !EndsWithSeparator(text)) text += SeparatorFor(text);
    return CopyOut(text, buffer, size) == kSuccess ? kSuccess : kPathTooLong;
}

Status TMRegistry::ReadPath(SettingsPlace place, const char* section, const char* key, QvString& path) {
    std::string text;
    if (const Status status = ReadRaw(place, section, key, text); status != kSuccess) return status;
    if (!text.empty() && !EndsWithSeparator(text)) text += SeparatorFor(text);
    path = ToText(text);
    return kSuccess;
}

// Numbered lists

Status TMRegistry::AddToList(SettingsPlace place, const char* section, const char* entry, const char* text) {
    if (const Status status = CheckNames(section, entry); status != kSuccess) return status;
    if (IsEmpty(text)) return kBadArguments;
    return Change(place, [&](Editor& editor) {
        return editor.Set(ListKey(section, entry, editor.Count(section, entry)), entry, text);
    });
}

Status TMRegistry::CountList(SettingsPlace place, const char* section, const char* entry, int& count) {
    if (const Status status = CheckNames(section, entry); status != kSuccess) return status;
    return View(place, [&](Editor& editor) {
        count = editor.Count(section, entry);
        return kSuccess;
    });
}

Status TMRegistry::ReadFromList(SettingsPlace place, const char* section, const char* entry, int index,
                                QvString& text) {
    if (const Status status = CheckNames(section, entry); status != kSuccess) return status;
    return View(place, [&](Editor& editor) {
        std::string found;
        if (index < 0 || editor.Get(ListKey(section, entry, index), entry, found) != kSuccess) return kKeyMissing;
        text = ToText(found);
        return kSuccess;
    });
}

namespace {

/// The first entry with that text; -1 when there is none.
template <class Editor>
int IndexOf(Editor& editor, const char* section, const char* entry, const char* text) {
    std::string found;
    for (int index = 0; editor.Get(ListKey(section, entry, index), entry, found) == kSuccess; ++index)
        if (found == text) return index;
    return -1;
}

}  // namespace

Status TMRegistry::FindInList(SettingsPlace place, const char* section, const char* entry, const char* text,
                              int& index) {
    if (const Status status = CheckNames(section, entry); status != kSuccess) return status;
    if (IsEmpty(text)) return kBadArguments;
    return View(place, [&](Editor& editor) {
        const int found = IndexOf(editor, section, entry, text);
        if (found < 0) return kKeyMissing;
        index = found;
        return kSuccess;
    });
}

Status TMRegistry::RemoveEntry(SettingsPlace place, const char* section, const char* entry,
                               const std::function<int(Editor&, int count)>& which) {
    return Change(place, [&](Editor& editor) {
        const int count = editor.Count(section, entry);
        const int index = which(editor, count);
        if (index < 0 || index >= count) return kKeyMissing;
        for (int i = index; i + 1 < count; ++i) {
            std::string text;
            if (const Status status = editor.Get(ListKey(section, entry, i + 1), entry, text); status != kSuccess)
                return status;
            if (const Status status = editor.Set(ListKey(section, entry, i), entry, text); status != kSuccess)
                return status;
        }
        return editor.Delete(ListKey(section, entry, count - 1));
    });
}

Status TMRegistry::RemoveFromList(SettingsPlace place, const char* section, const char* entry, int index) {
    if (const Status status = CheckNames(section, entry); status != kSuccess) return status;
    return RemoveEntry(place, section, entry, [index](Editor&, int) { return index; });
}

Status TMRegistry::RemoveFromList(SettingsPlace place, const char* section, const char* entry, const char* text) {
    if (const Status status = CheckNames(section, entry); status != kSuccess) return status;
    if (IsEmpty(text)) return kBadArguments;
    return RemoveEntry(place, section, entry,
                       [=](Editor& editor, int) { return IndexOf(editor, section, entry, text); });
}

// Status texts

int TMRegistry::GetErrorText(int code, QvString& text) {
    static constexpr const char* kTexts[] = {
        "Fehler: übergebener Puffer zu klein für Registry Eintrag",
        "Fehler: Registry-Key nicht lesbar",
        "Fehler: Registry-Key existiert nicht",
        "Fehler: Registry-Key nicht schreibbar",
        "Fehler: Registry-Key konnte nicht erzeugt werden",
        "Fehler: falsche/fehlende Aufrufparameter",
        "Fehler: Ini-Datei nicht schreibbar",
        "Fehler: Ini-Datei nicht lesbar",
        "Fehler: übergebener Puffer zu klein für Pfad und Name",
        "Fehler: noch nicht initialisiert",
        "Fehler: Datenkonvertierung",
        "Fehler: Default länger als Platz in Ziel",
        "Warnung: Existierender Registry-Key wurde nicht überschrieben",
    };
    const bool known = code <= kBufferTooSmall && code >= kKeptExisting;
    const char* found = known ? kTexts[-1 - code] : "Fehler: kein gültiger Fehlercode";
    text = Windows1252FromUtf8(std::string("TMRegistry - ") + found).c_str();
    return 0;
}

}  // namespace kestrel
