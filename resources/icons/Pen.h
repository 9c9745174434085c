#pragma once
#include <cairo.h>

#include <cstdint>
#include <initializer_list>

namespace kestrel::icons {

/// 0xRRGGBB.
using Color = std::uint32_t;

// Every color stands out from a white and from a nearly black ground.
inline constexpr Color kLine = 0x737A87;
inline constexpr Color kBlue = 0x3B82F6;
inline constexpr Color kRed = 0xE5484D;
inline constexpr Color kGreen = 0x2FA35B;
inline constexpr Color kOrange = 0xE68A1E;
inline constexpr Color kYellow = 0xE3B41B;
inline constexpr Color kCyan = 0x1AA6B7;
inline constexpr Color kMagenta = 0xC24FC2;
inline constexpr Color kBrown = 0x9C6B40;
inline constexpr Color kDark = 0x343A46;   ///< only beside kLight or within an outline
inline constexpr Color kLight = 0xF3F4F6;  ///< likewise

struct Point {
    double x, y;
};

/// Draws on a square of 22 by 22 units, y downward, whatever its size in pixels. Shapes gather in a path, and each of
/// the painting operations uses the path up.
class Pen {
public:
    static constexpr double kSide = 22;
    static constexpr double kWidth = 1.5;  ///< of every line, unless an icon has a reason

    /// `cairo` stays the caller's; one unit has to be one unit of it.
    explicit Pen(cairo_t* cairo);

    Pen& Rect(double x, double y, double width, double height, double radius = 0);
    Pen& Circle(double x, double y, double radius);
    /// From one angle to another, clockwise from 3 o'clock, in degrees; joins the path that is there.
    Pen& Arc(double x, double y, double radius, double from, double to);
    Pen& Lines(std::initializer_list<Point> points);
    Pen& Polygon(std::initializer_list<Point> points);
    Pen& Curve(Point to1, Point to2, Point end);

    void Fill(Color color, double alpha = 1);
    /// From one color at `start` to another at `end`.
    void FillBlend(Point start, Color from, double fromAlpha, Point end, Color to, double toAlpha);
    /// From `alpha` at the center to nothing at `radius`.
    void FillGlow(Point center, double radius, Color color, double alpha);
    void Stroke(Color color = kLine, double width = kWidth);
    void Dash(Color color = kLine, double width = kWidth);
    void FillAndStroke(Color fill, double alpha = 1, Color line = kLine);
    /// Nothing is painted beyond the path until `EndClip`.
    void Clip();
    void EndClip();

    /// A line from one point to another with a head at its end.
    void Arrow(Point from, Point to, Color color = kLine);
    /// The frame of a picture, and in it hills under a sun: what the filters work on.
    void Frame();
    void Hills(Color near, Color far);

private:
    void Ink(Color color, double alpha);

    cairo_t* cairo_;
};

}  // namespace kestrel::icons
