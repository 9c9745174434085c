#pragma once
#include <functional>
#include <string>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/QvString.h"
#include "kestrel/settings/RegistryKeys.h"
#include "kestrel/settings/Status.h"

namespace kestrel {

/// Where a setting lies.
enum class SettingsPlace {
    kAllUsers,     ///< the product's key in the branch of all users
    kCurrentUser,  ///< the product's key in the branch of the current user
    kIniFile,      ///< section "<short id>_#_<section>" of the ini file
    kIniFileUser,  ///< section "<user name>_#_<section>" of the ini file
};

/// Settings of a product, named by section and key. Who the product is stands in a profile text "Velda.inf" beside the
/// program or in the current folder, in a section for each product that reads it.
///
/// Each operation returns a `Status`, 0 being success; nothing throws. Without identity it is `kNotInitialized`
/// from every operation, null or empty names `kBadArguments`. Texts are bytes and come back as they were written; the
/// status texts are Windows-1252. An object belongs to one thread; several processes may use the same settings at once.
class KESTREL_API TMRegistry {
public:
    /// The identity of the section "TMGallery".
    TMRegistry();
    /// The identity of a section, with another version. A version that contains ".ini" is the ini file's path instead,
    /// and the version is the section's own.
    explicit TMRegistry(const char* section, const char* version = nullptr);

    /// 0, or why there is no identity: `kPathTooLong`, `kNoIniValue`, `kBadArguments`.
    Status GetStatus() const { return status_; }
    /// "Software\<company>\<product>\<version>".
    QvString GetRootKey() const;
    /// "User" and the number that the current user has with this product, at least four digits; a new user gets the
    /// next one of the machine. Where that number cannot be kept there is no name but a status: no two users share one.
    Status GetUserName(QvString& name);
    /// Fixed at the first call: given with the version, else "Relax.ini" in the folder that `IniFilePath` names for all
    /// users, else in the program's folder. `kPathTooLong` from 260 bytes on, terminator included.
    Status GetIniPath(QvString& path);

    /// Without `overwrite` an existing text stays, and the result is `kKeptExisting`. An ini file cannot hold line
    /// ends.
    Status WriteText(SettingsPlace place, const char* section, const char* key, const char* text,
                     bool overwrite = true);
    Status WriteInteger(SettingsPlace place, const char* section, const char* key, int value);
    Status WriteBool(SettingsPlace place, const char* section, const char* key, bool value);

    /// A failure leaves the target as it is. In a branch a missing key is `kKeyMissing`, a key without that text
    /// `kKeyUnreadable`; in the ini file an empty or missing text `kNoIniValue`.
    Status ReadText(SettingsPlace place, const char* section, const char* key, char* buffer, int size);
    Status ReadText(SettingsPlace place, const char* section, const char* key, QvString& text);
    Status ReadInteger(SettingsPlace place, const char* section, const char* key, int& value);
    Status ReadBool(SettingsPlace place, const char* section, const char* key, bool& value);

    /// The default takes the place of what cannot be read; the result is 0. In a buffer it is cut to `size` - 1 bytes,
    /// and the result is then `kDefaultTooLong`.
    Status ReadText(SettingsPlace place, const char* section, const char* key, char* buffer, int size,
                    const char* fallback);
    Status ReadText(SettingsPlace place, const char* section, const char* key, QvString& text, const char* fallback);
    Status ReadInteger(SettingsPlace place, const char* section, const char* key, int& value, int fallback);
    Status ReadBool(SettingsPlace place, const char* section, const char* key, bool& value, bool fallback);

    /// A text that is not empty gets its closing separator: a backslash, or a slash where the text itself has slashes
    /// and no backslash. No room for it is `kPathTooLong`.
    Status ReadPath(SettingsPlace place, const char* section, const char* key, char* buffer, int size);
    Status ReadPath(SettingsPlace place, const char* section, const char* key, QvString& path);

    /// Numbered lists, from index 0 without gaps; entry 3 lies in the key "<section>\<entry>_0003". An index past the
    /// end, or a text that is not there, is `kKeyMissing`.
    Status AddToList(SettingsPlace place, const char* section, const char* entry, const char* text);
    Status CountList(SettingsPlace place, const char* section, const char* entry, int& count);
    Status ReadFromList(SettingsPlace place, const char* section, const char* entry, int index, QvString& text);
    Status FindInList(SettingsPlace place, const char* section, const char* entry, const char* text, int& index);
    /// Later entries move down; keys that are left empty go, from the leaf up to the first name of the root.
    Status RemoveFromList(SettingsPlace place, const char* section, const char* entry, int index);
    Status RemoveFromList(SettingsPlace place, const char* section, const char* entry, const char* text);

    /// Always 0.
    static int GetErrorText(int code, QvString& text);

protected:
    /// Whether what is kept for all users can be written by everybody.
    bool forEverybody_ = false;

private:
    /// The texts of one place within one transaction.
    class Editor;
    class BranchEditor;
    class AllUsersEditor;
    class IniEditor;

    void ReadIdentity(const char* section, const char* version);
    Status CheckNames(const char* section, const char* key) const;
    Status ReadRaw(SettingsPlace place, const char* section, const char* key, std::string& text);
    Status IniSection(SettingsPlace place, const std::string& section, std::string& name);
    Status View(SettingsPlace place, const std::function<Status(Editor&)>& view);
    Status Change(SettingsPlace place, const std::function<Status(Editor&)>& change);
    Status RemoveEntry(SettingsPlace place, const char* section, const char* entry,
                       const std::function<int(Editor&, int count)>& which);

    Status status_ = kNotInitialized;
    QvString company_;
    QvString product_;
    QvString version_;
    QvString shortId_;
    QvString iniPath_;   ///< empty until it is fixed
    QvString userName_;  ///< likewise
};

}  // namespace kestrel
