#include "kestrel/filters/geometry/OffsetFilter.h"

#include "kestrel/filters/geometry/SizeFrom.h"

namespace kestrel {

HRESULT COffsetFilter::CommitChanges() {
    const HRESULT result = TwinFilter::CommitChanges();
    m_Out.OffsetX = SizeFrom(static_cast<double>(m_Out.OffsetX) - Active().x);
    m_Out.OffsetY = SizeFrom(static_cast<double>(m_Out.OffsetY) - Active().y);
    return result;
}

}  // namespace kestrel
