#include "kestrel/codec/PngChunks.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "kestrel/codec/Exif.h"
#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/ImageResources.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kChecksum = 4;
constexpr std::size_t kLongestProfile = 16 << 20;  // far beyond any real one, as is the next
constexpr std::size_t kLongestBlock = 64 << 20;
constexpr std::string_view kXmpKeyword("XML:com.adobe.xmp");
// PNG has no chunk for IPTC data. What other programs agree on: image resources as a text of hexadecimal digits, after
// a line feed, the kind of data, and its length in bytes in a line.
constexpr std::string_view kIptcKeyword("Raw profile type iptc");

std::uint32_t Number(const std::uint8_t* at) {
    return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
}

void Put(Bytes& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

bool Is(const std::uint8_t* name, const char* four) { return std::memcmp(name, four, 4) == 0; }

/// Critical chunks, and the transparent colours.
bool PixelsNeed(const std::uint8_t* name) { return !(name[0] & 0x20) || Is(name, "tRNS"); }

/// The body of a chunk whose name begins at `name`; empty when its checksum is wrong. The source then stands after it.
Bytes ReadBody(ByteReader& source, const std::uint8_t* name, std::size_t length) {
    Bytes body(length);
    std::uint8_t sum[kChecksum];
    if (source.Read(body.data(), length) != length || source.Read(sum, sizeof sum) != sizeof sum) return {};
    const uLong crc = crc32_z(crc32_z(0, name, 4), body.data(), length);
    if (crc != Number(sum)) body.clear();
    return body;
}

/// A zlib stream's bytes; empty when it is damaged or longer than a profile can be.
Bytes Inflated(std::span<const std::uint8_t> from) {
    Bytes to(std::min(kLongestProfile, std::max<std::size_t>(4096, 4 * from.size())));
    for (;;) {
        uLongf size = to.size();
        const int result = uncompress(to.data(), &size, from.data(), from.size());
        if (result == Z_BUF_ERROR && size == to.size() && to.size() < kLongestProfile) {
            to.resize(std::min(kLongestProfile, 4 * to.size()));
            continue;
        }
        to.resize(result == Z_OK ? size : 0);
        return to;
    }
}

void AppendDeflated(Bytes& to, std::span<const std::uint8_t> bytes) {
    const std::size_t start = to.size();
    uLongf size = compressBound(bytes.size());
    to.resize(start + size);
    if (compress(to.data() + start, &size, bytes.data(), bytes.size()) != Z_OK) throw std::bad_alloc();
    to.resize(start + size);
}

void TakeProfileChunk(std::span<const std::uint8_t> body, PngExtras& extras) {
    // A name of 1 to 79 bytes, a zero, the compression method 0, a zlib stream.
    const auto end = std::ranges::find(body, 0);
    if (body.end() - end < 2) return;
    const std::string why = TakeProfile(Inflated({end + 2, body.end()}), extras.metadata.profile);
    if (!why.empty()) extras.notes.push_back(why);
}

void TakeDensity(std::span<const std::uint8_t> body, Density& density) {
    if (body.size() != 9) return;
    density.x = Number(body.data());
    density.y = Number(body.data() + 4);
    if (density.x > 0 && density.y > 0)
        density.unit = body[8] == 1 ? Density::Unit::PerMeter : Density::Unit::AspectOnly;
}

void TakeExif(const Bytes& body, PngExtras& extras) {
    const auto data = WithoutExifMark(body);
    extras.metadata.exif.assign(data.begin(), data.end());
    extras.orientation = ExifOrientation(data);
    ResetExifOrientation(extras.metadata.exif);
}

bool TakeXmp(std::span<const std::uint8_t> body, Bytes& xmp) {
    // Keyword and zero; not compressed (0), method; language and translated keyword, each with a zero; the text.
    const std::size_t start = kXmpKeyword.size() + 1;
    if (body.size() < start + 4 || std::memcmp(body.data(), kXmpKeyword.data(), start) != 0 || body[start] != 0)
        return false;
    const auto language = std::find(body.begin() + static_cast<std::ptrdiff_t>(start) + 2, body.end(), 0);
    const auto keyword = language == body.end() ? language : std::find(language + 1, body.end(), 0);
    if (keyword != body.end()) xmp.assign(keyword + 1, body.end());
    return !xmp.empty();
}

int DigitOf(std::uint8_t c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

/// Whether the text is one of IPTC data, sound or not.
bool TakeIptc(std::span<const std::uint8_t> body, bool compressed, Bytes& iptc) {
    const std::size_t start = kIptcKeyword.size() + 1 + compressed;  // with its end and the method
    if (body.size() < start || std::memcmp(body.data(), kIptcKeyword.data(), kIptcKeyword.size() + 1) != 0)
        return false;
    Bytes text(body.begin() + static_cast<std::ptrdiff_t>(start), body.end());
    if (compressed) text = Inflated(text);
    auto at = text.begin();
    for (int line = 0; line < 3; ++line) {
        at = std::find(at, text.end(), '\n');
        if (at != text.end()) ++at;
    }
    Bytes resources;
    int high = -1;
    for (; at != text.end(); ++at) {
        const int digit = DigitOf(*at);
        if (digit < 0) continue;
        if (high >= 0) resources.push_back(static_cast<std::uint8_t>(high << 4 | digit));
        high = high >= 0 ? -1 : digit;
    }
    const bool bare = !resources.empty() && resources[0] == 0x1C;
    const auto found = bare ? std::span<const std::uint8_t>(resources) : FindResource(resources, ImageResource::Iptc);
    iptc.assign(found.begin(), found.end());
    return true;
}

/// Compressed.
Bytes IptcText(const Bytes& iptc) {
    Bytes resources;
    AddResource(resources, ImageResource::Iptc, iptc);
    std::string text = "\niptc\n" + std::to_string(resources.size());
    for (std::size_t i = 0; i < resources.size(); ++i) {
        if (i % 36 == 0) text += '\n';
        text += "0123456789abcdef"[resources[i] >> 4];
        text += "0123456789abcdef"[resources[i] & 15];
    }
    text += '\n';
    Bytes body(kIptcKeyword.begin(), kIptcKeyword.end());
    body.insert(body.end(), 2, 0);  // the keyword's end, and the method
    AppendDeflated(body, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return body;
}

/// Whether it was a chunk of which no other is wanted: texts are of many kinds.
bool Take(const std::uint8_t* name, const Bytes& body, PngExtras& extras) {
    if (Is(name, "zTXt") || Is(name, "tEXt")) return TakeIptc(body, Is(name, "zTXt"), extras.metadata.iptc);
    if (Is(name, "iTXt")) return TakeXmp(body, extras.metadata.xmp);
    if (Is(name, "eXIf")) TakeExif(body, extras);
    if (Is(name, "iCCP")) TakeProfileChunk(body, extras);
    if (Is(name, "pHYs")) TakeDensity(body, extras.metadata.density);
    return true;
}

}  // namespace

std::size_t PngChunks::Read(std::uint8_t* to, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        if (headLeft_ == 0 && bodyLeft_ == 0 && !NextChunk()) {
            ended_ = true;
            break;
        }
        std::size_t part;
        if (headLeft_ > 0) {
            part = std::min(count - done, headLeft_);
            std::memcpy(to + done, head_ + sizeof head_ - headLeft_, part);
            headLeft_ -= part;
        } else {
            const auto asked = static_cast<std::size_t>(std::min<std::uint64_t>(count - done, bodyLeft_));
            part = source_.Read(to + done, asked);
            bodyLeft_ -= part;
            if (part < asked) {
                ended_ = true;
                return done + part;
            }
        }
        done += part;
    }
    return done;
}

bool PngChunks::NextChunk() {
    while (source_.Read(head_, sizeof head_) == sizeof head_) {
        if (started_) {
            // A chunk that the file's end cuts short claims what there is, so that all of it is used.
            const auto length = static_cast<std::uint32_t>(std::min<std::uint64_t>(Number(head_), source_.Left()));
            for (int i = 0; i < 4; ++i) head_[i] = static_cast<std::uint8_t>(length >> 8 * (3 - i));
            bodyLeft_ = length + std::uint64_t{kChecksum};
        }
        if (!started_ || PixelsNeed(head_ + 4)) {
            started_ = true;
            headLeft_ = sizeof head_;
            return true;
        }
        if (bodyLeft_ > source_.Left() || !source_.Seek(source_.Position() + bodyLeft_)) break;
    }
    bodyLeft_ = 0;
    return false;
}

PngExtras ReadPngExtras(ByteReader& source) {
    const std::uint64_t start = source.Position();
    PngExtras extras;
    std::vector<std::string_view> open = {"eXIf", "iCCP", "pHYs", "iTXt", "zTXt", "tEXt"};
    std::uint8_t head[8];
    source.Read(head, sizeof head);  // the signature
    while (source.Read(head, sizeof head) == sizeof head) {
        const std::uint64_t length = Number(head);
        const std::uint64_t next = source.Position() + length + kChecksum;
        if (next > source.Size()) break;
        const auto wanted =
            std::ranges::find_if(open, [&](std::string_view name) { return Is(head + 4, name.data()); });
        if (wanted != open.end() && length <= kLongestBlock) {
            const Bytes body = ReadBody(source, head + 4, static_cast<std::size_t>(length));
            if (!body.empty()) {
                if (Take(head + 4, body, extras)) open.erase(wanted);  // the first one counts
            }
        }
        if (!source.Seek(next)) break;
    }
    source.Seek(start);
    return extras;
}

std::vector<PngChunk> MakePngChunks(const ImageMetadata& metadata) {
    std::vector<PngChunk> chunks;
    if (!metadata.profile.empty()) {
        static constexpr std::string_view kName("ICC profile\0\0", 13);  // with its end and the method
        Bytes body(kName.begin(), kName.end());
        AppendDeflated(body, metadata.profile);
        chunks.push_back({"iCCP", std::move(body)});
    }
    if (const auto [x, y] = PerMeter(metadata.density); x > 0) {
        Bytes body;
        Put(body, static_cast<std::uint32_t>(x));
        Put(body, static_cast<std::uint32_t>(y));
        body.push_back(metadata.density.unit == Density::Unit::AspectOnly ? 0 : 1);
        chunks.push_back({"pHYs", std::move(body)});
    }
    if (!metadata.exif.empty()) chunks.push_back({"eXIf", metadata.exif});
    if (!metadata.xmp.empty()) {
        Bytes body(kXmpKeyword.begin(), kXmpKeyword.end());
        body.insert(body.end(), 5, 0);  // the keyword's end, not compressed, method, two empty texts
        body.insert(body.end(), metadata.xmp.begin(), metadata.xmp.end());
        chunks.push_back({"iTXt", std::move(body)});
    }
    if (!metadata.iptc.empty()) chunks.push_back({"zTXt", IptcText(metadata.iptc)});
    return chunks;
}

}  // namespace kestrel
