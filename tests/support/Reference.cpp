#include "tests/support/Reference.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tests/support/Line.h"

namespace kestrel::test {

std::optional<Picture> Evaluate(const std::vector<Step>& chain, Picture picture) {
    FilterGeometry placed;
    placed.Width = placed.FullWidth = picture.Width();
    placed.Height = placed.FullHeight = picture.Height();
    for (const Step& step : chain) {
        Line line(picture);
        line.source->geometry = placed;  // origin and frame travel from filter to filter
        line.Add(step.progId.c_str(), step.text.c_str());
        const FilterGeometry geometry = line.Geometry();
        if (geometry.Width < 1 || geometry.Height < 1) return std::nullopt;
        Picture result(geometry.Width, geometry.Height, Pixel{0, 0, 0, 255});
        if (line.Request(result, 0, 0, 0, 0, result.Width(), result.Height()) != S_OK) return std::nullopt;
        picture = result;
        placed = geometry;
    }
    return picture;
}

bool DependsOnRequest(const Step& step) {
    constexpr std::string_view names[] = {
        "TMFilter.Histo.1",           // counts the tones of the request
        "TMFilter.WhiteBlackGrey.1",  // modes 2 and 3 measure the request
        "TMFilter.Tonwert.1",         // clips by the size of the first request
        "TMFilter.Rauchglas.1",       // places its pane by the size of the request
    };
    return std::find(std::begin(names), std::end(names), step.progId) != std::end(names);
}

}  // namespace kestrel::test
