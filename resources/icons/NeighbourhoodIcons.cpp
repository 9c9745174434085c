#include "resources/icons/Icons.h"

namespace kestrel::icons {
namespace {

void Sharpen(Pen& pen) {
    pen.Polygon({{11, 2.8}, {11, 18.6}, {2.8, 18.6}}).Fill(kLine, 0.4);
    pen.Polygon({{11, 2.8}, {19.2, 18.6}, {11, 18.6}}).Fill(kBlue);
    pen.Polygon({{11, 2.8}, {19.2, 18.6}, {2.8, 18.6}}).Stroke();
}

void Blur(Pen& pen) {
    pen.Rect(11, 0, 11, 22).Clip();
    pen.Circle(11, 11, 10).FillGlow({11, 11}, 10, kBlue, 1);
    pen.EndClip();
    pen.Arc(11, 11, 7.6, 90, 270).Fill(kBlue);
    pen.Arc(11, 11, 7.6, 90, 270).Stroke();
}

void FindEdges(Pen& pen) {
    pen.Rect(2.5, 4, 17, 14, 2).Dash();
    pen.Lines({{4.2, 15.4}, {8.2, 8.8}, {11.4, 13.6}, {13.4, 11}, {17.6, 15.4}}).Stroke(kBlue, 1.8);
    pen.Circle(14.8, 7.6, 1.3).Stroke(kBlue, 1.3);
}

/// A mountain, moved along the diagonal.
void Mountain(Pen& pen, double by, Color color) {
    pen.Polygon({{5.2 + by, 15.2 + by}, {11 + by, 6.8 + by}, {16.8 + by, 15.2 + by}}).Fill(color);
}

void Emboss(Pen& pen) {
    pen.Rect(2.5, 4, 17, 14, 2).FillAndStroke(0x9AA1AD);
    Mountain(pen, -1.1, kLight);
    Mountain(pen, 1.1, kDark);
    Mountain(pen, 0, 0x9AA1AD);
}

void Despeckle(Pen& pen) {
    const Point specks[] = {{4, 5}, {9, 3.4}, {4.6, 12}, {8.4, 8.4}, {3.6, 18}, {14.4, 3.6}, {10, 18.6}};
    for (const Point& speck : specks) pen.Circle(speck.x, speck.y, 1.05).Fill(kLine);
    pen.Circle(14.4, 12.6, 4.6).Stroke(kBlue, 1.7);
    pen.Lines({{17.8, 16}, {19.6, 17.8}}).Stroke(kBlue, 2.4);
    pen.Lines({{12.8, 11}, {16, 14.2}}).Stroke(kRed, 1.5);
    pen.Lines({{16, 11}, {12.8, 14.2}}).Stroke(kRed, 1.5);
}

void RedEye(Pen& pen) {
    pen.Lines({{1.8, 11}}).Curve({6, 3.6}, {16, 3.6}, {20.2, 11}).Curve({16, 18.4}, {6, 18.4}, {1.8, 11});
    pen.FillAndStroke(kLight);
    pen.Circle(11, 11, 4.2).Fill(kRed);
    pen.Circle(11, 11, 1.7).Fill(kDark);
}

constexpr Icon kIcons[] = {{"icons_scharfz", Sharpen}, {"icons_weichz", Blur},     {"icons_konturenfinden", FindEdges},
                           {"icons_emboss", Emboss},   {"icons_staub", Despeckle}, {"icons_redeye", RedEye}};

}  // namespace

std::span<const Icon> NeighbourhoodIcons() { return kIcons; }

}  // namespace kestrel::icons
