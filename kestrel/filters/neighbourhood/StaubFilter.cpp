#include "kestrel/filters/neighbourhood/StaubFilter.h"

#include <algorithm>
#include <vector>

#include "kestrel/kernels/Dust.h"

namespace kestrel {

HRESULT CStaubFilter::TransformWindow(const Window& window) {
    return CachedWhole(window, [this] { return Repair(); });
}

HRESULT CStaubFilter::Repair() {
    const int width = m_InActive.Width;
    const int height = m_InActive.Height;
    if (const HRESULT result = FetchIntoWork(0, width, height); result != S_OK) return result;
    for (int y = 0; y < height; ++y) {
        std::copy_n(m_Work->Rows()[y], std::ptrdiff_t{width} * 3, m_Cache->Rows()[y]);
        std::copy_n(m_Work->MaskRows()[y], width, m_Cache->MaskRows()[y]);
        if (Aborted()) return kNotDone;
    }

    // The brightness of the rows of one window, each at its number modulo the window's size, and a row of what is
    // outside the picture.
    const std::size_t length = kernels::DustRowLength(width);
    std::vector<std::int16_t> brightness(length * (kernels::kDustWindow + 1), kernels::kDustOutside);
    std::vector<std::uint8_t> specks(static_cast<std::size_t>(width) + kernels::kDustSlack);
    const auto rowOf = [&](int y) {
        const int slot = y < 0 || y >= height ? kernels::kDustWindow : y % kernels::kDustWindow;
        return brightness.data() + length * static_cast<std::size_t>(slot);
    };
    // The size is the pending one, the tolerance the active one; a commit makes them agree.
    const kernels::DustRule rule{Pending().m_nMaxRgnSize, Active().m_nGrayTolerance};

    for (int y = 0; y < std::min(height, kernels::kDustReach + 1); ++y)
        kernels::MeasureBrightness(m_Work->Rows()[y], width, rowOf(y));
    for (int y = 1; y < height - 1; ++y) {
        if (Aborted()) return kNotDone;
        const int newest = y + kernels::kDustReach;
        if (newest < height) kernels::MeasureBrightness(m_Work->Rows()[newest], width, rowOf(newest));
        const std::int16_t* rows[kernels::kDustWindow];
        for (int i = 0; i < kernels::kDustWindow; ++i) rows[i] = rowOf(y - kernels::kDustReach + i);
        kernels::FindSpecks(rows, width, rule, specks.data());
        kernels::RepairSpecks(m_Work->Rows() + y - 1, specks.data(), width, m_Cache->Rows()[y]);
    }
    return S_OK;
}

}  // namespace kestrel
