// Any bytes as a picture in a box: the first one chooses the place, the others are the stream there.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "kestrel/box/PicBox.h"
#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/storage/QvMemoryStorage.h"

using namespace kestrel;

namespace {

constexpr unsigned long kChange = kStorageRead | kStorageWrite | kStorageCreate;

void Require(bool good) {
    if (!good) std::abort();
}

void Store(IQvStorage& root, std::uint8_t choice, const std::uint8_t* data, std::size_t size) {
    const struct {
        const char* storage;
        const char* name;
    } places[] = {{"Pictures", "x"},          {"Pictures", "x.JPG"},     {"Pictures", "x.PNG"},
                  {"Pictures", "x.inf"},      {"Pictures/OnlyPic", "x"}, {"Pictures/PicMask", "x"},
                  {"Pictures/OnlyMask", "x"}, {"Pic_Mask", "x"}};
    const auto& place = places[choice % std::size(places)];
    const QvStoragePtr storage = root.OpenStorage(place.storage, kChange);
    QvStreamPtr stream = storage->CreateStream(place.name, kChange);
    Require(stream->Write(data, size) == size && CloseStream(stream));
}

void Read(qvPicBox& box, std::size_t stored) {
    DibPtr image, mask;
    std::int32_t x = 0, y = 0;
    const bool read = box.GetQuick("x", "PNG", image, &mask, 100, 100, x, y, true);
    Require(read == (image || mask));
    std::uint64_t size = 0;
    Require(!box.GetImageFileInfo("x", false, false, size, nullptr, "PNG") || size <= stored);
    Require(box.GetJPegHeader("x", "PNG").size() <= stored);
    std::string extension = "PNG";
    box.AnalyzeFile("x", extension);
    PicInfoRecord record;
    Require(box.GetImageInfo("x", record).size() <= stored);
}

/// What a list tells of each picture without decoding it.
void List(qvPicBox& box, std::size_t stored) {
    for (PicEntry& entry : box.Pictures()) {
        PicDescription about;
        Require(box.Describe(entry, about) && about.bytes <= stored && about.width >= 0 && about.height >= 0);
        std::uint64_t size = 0;
        Require(!box.OpenImage(entry, about.header, size) || size <= stored);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    SetLogSink(nullptr);
    QvMemoryStorage root(0), other(0);
    { const qvPicBox makesStorages(root, kChange); }
    Store(root, data[0], data + 1, size - 1);
    qvPicBox box(root, kChange, nullptr, (data[0] & 8) != 0), copies(other, kChange);
    Read(box, size);
    List(box, size);
    const bool keep = (data[0] & 16) != 0, newFormat = (data[0] & 32) != 0;
    if (box.CopyImage("x", copies, "x", newFormat, "PNG", keep)) Require(copies.Exists("x", "PNG"));
    return 0;
}
