#include "resources/icons/Icons.h"

namespace kestrel::icons {
namespace {

void SoftEdge(Pen& pen) {
    for (const double inset : {0.0, 1.4, 2.8, 4.2})
        pen.Rect(2 + inset, 3.5 + inset, 18 - 2 * inset, 15 - 2 * inset, 3.5 - inset / 2).Fill(kBlue, 0.28);
    pen.Rect(7.6, 9.1, 6.8, 3.8, 1).Fill(kBlue);
}

void Passepartout(Pen& pen) {
    pen.Rect(2, 3, 18, 16, 2).Fill(kBlue);
    pen.Rect(5.6, 6.6, 10.8, 8.8, 0.8).Fill(kLight);
    pen.Rect(5.6, 6.6, 10.8, 8.8, 0.8).Clip();
    pen.Polygon({{5, 16}, {9, 9.4}, {13, 16}}).Fill(kLine);
    pen.Polygon({{10, 16}, {13.4, 11}, {17, 16}}).Fill(kLine, 0.6);
    pen.EndClip();
}

void SmokedGlass(Pen& pen) {
    pen.Rect(2.5, 4, 17, 14, 2).Fill(kLight);
    pen.Hills(kGreen, kBlue);
    pen.Frame();
    pen.Rect(9, 2, 10.5, 18, 1.6).FillAndStroke(0x4B5563, 0.72);
    pen.Lines({{12, 9}, {15.4, 5.2}}).Stroke(kLight, 1.1);
    pen.Lines({{12, 13}, {17, 7.4}}).Stroke(kLight, 1.1);
}

void Backdrop(Pen& pen) {
    pen.Rect(3, 3, 16, 16, 2).Fill(kOrange);
    pen.Rect(3, 3, 16, 16, 2).Clip();
    pen.Circle(11, 9, 3.4).Fill(kLight);
    pen.Circle(11, 20, 7).Fill(kLight);
    pen.EndClip();
    pen.Rect(3, 3, 16, 16, 2).Stroke();
}

void LightAndShadow(Pen& pen) {
    pen.Rect(10, 10.6, 10.4, 9.6, 2).Fill(kLine, 0.65);
    pen.Rect(7.4, 8, 10.4, 9.6, 2).FillAndStroke(kLight);
    pen.Circle(4.8, 4.8, 2.2).Fill(kYellow);
    for (const Point& ray : {Point{1.1, 0.3}, {0.3, 1.1}, {1, -0.6}, {-0.6, 1}})
        pen.Lines({{4.8 + 3.2 * ray.x, 4.8 + 3.2 * ray.y}, {4.8 + 4.2 * ray.x, 4.8 + 4.2 * ray.y}})
            .Stroke(kYellow, 1.2);
}

void Text(Pen& pen) {
    pen.Lines({{4.4, 7}, {4.4, 4}, {15.6, 4}, {15.6, 7}}).Stroke(kLine, 2);
    pen.Lines({{10, 4}, {10, 17.6}}).Stroke(kLine, 2.2);
    pen.Lines({{7.4, 18}, {12.6, 18}}).Stroke(kLine, 2);
    pen.Lines({{18, 10}, {18, 19}}).Stroke(kBlue, 1.7);
}

constexpr Icon kIcons[] = {{"icons_softframe", SoftEdge},      {"icons_passpartout", Passepartout},
                           {"icons_smokedglass", SmokedGlass}, {"icons_colorfiller", Backdrop},
                           {"icons_light_fx", LightAndShadow}, {"icons_text", Text}};

}  // namespace

std::span<const Icon> CompositionIcons() { return kIcons; }

}  // namespace kestrel::icons
