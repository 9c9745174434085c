#include "kestrel/framework/LineEnds.h"

namespace kestrel {

// Source

HRESULT LineSource::SetAbort(bool abort) {
    aborted_.store(abort, std::memory_order_relaxed);
    return S_OK;
}

HRESULT LineSource::Update(bool* changed, int* version, bool) {
    if (downstream_) {
        downstream_->SetSize(geometry_.Width, geometry_.Height);
        downstream_->SetFullSize(geometry_.FullWidth, geometry_.FullHeight);
        downstream_->SetOffset(geometry_.OffsetX, geometry_.OffsetY);
    }
    if (*version != version_) {
        *version = version_;
        *changed = true;
    }
    return S_OK;
}

HRESULT LineSource::GetGeometry(int* width, int* height, int* offsetX, int* offsetY, int* fullWidth, int* fullHeight) {
    bool changed = false;
    int version = -1;
    Update(&changed, &version, false);
    *width = geometry_.Width;
    *height = geometry_.Height;
    *offsetX = geometry_.OffsetX;
    *offsetY = geometry_.OffsetY;
    *fullWidth = geometry_.FullWidth;
    *fullHeight = geometry_.FullHeight;
    return S_OK;
}

HRESULT LineSource::ConnectDownstream(IUnknown* next) {
    downstream_ = Ref<IFilterGeometry>::Query(next);
    return S_OK;
}

HRESULT LineSource::TransformColor(unsigned char*) { return S_OK; }
HRESULT LineSource::SendEvent(void*) { return S_OK; }

// Sink

HRESULT LineSink::SetSize(int width, int height) {
    geometry_.Width = width;
    geometry_.Height = height;
    return S_OK;
}

HRESULT LineSink::SetOffset(int x, int y) {
    geometry_.OffsetX = x;
    geometry_.OffsetY = y;
    return S_OK;
}

HRESULT LineSink::SetFullSize(int width, int height) {
    geometry_.FullWidth = width;
    geometry_.FullHeight = height;
    return S_OK;
}

HRESULT LineSink::SetViewSize(int width, int height) {
    geometry_.ViewWidth = width;
    geometry_.ViewHeight = height;
    return S_OK;
}

HRESULT LineSink::GetRequiredSize(int* width, int* height, double) {
    *width = *height = -1;
    return S_OK;
}

HRESULT LineSink::ConnectUpstream(IUnknown* previous) {
    upstream_ = Ref<IFilterPixels>::Query(previous);
    return S_OK;
}

HRESULT LineSink::SetRenderScale(double) { return S_OK; }
HRESULT LineSink::SetAnchor(int, int) { return S_OK; }
HRESULT LineSink::GetAnchor(int*, int*) { return S_OK; }
HRESULT LineSink::BeginChange() { return S_OK; }
HRESULT LineSink::EndChange() { return S_OK; }
HRESULT LineSink::PassAlong14(void*, void*) { return S_OK; }
HRESULT LineSink::PassAlong15(void*) { return S_OK; }
HRESULT LineSink::PassAlong16(void*, void*, void*) { return S_OK; }
HRESULT LineSink::PassAlong17(void*) { return S_OK; }
HRESULT LineSink::PassAlong18(void*) { return S_OK; }

}  // namespace kestrel
