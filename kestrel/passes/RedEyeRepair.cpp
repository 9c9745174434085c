#include "kestrel/passes/RedEyeRepair.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "kestrel/foundation/Truncate.h"

namespace kestrel::passes {
namespace {

constexpr int kNotInitialized = -1;

constexpr int kRedRange = 40;       // of the search around a red click
constexpr int kOtherRange = 10;     // where the search around any other click begins
constexpr int kLargestRange = 100;  // the search ends when its range reaches this
constexpr int kFirstRedMin = 30;    // where the search for the threshold begins
constexpr int kBright = 205;        // of green or blue, in the eyes of animals
constexpr int kLeastCatRedMin = 155;
constexpr int kGreatestColorRedMin = 100;  // for green and blue eyes
constexpr double kRagged = 3.0;            // a roundness above this is none

const char* NameOf(int clickClass) {
    switch (clickClass) {
        case kNotInitialized:
            return "NOT_INITIALIZED";
        case kClickRed:
            return "RED";
        case kClickGreen:
            return "GREEN";
        case kClickBlue:
            return "BLUE";
        case kClickCat:
            return "CAT";
        case kClickWhite:
            return "WHITE";
        case kClickNotDefined:
            return "NOT_DEFINED";
        default:
            return "DEFAULT";
    }
}

/// How much red stands above the mean of the other two.
int RedExcess(const std::uint8_t* pixel) { return pixel[2] - (pixel[1] + pixel[0]) / 2; }

/// A span that was taken and from which the row beside it is to be entered; numbers count from the window's corner.
struct Span {
    std::int16_t row, left, right, direction;
};

/// Spans that wait. When it is full, and for windows beyond 16 bits, further spans are dropped: a part of the area then
/// stays as it is.
class SpanStack {
public:
    void Push(int row, int left, int right, int direction) {
        constexpr int kLargest = std::numeric_limits<std::int16_t>::max();
        if (size_ == spans_.size() || row > kLargest || right > kLargest) return;
        spans_[size_++] = {static_cast<std::int16_t>(row), static_cast<std::int16_t>(left),
                           static_cast<std::int16_t>(right), static_cast<std::int16_t>(direction)};
    }
    bool Empty() const { return size_ == 0; }
    Span Pop() { return spans_[--size_]; }

private:
    std::array<Span, 10000> spans_;
    std::size_t size_ = 0;
};

}  // namespace

RedEyeRepair::RedEyeRepair(const Planes& picture, double renderScale, Report report)
    : picture_(picture), renderScale_(renderScale), report_(report) {}

ClickClass RedEyeRepair::Classify(int red, int green, int blue) {
    const int greatest = std::max({red, green, blue});
    if (red + green + blue > 690 && greatest - std::min({red, green, blue}) < 25) return kClickWhite;
    if (red == greatest) return kClickRed;
    if (green >= kBright || blue >= kBright) return kClickCat;
    return blue > green ? kClickBlue : kClickGreen;
}

RedEyeRepair::Adjusted RedEyeRepair::AdjustRedMin(int threshold, int clickRed, int F, int clickClass) {
    int step = (clickRed - threshold) / 5;
    int base = threshold + step;
    int rest = clickRed - base;
    const bool notRedEnough = threshold > clickRed;
    if (notRedEnough) {
        if (clickClass == kClickRed || clickClass == kClickBlue) base = 50;
        if (clickClass == kClickGreen) base = threshold + 50;
        step = rest = 50;
    }
    return {base + (F < 1 ? step * F : rest * F) / 50, notRedEnough};
}

void RedEyeRepair::Repair(int number, const ClickPoint& click) {
    m_nReplaced = 0;
    m_dGamma = click.E <= 0 ? 1.5 + click.E * (1.5 - 1.0) / 50 : 1.5 + click.E * (10.0 - 1.5) / 50;
    clickX_ = TruncateToInt(picture_.width * click.X);
    clickY_ = TruncateToInt(picture_.height * click.Y);
    const bool inside = clickX_ >= 0 && clickX_ < picture_.width && clickY_ >= 0 && clickY_ < picture_.height;
    constexpr std::uint8_t kNothing[3] = {};
    const std::uint8_t* const pixel = inside ? PixelAt(clickX_, clickY_) : kNothing;
    m_nClass = inside ? Classify(pixel[2], pixel[1], pixel[0]) : kClickNotDefined;
    report_(__LINE__, "----------------------------------------------------------------------------\n");
    report_(__LINE__, fmt::format("Clickpoint #{} is {}  ( rgb = {:3} / {:3} / {:3} )\n", number, NameOf(m_nClass),
                                  pixel[2], pixel[1], pixel[0]));
    if (m_nClass == kClickNotDefined) return;

    if (m_nClass == kClickRed) {
        m_nSearchRange = kRedRange;
        MakeWindow();
        FindRedMin();
        const Adjusted adjusted = AdjustRedMin(m_iRedMin, RedExcess(pixel), click.F, m_nClass);
        m_iRedMin = adjusted.redMin;
        if (adjusted.notRedEnough && adjusted.redMin != 0) return;
    } else {
        m_nSearchRange = kOtherRange;
        m_iRedMin =
            m_nClass == kClickWhite ? (click.F + kBright) * 3 : click.F + (m_nClass == kClickCat ? kBright : 50);
        MakeWindow();
        GrowSearch();
    }

    ClearMap();
    MakeGreys();
    FillReplacing();
    if (m_nClass == kClickRed) SpreadOutline();
    if (m_nClass == kClickCat || m_nClass == kClickWhite) WidenOutline(1);
    if (m_nClass == kClickRed || m_nClass == kClickCat) SoftenOutline();
    const Roundness roundness = MeasureRoundness();
    report_(__LINE__, fmt::format("++Clickpoint #{}: {} Pixel replaced, Outline={}, dK = {:.2f}, m_iRedMin={} \n",
                                  number, m_nReplaced, roundness.outline, roundness.value, m_iRedMin));
}

// Window and map

void RedEyeRepair::MakeWindow() {
    const double reach = m_nSearchRange * renderScale_;
    const auto bound = [](double at, int size) { return std::clamp(TruncateToInt(at), 0, size - 1); };
    m_Window = {bound(clickX_ - reach, picture_.width), bound(clickX_ + reach, picture_.width),
                bound(clickY_ - reach, picture_.height), bound(clickY_ + reach, picture_.height)};
    if (WindowWidth() <= 0 || WindowHeight() <= 0) m_Window = {0, -1, 0, -1};  // a scale below 0
    ClearMap();
}

void RedEyeRepair::ClearMap() {
    m_pMap.assign(static_cast<std::size_t>(WindowWidth()) * static_cast<std::size_t>(WindowHeight()), 0);
}

bool RedEyeRepair::InWindow(int x, int y) const {
    return x >= m_Window.left && x <= m_Window.right && y >= m_Window.top && y <= m_Window.bottom;
}

std::uint8_t& RedEyeRepair::Map(int x, int y) {
    return m_pMap[static_cast<std::size_t>(y - m_Window.top) * static_cast<std::size_t>(WindowWidth()) +
                  static_cast<std::size_t>(x - m_Window.left)];
}

bool RedEyeRepair::Marked(int x, int y) const { return const_cast<RedEyeRepair*>(this)->Map(x, y) != 0; }

// Filling

bool RedEyeRepair::IsRed(const std::uint8_t* pixel) const {
    const int blue = pixel[0];
    const int green = pixel[1];
    const int red = pixel[2];
    switch (m_nClass) {
        case kClickRed:
            return red - (green + blue) / 2 >= m_iRedMin;
        case kClickGreen:
            return green - (red + blue) / 2 >= m_iRedMin;
        case kClickBlue:
            return blue - (red + green) / 2 >= m_iRedMin;
        case kClickCat:
            return (green + blue) / 2 >= m_iRedMin;
        default:
            return red + green + blue >= m_iRedMin;
    }
}

/// The grey of every average, so that no power is taken for a pixel.
void RedEyeRepair::MakeGreys() {
    for (int average = 0; average < 256; ++average) {
        const double exponent = m_nClass == kClickCat ? 2 * m_dGamma : m_dGamma;
        const int grey = m_nClass == kClickWhite ? std::max(0, TruncateToInt(average - (m_dGamma - 1) * 30))
                                                 : TruncateToInt(std::pow(average / 255.0, exponent) * 255);
        greys_[static_cast<std::size_t>(average)] = static_cast<std::uint8_t>(grey);
    }
}

void RedEyeRepair::Replace(std::uint8_t* pixel) {
    m_byGrey = greys_[static_cast<std::size_t>((pixel[0] + pixel[1] + pixel[2]) / 3)];
    std::fill_n(pixel, 3, m_byGrey);
    ++m_nReplaced;
}

/// Gives every pixel that passes the test, and is joined to the click by such pixels, to `take(pixel)` and marks it.
/// The row above the click is entered beside the click's own row even when the click does not pass.
template <class Take>
void RedEyeRepair::Fill(const Take& take) {
    if (!InWindow(clickX_, clickY_)) return;
    const int lastRow = WindowHeight() - 1;
    const int lastColumn = WindowWidth() - 1;
    const auto takes = [&](int column, int row) {
        const int x = m_Window.left + column;
        const int y = m_Window.top + row;
        std::uint8_t& mark = Map(x, y);
        std::uint8_t* const pixel = PixelAt(x, y);
        if (mark || !IsRed(pixel)) return false;
        take(pixel);
        mark = 1;
        return true;
    };

    SpanStack spans;
    const auto push = [&](int row, int left, int right, int direction) {
        if (left <= right && row + direction >= 0 && row + direction <= lastRow)
            spans.Push(row, left, right, direction);
    };
    const int seedRow = clickY_ - m_Window.top;
    const int seedColumn = clickX_ - m_Window.left;
    push(seedRow, seedColumn, seedColumn, 1);
    push(seedRow + 1, seedColumn, seedColumn, -1);
    while (!spans.Empty()) {
        const Span from = spans.Pop();
        const int row = from.row + from.direction;
        // Pixels over the span, and on to both sides of it as far as they pass.
        int column = from.left;
        while (column >= 0 && takes(column, row)) --column;
        int begin = column + 1;
        if (begin < from.left) push(row, begin, from.left - 1, -from.direction);
        column = from.left + 1;
        bool open = begin <= from.left;  // does a run of taken pixels reach up to `column`?
        while (open || column <= from.right) {
            if (!open) {
                if (!takes(column, row)) {
                    ++column;
                    continue;
                }
                begin = column++;
            }
            while (column <= lastColumn && takes(column, row)) ++column;
            push(row, begin, column - 1, from.direction);
            if (column > from.right + 1) push(row, from.right + 1, column - 1, -from.direction);
            open = false;
            ++column;
        }
    }
}

void RedEyeRepair::FillMarking() {
    Fill([](std::uint8_t*) {});
}

void RedEyeRepair::FillReplacing() {
    Fill([this](std::uint8_t* pixel) { Replace(pixel); });
}

// Judging what is marked

std::ptrdiff_t RedEyeRepair::CountMarked() const { return std::count(m_pMap.begin(), m_pMap.end(), 1); }

bool RedEyeRepair::TouchesBorder() const {
    for (int x = m_Window.left; x <= m_Window.right; ++x)
        if (Marked(x, m_Window.top) || Marked(x, m_Window.bottom)) return true;
    for (int y = m_Window.top; y <= m_Window.bottom; ++y)
        if (Marked(m_Window.left, y) || Marked(m_Window.right, y)) return true;
    return false;
}

RedEyeRepair::Roundness RedEyeRepair::MeasureRoundness() const {
    Roundness result{-1.0, 0, 0};
    for (int y = m_Window.top + 1; y < m_Window.bottom; ++y)
        for (int x = m_Window.left + 1; x < m_Window.right; ++x) {
            if (!Marked(x, y)) continue;
            ++result.area;
            if (!Marked(x - 1, y) || !Marked(x + 1, y) || !Marked(x, y - 1) || !Marked(x, y + 1)) ++result.outline;
        }
    if (result.area > 0) result.value = static_cast<double>(result.outline) * result.outline / (result.area * 12.56);
    return result;
}

/// Does a threshold mark an area that is neither too big nor too ragged?
bool RedEyeRepair::IsSane(int threshold) {
    ClearMap();
    m_iRedMin = threshold;
    FillMarking();
    const int most = TruncateToInt(static_cast<double>(m_pMap.size()) * 0.4);
    return CountMarked() <= most && MeasureRoundness().value <= kRagged;
}

/// Sets the smallest threshold that gives a sane area.
void RedEyeRepair::FindRedMin() {
    int low = 0;
    int high = 255;
    int t = kFirstRedMin;
    while (t > low + 1) {
        if (IsSane(t)) {
            high = t;
            t = (low + t) >> 1;
        } else {
            low = t;
            t = (low + high) >> 1;
        }
    }
    m_iRedMin = high;
}

RedEyeRepair::Growth RedEyeRepair::EvaluateGrowth() {
    ClearMap();
    FillMarking();
    if (TouchesBorder()) return Growth::TouchingBorder;
    const int most = TruncateToInt(static_cast<double>(m_pMap.size()) * 0.3);
    return CountMarked() > most ? Growth::TooManyRedPixels : Growth::Done;
}

/// Makes the test stricter for green and blue eyes and looser for those of animals, up to a bound; false when the bound
/// was passed and the threshold is put back on it.
bool RedEyeRepair::StepRedMin() {
    if (m_nClass == kClickCat && --m_iRedMin < kLeastCatRedMin) {
        m_iRedMin = kLeastCatRedMin;
        return false;
    }
    if ((m_nClass == kClickGreen || m_nClass == kClickBlue) && ++m_iRedMin > kGreatestColorRedMin) {
        m_iRedMin = kGreatestColorRedMin;
        return false;
    }
    return m_nClass != kClickWhite;
}

/// Widens the window until the marked area lies inside it. While the area is ragged, the threshold moves first.
void RedEyeRepair::GrowSearch() {
    for (;;) {
        const Growth growth = EvaluateGrowth();
        const Roundness roundness = MeasureRoundness();
        if (growth == Growth::Done) {
            report_(__LINE__,
                    fmt::format("Unclipped Search Range = {:3} (OK, dRoundness = {:.2f}, nBorderLength={}, "
                                "nArea={}, m_iRedMin={})\n",
                                m_nSearchRange, roundness.value, roundness.outline, roundness.area, m_iRedMin));
            return;
        }
        if (roundness.value > kRagged && StepRedMin()) continue;
        m_nSearchRange = TruncateToInt(m_nSearchRange * 1.5);
        report_(__LINE__, fmt::format("New unclipped Search Range = {:3} (previously {}, dRoundness = {:.2f}, "
                                      "nBorderLength={}, nArea={}, m_iRedMin={})\n",
                                      m_nSearchRange,
                                      growth == Growth::TouchingBorder ? "TOUCHING_BORDER" : "TOO_MANY_RED_PIXELS",
                                      roundness.value, roundness.outline, roundness.area, m_iRedMin));
        MakeWindow();
        if (m_nSearchRange >= kLargestRange) {
            report_(__LINE__, fmt::format("***** MAX SEARCHRANGE REACHED *****m_iRedMin={}\n", m_iRedMin));
            return;
        }
        StepRedMin();
    }
}

// Dressing

/// Gives the outermost marked pixels of each row, then of each column, with their neighbours toward the window's edge
/// to `dress(x, y, neighbourX, neighbourY)`: the first from the second pixel on, then the last from the second last
/// back.
template <class Dress>
void RedEyeRepair::WalkOutline(const Dress& dress) {
    const auto walk = [&](int first, int last, const auto& marked, const auto& give) {
        for (int i = first + 1; i <= last; ++i)
            if (marked(i)) {
                give(i, i - 1);
                break;
            }
        for (int i = last - 1; i >= first; --i)
            if (marked(i)) {
                give(i, i + 1);
                break;
            }
    };
    for (int y = m_Window.top; y <= m_Window.bottom; ++y)
        walk(
            m_Window.left, m_Window.right, [&](int x) { return Marked(x, y); },
            [&](int x, int beside) { dress(x, y, beside, y); });
    for (int x = m_Window.left; x <= m_Window.right; ++x)
        walk(
            m_Window.top, m_Window.bottom, [&](int y) { return Marked(x, y); },
            [&](int y, int beside) { dress(x, y, x, beside); });
}

/// Takes in neighbours of the area that still have some red.
void RedEyeRepair::SpreadOutline() {
    WalkOutline([this](int x, int y, int besideX, int besideY) {
        if (RedExcess(PixelAt(besideX, besideY)) <= 0) return;
        Map(besideX, besideY) = 1;
        std::copy_n(PixelAt(x, y), 3, PixelAt(besideX, besideY));
    });
}

/// Takes in whatever lies beside the area.
void RedEyeRepair::WidenOutline(int rounds) {
    for (int round = 0; round < rounds; ++round)
        WalkOutline([this](int x, int y, int besideX, int besideY) {
            Map(besideX, besideY) = 1;
            std::copy_n(PixelAt(x, y), 3, PixelAt(besideX, besideY));
        });
}

/// Mixes the outermost pixels of the area with what lies beside them.
void RedEyeRepair::SoftenOutline() {
    WalkOutline([this](int x, int y, int besideX, int besideY) {
        std::uint8_t* const pixel = PixelAt(x, y);
        const std::uint8_t* const beside = PixelAt(besideX, besideY);
        for (int channel = 0; channel < 3; ++channel)
            pixel[channel] = static_cast<std::uint8_t>((pixel[channel] + beside[channel]) >> 1);
    });
}

}  // namespace kestrel::passes
