#pragma once
#include "kestrel/storage/QvStream.h"
#include "kestrel/storage/QvZlibStream.h"

namespace kestrel {

/// Compresses what is written to it into another stream, which has to live longer. The compressed data ends with the
/// object; a writer that was never written to leaves a valid empty zlib stream.
class KESTREL_API QvDeflatingWriter final : public QvOutputStream, private QvZlibStream {
public:
    explicit QvDeflatingWriter(QvOutputStream& inner, std::size_t bufferSize = kBuffer);
    /// Ends the data unless that was done. A destructor cannot throw: what fails here is told by the inner stream
    /// (`HasFailed`, `Close`), or by `End`, called before.
    ~QvDeflatingWriter() override;

    /// Takes all bytes or throws `QvStreamException`; after that nothing more is written, the end of the data neither.
    std::size_t Write(const void* buffer, std::size_t count) override;
    /// Ends the data; nothing can be written afterwards.
    void End();

    /// Bytes that were taken so far.
    std::int64_t Size() override { return taken_; }
    std::int64_t Tell() override { return taken_; }
    /// A compressed stream has no positions: -1.
    std::int64_t Seek(std::int64_t, int) override { return -1; }
    bool HasFailed() const override { return failed_; }

private:
    int Run(int flush);
    [[noreturn]] void Break(ZlibError code);

    QvOutputStream& inner_;
    std::int64_t taken_ = 0;
    bool failed_ = false;
};

}  // namespace kestrel
