#pragma once
#include "kestrel/filters/geometry/CropRecord.h"
#include "kestrel/filters/geometry/WrapperFilter.h"

namespace kestrel {

/// A crop and the turn before it.
struct RotCropRecord : CropRecord {
    bool mirrored = false;
    double angle = 0;     ///< radians
    double rot1X = 0.25;  ///< the two ends of the alignment line, as fractions of the picture
    double rot1Y = 0.5;
    double rot2X = 0.75;
    double rot2Y = 0.5;
};

inline constexpr auto kRotCropText = [] {
    ParameterTable<RotCropRecord, 17> table{
        .keys = {}, .minimumBuffer = kCropText.minimumBuffer, .digits = 1, .resetSeparator = nullptr};
    constexpr auto crop = CropKeys<RotCropRecord>();
    std::copy(crop.begin(), crop.end(), table.keys.begin());
    const auto point = [](KeyName key, double RotCropRecord::*field, double fallback, const char* label,
                          const char* meaning) {
        return Number(key, field, {0, 1}, label, meaning, Unit::Fraction)
            .HeldOr(fallback)
            .Digits(5)
            .Under("IDS_ROTCROP_LINE");
    };
    const ParameterRow<RotCropRecord> own[] = {
        Flag("Mirrored", &RotCropRecord::mirrored, "IDS_ROTCROP_MIRROR", "flips left and right before the turn")
            .Equals()
            .Or(0),
        Number("Angle", &RotCropRecord::angle, {-1e9, 1e9}, "IDS_ROTCROP_ANGLE", "turn before the cut", Unit::Radians)
            .HeldOr(0),
        point("Rot1X", &RotCropRecord::rot1X, 0.25, "IDS_ROTCROP_LINE_START",
              "first end of the alignment line from the left")
            .After(","),
        point("Rot1Y", &RotCropRecord::rot1Y, 0.5, "IDS_ROTCROP_LINE_START",
              "first end of the alignment line from the bottom")
            .After(","),
        point("Rot2X", &RotCropRecord::rot2X, 0.75, "IDS_ROTCROP_LINE_END",
              "second end of the alignment line from the left"),
        point("Rot2Y", &RotCropRecord::rot2Y, 0.5, "IDS_ROTCROP_LINE_END",
              "second end of the alignment line from the bottom")};
    std::copy(std::begin(own), std::end(own), table.keys.begin() + crop.size());
    return table;
}();

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
    CRotCropFilter();

    HRESULT CommitChanges() override;

protected:
    void DriveLine() override;
};

}  // namespace kestrel
