#pragma once
#include "kestrel/filters/composition/Board.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

inline constexpr ParameterTable<BoardParameters, 12> kPasspartoutText{
    .keys = {{{"BordersizeOn", &BoardParameters::bordersizeOn, {0, 1}, "IDS_PASS_BORDERSIZE"},
              {"Borderhori", &BoardParameters::borderHori, {-50, 1000}, "IDS_PASS_BORDERHORI"},
              {"Borderverti", &BoardParameters::borderVerti, {-50, 1000}, "IDS_PASS_BORDERVERTI"},
              {"TotalHori", &BoardParameters::totalHori, {1, 10000}, "IDS_PASS_OBJECTSIZE"},
              {"TotalVerti", &BoardParameters::totalVerti, {1, 10000}, "IDS_PASS_OBJECTSIZE"},
              {"Radius", &BoardParameters::radius, {0, 10000}, "IDS_PASS_RADIUS"},
              {"Red", &BoardParameters::red, {0, 255}, "IDS_PASS_COLOR"},
              {"Green", &BoardParameters::green, {0, 255}, "IDS_PASS_COLOR"},
              {"Blue", &BoardParameters::blue, {0, 255}, "IDS_PASS_COLOR"},
              {"Poscorhori", &BoardParameters::poscorhori, {-10000, 10000}, "IDS_PASS_POS"},
              {"Poscorverti", &BoardParameters::poscorverti, {-10000, 10000}, "IDS_PASS_POS"},
              {"Transparency", &BoardParameters::transparency, {0, 100}, "IDS_PASS_TRANS"}}},
    .written = kBoardWritten,
    .leastBuffer = kBoardLeastBuffer,
    .standard =
        "BordersizeOn=1,Borderhori=001,Borderverti=001,TotalHori=150,TotalVerti=150,Radius=005,Red=000,"
        "Green=000,Blue=105,Transparency=000,Poscorhori=000,Poscorverti=000"};

inline constexpr Description kPasspartout{
    .progId = "TMFilter.Passpartout.1",
    .clsid = MakeGuid("{4A04AA27-E25C-4AD7-AC9A-D3E6C0E5EC74}"),
    .id = 32,
    .nameKey = "IDS_PASS_NAME",
    .name = "Scalable Backdrop",
    .icon = "icons_passpartout",
    .help = "HLP_PASSPARTOUT",
    .summary = "Puts the picture on a coloured board with a border or a total size of its own, with rounded corners."};

/// Puts the picture on a coloured board, which may be larger than the picture or lie over its edges. All active lengths
/// are those of the scale that is rendered.
class CPasspartoutFilter final : public TwinFilter<BoardParameters, kPasspartoutText, kPasspartout> {
public:
    CPasspartoutFilter();
    bool HasChanged() override;
    HRESULT CommitChanges() override;
    HRESULT TransformColor(unsigned char* pixel) override;

protected:
    HRESULT TransformWindow(const Window& window) override;
    std::string ActiveText() const override;

private:
    /// Columns and rows of a part of the board, both sides included; empty when a far side is below its near side.
    struct Area {
        std::int64_t left, bottom, right, top;
    };

    BoardParameters Scaled() const;
    void RecalcGeometry();
    HRESULT Compose();
    HRESULT FetchOnBoard();
    Area InnerArea() const;
    bool PaintBoard(const Area& inner);
    bool PaintInner(const Area& inner);

    int m_nOffsetX = 0;  ///< where the picture lies on the board before its position is corrected
    int m_nOffsetY = 0;
};

}  // namespace kestrel
