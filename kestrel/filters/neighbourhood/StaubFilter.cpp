#include "kestrel/filters/neighbourhood/StaubFilter.h"

#include <optional>

#include "kestrel/passes/DustRepair.h"

namespace kestrel {

FilterResult CStaubFilter::MakePixels(const PixelRequest& request) {
    // The size is the pending one, the tolerance the active one; a commit makes them agree.
    const kernels::DustRule rule{Pending().maximumRegionSize, Active().grayTolerance};
    return CachedByRows(request, [&](const auto& made) {
        std::optional<passes::DustRepair> repair;  // made when the cache is there
        return FetchIntoCache([&](int, int end) -> FilterResult {
            if (!repair) {
                const RowSpan fetched = FetchedRows(), wanted = WantedRows(request);
                repair.emplace(passes::PlanesOf(*m_Cache, m_InActive.Width, fetched.count), rule,
                               RowSpan{wanted.first - fetched.first, wanted.count});
            }
            return repair->Continue(end, m_Abort) ? made(repair->Done()) : kNotDone;
        });
    });
}

}  // namespace kestrel
