#include "kestrel/filters/geometry/OffsetFilter.h"

#include "kestrel/filters/geometry/Sizes.h"

namespace kestrel {

HRESULT COffsetFilter::CommitChanges() {
    const HRESULT result = TwinFilter::CommitChanges();
    m_Out.OffsetX = SizeFrom(static_cast<double>(m_Out.OffsetX) - Active().m_nOffsetX);
    m_Out.OffsetY = SizeFrom(static_cast<double>(m_Out.OffsetY) - Active().m_nOffsetY);
    return result;
}

}  // namespace kestrel
