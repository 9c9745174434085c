#pragma once
#include <algorithm>

#include "kestrel/foundation/Export.h"
#include "kestrel/framework/IFilterPixels.h"

namespace kestrel {

/// A link that can tell whether a request may be cut into bands of rows, and whether its output has transparency.
/// Filters and line sources can; a link of another kind gets each request whole and may hide pixels.
class KESTREL_API BandLink {
public:
    /// May a request be made as one for each band of its rows, with the bytes of the whole request and about the same
    /// work? True only when that holds for all links upstream.
    virtual bool ServesBands() const = 0;
    /// Will the next request make the whole output, whatever part of it is asked for? Who wants all of it had better
    /// ask at once: then each row is copied as soon as it is made.
    virtual bool MakesWhole() const { return false; }
    /// Does every request that is done fill all of its rows that lie inside the output, with mask bytes that are 0? By
    /// the geometry of the last update; false where that is not known.
    virtual bool IsOpaque() const = 0;

protected:
    ~BandLink() = default;
};

/// The same of any link; null serves nothing.
inline bool ServesBands(const IFilterPixels* link) {
    const auto* const known = dynamic_cast<const BandLink*>(link);
    return known && known->ServesBands();
}

inline bool IsOpaque(const IFilterPixels* link) {
    const auto* const known = dynamic_cast<const BandLink*>(link);
    return known && known->IsOpaque();
}

/// Rows in a band of a request of `width` pixels. With its mask a band takes 256 KB, so that it stays in the
/// second-level cache while a chain of filters goes over it, one after the other.
inline int BandRows(int width) {
    constexpr int kBandBytes = 256 * 1024;
    return std::clamp(kBandBytes / 4 / std::max(width, 1), 1, 1024);
}

/// Rows to ask a link for at a time, of an output of which all is wanted.
inline int RowsAtOnce(const IFilterPixels* link, int width, int height) {
    const auto* const known = dynamic_cast<const BandLink*>(link);
    return known && known->ServesBands() && !known->MakesWhole() ? BandRows(width) : height;
}

}  // namespace kestrel
