#pragma once
#include <initializer_list>

#include "kestrel/filters/geometry/InnerLine.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// A filter whose work is done by a line of other filters that it drives by text. Its record is what its own text
/// says; what it does to sizes and pixels is what the line does.
template <class Record, const auto& kTable, const auto& kAbout>
class WrapperFilter : public TwinFilter<Record, kTable, kAbout>, private InnerLine::Owner {
    using Base = TwinFilter<Record, kTable, kAbout>;

public:
    bool HasChanged() override { return Base::HasChanged() || m_Line.HasChanged(); }

    HRESULT CommitChanges() override {
        const HRESULT result = Base::CommitChanges();
        this->m_Out = m_Line.Update(this->m_InActive, true);
        return result;
    }

    HRESULT MapSize(int width, int height, int* outWidth, int* outHeight) override {
        return m_Line.MapSize(width, height, outWidth, outHeight);
    }
    HRESULT SetViewSize(int width, int height) override {
        this->m_InPending.ViewWidth = width;
        this->m_InPending.ViewHeight = height;
        return m_Line.First().SetViewSize(width, height);
    }
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override {
        return m_Line.First().GetRequiredSize(width, height, aspect);
    }
    HRESULT SetRenderScale(double scale) override {
        if (!this->IsRenderScale(scale)) return E_INVALIDARG;
        this->m_RenderScale = scale;
        return m_Line.First().SetRenderScale(scale);
    }
    HRESULT SetAnchor(int x, int y) override {
        this->m_Anchor[0] = x;
        this->m_Anchor[1] = y;
        return m_Line.First().SetAnchor(x, y);
    }
    HRESULT SetAbort(bool abort) override {
        const HRESULT result = m_Line.Last().SetAbort(abort);  // reaches upstream through the line
        this->m_Abort.Set(abort);
        return result;
    }
    void SetOneShot(bool oneShot) override { kestrel::SetOneShot(&m_Line.Last(), oneShot); }
    void ReleaseOutput() override {
        this->m_Dirty = true;
        kestrel::ReleaseOutput(&m_Line.Last());
    }

protected:
    WrapperFilter(const Record& active, std::initializer_list<const char*> progIds)
        : Base(active), m_Line(*this, progIds) {}

    /// Tells the line what the pending record says.
    virtual void DriveLine() = 0;
    void ReadText(std::string_view text) override {
        Base::ReadText(text);
        DriveLine();
    }

    FilterResult MakePixels(const PixelRequest& request) override {
        if (this->m_Dirty || this->m_UpstreamDirty) m_Line.Update(this->m_InActive, true);
        return this->Finished(m_Line.Transform(request));
    }

    InnerLine m_Line;

private:
    IFilterPixels* LineUpstream() final { return this->m_Upstream.get(); }
    IFilterGeometry* LineDownstream() final { return this->m_Downstream.get(); }
};

}  // namespace kestrel
