#include <cmath>
#include <numbers>

#include "resources/icons/Icons.h"

namespace kestrel::icons {
namespace {

void Sepia(Pen& pen) {
    pen.Rect(2.5, 4, 17, 14, 2).Fill(0xE0C39C);
    pen.Hills(0x7D5430, 0xB58556);
    pen.Rect(2.5, 4, 17, 14, 2).Stroke(kBrown);
}

void BlackWhite(Pen& pen) {
    pen.Rect(2.5, 4, 17, 14, 2).Fill(kLight);
    pen.Hills(kDark, 0x9AA0AA);
    pen.Frame();
}

void Invert(Pen& pen) {
    pen.Circle(11, 11, 8).Fill(kLight);
    pen.Arc(11, 11, 8, 90, 270).Fill(kDark);
    pen.Arc(11, 11, 3.8, 90, 270).Fill(kLight);
    pen.Arc(11, 11, 3.8, -90, 90).Fill(kDark);
    pen.Circle(11, 11, 8).Stroke();
}

void Transparency(Pen& pen) {
    pen.Rect(3, 3, 16, 16, 2).Clip();
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            if ((x + y) % 2) pen.Rect(3 + 4 * x, 3 + 4 * y, 4, 4).Fill(kLine, 0.55);
    pen.Rect(3, 3, 16, 16).FillBlend({5, 5}, kBlue, 1, {18, 18}, kBlue, 0);
    pen.EndClip();
    pen.Rect(3, 3, 16, 16, 2).Stroke();
}

void ThreeColors(Pen& pen) {
    pen.Circle(11, 7.4, 5).Fill(kRed, 0.9);
    pen.Circle(7, 13.8, 5).Fill(kGreen, 0.9);
    pen.Circle(15, 13.8, 5).Fill(kBlue, 0.75);
}

void Exposure(Pen& pen) {
    pen.Rect(3, 3, 16, 16, 2).Clip();
    pen.Polygon({{3, 3}, {19, 3}, {3, 19}}).Fill(kLight);
    pen.Polygon({{19, 3}, {19, 19}, {3, 19}}).Fill(kDark);
    pen.EndClip();
    pen.Lines({{5.2, 8}, {10.2, 8}}).Stroke(kDark);
    pen.Lines({{7.7, 5.5}, {7.7, 10.5}}).Stroke(kDark);
    pen.Lines({{12, 14.6}, {16.6, 14.6}}).Stroke(kLight);
    pen.Rect(3, 3, 16, 16, 2).Stroke();
}

/// A drop; its tip is at the top.
Pen& Drop(Pen& pen) {
    return pen.Lines({{11, 2.5}})
        .Curve({15, 8}, {17, 10.6}, {17, 13.4})
        .Arc(11, 13.4, 6, 0, 180)
        .Curve({5, 10.6}, {7, 8}, {11, 2.5});
}

void ColorCorrection(Pen& pen) {
    Drop(pen).Clip();
    pen.Rect(0, 0, 11, 22).Fill(kOrange);
    pen.Rect(11, 0, 11, 22).Fill(kCyan);
    pen.EndClip();
    Drop(pen).Stroke();
}

void BrightnessContrast(Pen& pen) {
    for (int ray = 0; ray < 8; ++ray) {
        const double angle = ray * std::numbers::pi / 4, x = std::cos(angle), y = std::sin(angle);
        pen.Lines({{11 + 7.4 * x, 11 + 7.4 * y}, {11 + 9 * x, 11 + 9 * y}}).Stroke(kOrange);
    }
    pen.Circle(11, 11, 4.8).Fill(kLight);
    pen.Arc(11, 11, 4.8, -90, 90).Fill(kDark);
    pen.Circle(11, 11, 4.8).Stroke(kOrange);
}

void Colorize(Pen& pen) {
    pen.Lines({{18.6, 3.4}, {10.6, 11.4}}).Stroke(kLine, 2.6);
    pen.Lines({{11.6, 12.6}})
        .Curve({11.6, 17.6}, {7, 19}, {2.6, 18.4})
        .Curve({5, 17}, {4.6, 14.6}, {6.4, 12.4})
        .Curve({8, 10.4}, {10.8, 10.6}, {11.6, 12.6});
    pen.Fill(kMagenta);
}

void Bicolor(Pen& pen) {
    pen.Rect(2.5, 4, 17, 14, 2).Fill(0xF2A33A);
    pen.Hills(0x2B4C9B, 0x2B4C9B);
    pen.Frame();
}

void InvertMask(Pen& pen) {
    pen.Rect(3, 4, 8, 14).Clip();
    pen.Rect(3, 4, 16, 14, 2).Fill(kLine);
    pen.EndClip();
    pen.Arc(11, 11, 4.4, 90, 270).Fill(kLight);
    pen.Arc(11, 11, 4.4, -90, 90).Fill(kLine);
    pen.Rect(3, 4, 16, 14, 2).Stroke();
}

void Gradation(Pen& pen) {
    pen.Rect(3, 3, 16, 16, 1).Stroke();
    pen.Lines({{4, 18}}).Curve({10, 17.5}, {11, 5}, {18, 4}).Stroke(kBlue, 1.7);
    pen.Circle(7.7, 15, 1.9).Fill(kBlue);
    pen.Circle(14, 6.8, 1.9).Fill(kBlue);
}

void WhiteBalance(Pen& pen) {
    pen.Lines({{12.2, 6.6}, {4.8, 14}, {3.6, 18.4}, {8, 17.2}, {15.4, 9.8}}).FillAndStroke(kLight);
    pen.Lines({{10.8, 5.2}, {16.8, 11.2}}).Stroke(kLine, 2);
    pen.Lines({{14.4, 7.6}, {16.8, 5.2}}).Stroke(kLine, 4.4);
    pen.Circle(17, 17.4, 2.2).Fill(kLine, 0.6);
}

void ToneLevels(Pen& pen) {
    pen.Lines({{2.5, 15}})
        .Curve({5, 14.5}, {5.5, 4}, {8.5, 4})
        .Curve({11, 4}, {11, 10}, {13, 10})
        .Curve({15.5, 10}, {16, 14.5}, {19.5, 15});
    pen.Fill(kBlue, 0.85);
    for (const double x : {4.0, 11.0, 18.0}) pen.Polygon({{x, 16}, {x + 2.2, 19.5}, {x - 2.2, 19.5}}).Fill(kLine);
}

void Equalize(Pen& pen) {
    for (int bar = 0; bar < 5; ++bar) pen.Rect(2.8 + 3.4 * bar, 10.4, 2.6, 8.6, 0.6).Fill(kBlue, 0.85);
    pen.Lines({{2.5, 8.2}}).Curve({8, 8}, {8, 2.6}, {11, 2.6}).Curve({14, 2.6}, {14, 8}, {19.5, 8.2}).Dash();
}

void Slider(Pen& pen, Point from, Point to, Point knob, Color color) {
    pen.Lines({from, to}).Stroke();
    pen.Circle(knob.x, knob.y, 2.4).Fill(color);
}

void ColorTuning(Pen& pen) {
    Slider(pen, {4.6, 3.5}, {4.6, 18.5}, {4.6, 13}, kRed);
    Slider(pen, {11, 3.5}, {11, 18.5}, {11, 7}, kGreen);
    Slider(pen, {17.4, 3.5}, {17.4, 18.5}, {17.4, 14.6}, kBlue);
}

void HueWheel(Pen& pen) {
    const Color hues[] = {kRed, kYellow, kGreen, kCyan, kBlue, kMagenta};
    for (int i = 0; i < 6; ++i) pen.Lines({{11, 11}}).Arc(11, 11, 8.6, 60 * i - 120, 60 * i - 60).Fill(hues[i]);
    pen.Circle(11, 11, 3.6).FillAndStroke(kLight);
}

void ColorBalance(Pen& pen) {
    const struct {
        Color left, right;
        double knob;
    } rows[] = {{kCyan, kRed, 13.5}, {kMagenta, kGreen, 8}, {kYellow, kBlue, 11.6}};
    double y = 5;
    for (const auto& row : rows) {
        pen.Lines({{6, y}, {16, y}}).Stroke();
        pen.Circle(4, y, 1.9).Fill(row.left);
        pen.Circle(18, y, 1.9).Fill(row.right);
        pen.Rect(row.knob - 1.1, y - 2.4, 2.2, 4.8, 0.8).Fill(kLine);
        y += 6;
    }
}

void RgbMixer(Pen& pen) {
    pen.Lines({{3, 4.5}}).Curve({8, 4.5}, {7, 11}, {12, 11}).Stroke(kRed, 2.2);
    pen.Lines({{3, 17.5}}).Curve({8, 17.5}, {7, 11}, {12, 11}).Stroke(kBlue, 2.2);
    pen.Lines({{3, 11}, {12, 11}}).Stroke(kGreen, 2.2);
    pen.Circle(15.4, 11, 3.4).FillAndStroke(kLine, 0.45);
}

constexpr Icon kIcons[] = {{"icons_invert", Invert},
                           {"icons_sepia", Sepia},
                           {"icons_blackwhite", BlackWhite},
                           {"icons_transpar", Transparency},
                           {"icons_color", ThreeColors},
                           {"icons_exposure", Exposure},
                           {"icons_filter1", ColorCorrection},
                           {"icons_hkuk", BrightnessContrast},
                           {"icons_adoptcolor", Colorize},
                           {"icons_bicolor", Bicolor},
                           {"icons_invmask", InvertMask},
                           {"icons_gradat", Gradation},
                           {"icons_whitebalance", WhiteBalance},
                           {"icons_tonwert", ToneLevels},
                           {"icons_tonaladj", Equalize},
                           {"icons_colorequalizer", ColorTuning},
                           {"icons_hsb", HueWheel},
                           {"icons_colorbalance", ColorBalance},
                           {"icons_colormixer", RgbMixer}};

}  // namespace

std::span<const Icon> ToneIcons() { return kIcons; }

}  // namespace kestrel::icons
