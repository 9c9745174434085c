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
};

inline constexpr ParameterRow<RauchglasParameters> kSrcWidthKey{
    .key = "SrcWidth", .meaning = "width of the input", .role = Role::WriteOnly};
inline constexpr ParameterRow<RauchglasParameters> kSrcHeightKey{
    .key = "SrcHeight", .meaning = "height of the input", .role = Role::WriteOnly};

inline constexpr ParameterTable<RauchglasParameters, 14> kRauchglasText{
    .keys = {Flag<RauchglasParameters>("BordersizeOn", &BoardParameters::bordersizeOn, "", "not used"),
             Number<RauchglasParameters>("Borderhori", &BoardParameters::borderHori, {0, 100}, "IDS_SMOKY_BORDERHORI",
                                         "width of the pane", Unit::Percent),
             Number<RauchglasParameters>("Borderverti", &BoardParameters::borderVerti, {0, 100},
                                         "IDS_SMOKY_BORDERVERTI", "height of the pane", Unit::Percent),
             Number<RauchglasParameters>("TotalHori", &BoardParameters::totalHori, {}, "", "not used").Digits(4),
             Number<RauchglasParameters>("TotalVerti", &BoardParameters::totalVerti, {}, "", "not used").Digits(4),
             Number<RauchglasParameters>("Radius", &BoardParameters::radius, {0, 100}, "IDS_SMOKY_RADIUS",
                                         "strength of the blur"),
             ColorPart<RauchglasParameters>(Channel::Blue, "Blue", &BoardParameters::blue, "IDS_SMOKY_COLOR",
                                            "colour of the pane")
                 .ResetAt(3),
             ColorPart<RauchglasParameters>(Channel::Green, "Green", &BoardParameters::green, "IDS_SMOKY_COLOR",
                                            "colour of the pane")
                 .After(" , ")
                 .ResetAt(2),
             ColorPart<RauchglasParameters>(Channel::Red, "Red", &BoardParameters::red, "IDS_SMOKY_COLOR",
                                            "colour of the pane")
                 .ResetAt(1),
             Number<RauchglasParameters>("Poscorhori", &BoardParameters::poscorhori, {-100, 100}, "IDS_SMOKY_POSHORI",
                                         "place of the pane, from left to right", Unit::Percent)
                 .Under("IDS_SMOKY_POS")
                 .ResetAt(5, 3),
             Number<RauchglasParameters>("Poscorverti", &BoardParameters::poscorverti, {-100, 100},
                                         "IDS_SMOKY_POSVERTI", "place of the pane, from bottom to top", Unit::Percent)
                 .Under("IDS_SMOKY_POS")
                 .ResetAt(5, 3),
             Percent<RauchglasParameters>("Transparency", &BoardParameters::transparency, "IDS_SMOKY_TRANS",
                                          "transparency of the pane")
                 .ResetAt(4, 3),
             kSrcWidthKey, kSrcHeightKey},
    .minimumBuffer = kBoardMinimumBuffer,
    .resetDigits = 1};

inline constexpr Description kRauchglas{
    .progId = "TMFilter.Rauchglas.1",
    .clsid = MakeGuid("{58CD4A03-8A44-4C52-BFF2-358FD5C84F54}"),
    .id = 40,
    .nameKey = "IDS_SMOKY_NAME",
    .name = "Smoked Glass",
    .icon = "icons_smokedglass",
    .help = "HLP_SMOKEDGLASS",
    .summary = "Lays a pane over the picture: the part under it is blurred and tinted.",
    .measuresRequest = true,
    .lengths = Lengths::Follow};

/// Lays a pane of smoked glass over the picture. The pane is laid out in the part that is asked for, so a host asks
/// for the whole picture at once.
class CRauchglasFilter final : public TwinFilter<RauchglasParameters, kRauchglasText, kRauchglas> {
public:
    CRauchglasFilter();

protected:
    FilterResult MakePixels(const PixelRequest& request) override;
    /// The record and the size of the input.
    std::string Written(const RauchglasParameters& record) const override;

private:
    /// Blurs and tints the part of a request that the pane covers.
    FilterResult LayPane(const PixelRequest& request);
    FilterResult BlurPane(const PixelRequest& pane);
    FilterResult TintRect(const PixelRequest& pane);
};

}  // namespace kestrel
