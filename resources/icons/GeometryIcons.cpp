#include "resources/icons/Icons.h"

namespace kestrel::icons {
namespace {

void Scale(Pen& pen) {
    pen.Rect(3, 3, 16, 16, 1.5).Dash();
    pen.Rect(3, 11, 8, 8, 1.5).FillAndStroke(kLine, 0.35);
    pen.Arrow({9.6, 12.4}, {17.2, 4.8}, kBlue);
}

void ScalePercent(Pen& pen) {
    pen.Circle(6.4, 6.6, 3).Stroke(kBlue, 1.9);
    pen.Circle(15.6, 15.4, 3).Stroke(kBlue, 1.9);
    pen.Lines({{17, 4.2}, {5, 17.8}}).Stroke(kLine, 1.9);
}

void Rotate(Pen& pen) {
    pen.Arc(11, 11.6, 7.2, -40, 215).Stroke(kBlue, 1.9);
    pen.Polygon({{14.2, 2.6}, {19.9, 3.6}, {17, 9.2}}).Fill(kBlue);
    pen.Rect(8, 8.8, 6, 5.6, 1).FillAndStroke(kLine, 0.35);
}

void Crop(Pen& pen) {
    pen.Rect(6.2, 6.2, 9.6, 9.6).Fill(kBlue, 0.3);
    pen.Lines({{6.2, 2.4}, {6.2, 15.8}, {19.6, 15.8}}).Stroke(kLine, 1.9);
    pen.Lines({{2.4, 6.2}, {15.8, 6.2}, {15.8, 19.6}}).Stroke(kLine, 1.9);
}

void Straighten(Pen& pen) {
    pen.Polygon({{3.4, 8.6}, {15.8, 3.2}, {19.2, 11.2}, {6.8, 16.6}}).FillAndStroke(kLine, 0.3);
    pen.Lines({{2.4, 19.2}, {19.6, 19.2}}).Stroke(kBlue, 1.9);
    pen.Lines({{6.4, 11.8}, {16.2, 7.6}}).Stroke(kBlue, 1.5);
}

void Offset(Pen& pen) {
    pen.Rect(2.8, 2.8, 10, 10, 1.5).Dash();
    pen.Rect(9.2, 9.2, 10, 10, 1.5).FillAndStroke(kLine, 0.35);
    pen.Arrow({6, 6}, {15, 15}, kBlue);
}

constexpr Icon kIcons[] = {{"icons_scale", Scale}, {"icons_percentscale", ScalePercent}, {"icons_rotate", Rotate},
                           {"icons_crop", Crop},   {"icons_bildlage", Straighten},       {"icons_shift", Offset}};

}  // namespace

std::span<const Icon> GeometryIcons() { return kIcons; }

}  // namespace kestrel::icons
