#include "kestrel/storage/WholeStream.h"

#include "kestrel/storage/QvError.h"

namespace kestrel {

std::optional<std::string> ReadWholeStream(IQvStorage& storage, const char* name, std::int64_t longest) try {
    const QvStreamPtr stream = storage.OpenStream(name, kStorageRead);
    if (!stream) return {};
    const std::int64_t size = stream->Size();
    if (size < 0 || size > longest || stream->Seek(0, kSeekBegin) != 0) return {};
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (stream->Read(bytes.data(), bytes.size()) != bytes.size()) return {};
    return bytes;
} catch (const CQvError&) {  // streams of folder trees throw where the others give fewer bytes
    return {};
}

}  // namespace kestrel
