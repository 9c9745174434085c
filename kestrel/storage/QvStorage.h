#pragma once
#include "kestrel/storage/QvCompoundStorage.h"

namespace kestrel {

/// A compound file on the disk, held by one opener at a time. Whoever finds it held, or one of its elements, tries for
/// about a second: up to 100 times, 10 ms apart. Failures are told to the debug monitor under "QvStorage_Zephon".
class KESTREL_API QvStorage final : public QvCompoundStorage {
public:
    /// Null when the file cannot be opened; `LastStorageError` says why. With the create bit a file that is missing is
    /// made; one that is there is opened as it is. The two flags are those of other storages and mean nothing here.
    static QvStoragePtr CreateNewQvStorage(const char* path, unsigned long mode, bool, bool);
    static bool Flush() { return false; }

    /// Asked for its failure (`HasFailed`) right afterwards. `path` takes both separators.
    QvStorage(const char* path, unsigned long mode);
};

}  // namespace kestrel
