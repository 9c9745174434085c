// Stands in for libFuzzer in the tests: gives a fuzz target every seed file whole, cut short and with bytes changed,
// and random bytes, always the same ones. It finds no new paths; it keeps the target and what was once found alive.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kChangedCopiesPerSeed = 60;
constexpr int kRandomInputs = 500;
constexpr std::size_t kLongestRandomInput = 2048;

// A block of exactly the input's size, so that AddressSanitizer sees the first byte read beyond it.
void Give(const Bytes& input) {
    const Bytes exact(input.begin(), input.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

Bytes Changed(Bytes input, std::mt19937& random) {
    static constexpr std::uint8_t kEdges[] = {0, 1, 0x7F, 0x80, 0xFF, '=', ',', ' ', '0', '9', '-'};
    if (input.empty()) return input;
    if (random() % 4 == 0) input.resize(random() % input.size());
    for (auto changes = random() % 8; changes > 0 && !input.empty(); --changes) {
        auto& byte = input[random() % input.size()];
        byte = random() % 2 ? static_cast<std::uint8_t>(random()) : kEdges[random() % std::size(kEdges)];
    }
    return input;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Bytes> seeds;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::exists(argv[i])) continue;  // a target without seeds
        std::vector<std::filesystem::path> paths;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i]))
            if (entry.is_regular_file()) paths.push_back(entry.path());
        std::sort(paths.begin(), paths.end());
        for (const auto& path : paths) {
            std::ifstream file(path, std::ios::binary);
            seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        }
    }

    std::mt19937 random(20);
    Give({});
    for (const Bytes& seed : seeds) {
        Give(seed);
        for (int i = 0; i < kChangedCopiesPerSeed; ++i) Give(Changed(seed, random));
    }
    for (int i = 0; i < kRandomInputs; ++i) {
        Bytes input(random() % kLongestRandomInput);
        for (auto& byte : input) byte = static_cast<std::uint8_t>(random());
        Give(input);
    }
    std::printf("%zu seeds, %d random inputs\n", seeds.size(), kRandomInputs);
    return 0;
}
