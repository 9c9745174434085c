#pragma once

#include "kestrel/foundation/Counted.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/FilterGeometry.h"
#include "kestrel/framework/HostServices.h"
#include "kestrel/framework/IFilterGeometry.h"
#include "kestrel/framework/IFilterPixels.h"
#include "kestrel/framework/Module.h"

namespace kestrel {

/// The end of a line: keeps what it is told and the link that pixels are asked from. Text is drawn by a `TextRenderer`
/// of its own until a host sets other services.
class KESTREL_API PictureSink final : public ModuleObject, public Counted<IFilterGeometry> {
public:
    PictureSink();

    /// Answers `IHostServices` with the services that are set.
    HRESULT QueryInterface(const GUID& iid, void** object) override;

    HRESULT SetSize(int width, int height) override;
    HRESULT SetOffset(int x, int y) override;
    HRESULT SetFullSize(int width, int height) override;
    HRESULT SetViewSize(int width, int height) override;
    /// The size that the host wants to see; -1, -1 when it takes every size as it comes.
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

    /// What filters of the line get done by the host; null: nothing. Texts are drawn anew.
    void SetServices(IHostServices* services);
    /// What `GetRequiredSize` answers from now on.
    void SetWantedSize(int width, int height);

    const FilterGeometry& Geometry() const { return geometry_; }
    /// The last link of the line; null while nothing is connected.
    IFilterPixels* Upstream() const { return upstream_.get(); }

private:
    ~PictureSink() = default;

    FilterGeometry geometry_;
    int wantedWidth_ = -1;
    int wantedHeight_ = -1;
    Ref<IFilterPixels> upstream_;
    Ref<IHostServices> services_;
};

}  // namespace kestrel
