#include "tests/support/Reference.h"

#include <algorithm>
#include <stdexcept>

#include "tests/support/Line.h"

namespace kestrel::test {

Picture Evaluate(const std::vector<Step>& chain, Picture picture) {
    for (const Step& step : chain) {
        Line line(picture);
        line.Add(step.progId.c_str(), step.text.c_str());
        const FilterGeometry geometry = line.Geometry();
        Picture result(std::max(geometry.Width, 0), std::max(geometry.Height, 0), Pixel{0, 0, 0, 255});
        if (line.Request(result, 0, 0, 0, 0, result.Width(), result.Height()) != S_OK)
            throw std::runtime_error(step.progId + " did not finish");
        picture = result;
    }
    return picture;
}

bool DependsOnWindow(const Step& step) {
    if (step.progId == "TMFilter.Histo.1") return true;           // counts the tones of the window
    if (step.progId == "TMFilter.WhiteBlackGrey.1") return true;  // modes 2 and 3 look for the extremes of the window
    if (step.progId == "TMFilter.Tonwert.1") return true;         // its clip looks at the window
    return false;
}

}  // namespace kestrel::test
