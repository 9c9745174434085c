#pragma once
#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// What a link learns from upstream: sizes, view settings, changes. A host's sink offers this interface.
struct IFilterGeometry : IUnknown {
    static constexpr GUID kIid = MakeGuid("{6C905974-550E-42B7-ABA7-7C694506FD97}");

    /// Pending input geometry; it takes effect at the next `Update`. Pixels throughout.
    virtual HRESULT SetSize(int width, int height) = 0;
    virtual HRESULT SetOffset(int x, int y) = 0;
    virtual HRESULT SetFullSize(int width, int height) = 0;
    /// Size that the host wants to see; travels on downstream.
    virtual HRESULT SetViewSize(int width, int height) = 0;
    /// Size that the line needs here for a picture of this width : height; -1, -1 when nobody knows.
    virtual HRESULT GetRequiredSize(int* width, int* height, double aspect) = 0;
    /// Factor by which the picture now rendered is smaller than the full-size picture; travels on downstream.
    /// Filters answer `E_INVALIDARG` to anything but a finite factor above 0, and keep the one that they have.
    virtual HRESULT SetRenderScale(double scale) = 0;
    virtual HRESULT SetAnchor(int x, int y) = 0;
    virtual HRESULT GetAnchor(int* x, int* y) = 0;
    /// Brackets a change of the line, so that the sink can hold its requests.
    virtual HRESULT BeginChange() = 0;
    virtual HRESULT EndChange() = 0;
    /// Stores the upstream neighbour (`IFilterPixels`) and marks what comes from there as new.
    virtual HRESULT ConnectUpstream(IUnknown* previous) = 0;
    /// Calls between hosts and their sinks that filters hand on downstream; no filter acts on them, except that
    /// the print crop answers `PassAlong15` with an 8-byte value.
    virtual HRESULT PassAlong14(void* first, void* second) = 0;
    virtual HRESULT PassAlong15(void* value) = 0;
    virtual HRESULT PassAlong16(void* first, void* second, void* third) = 0;
    virtual HRESULT PassAlong17(void* value) = 0;
    virtual HRESULT PassAlong18(void* value) = 0;

protected:
    ~IFilterGeometry() = default;
};

}  // namespace kestrel
