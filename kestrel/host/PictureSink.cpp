#include "kestrel/host/PictureSink.h"

#include "kestrel/host/TextRenderer.h"

namespace kestrel {

PictureSink::PictureSink() : services_(new TextRenderer) {}

HRESULT PictureSink::QueryInterface(const GUID& iid, void** object) {
    if (iid == IHostServices::kIid && services_) return services_->QueryInterface(iid, object);
    return Counted::QueryInterface(iid, object);
}

void PictureSink::SetServices(IHostServices* services) {
    services_ = Ref<IHostServices>(services);
    FilterEvent anew{kRenderTextCode, nullptr};
    if (upstream_) upstream_->SendEvent(&anew);
}

HRESULT PictureSink::SetSize(int width, int height) {
    geometry_.Width = width;
    geometry_.Height = height;
    return S_OK;
}

HRESULT PictureSink::SetOffset(int x, int y) {
    geometry_.OffsetX = x;
    geometry_.OffsetY = y;
    return S_OK;
}

HRESULT PictureSink::SetFullSize(int width, int height) {
    geometry_.FullWidth = width;
    geometry_.FullHeight = height;
    return S_OK;
}

HRESULT PictureSink::SetViewSize(int width, int height) {
    geometry_.ViewWidth = width;
    geometry_.ViewHeight = height;
    return S_OK;
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

HRESULT PictureSink::ConnectUpstream(IUnknown* previous) {
    upstream_ = Ref<IFilterPixels>::Query(previous);
    return S_OK;
}

// What a picture has no use for.

HRESULT PictureSink::SetRenderScale(double) { return S_OK; }
HRESULT PictureSink::SetAnchor(int, int) { return S_OK; }
HRESULT PictureSink::GetAnchor(int*, int*) { return S_OK; }
HRESULT PictureSink::BeginChange() { return S_OK; }
HRESULT PictureSink::EndChange() { return S_OK; }
HRESULT PictureSink::PassAlong14(void*, void*) { return S_OK; }
HRESULT PictureSink::PassAlong15(void*) { return S_OK; }
HRESULT PictureSink::PassAlong16(void*, void*, void*) { return S_OK; }
HRESULT PictureSink::PassAlong17(void*) { return S_OK; }
HRESULT PictureSink::PassAlong18(void*) { return S_OK; }

}  // namespace kestrel
