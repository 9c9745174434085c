#pragma once
#include "kestrel/filters/geometry/CropRecord.h"
#include "kestrel/filters/geometry/WrapperFilter.h"

namespace kestrel {

/// A crop and the turn before it.
struct RotCropRecord : CropRecord {
    bool m_bMirrored = false;
    double m_dAngle = 0;     ///< radians
    double m_dRot1X = 0.25;  ///< the two ends of the alignment line, as fractions of the picture
    double m_dRot1Y = 0.5;
    double m_dRot2X = 0.75;
    double m_dRot2Y = 0.5;
    bool operator==(const RotCropRecord& other) const;
};

/// The keys are those of the record.
inline constexpr ParameterTable<RotCropRecord, 0> kRotCropText{
    .keys = {},
    .written = "",
    .leastBuffer = kCropLeastBuffer,
    .standard =
        "LeftMargin=0.0000, RightMargin=1.0000, BottomMargin=0.0000, TopMargin=1.0000, ShrinkAlpha=0, "
        "FixRatioOn=1, FixRatio=-1.0000, Landscape=0, Mirrored=0, Angle=0.0000,Rot1X=0.25000,Rot1Y=0.50000, "
        "Rot2X=0.75000, Rot2Y=0.50000"};

inline constexpr Description kRotCrop{.progId = "TMFilter.RotCrop.1",
                                      .clsid = MakeGuid("{137A03AF-7CD8-4505-8E55-160CC67D6455}"),
                                      .id = 0,
                                      .cost = 200,
                                      .nameKey = "IDS_ROTCROP_NAME",
                                      .name = "Image Alignment",
                                      .icon = "icons_bildlage",
                                      .help = "HLP_ROTCROP",
                                      .summary = "Straightens the picture: turns it and cuts a margin off the result."};

class CRotCropFilter final : public WrapperFilter<RotCropRecord, kRotCropText, kRotCrop> {
public:
    static ParameterInfo Parameters();

    CRotCropFilter();

    HRESULT CommitChanges() override;

protected:
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;

private:
    void DriveLine();
};

}  // namespace kestrel
