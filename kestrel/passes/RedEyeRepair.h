#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// One click on an eye.
struct ClickPoint {
    double X = 0.5;      ///< fraction of the picture's width, 0..1
    double Y = 0.5;      ///< fraction of its height in stored rows, the bottom row first, 0..1
    std::int32_t E = 0;  ///< darkening, -50..50: sets the gamma of the grey
    std::int32_t F = 0;  ///< sensitivity, -50..50: shifts the threshold of the marking test
    bool operator==(const ClickPoint&) const = default;
};

/// What kind of reflection a click hit.
enum ClickClass : int {
    kClickRed = 0,         ///< red is the largest of the three, or equals it
    kClickGreen = 1,       ///< neither green nor blue is bright, green is not below blue
    kClickBlue = 2,        ///< neither is bright, blue is above green
    kClickCat = 3,         ///< green or blue is bright
    kClickWhite = 4,       ///< nearly white, whatever is the largest
    kClickNotDefined = 5,  ///< no pixel there; such a click is passed over
};

/// Repairs eyes in a picture, one click after the other, in place: finds what kind of reflection was hit, grows a
/// window until the marked area is closed and round enough, replaces the area by a darkened grey and dresses its
/// outline. Nothing outside the windows is read or written. Holds the state of the click at hand and the map of its
/// window, no more.
class KESTREL_API RedEyeRepair {
public:
    /// Receives a line about the search and the source line that it comes from.
    using Report = void (*)(int line, const std::string& text);

    /// Takes the pixels of a picture; its mask is not looked at. `renderScale` is picture / full-size picture: windows
    /// shrink with it; any number is safe.
    RedEyeRepair(const Planes& picture, double renderScale, Report report);

    /// Repairs the eye under a click; `number` names it in the reports. Throws `std::bad_alloc`.
    void Repair(int number, const ClickPoint& click);

    /// The kind of reflection that a clicked pixel shows.
    static ClickClass Classify(int red, int green, int blue);

    struct Adjusted {
        std::int32_t redMin;
        bool notRedEnough;
    };
    /// Moves a threshold toward the redness of the click and shifts it by the sensitivity `F`.
    static Adjusted AdjustRedMin(int threshold, int clickRed, int F, int clickClass);

private:
    /// Inclusive, in pixels of the picture; an empty one ends before it begins on both axes.
    struct SearchWindow {
        int left, right, top, bottom;
    };
    /// How round the marked area is: a disc comes near 1, -1 stands for no area. The outermost ring of the window is
    /// not looked at.
    struct Roundness {
        double value;
        int outline;  ///< marked pixels with an unmarked neighbour
        int area;     ///< marked pixels
    };
    enum class Growth { Done, TouchingBorder, TooManyRedPixels };

    void MakeWindow();
    void ClearMap();
    int WindowWidth() const { return m_Window.right - m_Window.left + 1; }
    int WindowHeight() const { return m_Window.bottom - m_Window.top + 1; }
    bool InWindow(int x, int y) const;
    std::uint8_t& Map(int x, int y);
    bool Marked(int x, int y) const;
    std::uint8_t* PixelAt(int x, int y) const { return picture_.rows[y] + std::ptrdiff_t{x} * 3; }

    bool IsRed(const std::uint8_t* pixel) const;
    void MakeGreys();
    void Replace(std::uint8_t* pixel);
    template <class Take>
    void Fill(const Take& take);
    void FillMarking();
    void FillReplacing();

    std::ptrdiff_t CountMarked() const;
    bool TouchesBorder() const;
    Roundness MeasureRoundness() const;
    bool IsSane(int threshold);

    void FindRedMin();
    Growth EvaluateGrowth();
    void GrowSearch();
    bool StepRedMin();

    template <class Dress>
    void WalkOutline(const Dress& dress);
    void SpreadOutline();
    void WidenOutline(int rounds);
    void SoftenOutline();

    const Planes picture_;
    const double renderScale_;
    const Report report_;

    int clickX_ = 0;
    int clickY_ = 0;
    std::int32_t m_iRedMin = 0;  ///< threshold of the marking test in force
    int m_nSearchRange = 0;      ///< half the window's side at full scale, pixels
    SearchWindow m_Window{0, -1, 0, -1};
    std::vector<std::uint8_t> m_pMap;  ///< one byte for each pixel of the window, 1 when marked
    int m_nClass = -1;                 ///< `ClickClass`; -1 before the first click
    int m_nReplaced = 0;               ///< pixels replaced
    std::uint8_t m_byGrey = 0;         ///< what the last pixel was replaced by
    double m_dGamma = 1.5;
    std::array<std::uint8_t, 256> greys_{};  ///< replacement of each average
};

}  // namespace kestrel::passes
