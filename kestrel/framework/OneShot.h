#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/framework/IFilterPixels.h"

namespace kestrel {

/// A link of a line that is rendered once: each link asks for its input once and in full, and no output is asked for a
/// second time, so that nothing has to be kept after it has been used. Filters and the sources of this library are such
/// links; a link of another kind, and what is upstream of it, keeps its pictures.
class KESTREL_API OneShotLink {
public:
    /// Begins (true) or ends such a rendering, for this link and those upstream.
    virtual void SetOneShot(bool oneShot) = 0;
    /// The whole output has been used: this link and those upstream drop their pictures. A request would make them
    /// anew, or fail where the picture at the head of the line is gone.
    virtual void ReleaseOutput() = 0;

protected:
    ~OneShotLink() = default;
};

/// The same of any link, null among them.
inline void SetOneShot(IFilterPixels* link, bool oneShot) {
    if (auto* const known = dynamic_cast<OneShotLink*>(link)) known->SetOneShot(oneShot);
}
inline void ReleaseOutput(IFilterPixels* link) {
    if (auto* const known = dynamic_cast<OneShotLink*>(link)) known->ReleaseOutput();
}

}  // namespace kestrel
