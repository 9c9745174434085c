#include "tests/support/Line.h"

#include <algorithm>
#include <stdexcept>

#include "kestrel/server/ClassTable.h"

namespace kestrel::test {

// Source

Source::Source(Picture picture) : picture_(std::move(picture)) {
    geometry.Width = geometry.FullWidth = picture_.Width();
    geometry.Height = geometry.FullHeight = picture_.Height();
}

HRESULT Source::TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                              std::uint8_t* const* maskRows) {
    if (++requests == failing) return E_FAIL;
    for (int y = std::max(0, -srcY); y < height && srcY + y < picture_.Height(); ++y)
        for (int x = std::max(0, -srcX); x < width && srcX + x < picture_.Width(); ++x) {
            const Pixel p = picture_.At(srcX + x, srcY + y);
            std::uint8_t* to = rows[dstY + y] + (dstX + x) * 3;
            to[0] = p.blue;
            to[1] = p.green;
            to[2] = p.red;
            maskRows[dstY + y][dstX + x] = p.mask;
        }
    if (afterRequest) afterRequest();
    return Aborted() ? 1 : result;
}

void Source::SetPicture(Picture picture) {
    picture_ = std::move(picture);
    geometry.Width = geometry.FullWidth = picture_.Width();
    geometry.Height = geometry.FullHeight = picture_.Height();
    MarkNew();
}

// Sink

HRESULT Sink::GetRequiredSize(int* width, int* height, double wantedAspect) {
    aspect = wantedAspect;
    *width = wantedWidth;
    *height = wantedHeight;
    return S_OK;
}

HRESULT Sink::SetRenderScale(double scale) {
    renderScale = scale;
    return S_OK;
}

HRESULT Sink::BeginChange() {
    ++begins;
    return S_OK;
}

HRESULT Sink::EndChange() {
    ++ends;
    return S_OK;
}

// Line

Line::Line(Picture picture) : source(new Source(std::move(picture))), sink(new Sink) {
    sink->ConnectUpstream(source.get());
}

Line::~Line() {
    for (const auto& filter : filters_) {
        filter->SetUpstream(nullptr);
        filter->SetDownstream(nullptr);
    }
    source->ConnectDownstream(nullptr);
    sink->ConnectUpstream(nullptr);
}

Line& Line::Add(const char* progId, const char* text) {
    const ClassRow* row = FindClass(std::string_view(progId));
    if (!row) throw std::invalid_argument(progId);
    Ref<IFilterObject> filter;
    if (row->create(IFilterObject::kIid, filter.Out()) != S_OK) throw std::runtime_error(progId);
    if (text) Ref<IFilterParameters>::Query(filter.get())->SetParameterText(text, 1);
    return Add(filter.get());
}

Line& Line::Add(IFilterObject* filter) {
    if (filters_.empty())
        filter->SetUpstream(source.get());
    else
        filter->SetUpstream(filters_.back().get());
    filter->SetDownstream(sink.get());
    filters_.emplace_back(filter);
    return *this;
}

IFilterPixels& Line::Last() { return *sink->Upstream(); }

FilterGeometry Line::Geometry() {
    FilterGeometry g;
    Last().GetGeometry(&g.Width, &g.Height, &g.OffsetX, &g.OffsetY, &g.FullWidth, &g.FullHeight);
    return g;
}

bool Line::Update() {
    bool changed = false;
    Last().Update(&changed, &version_, true);
    return changed;
}

Picture Line::Render(Pixel background) {
    Update();
    return Render(0, 0, sink->geometry.Width, sink->geometry.Height, background);
}

Picture Line::Render(int x, int y, int width, int height, Pixel background) {
    Update();
    Picture picture(width, height, background);
    if (Request(picture, 0, 0, x, y, width, height) != S_OK) throw std::runtime_error("the request was not done");
    if (!picture.GuardsIntact()) throw std::runtime_error("bytes past a row were written");
    return picture;
}

HRESULT Line::Request(Picture& into, int dstX, int dstY, int srcX, int srcY, int width, int height) {
    return Last().TransformArea(dstX, dstY, srcX, srcY, width, height, into.Rows(), into.MaskRows());
}

Pixel Line::Color(Pixel pixel) {
    unsigned char bytes[4] = {pixel.blue, pixel.green, pixel.red, pixel.mask};
    Last().TransformColor(bytes);
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

void Line::Abort(bool abort) { Last().SetAbort(abort); }

std::string Line::PendingText(std::size_t index) {
    char buffer[65536] = "";
    Ref<IFilterParameters>::Query(filters_[index].get())->GetParameterTextForSave(buffer, sizeof buffer);
    return buffer;
}

std::string Line::ActiveText(std::size_t index) {
    char buffer[65536] = "";
    Ref<IFilterParameters>::Query(filters_[index].get())->GetParameterText(buffer, sizeof buffer);
    return buffer;
}

void Line::SetText(std::size_t index, const char* text) {
    Ref<IFilterParameters>::Query(filters_[index].get())->SetParameterText(text, 1);
}

Picture Apply(const char* progId, const char* text, const Picture& picture) {
    Line line(picture);
    line.Add(progId, text);
    return line.Render();
}

}  // namespace kestrel::test
