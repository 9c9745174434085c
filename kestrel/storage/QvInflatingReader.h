#pragma once
#include "kestrel/storage/QvStream.h"
#include "kestrel/storage/QvZlibStream.h"

namespace kestrel {

/// Reads what a `QvDeflatingWriter` wrote, from another stream, which has to live longer and is read ahead by up to a
/// buffer. At the end of the data, and where the data is damaged, reading gives 0 and keeps doing so.
class KESTREL_API QvInflatingReader final : public QvInputStream, private QvZlibStream {
public:
    explicit QvInflatingReader(QvInputStream& inner, std::size_t bufferSize = kBuffer);
    ~QvInflatingReader() override;

    std::size_t Read(void* buffer, std::size_t count) override;
    /// Frees what zlib holds; nothing can be read afterwards.
    void End();
    bool Close() override;
    bool SetSize(std::int64_t) override { return false; }
    bool Stat(QvStat&) override { return false; }

    /// Bytes that were read so far; how many there will be is not known.
    std::int64_t Size() override { return -1; }
    std::int64_t Tell() override { return made_; }
    /// A compressed stream has no positions: -1.
    std::int64_t Seek(std::int64_t, int) override { return -1; }
    /// True when the data broke off or is damaged.
    bool HasFailed() const override { return failed_; }

private:
    QvInputStream& inner_;
    std::int64_t made_ = 0;
    bool failed_ = false;
};

/// Copies from one stream to another, a zlib layer among them or not, until `count` bytes are through or a read gives
/// 0. Gives the bytes that were written.
KESTREL_API std::int64_t CopyBytes(QvInputStream& from, QvOutputStream& to, std::int64_t count);

}  // namespace kestrel
