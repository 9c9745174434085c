#pragma once
#include <functional>
#include <string>
#include <vector>

#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/framework/LineEnds.h"
#include "tests/support/Picture.h"

namespace kestrel::test {

/// A host's source over a picture. Counts what it is asked; a test may change the picture or make requests fail.
class Source final : public LineSource {
public:
    explicit Source(Picture picture);

    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override;
    /// Replaces the picture; consumers see a new version.
    void SetPicture(Picture picture);

    bool ServesBands() const override { return servesBands; }

    FilterGeometry& geometry = Geometry();  ///< sizes follow the picture
    bool servesBands = false;
    int requests = 0;                    ///< calls of `TransformArea`
    int failing = 0;                     ///< number of the request, from 1 on, that fails without a pixel
    HRESULT result = S_OK;               ///< what `TransformArea` answers
    std::function<void()> afterRequest;  ///< runs at the end of each `TransformArea`, to abort in the middle

private:
    ~Source() = default;
    Picture picture_;
};

/// A host's sink. Keeps what it receives.
class Sink final : public LineSink {
public:
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;
    HRESULT SetRenderScale(double scale) override;
    HRESULT BeginChange() override;
    HRESULT EndChange() override;

    const FilterGeometry& geometry = Geometry();  ///< as the line reported it
    int wantedWidth = -1;                         ///< answer to `GetRequiredSize`
    int wantedHeight = -1;
    double aspect = 0;  ///< what `GetRequiredSize` was asked with
    double renderScale = 1.0;
    int begins = 0;
    int ends = 0;

private:
    ~Sink() = default;
};

/// A line of filters of the class table between a source and a sink, cut when it goes.
class Line {
public:
    explicit Line(Picture picture);
    ~Line();
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    /// Appends a filter made by ProgID ("TMFilter.Invert.1") with a parameter text; null leaves the fresh values.
    Line& Add(const char* progId, const char* text = nullptr);
    /// Appends an object made elsewhere.
    Line& Add(IFilterObject* filter);

    /// Size of the output; runs `GetGeometry`.
    FilterGeometry Geometry();
    /// `Update` of the last link as a host with one consumer runs it; true when something changed.
    bool Update();
    /// Updates and renders the whole output over `background`.
    Picture Render(Pixel background = {});
    /// Updates and renders one window of the output.
    Picture Render(int x, int y, int width, int height, Pixel background = {});
    /// Renders without an update; returns the result of the request.
    HRESULT Request(Picture& into, int dstX, int dstY, int srcX, int srcY, int width, int height);
    Pixel Color(Pixel pixel);
    void Abort(bool abort);

    IFilterPixels& Last();
    IFilterObject& Filter(std::size_t index) { return *filters_[index]; }
    std::string PendingText(std::size_t index);
    std::string ActiveText(std::size_t index);
    void SetText(std::size_t index, const char* text);

    const Ref<Source> source;
    const Ref<Sink> sink;

private:
    std::vector<Ref<IFilterObject>> filters_;
    int version_ = -1;
};

/// One filter over a picture, whole.
Picture Apply(const char* progId, const char* text, const Picture& picture);

}  // namespace kestrel::test
