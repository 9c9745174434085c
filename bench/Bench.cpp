// Runs every benchmark a few times, keeps the best time, and prints it beside a plain copy of the picture's bytes and
// beside what other libraries take for the same work. All single-threaded, in one process; times are CPU time of the
// process, so that a busy machine does little to them.
#include "bench/Bench.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <string_view>

#include "tools/SamplePicture.h"

namespace kestrel::bench {
namespace {

bool dry = false;
std::map<std::string, std::string> likes;  // benchmark of another library -> ours

std::vector<void (*)()>& Peers() {
    static std::vector<void (*)()> peers;
    return peers;
}

// The sample beside itself and its mirror images, so that a large picture takes no longer to make than a small one.
DibPtr Tile(const Dib* tile, int width, int height) {
    DibPtr dib(DibCreate(24, width, height));
    const auto fold = [](int i, int size) { return i / size % 2 ? size - 1 - i % size : i % size; };
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* from = DibRow(tile, fold(y, tile->biHeight));
        std::uint8_t* to = DibRow(dib.get(), y);
        for (int x = 0; x < width; ++x) std::memcpy(to + 3 * x, from + 3 * fold(x, tile->biWidth), 3);
    }
    return dib;
}

/// Collects the best time of each benchmark and prints one table at the end.
class Table final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            const std::string name = run.run_name.function_name;
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", name.c_str(), run.error_message.c_str());
                failed = true;
                continue;
            }
            const double seconds = run.cpu_accumulated_time / static_cast<double>(run.iterations);
            const auto [at, fresh] = best_.try_emplace(name, seconds);
            if (fresh)
                order_.push_back(name);
            else
                at->second = std::min(at->second, seconds);
        }
    }

    void Finalize() override {
        const auto copy = best_.find(kCopy);
        std::printf("%-34s %12s %10s %10s\n", "benchmark", "best", "x copy", "x ours");
        for (const std::string& name : order_) {
            const double seconds = best_[name];
            std::printf("%-34s %9.3f %s", name.c_str(), seconds < 1e-3 ? seconds * 1e6 : seconds * 1e3,
                        seconds < 1e-3 ? "us" : "ms");
            if (copy != best_.end()) std::printf(" %10.2f", seconds / copy->second);
            const auto like = likes.find(name);
            const auto ours = like == likes.end() ? best_.end() : best_.find(like->second);
            if (ours != best_.end()) std::printf(" %10.2f  (%s)", seconds / ours->second, ours->first.c_str());
            std::printf("\n");
        }
    }

    bool failed = false;

private:
    std::map<std::string, double> best_;
    std::vector<std::string> order_;
};

}  // namespace

const Dib* BenchPicture() {
    static const DibPtr picture = [] {
        if (dry) return sample::Render(97, 61);
        const DibPtr tile = sample::Render(750, 500);
        return Tile(tile.get(), 6000, 4000);
    }();
    return picture.get();
}

void Add(const std::string& name, std::function<void()> work, const std::string& like) {
    if (!like.empty()) likes[name] = like;
    const auto run = [work = std::move(work)](benchmark::State& state) {
        try {
            for ([[maybe_unused]] auto _ : state) work();
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
        }
    };
    auto* added = benchmark::RegisterBenchmark(name.c_str(), run)->MeasureProcessCPUTime();
    if (dry)
        added->Iterations(1);
    else
        added->Repetitions(3)->MinTime(0.1);
}

Peer::Peer(void (*add)()) { Peers().push_back(add); }

}  // namespace kestrel::bench

int main(int argc, char** argv) {
    using namespace kestrel::bench;
    // Only this flag is ours; the rest (--benchmark_filter=...) belongs to the benchmark library.
    const auto ours =
        std::stable_partition(argv + 1, argv + argc, [](const char* a) { return std::string_view(a) != "--dry"; });
    dry = ours != argv + argc;
    argc = static_cast<int>(ours - argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

    AddPictures();
    AddFilters();
    AddDust();
    AddStorage();
    for (const auto add : Peers()) add();
    Table table;
    const auto measured = benchmark::RunSpecifiedBenchmarks(&table);
    return measured == 0 || table.failed ? 1 : 0;
}
