#pragma once
#include <memory>
#include <string>
#include <vector>

#include "kestrel/storage/IQvStorage.h"

namespace kestrel {

/// A storage over a folder tree: folders are storages, files are streams. Nothing is held open: an object on a folder
/// that is missing is no failure, its operations are.
///
/// Symbolic links may lead anywhere within the folder that was opened first; those that lead out of it are refused.
class KESTREL_API QvSimpStorage final : public IQvStorage {
public:
    /// An external storage lies in the folder `path` itself, which the create bit makes; any other in the folder of the
    /// box of that name (`BoxFolder`), which is made with its first stream.
    static QvStoragePtr CreateNewQvStorage(const char* path, unsigned long mode, bool keepNative, bool external);
    static bool Flush() { return false; }

    QvStreamPtr CreateStream(const char* name, unsigned long mode) override;
    QvStreamPtr OpenStream(const char* name, unsigned long mode) override;
    bool DeleteElement(const char* name) override;
    QvStoragePtr CreateStorage(const char* name, unsigned long mode) override;
    QvStoragePtr OpenStorage(const char* name, unsigned long mode) override;
    bool DeleteStorage(const char* name) override;
    bool FirstElement(QvString& name, unsigned long& flags, const char* mask = "") override;
    bool NextElement(QvString& name, unsigned long& flags) override;
    bool Exists(const char* name) override;
    bool Close() override;
    bool Commit() override { return true; }
    QvString Name() const override { return name_.c_str(); }
    QvString Path() const override { return path_.c_str(); }
    bool KeepNative() const override { return keepNative_; }
    bool External() const override { return external_; }
    int Kind() const override { return 1; }
    bool CopyTo(IQvStorage&) override { return false; }
    bool Stat(QvStat& stat) override;
    bool HasFailed() const override { return false; }
    QvStoragePtr Wrap(std::shared_ptr<compound::Storage>) override { return nullptr; }

private:
    struct Found {
        std::string name;
        unsigned long flags;
    };

    QvSimpStorage(std::string name, const std::string& path, const std::string& root, unsigned long mode,
                  bool keepNative, bool external);
    ~QvSimpStorage() override = default;
    bool Locate(const char* name, std::string& path) const;
    bool Failed(const char* operation, const std::string& name, int error) const;

    std::string name_;
    std::string path_;    // with backslashes, one at its end
    std::string system_;  // the same for the system
    std::string root_;    // the system's path of the folder that the tree began with
    bool keepNative_;
    bool external_;
    std::vector<Found> found_;  // what the enumeration has still to tell, the last one first
};

}  // namespace kestrel
