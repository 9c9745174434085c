#pragma once
#include <cstdint>

#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// What a link is asked from downstream: pixels. A host's source offers this interface.
struct IFilterPixels : IUnknown {
    static constexpr GUID kIid = MakeGuid("{DC348B86-A07B-41AF-9424-161D51EA7710}");

    /// Makes the part of this link's output picture that starts at (`srcX`, `srcY`) and puts it into the caller's
    /// rows with its corner at (`dstX`, `dstY`). Rows are blue, green, red; a mask byte of 0 is visible, 255 nothing.
    /// Row 0 is the bottom row. 0 is done; anything else is not done, and the next request computes again.
    virtual HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height,
                                  std::uint8_t* const* rows, std::uint8_t* const* maskRows) = 0;
    /// Stops (true) or allows (false) requests on this link and all before it; may be called from another thread.
    virtual HRESULT SetAbort(bool abort) = 0;
    /// Brings the line up to date as far as this link. `*changed` is set, never cleared, when the output differs from
    /// that of `*version`, the number that this consumer holds (-1: it has seen nothing); the number is brought up to
    /// date.
    virtual HRESULT Update(bool* changed, int* version, bool track) = 0;
    /// Runs `Update`, then returns this link's output geometry.
    virtual HRESULT GetGeometry(int* width, int* height, int* offsetX, int* offsetY, int* fullWidth,
                                int* fullHeight) = 0;
    /// Stores the downstream neighbour (`IFilterGeometry`) and marks what comes from upstream as new.
    virtual HRESULT ConnectDownstream(IUnknown* next) = 0;
    /// Transforms one colour: blue, green, red, mask. The caller provides all four bytes.
    virtual HRESULT TransformColor(unsigned char* pixel) = 0;
    virtual HRESULT SendEvent(void* event) = 0;

protected:
    ~IFilterPixels() = default;
};

}  // namespace kestrel
