#pragma once
#include "kestrel/filters/composition/Board.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// The keys of either way to give the size stand under the label of that way.
inline constexpr Choice kBoardSizes[] = {{1, "IDS_PASS_BORDERSIZE", "borders"},
                                         {0, "IDS_PASS_OBJECTSIZE", "total size"}};

inline constexpr ParameterTable<BoardParameters, 12> kPasspartoutText{
    .keys =
        {Flag("BordersizeOn", &BoardParameters::bordersizeOn, "IDS_PASS_BORDERSIZE", "what gives the size of the board")
             .OneOf(kBoardSizes),
         Number("Borderhori", &BoardParameters::borderHori, {-50, 1000}, "IDS_PASS_BORDERHORI", "left and right border",
                Unit::Pixels)
             .Under("IDS_PASS_BORDERSIZE"),
         Number("Borderverti", &BoardParameters::borderVerti, {-50, 1000}, "IDS_PASS_BORDERVERTI",
                "bottom and top border", Unit::Pixels)
             .Under("IDS_PASS_BORDERSIZE"),
         Number("TotalHori", &BoardParameters::totalHori, {1, 10000}, "IDS_PASS_TOTALHORI", "width of the board",
                Unit::Pixels)
             .Under("IDS_PASS_OBJECTSIZE")
             .Digits(4)
             .ResetAt(0, 3),
         Number("TotalVerti", &BoardParameters::totalVerti, {1, 10000}, "IDS_PASS_TOTALVERTI", "height of the board",
                Unit::Pixels)
             .Under("IDS_PASS_OBJECTSIZE")
             .Digits(4)
             .ResetAt(0, 3),
         Number("Radius", &BoardParameters::radius, {0, 10000}, "IDS_PASS_RADIUS", "radius of the corners",
                Unit::Pixels),
         ColorPart(Channel::Blue, "Blue", &BoardParameters::blue, "IDS_PASS_COLOR", "colour of the board").ResetAt(3),
         ColorPart(Channel::Green, "Green", &BoardParameters::green, "IDS_PASS_COLOR", "colour of the board")
             .After(" , ")
             .ResetAt(2),
         ColorPart(Channel::Red, "Red", &BoardParameters::red, "IDS_PASS_COLOR", "colour of the board").ResetAt(1),
         Number("Poscorhori", &BoardParameters::poscorhori, {-10000, 10000}, "IDS_PASS_POSHORI",
                "how far the picture moves to the right", Unit::Pixels)
             .Under("IDS_PASS_POS")
             .ResetAt(5),
         Number("Poscorverti", &BoardParameters::poscorverti, {-10000, 10000}, "IDS_PASS_POSVERTI",
                "how far the picture moves up", Unit::Pixels)
             .Under("IDS_PASS_POS")
             .ResetAt(5),
         Percent("Transparency", &BoardParameters::transparency, "IDS_PASS_TRANS", "transparency of the board")
             .ResetAt(4)},
    .minimumBuffer = kBoardMinimumBuffer};

inline constexpr Description kPasspartout{
    .progId = "TMFilter.Passpartout.1",
    .clsid = MakeGuid("{4A04AA27-E25C-4AD7-AC9A-D3E6C0E5EC74}"),
    .id = 32,
    .nameKey = "IDS_PASS_NAME",
    .name = "Scalable Backdrop",
    .icon = "icons_passpartout",
    .help = "HLP_PASSPARTOUT",
    .summary = "Puts the picture on a coloured board with a border or a total size of its own, with rounded corners.",
    .lengths = Lengths::Follow};

/// Puts the picture on a coloured board, which may be larger than the picture or lie over its edges. All active lengths
/// are those of the scale that is rendered.
class CPasspartoutFilter final : public TwinFilter<BoardParameters, kPasspartoutText, kPasspartout> {
public:
    CPasspartoutFilter();
    bool HasChanged() override;
    HRESULT CommitChanges() override;
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
    BoardParameters Shown() const override;

private:
    /// Columns and rows of a part of the board, both sides included; empty when a far side is below its near side.
    struct Area {
        std::int64_t left, bottom, right, top;
    };

    BoardParameters Scaled() const;
    void RecalcGeometry();
    FilterResult Compose();
    FilterResult FetchOnBoard();
    Area InnerArea() const;
    bool PaintBoard(const Area& inner);
    bool PaintInner(const Area& inner);

    int m_nOffsetX = 0;  ///< where the picture lies on the board before its position is corrected
    int m_nOffsetY = 0;
};

}  // namespace kestrel
