#pragma once
#include "kestrel/storage/QvMemoryStorage.h"

namespace kestrel {

/// One temporary stream in memory, named "TempStream".
class KESTREL_API QvHelperStream final {
public:
    /// `size` bytes are made room for at once; the stream grows as needed.
    explicit QvHelperStream(int size);

    /// The stream, which stays this object's own and is not to be closed; null when memory did not suffice.
    QvStream* Stream() const { return stream_.get(); }

private:
    QvMemoryStorage storage_;
    QvStreamPtr stream_;  // ends before the storage
};

}  // namespace kestrel
