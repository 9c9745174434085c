#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/Hsl.h"
#include "kestrel/passes/MaskIteration.h"

namespace kestrel {

struct SchattenParameters {
    std::int32_t lightDirection = 1350;  ///< where the light comes from, tenths of a degree, 0..3600
    bool innerOn = false;                ///< the shadow falls into the picture; otherwise behind it
    std::int32_t lightIntensity = 0;     ///< of the relief at the edges, percent; 0 is none
    std::int32_t shadowDensity = 0;      ///< percent; 0 is no shadow
    std::int32_t shadowBlur = 20;        ///< fifths of a round of blur
    std::int32_t size = 0;               ///< growth of the shadow's shape, pixels
    std::int32_t shadowDistance = 3;     ///< pixels
    std::uint8_t shadowRed = 0;
    std::uint8_t shadowGreen = 0;
    std::uint8_t shadowBlue = 0;
};

/// Older texts switch the two effects on and off.
inline constexpr auto kLightOnKey = OldKey<SchattenParameters>("LightOn", "0 takes the relief away");
inline constexpr auto kShadowOnKey = OldKey<SchattenParameters>("ShadowOn", "the shadow is full, or none");

inline constexpr Choice kShadowKinds[] = {{0, "IDS_SCHATTEN_SCHLAGSCHATTEN", "drop shadow"},
                                          {1, "IDS_SCHATTEN_INNEN", "inner shadow"}};

inline constexpr ParameterTable<SchattenParameters, 12> kSchattenText{
    .keys = {Number("LightDirection", &SchattenParameters::lightDirection, {0, 3600}, "IDS_SCHATTEN_RICHTUNG",
                    "where the light comes from", Unit::TenthsOfDegree)
                 .Digits(4)
                 .ResetAt(-1),
             Flag("InnerOn", &SchattenParameters::innerOn, "IDS_SCHATTEN_INNEN", "where the shadow falls")
                 .Under("IDS_SCHATTEN_SCHATTEN")
                 .OneOf(kShadowKinds),
             Percent("LightIntensity", &SchattenParameters::lightIntensity, "IDS_SCHATTEN_INTENSITAET",
                     "strength of the relief")
                 .Under("IDS_SCHATTEN_BELEUCHTUNG")
                 .ResetAt(-1),
             Percent("ShadowDensity", &SchattenParameters::shadowDensity, "IDS_SCHATTEN_DICHTE",
                     "strength of the shadow")
                 .Under("IDS_SCHATTEN_SCHATTEN"),
             Number("ShadowBlur", &SchattenParameters::shadowBlur, {0, 100}, "IDS_SCHATTEN_WEICH",
                    "blur of the shadow, fifths of a round")
                 .Under("IDS_SCHATTEN_SCHATTEN"),
             Number("Size", &SchattenParameters::size, {0, 255}, "IDS_SCHATTEN_GROESSE", "growth of the shadow",
                    Unit::Pixels)
                 .Under("IDS_SCHATTEN_SCHATTEN"),
             Number("ShadowDistance", &SchattenParameters::shadowDistance, {0, 255}, "IDS_SCHATTEN_ABSTAND",
                    "distance of the shadow", Unit::Pixels)
                 .Under("IDS_SCHATTEN_SCHATTEN"),
             ColorPart(Channel::Red, "ShadowRed", &SchattenParameters::shadowRed, "IDS_SCHATTEN_FARBE",
                       "colour of the shadow")
                 .Under("IDS_SCHATTEN_SCHATTEN"),
             ColorPart(Channel::Green, "ShadowGreen", &SchattenParameters::shadowGreen, "IDS_SCHATTEN_FARBE",
                       "colour of the shadow")
                 .Under("IDS_SCHATTEN_SCHATTEN"),
             ColorPart(Channel::Blue, "ShadowBlue", &SchattenParameters::shadowBlue, "IDS_SCHATTEN_FARBE",
                       "colour of the shadow")
                 .Under("IDS_SCHATTEN_SCHATTEN"),
             kLightOnKey, kShadowOnKey},
    .minimumBuffer = 201,
    .resetDigits = 1};

inline constexpr Description kSchatten{
    .progId = "TMFilter.Shadow.1",
    .clsid = MakeGuid("{4544F873-F263-47D9-B407-3BBADF76C30F}"),
    .id = 26,
    .cost = 9500,
    .nameKey = "IDS_SCHATTEN_NAME",
    .name = "Buttonize & Shadow",
    .icon = "icons_light_fx",
    .help = "HLP_SCHATTEN",
    .summary = "Raises the picture's edges by a light and gives its shape a shadow, behind it or into it.",
    .lengths = Lengths::Follow};

/// Where a light of this direction (tenths of a degree) pushes the shadow: −2..2 columns and rows for two pixels of
/// distance.
struct DirectionSteps {
    int x;
    int y;
    explicit DirectionSteps(std::int32_t direction);
};

/// Relief and shadow from the shape that the picture's mask has. The output grows so that the shadow fits; the active
/// blur, size and distance are those of the scale that is rendered.
class CSchattenFilter final : public TwinFilter<SchattenParameters, kSchattenText, kSchatten> {
public:
    CSchattenFilter();
    bool HasChanged() override;
    HRESULT CommitChanges() override;

protected:
    void ReadText(std::string_view text) override;
    FilterResult MakePixels(const PixelRequest& request) override;

private:
    SchattenParameters Scaled() const;
    void RecalcPads();
    void RecalcGeometry();
    void RecalcLight();

    /// A mask of the output's size without a picture.
    class MaskPicture {
    public:
        MaskPicture(int width, int height) : rows_(width, height, false, true), width_(width), height_(height) {}
        passes::Planes Planes() const { return passes::PlanesOf(rows_, width_, height_); }
        kernels::Row Row(std::int64_t y) const { return Planes().Mask(y); }

    private:
        CWorkImage rows_;
        int width_;
        int height_;
    };

    FilterResult Compute();
    FilterResult FetchPadded();
    bool Buttonize();
    bool DropShadow(const MaskPicture& shadow, const kernels::ByteTable& opacity);
    bool InnerShadow();
    bool Punch(const MaskPicture& shadow);

    passes::MaskArea Input(int x, int y) const;
    MaskPicture CopyMask(int x, int y) const;
    bool Spread(const MaskPicture& shape) const;
    bool Blur(const MaskPicture& shape, passes::MaskArea area) const;
    kernels::ByteTable Opacity(int percent) const;
    kernels::Bgr Color() const { return {Active().shadowBlue, Active().shadowGreen, Active().shadowRed}; }
    passes::MaskArea Whole() const { return {0, 0, m_Out.Width, m_Out.Height}; }

    std::int32_t m_nBlurRounds = 0;
    std::int32_t m_nBlurRest = 0;  ///< fifths of a round, 0..4
    int m_nShadowDX = 0;           ///< where the shadow falls, pixels
    int m_nShadowDY = 0;
    int m_nPadLeft = 0;  ///< room around the picture, pixels
    int m_nPadRight = 0;
    int m_nPadBottom = 0;
    int m_nPadTop = 0;
    double m_LightKernel[3][3] = {};  ///< weights of the relief, lower row first
};

}  // namespace kestrel
