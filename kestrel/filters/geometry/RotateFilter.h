#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/passes/Shear.h"

namespace kestrel {

struct RotateParameters {
    bool mirror = false;       ///< flips left-right before the turn
    double angle = 0.0;        ///< degrees, counterclockwise; hundredths count
    std::int32_t centerX = 0;  ///< centre of the turn against that of the picture, pixels
    std::int32_t centerY = 0;
    bool alignLeftBottom = true;  ///< the origin stays; otherwise it turns with the picture
};

inline constexpr ParameterTable<RotateParameters, 5> kRotateText{
    .keys = {Flag("MirrorOn", &RotateParameters::mirror, "IDS_DREH_MIRROR", "flips left and right before the turn")
                 .Equals(),
             Number("Angle", &RotateParameters::angle, {0, 360}, "IDS_DREH_ANGLE",
                    "counterclockwise turn; a clockwise quarter turn is 270, as -90 is rounded to -89.99",
                    Unit::Degrees)
                 .Digits(3)
                 .ResetAt(-1),
             Number("CenterX", &RotateParameters::centerX, {}, "", "centre of the turn to the right of the middle",
                    Unit::Pixels)
                 .Equals()
                 .NotReset(),
             Number("CenterY", &RotateParameters::centerY, {}, "", "centre of the turn above the middle", Unit::Pixels)
                 .Equals()
                 .NotReset(),
             Flag("AlignLeftBottom", &RotateParameters::alignLeftBottom, "",
                  "the origin stays; otherwise it turns with the picture")
                 .Equals()
                 .NotReset()},
    .minimumBuffer = 101,
    .digits = 1};

inline constexpr Description kRotate{.progId = "TMFilter.Rotate.1",
                                     .clsid = MakeGuid("{AC51BDBF-3B69-4B0F-9165-C674DA87D59D}"),
                                     .id = 4,
                                     .nameKey = "IDS_DREH_NAME",
                                     .name = "Rotate",
                                     .icon = "icons_rotate",
                                     .help = "HLP_DREH",
                                     .summary = "Turns the picture by any angle, with an optional mirror.",
                                     .lengths = Lengths::Stay};

/// Quarter turns move each pixel once. The rest of an angle, -45 to below 45 degrees, is three shears through an
/// intermediate picture; what is not covered is masked out.
class CRotateFilter final : public TwinFilter<RotateParameters, kRotateText, kRotate> {
public:
    CRotateFilter() : TwinFilter({true, 90.0, 10, 10, false}) {}

    HRESULT CommitChanges() override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    /// Works out everything that the pass and the geometry need, from the input's size.
    void SetupRotation(int w, int h);
    void SetOutput();
    bool IsRightAngle() const { return m_nMarginX == 0; }
    /// The pass of a right angle, into the cache.
    FilterResult TurnQuarters();
    /// Any other angle takes three shears, along rows, along columns and along rows again. The cache holds what two of
    /// them make; `Shear` makes a part of the output of that.
    FilterResult ShearTwice();
    FilterResult Shear(const PixelRequest& part);
    /// Makes the work picture the one that is sheared: the input after its quarter turns, hidden black around it. An
    /// input that does not turn is fetched to where it is sheared.
    FilterResult MakeIntermediate();
    /// Where in it the input stands.
    passes::Area UprightPicture() const;

    double m_dRoundedAngle = 0;
    int m_nQuarterTurns = 0;
    double m_dTheta = 0;  ///< what the quarter turns leave, radians
    int m_nMarginX = 0;   ///< pixels that the shears need around the picture, both sides together
    int m_nMarginY = 0;
    std::int16_t m_nOffsetX = 0;  ///< whole pixels that the centre of the turn moves by
    std::int16_t m_nOffsetY = 0;
    double m_dFracX = 0;  ///< the rest of it
    double m_dFracY = 0;
    double m_dShearX = 0;
    double m_dShearY = 0;
    int m_nSpanX = 0;  ///< how far the shears spread the picture, even
    int m_nSpanY = 0;
    int m_nTurnedWidth = 0;  ///< the input after its quarter turns
    int m_nTurnedHeight = 0;
    int m_nCropX = 0;  ///< corner of the output in the intermediate picture
    int m_nCropY = 0;
    int m_nInterWidth = 0;
    int m_nInterHeight = 0;
    int m_nOutWidth = 0;
    int m_nOutHeight = 0;
};

}  // namespace kestrel
