#include "kestrel/storage/WorkImageStream.h"

#include <cstdlib>
#include <cstring>

#include "kestrel/storage/QvDeflatingWriter.h"
#include "kestrel/storage/QvInflatingReader.h"

namespace kestrel {
namespace {

constexpr std::size_t kFraming = 8;         // the mark and the size, not compressed
constexpr std::uint64_t kBestRatio = 1032;  // zlib expands no byte to more than this

bool WriteNumber(QvOutputStream& stream, std::uint32_t number) {
    return stream.Write(&number, sizeof number) == sizeof number;
}

bool ReadNumber(QvInputStream& stream, std::uint32_t& number) {
    return stream.Read(&number, sizeof number) == sizeof number;
}

/// Whether what is left of the stream can expand to so many bytes.
bool CanHold(QvInputStream& stream, std::uint64_t size) {
    const std::int64_t left = stream.Size() - stream.Tell();
    return left > 0 && size / kBestRatio <= static_cast<std::uint64_t>(left);
}

}  // namespace

bool WriteWorkImage(QvOutputStream& stream, const CWorkImage& picture) {
    const auto block = picture.Block();
    if (!WriteNumber(stream, 0) || !WriteNumber(stream, static_cast<std::uint32_t>(block.size()))) return false;
    QvDeflatingWriter compressed(stream);
    const std::uint32_t reserved = 0;  // the block need not hold a 0 there
    compressed.Write(&reserved, sizeof reserved);
    compressed.Write(block.data() + kFraming + sizeof reserved, block.size() - kFraming - sizeof reserved);
    compressed.End();
    return true;
}

std::unique_ptr<CWorkImage> ReadWorkImage(QvInputStream& stream) {
    std::uint32_t mark = 0, size = 0;
    if (!ReadNumber(stream, mark) || mark != 0 || !ReadNumber(stream, size)) return nullptr;
    if (size < CWorkImage::kSmallestBlock || !CanHold(stream, size)) return nullptr;
    CWorkImage::BlockPtr block(static_cast<std::uint8_t*>(std::malloc(size)),
                               [](std::uint8_t* bytes) { std::free(bytes); });
    if (!block) return nullptr;
    std::memcpy(block.get(), &mark, sizeof mark);
    std::memcpy(block.get() + sizeof mark, &size, sizeof size);
    QvInflatingReader compressed(stream);
    if (compressed.Read(block.get() + kFraming, size - kFraming) != size - kFraming) return nullptr;
    return CWorkImage::FromBlock(std::move(block), size);
}

}  // namespace kestrel
