#pragma once
#include <memory>

#include "kestrel/storage/QvStream.h"
#include "kestrel/storage/StorageFile.h"

namespace kestrel {

/// A stream over a file of a folder tree. Its operations throw `StorageFileException` where the file fails.
class KESTREL_API QvSimpStream final : public QvStream {
public:
    /// Opens a file with the bits of `StorageMode`. While somebody else holds it, or it cannot be accessed, four
    /// more tries follow, 100 ms apart; then, and for any other cause at once, the reason goes to the log and to the
    /// caller as `StorageFileException`.
    static QvStreamPtr Open(const std::string& path, unsigned long mode);

    explicit QvSimpStream(std::unique_ptr<StorageFile> file) : file_(std::move(file)) {}

    std::int64_t Size() override;
    std::int64_t Tell() override;
    std::int64_t Seek(std::int64_t offset, int origin) override;
    std::size_t Read(void* buffer, std::size_t count) override;
    std::size_t Write(const void* buffer, std::size_t count) override;
    /// Throws `CStorageFileError` when there is no file; the object is gone all the same.
    bool Close() override;
    bool SetSize(std::int64_t bytes) override;
    StorageFile* File() override { return file_.get(); }
    bool Stat(QvStat& stat) override;
    void Revert() noexcept override { reverted_ = true; }

private:
    ~QvSimpStream() override = default;

    std::unique_ptr<StorageFile> file_;
    bool reverted_ = false;
};

}  // namespace kestrel
