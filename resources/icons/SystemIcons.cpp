#include "resources/icons/Icons.h"

namespace kestrel::icons {
namespace {

void Copy(Pen& pen) {
    pen.Rect(3.4, 3.4, 10.4, 10.4, 1.6).Stroke(kLine, 1.7);
    pen.Rect(8.2, 8.2, 10.4, 10.4, 1.6).FillAndStroke(kLight);
    pen.Lines({{10.8, 13.4}, {16, 13.4}}).Stroke(kBlue, 1.6);
    pen.Lines({{13.4, 10.8}, {13.4, 16}}).Stroke(kBlue, 1.6);
}

void Padlock(Pen& pen, Color body) {
    pen.Rect(4.6, 10, 12.8, 9, 1.6).Fill(body);
    pen.Circle(11, 14, 1.5).Fill(kLight);
    pen.Lines({{11, 14.4}, {11, 16.2}}).Stroke(kLight, 1.5);
}

void Lock(Pen& pen) {
    pen.Lines({{7.2, 10}, {7.2, 7}}).Arc(11, 7, 3.8, 180, 360);
    pen.Lines({{14.8, 7}, {14.8, 10}}).Stroke(kLine, 1.9);
    Padlock(pen, kBlue);
}

void Unlock(Pen& pen) {
    pen.Lines({{7.2, 10}, {7.2, 6.4}}).Arc(11, 6.4, 3.8, 180, 345).Stroke(kLine, 1.9);
    Padlock(pen, kLine);
}

void Dock(Pen& pen) {
    pen.Rect(2.8, 3.6, 16.4, 14.8, 1.8).Stroke(kLine, 1.7);
    pen.Rect(12.6, 3.6, 6.6, 14.8, 1.8).Fill(kBlue, 0.75);
    pen.Arrow({4.6, 11}, {11.6, 11});
}

void Undock(Pen& pen) {
    pen.Lines({{9, 5.6}, {3.4, 5.6}, {3.4, 18.6}, {16.4, 18.6}, {16.4, 13}}).Stroke(kLine, 1.7);
    pen.Arrow({9.4, 12.6}, {18.8, 3.2}, kBlue);
}

void Close(Pen& pen) {
    pen.Lines({{5.6, 5.6}, {16.4, 16.4}}).Stroke(kLine, 2.2);
    pen.Lines({{16.4, 5.6}, {5.6, 16.4}}).Stroke(kLine, 2.2);
}

void Minimize(Pen& pen) { pen.Lines({{5, 16.4}, {17, 16.4}}).Stroke(kLine, 2.2); }

void Maximize(Pen& pen) {
    pen.Rect(4.2, 4.2, 13.6, 13.6, 1.2).Stroke(kLine, 1.8);
    pen.Lines({{4.4, 6}, {17.6, 6}}).Stroke(kLine, 2.2);
}

void Windorize(Pen& pen) {
    pen.Lines({{8, 6.6}, {8, 4}, {18, 4}, {18, 14}, {15.4, 14}}).Stroke(kLine, 1.7);
    pen.Rect(4, 8, 10, 10, 1).Stroke(kLine, 1.7);
}

void Help(Pen& pen) {
    pen.Circle(11, 11, 8.4).Stroke(kLine, 1.6);
    pen.Lines({{8.2, 8.8}}).Arc(11, 8.6, 2.7, 180, 400).Curve({12.2, 11.2}, {11, 11.4}, {11, 13}).Stroke(kBlue, 1.8);
    pen.Circle(11, 15.8, 1.1).Fill(kBlue);
}

constexpr Icon kIcons[] = {{"icons_sys_copy", Copy},           {"icons_sys_lock", Lock},
                           {"icons_sys_unlock", Unlock},       {"icons_sys_dock", Dock},
                           {"icons_sys_undock", Undock},       {"icons_sys_close", Close},
                           {"icons_sys_minimize", Minimize},   {"icons_sys_maximize", Maximize},
                           {"icons_sys_windorize", Windorize}, {"icons_sys_help", Help}};

}  // namespace

std::span<const Icon> SystemIcons() { return kIcons; }

}  // namespace kestrel::icons
