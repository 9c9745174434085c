#include "kestrel/storage/QvSimpStream.h"

#include <sys/stat.h>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/storage/IQvStorage.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StorageFileException.h"
#include "kestrel/storage/StorageWait.h"

namespace kestrel {
namespace {

constexpr int kTries = 5;
constexpr std::chrono::milliseconds kBetweenFileTries{100};
constexpr std::size_t kLoggedMessage = 255;  // bytes

StorageFile::Flags FlagsOf(unsigned long mode) {
    StorageFile::Flags flags;
    flags.write = mode & kStorageWrite;
    flags.read = (mode & kStorageRead) || !flags.write;
    flags.create = mode & kStorageCreate;
    flags.truncate = flags.create && (mode & kStorageTruncate);
    return flags;
}

}  // namespace

QvStreamPtr QvSimpStream::Open(const std::string& path, unsigned long mode) {
    for (int counter = 1;; ++counter) {
        try {
            return QvStreamPtr(new QvSimpStream(std::make_unique<StorageFile>(path, FlagsOf(mode))));
        } catch (const StorageFileException& error) {
            if (!error.MayPass() || counter == kTries) {
                LogLine(-1, "qvSimpStorage", __LINE__, error.Text().substr(0, kLoggedMessage));
                SetLastStorageError(error.OneLine());
                throw;
            }
        }
        WaitForStorage(kBetweenFileTries);
    }
}

std::int64_t QvSimpStream::Size() { return file_->Length(); }
std::int64_t QvSimpStream::Tell() { return file_->Tell(); }

std::int64_t QvSimpStream::Seek(std::int64_t offset, int origin) {
    switch (origin) {
        case kSeekBegin:
            return file_->Seek(offset, SEEK_SET);
        case kSeekCurrent:
            return file_->Seek(offset, SEEK_CUR);
        case kSeekEnd:
            return file_->Seek(offset, SEEK_END);
        default:
            return -1;
    }
}

std::size_t QvSimpStream::Read(void* buffer, std::size_t count) { return file_->Read(buffer, count); }

std::size_t QvSimpStream::Write(const void* buffer, std::size_t count) {
    file_->Write(buffer, count);
    return count;
}

bool QvSimpStream::Close() {
    const std::unique_ptr<StorageFile> file = std::move(file_);
    const bool keep = !reverted_;
    delete this;
    if (!file) throw CStorageFileError("no IStream", 1, "qvSimpStorage", 440);
    if (!keep) return true;
    try {
        file->Commit();
        return true;
    } catch (const StorageFileException& error) {
        LogLine(-1, "qvSimpStorage", __LINE__, error.Text());
        SetLastStorageError(error.OneLine());
        return false;
    }
}

bool QvSimpStream::SetSize(std::int64_t bytes) {
    file_->SetLength(bytes);
    return true;
}

bool QvSimpStream::Stat(QvStat& stat) {
    stat = {};
    const std::string& path = file_->Path();
    stat.name = path.substr(path.rfind('/') + 1).c_str();
    stat.flags = kElementStream;
    stat.size = static_cast<std::uint64_t>(file_->Length());
    struct stat status;
    if (fstat(fileno(file_->Stream()), &status) == 0) stat.modified = status.st_mtime;
    return true;
}

}  // namespace kestrel
