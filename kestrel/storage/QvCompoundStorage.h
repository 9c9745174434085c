#pragma once
#include <memory>
#include <string>
#include <vector>

#include "kestrel/foundation/Result.h"
#include "kestrel/storage/IQvStorage.h"
#include "kestrel/storage/compound/CompoundFile.h"

namespace kestrel {

struct CompoundPlace;
struct CompoundSession;

/// A storage of a compound file, wherever that lies. Closing a stream or a storage makes all changes so far true at
/// once; until then a compound file is as it was.
class KESTREL_API QvCompoundStorage : public IQvStorage {
public:
    QvCompoundStorage(const QvCompoundStorage&) = delete;
    QvCompoundStorage& operator=(const QvCompoundStorage&) = delete;
    ~QvCompoundStorage() override;

    QvStreamPtr CreateStream(const char* name, unsigned long mode) override;
    QvStreamPtr OpenStream(const char* name, unsigned long mode) override;
    bool DeleteElement(const char* name) override;
    QvStoragePtr CreateStorage(const char* name, unsigned long mode) override;
    QvStoragePtr OpenStorage(const char* name, unsigned long mode) override;
    bool DeleteStorage(const char*) override { return false; }
    bool FirstElement(QvString& name, unsigned long& flags, const char* mask = "") override;
    bool NextElement(QvString& name, unsigned long& flags) override;
    bool Exists(const char* name) override;
    bool Close() override;
    bool Commit() override { return true; }
    QvString Name() const override { return name_; }
    QvString Path() const override;
    bool KeepNative() const override { return false; }
    bool External() const override { return false; }
    int Kind() const override { return 0; }
    bool CopyTo(IQvStorage& target) override;
    bool Stat(QvStat& stat) override;
    bool HasFailed() const override { return !own_; }
    /// The storage has to belong to the same compound file.
    QvStoragePtr Wrap(std::shared_ptr<compound::Storage> open) override;

    /// For many changes in a row: closing commits nothing until `ResumeCommits`, which commits all of them at once and
    /// is false when that failed. Both hold for the whole compound file.
    void PauseCommits();
    [[nodiscard]] bool ResumeCommits();

protected:
    /// Without a storage; `Attach` brings one.
    explicit QvCompoundStorage(const QvString& name) : name_(name) {}
    /// The root of an open compound file.
    void Attach(std::shared_ptr<CompoundSession> session);
    /// Commits and lets go of the file; the object has no storage afterwards.
    bool Detach();

private:
    QvCompoundStorage(const QvString& name, std::shared_ptr<CompoundSession> session,
                      std::shared_ptr<compound::Storage> own);
    bool Patient() const;
    bool Succeeded(compound::Error error, const char* name) const;
    compound::Result<CompoundPlace> Locate(const char* name) const;
    template <class Open>
    auto OpenElement(const char* name, const Open& open, bool (*mayPass)(HRESULT), const char* before = "") const;
    QvStoragePtr StorageOf(const char* name, compound::Result<compound::Storage> opened) const;

    struct Found {
        std::string name;
        unsigned long flags;
    };

    QvString name_;
    std::shared_ptr<CompoundSession> session_;
    std::shared_ptr<compound::Storage> own_;  // what this object stands for; null when opening failed
    std::vector<Found> found_;                // what the enumeration has still to tell, the last one first
};

}  // namespace kestrel
