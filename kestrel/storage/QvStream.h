#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Guid.h"
#include "kestrel/foundation/QvString.h"

namespace kestrel {

class StorageFile;

/// Where a position is counted from.
enum SeekOrigin : int { kSeekBegin = 0, kSeekCurrent = 1, kSeekEnd = 2 };

/// Marks of an element.
enum ElementFlags : unsigned long { kElementStorage = 0x10, kElementStream = 0x20 };

/// What is known about a stream or a storage. Times are seconds since 1970, 0 when unknown.
struct QvStat {
    QvString name;
    unsigned long flags = 0;  ///< one of `ElementFlags`
    std::uint64_t size = 0;   ///< bytes of a stream
    std::int64_t created = 0;
    std::int64_t modified = 0;
    GUID classId{};               ///< storages of compound files only
    std::uint32_t stateBits = 0;  ///< storages of compound files only
};

/// Positions of a stream. The three operations give -1 when they fail. Streams are not thread safe.
class KESTREL_API QvPositioned {
public:
    virtual std::int64_t Size() = 0;
    virtual std::int64_t Tell() = 0;
    /// The new position from the start. Positions behind the end are allowed; a write there fills the gap with zeros.
    virtual std::int64_t Seek(std::int64_t offset, int origin) = 0;
    /// True once a read or write did less than it was asked for another reason than the end of the data.
    virtual bool HasFailed() const { return false; }

protected:
    ~QvPositioned() = default;
};

/// The reading face. Streams over files throw `StorageFileException` where the file fails, those with compression
/// `QvStreamException`; streams of compound files give fewer bytes and remember it (`HasFailed`).
class KESTREL_API QvInputStream : public virtual QvPositioned {
public:
    /// The bytes that were read: fewer than asked at the end.
    virtual std::size_t Read(void* buffer, std::size_t count) = 0;
    /// Ends the stream and deletes the object. What was written is safe on the disk when this is true; when it is false
    /// the disk holds what it held before.
    virtual bool Close() = 0;
    /// Cuts the stream or lengthens it by zeros. The position stays.
    virtual bool SetSize(std::int64_t bytes) = 0;
    /// The file below a stream of a folder tree; it stays the stream's own. Null for all other streams.
    virtual StorageFile* File() { return nullptr; }
    virtual bool Stat(QvStat& stat) = 0;

protected:
    virtual ~QvInputStream() = default;
};

/// The writing face.
class KESTREL_API QvOutputStream : public virtual QvPositioned {
public:
    /// The bytes that were written; fewer than asked is a failure (`HasFailed`), and nothing may follow it.
    virtual std::size_t Write(const void* buffer, std::size_t count) = 0;

protected:
    virtual ~QvOutputStream() = default;
};

/// A stream of a storage with both faces. It has to be closed before its storage is.
class KESTREL_API QvStream : public QvInputStream, public QvOutputStream {
public:
    /// Gives up what was written since the stream was opened: a new stream is gone again, a replaced one is what it
    /// was. Only `Close` may follow.
    virtual void Revert() noexcept = 0;

protected:
    ~QvStream() override = default;
};

/// What becomes of a stream that nobody closed: what was written is given up, so that no failure leaves half a stream
/// under its name. Who has written ends with `CloseStream`.
struct QvStreamGivenUp {
    void operator()(QvStream* stream) const noexcept {
        stream->Revert();
        stream->Close();
    }
};
using QvStreamPtr = std::unique_ptr<QvStream, QvStreamGivenUp>;

/// Closes the stream that the pointer holds, which is null afterwards; false when what was written is not kept.
[[nodiscard]] inline bool CloseStream(QvStreamPtr& stream) { return !stream || stream.release()->Close(); }

}  // namespace kestrel
