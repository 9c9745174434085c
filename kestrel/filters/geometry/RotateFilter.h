#pragma once
#include <optional>
#include <vector>

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
                                     .reach = kSlantedRows,
                                     .hides = true,
                                     .lengths = Lengths::Stay};

/// Quarter turns move each pixel once. The rest of an angle, -45 to below 45 degrees, is three shears through an
/// intermediate picture; what is not covered is masked out.
class CRotateFilter final : public TwinFilter<RotateParameters, kRotateText, kRotate> {
public:
    CRotateFilter() : TwinFilter({true, 90.0, 10, 10, false}) {}

    HRESULT CommitChanges() override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;
    /// Those that the slant of the rows crosses, of a picture that only slants.
    std::optional<RowSpan> InputRows(RowSpan output) const override;
    bool KeepsRows() const override { return OnlySlants(); }

protected:
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    /// Works out everything that the pass and the geometry need, from the input's size.
    void SetupRotation(int w, int h);
    void SetOutput();
    bool IsRightAngle() const { return m_nMarginX == 0; }
    /// The pass of a right angle, into the cache.
    FilterResult TurnQuarters();
    /// Is the rotation one of up to 45 degrees, without a mirror?
    bool OnlySlants() const { return !IsRightAngle() && m_nQuarterTurns == 0 && !Active().mirror; }
    /// Any other angle takes three shears, along rows, along columns and along rows again, through an intermediate
    /// picture: the input after its quarter turns, hidden black around it. The cache holds rows of it after the first
    /// shear, row y in its place y modulo the cache's height; `Shear` makes a part of the output of them.
    FilterResult MakeIntermediate(const PixelRequest& request);
    FilterResult Shear(const PixelRequest& part);
    /// The same for a part that is no higher than `slanted`, which takes it after the second shear.
    bool ShearPart(const PixelRequest& part, const CWorkImage& slanted) const;
    /// The second shear of the whole intermediate picture, in its place, which is faster than by bands.
    FilterResult ShearColumns();
    /// The third shear of the rows of a part, out of the sheared rows from `first` of the intermediate picture on.
    bool ShearRowsAgain(const PixelRequest& part, const passes::Planes& sheared, int first) const;
    /// Has the cache hold what a request needs of an input that only slants.
    FilterResult MakeSlanted(const PixelRequest& request);
    /// Makes rows of the intermediate picture of an input that only slants: it is fetched to where it is sheared.
    FilterResult SlantRows(RowSpan rows);
    /// Fetches the whole input and turns it into the intermediate picture.
    FilterResult TurnAndSlant();
    bool ShearRows(RowSpan rows);
    /// Has the cache hold so many rows; those that it holds stay.
    void HoldRows(std::int64_t count);
    /// The rows of the intermediate picture that rows of the output are made of.
    RowSpan IntermediateRows(RowSpan output) const;
    /// How many of them are above and below the place of a row.
    std::int64_t RowsAround() const;
    passes::Planes Intermediate(RowSpan rows) const;
    /// Where in the intermediate picture the input stands.
    passes::Area UprightPicture() const;
    /// What of the intermediate picture is sheared along columns.
    passes::Area SlantedPicture() const;
    /// What of it is sheared along rows again.
    passes::Area MovedRows() const;

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
    RowSpan m_Held;                                 ///< rows of the intermediate picture that the cache holds
    std::vector<std::uint8_t*> m_Rows, m_MaskRows;  ///< where each row of it lies in the cache
    passes::ColumnShear m_Columns;
};

}  // namespace kestrel
