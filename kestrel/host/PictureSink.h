#pragma once

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/HostServices.h"
#include "kestrel/framework/LineEnds.h"
#include "kestrel/framework/Module.h"

namespace kestrel {

/// The end of a line for a picture. Text is drawn by a `TextRenderer`
/// of its own until a host sets other services.
class KESTREL_API PictureSink final : public ModuleObject, public LineSink {
public:
    PictureSink();

    /// Answers `IHostServices` with the services that are set.
    HRESULT QueryInterface(const GUID& iid, void** object) override;

    /// The size that the host wants to see; -1, -1 when it takes every size as it comes.
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;

    /// What filters of the line get done by the host; null: nothing. Texts are drawn anew.
    void SetServices(IHostServices* services);
    /// What `GetRequiredSize` answers from now on.
    void SetWantedSize(int width, int height);

private:
    ~PictureSink() = default;

    int wantedWidth_ = -1;
    int wantedHeight_ = -1;
    Ref<IHostServices> services_;
};

}  // namespace kestrel
