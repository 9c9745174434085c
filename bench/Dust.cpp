// The search for specks of dust, whose cost depends on the picture: on a flat one each count ends at once, on noise it
// goes on for long.
#include <memory>
#include <random>
#include <vector>

#include "bench/Bench.h"
#include "kestrel/kernels/Dust.h"

namespace kestrel::bench {
namespace {

/// The search over as many pixels as the picture has, in rows of bytes of `minimum`..`minimum` + `spread`.
void AddSearch(Worker& worker, const char* name, unsigned minimum, unsigned spread) {
    struct Work {
        std::vector<kernels::DustRow> rows;
        std::vector<std::int32_t> room;
    };
    const int width = BenchPicture().Width();
    const int height = BenchPicture().Height();
    const auto work = std::make_shared<Work>();
    work->room.resize(static_cast<std::size_t>(width) + 1);
    std::mt19937 random(1);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(width) * 3);
    work->rows.assign(kernels::kDustWindow, kernels::DustRow(width));
    for (auto& row : work->rows) {
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(minimum + random() % (spread + 1));
        row.Measure(bytes);
    }
    worker.Add(name, "FindSpecks", [=] {
        kernels::DustWindow rows;
        for (int y = 0; y < height; ++y) {
            for (std::size_t i = 0; i < work->rows.size(); ++i)
                rows[i] = &work->rows[(i + static_cast<std::size_t>(y)) % work->rows.size()];
            kernels::FindSpecks(rows, {5, 45}, work->room);
        }
    });
}

}  // namespace

void AddDust(Worker& worker) {
    AddSearch(worker, "dust/flat", 100, 0);
    AddSearch(worker, "dust/soft noise", 100, 40);
    AddSearch(worker, "dust/noise", 0, 255);
}

}  // namespace kestrel::bench
