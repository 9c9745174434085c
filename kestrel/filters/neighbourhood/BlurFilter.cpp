#include "kestrel/filters/neighbourhood/BlurFilter.h"

namespace kestrel {

double CBlurFilter::Strength() const {
    const double strength = Active().strength;
    return Pending().version == 2 ? strength * m_RenderScale * m_RenderScale : strength;
}

}  // namespace kestrel
