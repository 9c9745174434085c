#include "kestrel/foundation/NearestWord.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <vector>

namespace kestrel {
namespace {

constexpr std::size_t kLongestWord = 64;  // the distance takes time by the square of it

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

/// Letters to insert, delete or replace to turn one word into the other.
std::size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row.back();
}

}  // namespace

std::string NearestWord(std::string_view mistyped, std::span<const std::string> words) {
    if (mistyped.size() > kLongestWord) return "";
    std::string nearest;
    std::size_t minimum = mistyped.size() / 3 + 1;  // further away it is another word
    for (const std::string& word : words) {
        const std::size_t distance = EditDistance(Lower(mistyped), Lower(word));
        if (distance < minimum || (nearest.empty() && distance == minimum)) {
            minimum = distance;
            nearest = word;
        }
    }
    return nearest;
}

}  // namespace kestrel
