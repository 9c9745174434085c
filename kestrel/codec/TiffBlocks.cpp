#include "kestrel/codec/TiffBlocks.h"

#include <algorithm>
#include <iterator>

#include "kestrel/codec/Exif.h"
#include "kestrel/codec/ImageResources.h"
#include "kestrel/codec/TagDirectories.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned kIptc = 0x83BB, kResources = 0x8649;
constexpr std::uint64_t kLongest = 64 << 20;  // bytes of a block; far beyond any real one

/// What the main directory of a TIFF file says about the picture rather than about its pixels: description, maker and
/// model, software, date, artist, computer, rating, copyright, and titles in UTF-16.
constexpr unsigned kDescribing[] = {0x010E, 0x010F, 0x0110, 0x0131, 0x0132, 0x013B, 0x013C, 0x4746,
                                    0x4749, 0x8298, 0x9C9B, 0x9C9C, 0x9C9D, 0x9C9E, 0x9C9F};
bool Describes(const TagEntry& entry) {
    return std::ranges::find(kDescribing, entry.tag) != std::end(kDescribing) && entry.size > 0;
}

/// An entry with its values in the byte order of their file.
struct Field {
    unsigned tag, type;
    std::uint64_t count;
    Bytes value;
};
using Fields = std::vector<Field>;

/// Takes fields over until they have so many bytes: entries may name the same bytes over and over.
class FieldReader {
public:
    FieldReader(TagReader& reader, std::uint64_t longest) : reader_(reader), left_(longest) {}

    TagReader& Tags() { return reader_; }
    void Take(const TagEntry& entry, Fields& fields) {
        if (entry.size == 0 || entry.size > left_) return;
        left_ -= entry.size;
        fields.push_back({entry.tag, entry.type, entry.count, reader_.Bytes(entry)});
    }
    Fields All(const TagDirectory& directory) {
        Fields fields;
        for (const TagEntry& entry : directory.entries)
            if (entry.tag != kExifInterop) Take(entry, fields);
        return fields;
    }
    Fields Describing(const TagDirectory& directory) {
        Fields fields;
        for (const TagEntry& entry : directory.entries)
            if (Describes(entry)) Take(entry, fields);
        return fields;
    }

private:
    TagReader& reader_;
    std::uint64_t left_;
};

/// What lies below the main directory.
struct Lower {
    Fields camera, interop, place;

    Lower(FieldReader& fields, const TagDirectory& main) {
        TagReader& tags = fields.Tags();
        const TagDirectory shot = tags.Below(main, kExifCamera);
        camera = fields.All(shot);
        interop = fields.All(tags.Below(shot, kExifInterop));
        place = fields.All(tags.Below(main, kExifPlace));
    }
};

/// Lays directories down at the end of the data, in their form.
class Writer {
public:
    /// The bytes have the data from position `from` on.
    Writer(Bytes& bytes, std::uint64_t from, bool bigEndian, bool large)
        : bytes_(bytes), from_(from), bigEndian_(bigEndian), large_(large) {}

    /// A field of the main directory that points to one below it.
    void Point(Fields& fields, unsigned tag, const Fields& below) {
        if (!below.empty()) fields.push_back(Number(tag, Write(below)));
    }
    /// The camera's directory, with the one below it, and the place's.
    void WriteLower(Fields& main, const Lower& lower) {
        Fields camera = lower.camera;
        Point(camera, kExifInterop, lower.interop);
        Point(main, kExifCamera, camera);
        Point(main, kExifPlace, lower.place);
    }
    /// Values, then the directory; returns its position.
    std::uint64_t Write(Fields fields);
    void PutAt(std::uint64_t at, std::uint64_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            bytes_[at - from_ + (bigEndian_ ? size - 1 - i : i)] = static_cast<std::uint8_t>(value >> 8 * i);
    }

private:
    Field Number(unsigned tag, std::uint64_t value) {
        constexpr unsigned kLongLong = 16;
        Field field{tag, large_ ? kLongLong : kTagLong, 1, Bytes(PlaceSize())};
        for (std::size_t i = 0; i < PlaceSize(); ++i)
            field.value[bigEndian_ ? PlaceSize() - 1 - i : i] = static_cast<std::uint8_t>(value >> 8 * i);
        return field;
    }
    void Put(std::uint64_t value, std::size_t size) {
        bytes_.resize(bytes_.size() + size);
        PutAt(End() - size, value, size);
    }
    std::size_t PlaceSize() const { return large_ ? 8 : 4; }
    std::uint64_t End() const { return from_ + bytes_.size(); }
    void Align() { bytes_.resize(bytes_.size() + End() % 2); }

    Bytes& bytes_;
    const std::uint64_t from_;
    bool bigEndian_, large_;
};

std::uint64_t Writer::Write(Fields fields) {
    std::ranges::stable_sort(fields, {}, &Field::tag);
    std::vector<std::uint64_t> places;
    for (const Field& field : fields) {
        Align();
        places.push_back(End());
        if (field.value.size() > PlaceSize()) bytes_.insert(bytes_.end(), field.value.begin(), field.value.end());
    }
    Align();
    const std::uint64_t directory = End();
    Put(fields.size(), large_ ? 8 : 2);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const Field& field = fields[i];
        Put(field.tag, 2), Put(field.type, 2), Put(field.count, PlaceSize());
        if (field.value.size() > PlaceSize()) {
            Put(places[i], PlaceSize());
        } else {
            bytes_.insert(bytes_.end(), field.value.begin(), field.value.end());
            bytes_.resize(bytes_.size() + PlaceSize() - field.value.size());
        }
    }
    Put(0, PlaceSize());
    return directory;
}

/// Writers that take the records for 32-bit numbers swap their bytes where the file's order is the other one.
Bytes Unswapped(Bytes iptc, unsigned type) {
    constexpr std::uint8_t kMark = 0x1C;
    if (type == kTagLong && iptc.size() >= 4 && iptc[0] != kMark && iptc[3] == kMark)
        for (std::size_t i = 0; i + 4 <= iptc.size(); i += 4) {
            std::swap(iptc[i], iptc[i + 3]);
            std::swap(iptc[i + 1], iptc[i + 2]);
        }
    return iptc;
}

}  // namespace

bool IsBigEndianExif(const Bytes& exif) { return !exif.empty() && exif[0] == 'M'; }

void ReadTiffBlocks(ByteReader source, std::uint64_t directory, ImageMetadata& metadata) {
    TagReader reader(source);
    const TagDirectory main = reader.Read(directory);
    if (const TagEntry* iptc = main.Find(kIptc); iptc && iptc->size <= kLongest) {
        metadata.iptc = Unswapped(reader.Bytes(*iptc), iptc->type);
    } else if (const TagEntry* resources = main.Find(kResources); resources && resources->size <= kLongest) {
        const Bytes all = reader.Bytes(*resources);
        const auto found = FindResource(all, ImageResource::Iptc);
        metadata.iptc.assign(found.begin(), found.end());
    }
    FieldReader taking(reader, kLongest);
    Fields fields = taking.Describing(main);
    const Lower lower(taking, main);
    if (fields.empty() && lower.camera.empty() && lower.place.empty()) return;
    const std::uint8_t order = reader.IsBigEndian() ? 'M' : 'I';
    Bytes exif = {order, order, 0, 0, 0, 0, 0, 0};
    Writer writer(exif, 0, reader.IsBigEndian(), false);
    writer.PutAt(2, 42, 2);
    writer.WriteLower(fields, lower);
    const std::uint64_t first = writer.Write(std::move(fields));
    writer.PutAt(4, first, 4);
    metadata.exif = std::move(exif);
}

void AddTiffBlocks(TiffEnds& file, const ImageMetadata& metadata) {
    TagReader exif{ByteReader(metadata.exif)};
    const bool useful = exif.IsValid() && !exif.IsLarge();
    if (!useful && metadata.iptc.empty()) return;
    TagReader reader(ByteReader(file.head), ByteReader(file.tail), file.tailAt);
    if (!reader.IsValid()) return;
    Fields fields = FieldReader(reader, UINT64_MAX).All(reader.Read(reader.First()));
    Writer writer(file.tail, file.tailAt, reader.IsBigEndian(), reader.IsLarge());
    if (!metadata.iptc.empty()) fields.push_back({kIptc, kTagBlock, metadata.iptc.size(), metadata.iptc});
    if (useful) {
        FieldReader taking(exif, kLongest);
        const TagDirectory main = exif.Read(exif.First());
        const Fields describing = taking.Describing(main);
        fields.insert(fields.end(), describing.begin(), describing.end());
        writer.WriteLower(fields, Lower(taking, main));
    }
    const std::uint64_t first = writer.Write(std::move(fields));
    Writer(file.head, 0, reader.IsBigEndian(), reader.IsLarge()).PutAt(reader.PlaceSize(), first, reader.PlaceSize());
}

}  // namespace kestrel
