#pragma once
// A source that costs no more than a copy of the rows, so that what is measured is the filter.
#include <algorithm>
#include <cstring>

#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/IFilterGeometry.h"
#include "kestrel/framework/IFilterPixels.h"
#include "kestrel/image/Dib.h"

namespace kestrel::bench {

/// Gives the rows of a 24-bit picture, opaque everywhere. The picture stays the caller's.
class BenchSource final : public IFilterPixels {
public:
    explicit BenchSource(const Dib* picture) : picture_(picture) {}

    /// All that was made from the picture is out of date.
    void Touch() { ++version_; }

    HRESULT QueryInterface(const GUID& iid, void** object) override {
        *object = iid == IUnknown::kIid || iid == IFilterPixels::kIid ? static_cast<IFilterPixels*>(this) : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    std::uint32_t AddRef() override { return ++references_; }
    std::uint32_t Release() override {
        const std::uint32_t left = --references_;
        if (left == 0) delete this;
        return left;
    }

    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override {
        const int left = std::max(0, -srcX), right = std::min(width, picture_->biWidth - srcX);
        const int top = std::min(height, picture_->biHeight - srcY);
        if (right <= left) return S_OK;
        const auto pixels = static_cast<std::size_t>(right - left);
        for (int y = std::max(0, -srcY); y < top; ++y) {
            std::memcpy(rows[dstY + y] + (dstX + left) * 3, DibRow(picture_, srcY + y) + (srcX + left) * 3, pixels * 3);
            std::memset(maskRows[dstY + y] + dstX + left, 0, pixels);
        }
        return S_OK;
    }
    HRESULT SetAbort(bool) override { return S_OK; }
    HRESULT Update(bool* changed, int* version, bool) override {
        if (downstream_) {
            downstream_->SetSize(picture_->biWidth, picture_->biHeight);
            downstream_->SetFullSize(picture_->biWidth, picture_->biHeight);
            downstream_->SetOffset(0, 0);
        }
        if (*version != version_) *changed = true;
        *version = version_;
        return S_OK;
    }
    HRESULT GetGeometry(int* width, int* height, int* offsetX, int* offsetY, int* fullWidth, int* fullHeight) override {
        *width = *fullWidth = picture_->biWidth;
        *height = *fullHeight = picture_->biHeight;
        *offsetX = *offsetY = 0;
        return S_OK;
    }
    HRESULT ConnectDownstream(IUnknown* next) override {
        downstream_ = Ref<IFilterGeometry>::Query(next);
        return S_OK;
    }
    HRESULT TransformColor(unsigned char*) override { return S_OK; }
    HRESULT SendEvent(void*) override { return S_OK; }

private:
    ~BenchSource() = default;

    const Dib* picture_;
    Ref<IFilterGeometry> downstream_;
    int version_ = 0;
    std::uint32_t references_ = 0;
};

}  // namespace kestrel::bench
