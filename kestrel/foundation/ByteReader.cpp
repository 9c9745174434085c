#include "kestrel/foundation/ByteReader.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

ByteReader::ByteReader(std::FILE* file) {
    if (!file) return;
    const off_t start = ftello(file);
    if (start < 0 || fseeko(file, 0, SEEK_END) != 0) return;
    const off_t size = ftello(file);
    if (size < start || fseeko(file, start, SEEK_SET) != 0) return;
    file_ = file;
    size_ = static_cast<std::uint64_t>(size);
    position_ = static_cast<std::uint64_t>(start);
}

std::size_t ByteReader::Read(void* to, std::size_t count) {
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, Left()));
    if (count == 0) return 0;
    if (file_)
        count = std::fread(to, 1, count, file_);
    else
        std::memcpy(to, bytes_.data() + position_, count);
    position_ += count;
    return count;
}

bool ByteReader::Seek(std::uint64_t position) {
    if (position > size_ || (file_ && fseeko(file_, static_cast<off_t>(position), SEEK_SET) != 0)) return false;
    position_ = position;
    return true;
}

}  // namespace kestrel
