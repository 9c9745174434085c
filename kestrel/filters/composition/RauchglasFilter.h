#pragma once
#include "kestrel/filters/composition/Board.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// A board as a pane over the picture: its borders are the pane's size in percent of the picture, its position is in
/// percent from the middle, its radius is the strength of a blur.
struct RauchglasParameters : BoardParameters {
    constexpr RauchglasParameters() {
        borderHori = borderVerti = 75;
        red = green = blue = 180;
    }
    bool operator==(const RauchglasParameters&) const = default;
};

inline constexpr ParameterTable<RauchglasParameters, 12> kRauchglasText{
    .keys = {{{"BordersizeOn", &RauchglasParameters::bordersizeOn, {0, 1}},
              {"Borderhori", &RauchglasParameters::borderHori, {0, 100}, "IDS_SMOKY_BORDERHORI"},
              {"Borderverti", &RauchglasParameters::borderVerti, {0, 100}, "IDS_SMOKY_BORDERVERTI"},
              {"TotalHori", &RauchglasParameters::totalHori},
              {"TotalVerti", &RauchglasParameters::totalVerti},
              {"Radius", &RauchglasParameters::radius, {0, 100}, "IDS_SMOKY_RADIUS"},
              {"Red", &RauchglasParameters::red, {0, 255}, "IDS_SMOKY_COLOR"},
              {"Green", &RauchglasParameters::green, {0, 255}, "IDS_SMOKY_COLOR"},
              {"Blue", &RauchglasParameters::blue, {0, 255}, "IDS_SMOKY_COLOR"},
              {"Poscorhori", &RauchglasParameters::poscorhori, {-100, 100}, "IDS_SMOKY_POS"},
              {"Poscorverti", &RauchglasParameters::poscorverti, {-100, 100}, "IDS_SMOKY_POS"},
              {"Transparency", &RauchglasParameters::transparency, {0, 100}, "IDS_SMOKY_TRANS"}}},
    .written = kBoardWritten,
    .leastBuffer = kBoardLeastBuffer,
    .standard =
        "BordersizeOn=1,Borderhori=75,Borderverti=75,TotalHori=150,TotalVerti=150,Radius=5,Red=180,Green=180,"
        "Blue=180,Transparency=000,Poscorhori=000,Poscorverti=000"};

inline constexpr Description kRauchglas{
    .progId = "TMFilter.Rauchglas.1",
    .clsid = MakeGuid("{58CD4A03-8A44-4C52-BFF2-358FD5C84F54}"),
    .id = 40,
    .nameKey = "IDS_SMOKY_NAME",
    .name = "Smoked Glass",
    .icon = "icons_smokedglass",
    .help = "HLP_SMOKEDGLASS",
    .summary = "Lays a pane over the picture: the part under it is blurred and tinted."};

/// Lays a pane of smoked glass over the picture. The pane is laid out in the window that is asked for, so a host asks
/// for the whole picture at once.
class CRauchglasFilter final : public TwinFilter<RauchglasParameters, kRauchglasText, kRauchglas> {
public:
    CRauchglasFilter();

protected:
    HRESULT TransformWindow(const Window& window) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;

private:
    std::string WithSourceSize(std::string text) const;
    /// Blurs and tints the part of a request that the pane covers.
    HRESULT LayPane(const Window& window);
    HRESULT BlurPane(const Window& pane);
    HRESULT TintRect(const Window& pane);
};

}  // namespace kestrel
