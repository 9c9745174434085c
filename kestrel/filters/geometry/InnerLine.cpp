#include "kestrel/filters/geometry/InnerLine.h"

#include <stdexcept>
#include <string_view>

#include "kestrel/framework/LineEnds.h"
#include "kestrel/framework/ObjectFactory.h"

namespace kestrel {
namespace {

/// Room for the longest text of an inner filter.
constexpr int kTextSize = 4096;

}  // namespace

/// Stands for the source of the inner line.
class InnerLine::Head final : public LineSource {
public:
    explicit Head(Owner& owner) : owner_(&owner) {}

    void Leave() { owner_ = nullptr; }
    void Tell(const FilterGeometry& geometry, bool changed) {
        Geometry() = geometry;
        if (changed) MarkNew();
    }

    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override {
        IFilterPixels* const upstream = Upstream();
        return upstream ? upstream->TransformArea(dstX, dstY, srcX, srcY, width, height, rows, maskRows) : E_FAIL;
    }
    bool ServesBands() const override { return kestrel::ServesBands(Upstream()); }
    bool IsOpaque() const override { return kestrel::IsOpaque(Upstream()); }
    void SetOneShot(bool oneShot) override { kestrel::SetOneShot(Upstream(), oneShot); }
    void ReleaseOutput() override { kestrel::ReleaseOutput(Upstream()); }
    HRESULT SetAbort(bool abort) override {
        IFilterPixels* const upstream = Upstream();
        return upstream ? upstream->SetAbort(abort) : S_OK;
    }
    HRESULT TransformColor(unsigned char* pixel) override {
        IFilterPixels* const upstream = Upstream();
        return upstream ? upstream->TransformColor(pixel) : S_OK;
    }
    HRESULT SendEvent(void* event) override {
        IFilterPixels* const upstream = Upstream();
        return upstream ? upstream->SendEvent(event) : S_OK;
    }

private:
    ~Head() = default;
    IFilterPixels* Upstream() const { return owner_ ? owner_->LineUpstream() : nullptr; }

    Owner* owner_;
};

/// Stands for the sink of the inner line. Keeps its output geometry; the owner pushes its own downstream.
class InnerLine::Tail final : public LineSink {
public:
    explicit Tail(Owner& owner) : owner_(&owner) {}

    void Leave() { owner_ = nullptr; }

    HRESULT SetViewSize(int width, int height) override {
        return Pass([=](IFilterGeometry& next) { return next.SetViewSize(width, height); });
    }
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override {
        *width = *height = -1;
        return Pass([=](IFilterGeometry& next) { return next.GetRequiredSize(width, height, aspect); });
    }
    HRESULT SetRenderScale(double scale) override {
        return Pass([=](IFilterGeometry& next) { return next.SetRenderScale(scale); });
    }
    HRESULT SetAnchor(int x, int y) override {
        return Pass([=](IFilterGeometry& next) { return next.SetAnchor(x, y); });
    }
    HRESULT GetAnchor(int* x, int* y) override {
        return Pass([=](IFilterGeometry& next) { return next.GetAnchor(x, y); });
    }
    HRESULT BeginChange() override {
        return Pass([](IFilterGeometry& next) { return next.BeginChange(); });
    }
    HRESULT EndChange() override {
        return Pass([](IFilterGeometry& next) { return next.EndChange(); });
    }
    HRESULT PassAlong14(void* first, void* second) override {
        return Pass([=](IFilterGeometry& next) { return next.PassAlong14(first, second); });
    }
    HRESULT PassAlong15(void* value) override {
        return Pass([=](IFilterGeometry& next) { return next.PassAlong15(value); });
    }
    HRESULT PassAlong16(void* first, void* second, void* third) override {
        return Pass([=](IFilterGeometry& next) { return next.PassAlong16(first, second, third); });
    }
    HRESULT PassAlong17(void* value) override {
        return Pass([=](IFilterGeometry& next) { return next.PassAlong17(value); });
    }
    HRESULT PassAlong18(void* value) override {
        return Pass([=](IFilterGeometry& next) { return next.PassAlong18(value); });
    }

private:
    ~Tail() = default;

    template <class Call>
    HRESULT Pass(const Call& call) const {
        IFilterGeometry* const next = owner_ ? owner_->LineDownstream() : nullptr;
        return next ? call(*next) : S_OK;
    }

    Owner* owner_;
};

InnerLine::InnerLine(Owner& owner, std::initializer_list<const char*> progIds)
    : head_(new Head(owner)), tail_(new Tail(owner)) {
    for (const char* progId : progIds) {
        Ref<IFilterObject> filter;
        if (ObjectFactory::Get().Create(progId, IFilterObject::kIid, filter.Out()) != S_OK)
            throw std::invalid_argument(progId);
        if (filters_.empty())
            filter->SetUpstream(head_.get());
        else
            filters_.back()->SetDownstream(filter.get());
        texts_.push_back(Ref<IFilterParameters>::Query(filter.get()));
        filters_.push_back(filter);
    }
    filters_.back()->SetDownstream(tail_.get());
    first_ = Ref<IFilterGeometry>::Query(filters_.front().get());
    last_ = Ref<IFilterPixels>::Query(filters_.back().get());
}

InnerLine::~InnerLine() {
    for (const auto& filter : filters_) {  // neighbours keep each other alive until their links are cut
        filter->SetUpstream(nullptr);
        filter->SetDownstream(nullptr);
    }
    head_->ConnectDownstream(nullptr);
    head_->Leave();
    tail_->ConnectUpstream(nullptr);
    tail_->Leave();
}

void InnerLine::SetText(std::size_t filter, const std::string& text) {
    texts_[filter]->SetParameterText(text.c_str(), 1);
}

std::string InnerLine::ActiveText(std::size_t filter) const {
    std::string buffer(kTextSize, '\0');
    texts_[filter]->GetParameterText(buffer.data(), kTextSize);
    return buffer.substr(0, buffer.find('\0'));
}

bool InnerLine::HasChanged() const {
    for (const auto& filter : filters_)
        if (filter->HasChanged()) return true;
    return false;
}

FilterGeometry InnerLine::Update(const FilterGeometry& in, bool changed) {
    head_->Tell(in, changed);
    bool seen = false;
    last_->Update(&seen, &version_, true);
    return tail_->Geometry();
}

FilterResult InnerLine::Transform(const PixelRequest& request) const {
    return last_->TransformArea(request.dstX, request.dstY, request.srcX, request.srcY, request.width, request.height,
                                request.rows, request.maskRows);
}

HRESULT InnerLine::MapSize(int width, int height, int* outWidth, int* outHeight) const {
    for (std::size_t i = filters_.size(); i-- > 0;) filters_[i]->MapSize(width, height, &width, &height);
    *outWidth = width;
    *outHeight = height;
    return S_OK;
}

}  // namespace kestrel
