#include "tests/support/Reference.h"

#include <string_view>

#include "kestrel/server/ClassTable.h"
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
    const ClassRow* const row = FindClass(std::string_view(step.progId));
    return row && row->description->measuresRequest;
}

}  // namespace kestrel::test
