#pragma once
#include <string>
#include <utility>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/QvString.h"
#include "kestrel/settings/Status.h"

namespace kestrel {

/// The branches of the registry tree. The class root is the key "Software\Classes" of the other two: of all users where
/// the caller may write there, otherwise of the current user; reads look at the current user's first. The branch of all
/// users holds what `TMRegistryMFC` keeps in a store that everybody may write, too; classes never lie there.
enum HKEY : unsigned {
    HKEY_CLASSES_ROOT = 0x80000000u,
    HKEY_CURRENT_USER = 0x80000001u,
    HKEY_LOCAL_MACHINE = 0x80000002u,
};

/// One text to write: key, name (empty for the key's default text), text.
struct RegistryText {
    std::string key;
    std::string name;
    std::string text;
};

// Keys are names separated by backslashes. Nothing here throws.

/// Writes all texts or none.
KESTREL_API Status RegistryWrite(HKEY branch, const std::vector<RegistryText>& texts);
KESTREL_API Status RegistryRead(HKEY branch, const char* key, const char* name, QvString& text);
/// Removes all these keys with their subkeys; `kKeyMissing` when there was none of them.
KESTREL_API Status RegistryDelete(HKEY branch, const std::vector<std::string>& keys);
/// One key: 0, or `kKeyMissing`, or `kKeyNotWritable`. An empty name is refused with `kBadArguments`: the branch itself
/// stays.
KESTREL_API int DeleteKeyAndAllSubkeys(HKEY branch, const char* key);

/// What lies right under a key, in the order of the names.
struct RegistryContents {
    std::vector<std::string> subkeys;
    std::vector<std::pair<std::string, std::string>> texts;
};
KESTREL_API Status RegistryList(HKEY branch, const char* key, RegistryContents& contents);

}  // namespace kestrel
