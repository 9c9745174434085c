#include "kestrel/editing/GradationPreset.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <vector>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/foundation/FileReplacement.h"

namespace kestrel {
namespace {

constexpr std::string_view kHeader = "Gradation, Version";
constexpr std::string_view kHeader1 = "Gradation, Version 1";
constexpr std::size_t kNumberWidth = 3;
constexpr int kMaximumFileNodes = 16;  // what the curves of older programs held
constexpr std::string_view kSections[] = {"Gray", "Red", "Green", "Blue"};

/// Walks forward through the text from key to key.
class KeyReader {
public:
    explicit KeyReader(std::string_view text) : text_(text) {}

    /// Goes on after the key's next place; false, and it stays, when there is none.
    bool Find(std::string_view key) {
        const std::size_t found = text_.find(key, at_);
        if (found == std::string_view::npos) return false;
        at_ = found + key.size();
        return true;
    }
    /// The decimal number in the three characters from here, as far as they are one; none when the text ends before.
    std::optional<int> Number(std::size_t ahead = 0) const {
        if (text_.size() - at_ < ahead + kNumberWidth) return std::nullopt;
        return std::atoi(std::string(text_.substr(at_ + ahead, kNumberWidth)).c_str());
    }
    /// The next key's number.
    std::optional<int> NumberOf(std::string_view key) { return Find(key) ? Number() : std::nullopt; }
    /// The one character after the next key.
    std::optional<char> CharacterOf(std::string_view key) {
        if (!Find(key) || at_ == text_.size()) return std::nullopt;
        return text_[at_];
    }
    bool ReadFlag(std::string_view key, bool& flag) {
        const auto character = CharacterOf(key);
        flag = character == '1';
        return character.has_value();
    }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

/// The nodes as the editor can have them: the closest ones go while there are too many.
void Thin(std::vector<CGradCurve::Node>& nodes) {
    std::ranges::stable_sort(nodes, {}, &CGradCurve::Node::x);
    while (nodes.size() > CGradCurve::kMaximumCount) {
        const auto gap = [&nodes](std::size_t i) {
            const int dx = nodes[i + 1].x - nodes[i].x;
            const int dy = nodes[i + 1].y - nodes[i].y;
            return dx * dx + dy * dy;
        };
        std::size_t closest = 0;
        for (std::size_t i = 1; i + 1 < nodes.size(); ++i)
            if (gap(i) < gap(closest)) closest = i;
        nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(std::min(closest + 1, nodes.size() - 2)));
    }
}

bool ReadCurve(KeyReader& keys, std::string_view countKey, std::string_view selectedKey, CGradCurve& curve) {
    const auto count = keys.NumberOf(countKey);
    const auto selected = keys.NumberOf(selectedKey);
    if (!count || !selected || *count < 2 || *count > kMaximumFileNodes) return false;
    std::vector<CGradCurve::Node> nodes;
    for (int i = 0; i < *count; ++i) {
        if (!keys.Find("(x, y)=")) return false;
        const auto x = keys.Number();
        const auto y = keys.Number(kNumberWidth + 2);
        if (!x || !y) return false;
        nodes.push_back({*x, *y});
    }
    Thin(nodes);
    curve.SetCount(static_cast<int>(nodes.size()));
    for (std::size_t i = 0; i < nodes.size(); ++i) curve.SetNode(static_cast<int>(i), nodes[i].x, nodes[i].y);
    curve.Repair();
    curve.Select(std::min(*selected, curve.GetCount()) - 1);
    return true;
}

bool ReadCurves(KeyReader& keys, std::string_view countKey, std::string_view selectedKey, Gradation& gradation) {
    return std::ranges::all_of(gradation.curves,
                               [&](CGradCurve& curve) { return ReadCurve(keys, countKey, selectedKey, curve); });
}

bool ReadVersion1(KeyReader keys, Gradation& gradation) {
    return keys.Find(kHeader1) && ReadCurves(keys, "Anzahl=", "Selektierter=", gradation);
}

bool ReadVersion2(KeyReader keys, Gradation& gradation) {
    bool linear = false;
    if (!keys.ReadFlag("Curve=", linear) || !keys.ReadFlag("YIQ=", gradation.yiq)) return false;
    const auto channel = keys.CharacterOf("Channel=");
    if (!channel) return false;
    gradation.channel = *channel >= '0' && *channel < '0' + Gradation::kChannels ? *channel - '0' : Gradation::Gray;
    if (!keys.ReadFlag("Percent=", gradation.percent) || !keys.ReadFlag("Grid=", gradation.grid) ||
        !keys.ReadFlag("OnlyActive=", gradation.onlyActive))
        return false;
    gradation.SetLinear(linear);
    return ReadCurves(keys, "Count=", "Selected=", gradation);
}

/// The bytes of a regular file of a preset's size.
std::optional<std::string> ReadBytes(const std::filesystem::path& path) {
    std::error_code error;
    const auto size = std::filesystem::is_regular_file(path, error) ? std::filesystem::file_size(path, error) : 0;
    if (error || size == 0 || size > kPresetMaximumSize) return std::nullopt;
    std::ifstream file(path, std::ios::binary);
    std::string bytes(size, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(size));
    if (!file) return std::nullopt;
    return bytes;
}

}  // namespace

bool ParsePreset(std::string_view bytes, Gradation& gradation, int& version) {
    KeyReader keys(bytes);
    const auto found = keys.NumberOf(kHeader);
    if (!found) return false;
    Gradation read = gradation;
    if (!(found == 1 ? ReadVersion1(KeyReader(bytes), read) : found == 2 && ReadVersion2(keys, read))) return false;
    gradation = read;
    version = *found;
    return true;
}

std::string FormatPreset(const Gradation& gradation) {
    std::string text =
        fmt::format("{} 2\n\n[General]\nCurve={:d}\nYIQ={:d}\nChannel={:d}\nPercent={:d}\nGrid={:d}\nOnlyActive={:d}\n",
                    kHeader, gradation.IsLinear(), gradation.yiq, gradation.channel, gradation.percent, gradation.grid,
                    gradation.onlyActive);
    const auto append = std::back_inserter(text);
    for (std::size_t i = 0; i < gradation.curves.size(); ++i) {
        const CGradCurve& curve = gradation.curves[i];
        fmt::format_to(append, "\n[Nodes {}]\nCount={:3}\nSelected={:3}\n", kSections[i], curve.GetCount(),
                       curve.GetSelected() + 1);
        for (int number = 0; const CGradCurve::Node& node : curve.Nodes())
            fmt::format_to(append, "#{:3} (x, y)={:3}, {:3}\n", ++number, node.x, node.y);
    }
    return text;
}

bool ReadPreset(const std::filesystem::path& path, Gradation& gradation) {
    int version = 0;
    const auto bytes = ReadBytes(path);
    if (!bytes || !ParsePreset(*bytes, gradation, version)) return false;
    if (version == 1) (void)WritePreset(path, gradation);  // one that stays as it is can still be read
    return true;
}

bool WritePreset(const std::filesystem::path& path, const Gradation& gradation) {
    const std::string text = FormatPreset(gradation);
    const std::string error =
        WriteWhole(path.string(), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    if (!error.empty())
        LogLine(-1, "GradationPreset", __LINE__, fmt::format("{} was not written: {}\n", path.string(), error));
    return error.empty();
}

}  // namespace kestrel
