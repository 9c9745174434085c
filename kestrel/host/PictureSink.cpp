#include "kestrel/host/PictureSink.h"

#include "kestrel/host/TextRenderer.h"

namespace kestrel {

PictureSink::PictureSink() : services_(new TextRenderer) {}

HRESULT PictureSink::QueryInterface(const GUID& iid, void** object) {
    if (iid == IHostServices::kIid && services_) return services_->QueryInterface(iid, object);
    return LineSink::QueryInterface(iid, object);
}

void PictureSink::SetServices(IHostServices* services) {
    services_ = Ref<IHostServices>(services);
    FilterEvent anew{kRenderTextCode, nullptr};
    if (Upstream()) Upstream()->SendEvent(&anew);
}

HRESULT PictureSink::GetRequiredSize(int* width, int* height, double) {
    *width = wantedWidth_;
    *height = wantedHeight_;
    return S_OK;
}

void PictureSink::SetWantedSize(int width, int height) {
    wantedWidth_ = width;
    wantedHeight_ = height;
}

}  // namespace kestrel
