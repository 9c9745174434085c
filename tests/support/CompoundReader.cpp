#include "tests/support/CompoundReader.h"

#include <algorithm>
#include <stdexcept>

namespace kestrel::tests {
namespace {

constexpr std::uint32_t kEnd = 0xFFFFFFFE;
constexpr std::uint32_t kFree = 0xFFFFFFFF;
constexpr std::uint32_t kFat = 0xFFFFFFFD;
constexpr std::uint32_t kDifat = 0xFFFFFFFC;

using Bytes = std::vector<std::uint8_t>;

void Owe(bool good, const std::string& what) {
    if (!good) throw std::runtime_error(what);
}

std::uint32_t U32(std::span<const std::uint8_t> bytes, std::size_t at) {
    Owe(at + 4 <= bytes.size(), "a number beyond the end");
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;) number = number << 8 | bytes[at + i];
    return number;
}

class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> file) : file_(file), size_(file[26] == 3 ? 512 : 4096) {
        Owe(file.size() % size_ == 0, "the last sector is cut short");
        used_.resize(file.size() / size_ - 1);
        ReadFat();
        directory_ = Chain(U32(file, 48));
        Owe(file[26] == 3 || U32(file, 40) * size_ == directory_.size(), "the number of directory sectors");
        miniFat_ = Chain(U32(file, 60));
        Owe(U32(file, 64) * size_ == miniFat_.size(), "the number of mini FAT sectors");
        mini_ = Chain(U32(directory_, 116));
        Owe(U32(directory_, 120) <= mini_.size(), "the size of the mini stream");
        miniUsed_.resize(mini_.size() / 64);
    }

    CompoundContent Run() {
        Storage(0, u"");
        for (std::size_t i = 0; i < fat_.size(); ++i)
            Owe((i < used_.size() && used_[i]) == (fat_[i] != kFree), "sector " + std::to_string(i) + " is lost");
        for (std::size_t i = 0; i < miniUsed_.size(); ++i)
            Owe(miniUsed_[i] == (U32(miniFat_, 4 * i) != kFree), "mini sector " + std::to_string(i) + " is lost");
        for (std::size_t i = 1; i < directory_.size() / 128; ++i)
            Owe(seen_.count(static_cast<std::uint32_t>(i)) != 0 || directory_[128 * i + 66] == 0,
                "entry " + std::to_string(i) + " is lost");
        return std::move(content_);
    }

private:
    std::span<const std::uint8_t> Take(std::uint32_t sector, std::uint32_t mark) {
        Owe(sector < used_.size() && !used_[sector], "sector " + std::to_string(sector) + " outside or used twice");
        Owe(mark == 0 || fat_.empty() || fat_.at(sector) == mark, "a sector of the tables is not marked so");
        used_[sector] = true;
        return file_.subspan((std::size_t{sector} + 1) * size_, size_);
    }

    void ReadFat() {
        std::vector<std::uint32_t> places;
        for (std::size_t i = 0; i < 109; ++i)
            if (const auto place = U32(file_, 76 + 4 * i); place != kFree) places.push_back(place);
        std::vector<std::uint32_t> difat;
        for (std::uint32_t at = U32(file_, 68); at != kEnd;) {
            difat.push_back(at);
            const auto list = Take(at, 0);
            for (std::size_t i = 0; i + 4 < size_; i += 4)
                if (const auto place = U32(list, i); place != kFree) places.push_back(place);
            at = U32(list, size_ - 4);
        }
        Owe(difat.size() == U32(file_, 72) && places.size() == U32(file_, 44), "the counts in the header");
        for (const auto place : places) {
            const auto page = Take(place, 0);
            for (std::size_t i = 0; i < size_; i += 4) fat_.push_back(U32(page, i));
        }
        for (const auto place : places) Owe(fat_.at(place) == kFat, "a FAT sector is not marked so");
        for (const auto place : difat) Owe(fat_.at(place) == kDifat, "a DIFAT sector is not marked so");
    }

    Bytes Chain(std::uint32_t sector) {
        Bytes bytes;
        for (; sector != kEnd; sector = fat_.at(sector)) {
            const auto part = Take(sector, 0);
            bytes.insert(bytes.end(), part.begin(), part.end());
        }
        return bytes;
    }

    Bytes MiniChain(std::uint32_t piece) {
        Bytes bytes;
        for (; piece != kEnd; piece = U32(miniFat_, 4 * std::size_t{piece})) {
            Owe(piece < miniUsed_.size() && !miniUsed_[piece], "a mini sector outside or used twice");
            miniUsed_[piece] = true;
            const auto part = std::span(mini_).subspan(64 * std::size_t{piece}, 64);
            bytes.insert(bytes.end(), part.begin(), part.end());
        }
        return bytes;
    }

    std::u16string Name(std::uint32_t id) const {
        const std::size_t units = (directory_[128 * id + 64] + 256u * directory_[128 * id + 65]) / 2;
        Owe(units >= 2 && units <= 32, "the length of a name");
        std::u16string name;
        for (std::size_t i = 0; i < units; ++i)
            name += static_cast<char16_t>(directory_[128 * id + 2 * i] | directory_[128 * id + 2 * i + 1] << 8);
        Owe(name.back() == 0 && name.find(u'\0') == units - 1, "the end of a name");
        name.pop_back();
        return name;
    }

    /// In order; returns the number of black nodes on the way to any leaf. Names of tests are ASCII.
    int Tree(std::uint32_t id, bool belowRed, const std::u16string& path, std::u16string& last) {
        if (id == kFree) return 0;
        Owe(std::size_t{id} * 128 < directory_.size() && seen_[id]++ == 0, "an entry is reached twice");
        const auto entry = std::span(directory_).subspan(std::size_t{id} * 128, 128);
        const bool black = entry[67] == 1;
        Owe(black || !belowRed, "red below red at " + std::to_string(id));
        const int left = Tree(U32(entry, 68), !black, path, last);
        std::u16string key = Name(id);
        for (char16_t& c : key)
            if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
        key.insert(0, 1, static_cast<char16_t>(key.size()));
        Owe(last < key, "names out of order");
        last = key;
        if (entry[66] == 1) {
            content_[path + Name(id) + u"/"];
            Storage(id, path + Name(id) + u"/");
        } else {
            Owe(entry[66] == 2, "an element of no kind");
            const std::uint64_t size = U32(entry, 120) | std::uint64_t{U32(entry, 124)} << 32;
            Bytes bytes = size == 0 ? Bytes{} : size < 4096 ? MiniChain(U32(entry, 116)) : Chain(U32(entry, 116));
            Owe(bytes.size() >= size && bytes.size() - size < (size < 4096 ? 64 : size_), "the length of a chain");
            bytes.resize(size);
            content_[path + Name(id)] = std::move(bytes);
        }
        Owe(Tree(U32(entry, 72), !black, path, last) == left, "unequal numbers of black nodes");
        return left + (black ? 1 : 0);
    }

    void Storage(std::uint32_t id, const std::u16string& path) {
        std::u16string last;
        Tree(U32(directory_, 128 * std::size_t{id} + 76), true, path, last);
    }

    std::span<const std::uint8_t> file_;
    std::size_t size_;
    std::vector<std::uint32_t> fat_;
    std::vector<bool> used_;
    std::vector<bool> miniUsed_;
    Bytes directory_;
    Bytes miniFat_;
    Bytes mini_;
    std::map<std::uint32_t, int> seen_;
    CompoundContent content_;
};

}  // namespace

CompoundContent ReadCompound(std::span<const std::uint8_t> file, std::string& fault) {
    try {
        Owe(file.size() >= 1536, "too short");
        return Reader(file).Run();
    } catch (const std::exception& error) {
        fault = error.what();
        return {};
    }
}

}  // namespace kestrel::tests
