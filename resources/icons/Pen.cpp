#include "resources/icons/Pen.h"

#include <cmath>
#include <numbers>

namespace kestrel::icons {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

double Channel(Color color, int shift) { return (color >> shift & 0xFF) / 255.0; }

void AddStop(cairo_pattern_t* pattern, double at, Color color, double alpha) {
    cairo_pattern_add_color_stop_rgba(pattern, at, Channel(color, 16), Channel(color, 8), Channel(color, 0), alpha);
}

void FillWith(cairo_t* cairo, cairo_pattern_t* pattern) {
    cairo_set_source(cairo, pattern);
    cairo_fill(cairo);
    cairo_pattern_destroy(pattern);
}

}  // namespace

Pen::Pen(cairo_t* cairo) : cairo_(cairo) {
    cairo_set_line_cap(cairo_, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cairo_, CAIRO_LINE_JOIN_ROUND);
}

void Pen::Ink(Color color, double alpha) {
    cairo_set_source_rgba(cairo_, Channel(color, 16), Channel(color, 8), Channel(color, 0), alpha);
}

Pen& Pen::Rect(double x, double y, double width, double height, double radius) {
    cairo_new_sub_path(cairo_);
    if (radius <= 0) {
        cairo_rectangle(cairo_, x, y, width, height);
        return *this;
    }
    Arc(x + width - radius, y + radius, radius, -90, 0);
    Arc(x + width - radius, y + height - radius, radius, 0, 90);
    Arc(x + radius, y + height - radius, radius, 90, 180);
    Arc(x + radius, y + radius, radius, 180, 270);
    cairo_close_path(cairo_);
    return *this;
}

Pen& Pen::Circle(double x, double y, double radius) {
    cairo_new_sub_path(cairo_);
    Arc(x, y, radius, 0, 360);
    cairo_close_path(cairo_);
    return *this;
}

Pen& Pen::Arc(double x, double y, double radius, double from, double to) {
    cairo_arc(cairo_, x, y, radius, from * kDegree, to * kDegree);
    return *this;
}

Pen& Pen::Lines(std::initializer_list<Point> points) {
    cairo_new_sub_path(cairo_);
    for (const Point& point : points) cairo_line_to(cairo_, point.x, point.y);
    return *this;
}

Pen& Pen::Polygon(std::initializer_list<Point> points) {
    Lines(points);
    cairo_close_path(cairo_);
    return *this;
}

Pen& Pen::Curve(Point to1, Point to2, Point end) {
    cairo_curve_to(cairo_, to1.x, to1.y, to2.x, to2.y, end.x, end.y);
    return *this;
}

void Pen::Fill(Color color, double alpha) {
    Ink(color, alpha);
    cairo_fill(cairo_);
}

void Pen::FillBlend(Point start, Color from, double fromAlpha, Point end, Color to, double toAlpha) {
    cairo_pattern_t* blend = cairo_pattern_create_linear(start.x, start.y, end.x, end.y);
    AddStop(blend, 0, from, fromAlpha);
    AddStop(blend, 1, to, toAlpha);
    FillWith(cairo_, blend);
}

void Pen::FillGlow(Point center, double radius, Color color, double alpha) {
    cairo_pattern_t* glow = cairo_pattern_create_radial(center.x, center.y, 0, center.x, center.y, radius);
    AddStop(glow, 0, color, alpha);
    AddStop(glow, 0.35, color, alpha);
    AddStop(glow, 1, color, 0);
    FillWith(cairo_, glow);
}

void Pen::Stroke(Color color, double width) {
    Ink(color, 1);
    cairo_set_line_width(cairo_, width);
    cairo_stroke(cairo_);
}

void Pen::Dash(Color color, double width) {
    const double dashes[] = {1.6, 2.2};
    cairo_set_dash(cairo_, dashes, 2, 0);
    Stroke(color, width);
    cairo_set_dash(cairo_, nullptr, 0, 0);
}

void Pen::FillAndStroke(Color fill, double alpha, Color line) {
    Ink(fill, alpha);
    cairo_fill_preserve(cairo_);
    Stroke(line);
}

void Pen::Clip() {
    cairo_save(cairo_);
    cairo_clip(cairo_);
}

void Pen::EndClip() { cairo_restore(cairo_); }

void Pen::Arrow(Point from, Point to, Color color) {
    constexpr double kHead = 3.6;
    const double length = std::hypot(to.x - from.x, to.y - from.y);
    const double dx = (to.x - from.x) / length, dy = (to.y - from.y) / length;
    const Point base{to.x - dx * kHead, to.y - dy * kHead};
    Lines({from, base}).Stroke(color);
    Polygon({to, {base.x - dy * 2.1, base.y + dx * 2.1}, {base.x + dy * 2.1, base.y - dx * 2.1}}).Fill(color);
}

void Pen::Frame() { Rect(2.5, 4, 17, 14, 2).Stroke(); }

void Pen::Hills(Color near, Color far) {
    Rect(2.5, 4, 17, 14, 2).Clip();
    Circle(14.6, 8.2, 1.8).Fill(far);
    Polygon({{8, 18.5}, {14.5, 11}, {21, 18.5}}).Fill(far);
    Polygon({{1, 18.5}, {7.6, 9}, {14.2, 18.5}}).Fill(near);
    EndClip();
}

}  // namespace kestrel::icons
