#include "kestrel/filters/neighbourhood/StaubFilter.h"

#include "kestrel/passes/DustRepair.h"

namespace kestrel {

FilterResult CStaubFilter::MakePixels(const PixelRequest& request) {
    return CachedWhole(request, [this] { return Repair(); });
}

FilterResult CStaubFilter::Repair() {
    const int width = m_InActive.Width;
    const int height = FetchedRows();
    if (const FilterResult result = FetchIntoWork(width, height); result.Failed()) return result;
    // The size is the pending one, the tolerance the active one; a commit makes them agree.
    const kernels::DustRule rule{Pending().maximumRegionSize, Active().grayTolerance};
    const bool done = passes::RepairDust(passes::PlanesOf(*m_Work, width, height),
                                         passes::PlanesOf(*m_Cache, width, height), rule, m_Abort);
    return done ? kDone : kNotDone;
}

}  // namespace kestrel
