#include "kestrel/image/DibRead.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <span>

#include "kestrel/image/Dib.h"
#include "kestrel/image/DibModule.h"
#include "kestrel/image/DibRecord.h"

namespace kestrel {
namespace {

constexpr std::uint32_t kCoreHeader = 12;

std::uint32_t Number16(const std::uint8_t* at) { return at[0] | static_cast<std::uint32_t>(at[1]) << 8; }
std::uint32_t Number32(const std::uint8_t* at) { return Number16(at) | Number16(at + 2) << 16; }

/// What a record says of itself, checked against the bytes that there are.
struct Layout {
    Dib header{};
    bool core = false;           ///< the table has three bytes an entry
    std::uint64_t pixelsAt = 0;  ///< position of the image
    std::uint64_t tableBytes = 0;
};

/// Reads file header and record header; the source then stands after the 40 (or 12) bytes of the latter.
bool ReadHeader(ByteReader& source, Layout& layout) {
    const std::uint64_t start = source.Position();
    std::uint8_t file[kDibFileHeader];
    if (source.Read(file, sizeof file) != sizeof file) return false;
    std::uint32_t bitsOffset = Number32(file + 10);
    if (file[0] != 'B' || file[1] != 'M') {
        bitsOffset = 0;
        if (!source.Seek(start)) return false;
    }
    Dib& header = layout.header;
    if (source.Read(&header, sizeof header) != sizeof header) return false;
    if (header.biSize == kCoreHeader) {
        std::uint8_t old[kCoreHeader];
        std::memcpy(old, &header, sizeof old);
        header = Dib{};
        header.biSize = sizeof(Dib);
        header.biWidth = static_cast<std::int32_t>(Number16(old + 4));
        header.biHeight = static_cast<std::int32_t>(Number16(old + 6));
        header.biPlanes = static_cast<std::uint16_t>(Number16(old + 8));
        header.biBitCount = static_cast<std::uint16_t>(Number16(old + 10));
        layout.core = true;
        if (!source.Seek(source.Position() - (sizeof(Dib) - kCoreHeader))) return false;
    }
    if (header.biSize < sizeof(Dib)) return false;

    const std::uint64_t rows = WalkedImageBytes(&header);
    if (header.biSizeImage == 0 && rows > UINT32_MAX) return false;
    DibImageSize(&header);
    layout.tableBytes = (layout.core ? 3 : 4) * std::uint64_t{DibColorCount(&header)};
    const std::uint64_t table = source.Position() + (header.biSize - sizeof(Dib));
    layout.pixelsAt = bitsOffset ? start + bitsOffset : table + layout.tableBytes;
    return table <= source.Size() && layout.tableBytes <= source.Size() - table && layout.pixelsAt <= source.Size() &&
           header.biSizeImage <= source.Size() - layout.pixelsAt && SizeIsHonest(header);
}

/// Three-byte entries that were read together take four bytes each; from the last to the first, so that none is
/// overwritten before it has moved.
void SpreadTable(std::uint8_t* table, std::uint32_t entries) {
    for (std::size_t i = entries; i-- > 0;) {
        std::memmove(table + 4 * i, table + 3 * i, 3);
        table[4 * i + 3] = 0;
    }
}

/// Runs of `in`, written to `out` as far as it goes. Lines are expected to be complete: a delta moves nothing.
void ExpandRuns(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) {
    std::size_t from = 0;
    std::size_t to = 0;
    const auto room = [&](std::size_t count) { return std::min(count, out.size() - to); };
    while (from + 2 <= in.size() && to < out.size()) {
        const std::size_t count = in[from];
        const std::uint8_t code = in[from + 1];
        from += 2;
        if (count != 0) {
            const std::size_t run = room(count);
            std::memset(out.data() + to, code, run);
            to += run;
        } else if (code == 0) {
            to = std::min((to + 3) & ~std::size_t{3}, out.size());
        } else if (code == 1) {
            return;
        } else if (code == 2) {
            from += 2;
        } else {
            const std::size_t literal = room(std::min<std::size_t>(code, in.size() - from));
            std::memcpy(out.data() + to, in.data() + from, literal);
            to += literal;
            from += code + code % 2u;
        }
    }
}

}  // namespace

bool MakePlain(Dib* dib) {
    if (dib->biCompression == kDibRunLength8) {
        const std::size_t size = dib->biSizeImage;
        std::uint8_t* image = reinterpret_cast<std::uint8_t*>(dib) + PixelOffset(dib);
        const std::unique_ptr<std::uint8_t[]> scratch(new (std::nothrow) std::uint8_t[size]());
        if (!scratch) return false;
        ExpandRuns({image, size}, {scratch.get(), size});
        std::memcpy(image, scratch.get(), size);
    }
    dib->biCompression = kDibPlain;
    return true;
}

Dib* ReadDibRecord(ByteReader& source) {
    Layout layout;
    if (!ReadHeader(source, layout)) return nullptr;
    const Dib& header = layout.header;
    const std::uint64_t tableEnd = TableEnd(&header);
    // Rows are walked whole, wherever the size on record ends; what no byte was read for is 0.
    const std::uint64_t image = std::max<std::uint64_t>(header.biSizeImage, WalkedImageBytes(&header));
    DibPtr dib(image > UINT64_MAX - tableEnd ? nullptr : AllocateRecord(tableEnd + image));
    if (!dib) return nullptr;
    *dib = header;
    auto* bytes = reinterpret_cast<std::uint8_t*>(dib.get());
    const std::size_t more = header.biSize - sizeof(Dib);
    if (source.Read(bytes + sizeof(Dib), more) != more) return nullptr;
    if (source.Read(bytes + header.biSize, layout.tableBytes) != layout.tableBytes) return nullptr;
    if (layout.core) SpreadTable(bytes + header.biSize, header.biClrUsed);
    if (!source.Seek(layout.pixelsAt)) return nullptr;
    // Bit fields lose their three masks here: the image lies where it is looked for once it counts as plain.
    if (source.Read(bytes + tableEnd, header.biSizeImage) != header.biSizeImage) return nullptr;
    if (!MakePlain(dib.get())) return nullptr;
    return dib.release();
}

Dib* DibOpenFile(const char* fileName) {
    if (!fileName) return nullptr;
    std::FILE* file = std::fopen(fileName, "rb");
    if (!file) return DibModule::Main().Find(fileName);
    ByteReader source(file);
    Dib* dib = ReadDibRecord(source);
    std::fclose(file);
    return dib;
}

Dib* DibReadDib(std::FILE* file, std::int64_t offset) {
    if (!file || offset < 0) return nullptr;
    ByteReader source(file);
    if (!source.Seek(static_cast<std::uint64_t>(offset))) return nullptr;
    return ReadDibRecord(source);
}

Dib* DibOpenFromModule(const char* name, DibModule* module) {
    Dib* dib = module ? module->Find(name) : nullptr;
    if (!dib) return nullptr;
    DibImageSize(dib);
    DibColorCount(dib);
    return MakePlain(dib) ? dib : nullptr;
}

}  // namespace kestrel
