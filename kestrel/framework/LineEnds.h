#pragma once
#include <atomic>

#include "kestrel/foundation/Counted.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/Bands.h"
#include "kestrel/framework/FilterGeometry.h"
#include "kestrel/framework/IFilterGeometry.h"
#include "kestrel/framework/IFilterPixels.h"
#include "kestrel/framework/OneShot.h"

namespace kestrel {

/// The head of a line, complete but for its pixels: a host's source derives from it and makes `TransformArea`.
class KESTREL_API LineSource : public Counted<IFilterPixels>, public BandLink, public OneShotLink {
public:
    HRESULT SetAbort(bool abort) override;
    /// Pushes the geometry downstream; each consumer sees each `MarkNew` once.
    HRESULT Update(bool* changed, int* version, bool track) override;
    HRESULT GetGeometry(int* width, int* height, int* offsetX, int* offsetY, int* fullWidth, int* fullHeight) override;
    HRESULT ConnectDownstream(IUnknown* next) override;
    /// A host's source gets requests whole unless it says that it takes them in bands.
    bool ServesBands() const override { return false; }
    bool IsOpaque() const override { return false; }
    /// A host's source keeps its picture, unless it says what to drop.
    void SetOneShot(bool) override {}
    void ReleaseOutput() override {}
    /// Colours and events end here.
    HRESULT TransformColor(unsigned char* pixel) override;
    HRESULT SendEvent(void* event) override;

    /// The first link of the line; null while nothing is connected.
    IFilterGeometry* Downstream() const { return downstream_.get(); }
    /// Has a request to stop arrived? From any thread.
    bool Aborted() const { return aborted_.load(std::memory_order_relaxed); }

protected:
    ~LineSource() override = default;
    FilterGeometry& Geometry() { return geometry_; }
    /// The pixels are other ones from now on.
    void MarkNew() { ++version_; }

private:
    FilterGeometry geometry_;
    int version_ = 0;
    std::atomic<bool> aborted_{false};
    Ref<IFilterGeometry> downstream_;
};

/// The end of a line: keeps the geometry that arrives and the link that pixels are asked from. It wants no size and has
/// no use for anything else; a host's sink overrides what it cares about.
class KESTREL_API LineSink : public Counted<IFilterGeometry> {
public:
    HRESULT SetSize(int width, int height) override;
    HRESULT SetOffset(int x, int y) override;
    HRESULT SetFullSize(int width, int height) override;
    HRESULT SetViewSize(int width, int height) override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;
    HRESULT SetRenderScale(double scale) override;
    HRESULT SetAnchor(int x, int y) override;
    HRESULT GetAnchor(int* x, int* y) override;
    HRESULT BeginChange() override;
    HRESULT EndChange() override;
    HRESULT ConnectUpstream(IUnknown* previous) override;
    HRESULT PassAlong14(void* first, void* second) override;
    HRESULT PassAlong15(void* value) override;
    HRESULT PassAlong16(void* first, void* second, void* third) override;
    HRESULT PassAlong17(void* value) override;
    HRESULT PassAlong18(void* value) override;

    const FilterGeometry& Geometry() const { return geometry_; }
    /// The last link of the line; null while nothing is connected.
    IFilterPixels* Upstream() const { return upstream_.get(); }

protected:
    ~LineSink() override = default;

private:
    FilterGeometry geometry_;
    Ref<IFilterPixels> upstream_;
};

}  // namespace kestrel
