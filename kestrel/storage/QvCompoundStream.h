#pragma once
#include <memory>
#include <string>

#include "kestrel/storage/CompoundSession.h"
#include "kestrel/storage/QvStream.h"

namespace kestrel {

/// A stream of a compound file. Changes go to a stream of another name, which takes the old one's place at the end:
/// whatever ends the process or is committed meanwhile, under its own name a stream is whole. Not installed.
class QvCompoundStream final : public QvStream {
public:
    /// A stream that is there.
    QvCompoundStream(CompoundPlace place, compound::Stream stream, unsigned long mode);
    /// A new stream in place of `old`, which may be none.
    static compound::Result<QvStreamPtr> Create(CompoundPlace place, std::unique_ptr<compound::Stream> old,
                                                unsigned long mode);

    std::int64_t Size() override;
    std::int64_t Tell() override;
    std::int64_t Seek(std::int64_t offset, int origin) override;
    bool HasFailed() const override { return failed_; }
    std::size_t Read(void* buffer, std::size_t count) override;
    std::size_t Write(const void* buffer, std::size_t count) override;
    bool Close() override;
    bool SetSize(std::int64_t bytes) override;
    bool Stat(QvStat& stat) override;
    void Revert() noexcept override;

private:
    QvCompoundStream(CompoundPlace place, std::unique_ptr<compound::Stream> old, unsigned long mode);
    ~QvCompoundStream() override = default;
    compound::Error BeginChange(bool keepContent);
    compound::Error CopyOld();
    compound::Error Publish();
    bool Finish();
    bool Failed(compound::Error error);
    /// The stream that counts: the changed one once there is one.
    compound::Stream& Current() { return changed_ ? *changed_ : *old_; }

    CompoundPlace place_;
    std::unique_ptr<compound::Stream> old_;  // held while the change goes on, so that nobody else opens it
    std::unique_ptr<compound::Stream> changed_;
    std::u16string changedName_;
    bool mayRead_;
    bool mayWrite_;
    bool failed_ = false;
};

}  // namespace kestrel
