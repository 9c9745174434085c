#include "kestrel/server/ClassTable.h"

#include "kestrel/filters/composition/ImgBgFilter.h"
#include "kestrel/filters/composition/PasspartoutFilter.h"
#include "kestrel/filters/composition/RauchglasFilter.h"
#include "kestrel/filters/composition/SchattenFilter.h"
#include "kestrel/filters/composition/SoftFrameFilter.h"
#include "kestrel/filters/composition/TextFilter.h"
#include "kestrel/filters/geometry/CropFilter.h"
#include "kestrel/filters/geometry/OffsetFilter.h"
#include "kestrel/filters/geometry/PrintCropFilter.h"
#include "kestrel/filters/geometry/PrintPadFilter.h"
#include "kestrel/filters/geometry/PrintScaleFilter.h"
#include "kestrel/filters/geometry/RotCropFilter.h"
#include "kestrel/filters/geometry/RotateFilter.h"
#include "kestrel/filters/geometry/Scale100Filter.h"
#include "kestrel/filters/geometry/ScaleFilter.h"
#include "kestrel/filters/neighbourhood/BlurFilter.h"
#include "kestrel/filters/neighbourhood/EmbossFilter.h"
#include "kestrel/filters/neighbourhood/FindEdgesFilter.h"
#include "kestrel/filters/neighbourhood/RedEyeFilter.h"
#include "kestrel/filters/neighbourhood/SharpenFilter.h"
#include "kestrel/filters/neighbourhood/StaubFilter.h"
#include "kestrel/filters/tone/AdoptColorFilter.h"
#include "kestrel/filters/tone/BlackWhitenessFilter.h"
#include "kestrel/filters/tone/BrightnessContrastFilter.h"
#include "kestrel/filters/tone/ColorTuningFilter.h"
#include "kestrel/filters/tone/DuoColorFilter.h"
#include "kestrel/filters/tone/Exposure2Filter.h"
#include "kestrel/filters/tone/ExposureFilter.h"
#include "kestrel/filters/tone/GammaFilter.h"
#include "kestrel/filters/tone/GradCurvesFilter.h"
#include "kestrel/filters/tone/HSBFilter.h"
#include "kestrel/filters/tone/HistoFilter.h"
#include "kestrel/filters/tone/InvertFilter.h"
#include "kestrel/filters/tone/InvertMaskFilter.h"
#include "kestrel/filters/tone/OptimizeFilter.h"
#include "kestrel/filters/tone/RGBColorFilter.h"
#include "kestrel/filters/tone/RgbMixerFilter.h"
#include "kestrel/filters/tone/SepiaFilter.h"
#include "kestrel/filters/tone/TonwertFilter.h"
#include "kestrel/filters/tone/TransparencyFilter.h"
#include "kestrel/filters/tone/WhiteBlackGreyFilter.h"
#include "kestrel/framework/ObjectFactory.h"
#include "kestrel/framework/PdibFilterChain.h"
#include "kestrel/server/PdibFilterCreator.h"

namespace kestrel {
namespace {

// The order is that of the registration and of a catalogue's entries with equal ids.
// clang-format off
constexpr ClassRow kClasses[] = {
    FilterRow<CSepiaFilter>(),
    FilterRow<CBrightnessContrastFilter>(),
    FilterRow<CHSBFilter>(),
    FilterRow<CSharpenFilter>(),
    FilterRow<CColorTuningFilter>(),
    FilterRow<CTransparencyFilter>(),
    FilterRow<CRGBColorFilter>(),
    FilterRow<CBlurFilter>(),
    FilterRow<CStaubFilter>(),
    FilterRow<CEmbossFilter>(),
    FilterRow<CFindEdgesFilter>(),
    FilterRow<CRotateFilter>(),
    FilterRow<CScaleFilter>(),
    FilterRow<CScale100Filter>(),
    FilterRow<CCropFilter>(),
    FilterRow<CRotCropFilter>(),
    FilterRow<CPrintPadFilter>(),
    FilterRow<CPrintCropFilter>(),
    FilterRow<CPrintScaleFilter>(),
    FilterRow<CSchattenFilter>(),
    FilterRow<COffsetFilter>(),
    FilterRow<CBlackWhitenessFilter>(),
    FilterRow<CSoftFrameFilter>(),
    FilterRow<CInvertFilter>(),
    FilterRow<CAdoptColorFilter>(),
    FilterRow<CTonwertFilter>(),
    FilterRow<CPasspartoutFilter>(),
    FilterRow<CRauchglasFilter>(),
    FilterRow<CExposure2Filter>(),
    FilterRow<CExposureFilter>(),
    FilterRow<CGammaFilter>(),
    FilterRow<COptimizeFilter>(),
    FilterRow<CHistoFilter>(),
    FilterRow<CImgBgFilter>(),
    FilterRow<CDuoColorFilter>(),
    FilterRow<CInvertMaskFilter>(),
    FilterRow<CRedEyeFilter>(),
    FilterRow<CTextFilter>(),
    FilterRow<CRgbMixerFilter>(),
    ServerRow<CPdibFilterChain>(),
    ServerRow<CPdibFilterCreator>(),
    FilterRow<CGradCurvesFilter>(),
    FilterRow<CWhiteBlackGreyFilter>(),
};
// clang-format on

/// Filters that own inner filters make them through the framework, which knows no class.
class TableFactory final : public ObjectFactory {
public:
    TableFactory() { ObjectFactory::Set(this); }

    const char* ProgIdOf(const GUID& clsid) const override {
        const ClassRow* const row = FindClass(clsid);
        return row ? row->description->progId : nullptr;
    }
    HRESULT Create(const char* progId, const GUID& iid, void** object) const override {
        if (const ClassRow* const row = FindClass(std::string_view(progId))) return row->create(iid, object);
        *object = nullptr;
        return CLASS_E_CLASSNOTAVAILABLE;
    }
};
const TableFactory tableFactory;

}  // namespace

std::span<const ClassRow> ClassTable() { return kClasses; }

const ClassRow* FindClass(const GUID& clsid) {
    for (const ClassRow& row : ClassTable())
        if (row.description->clsid == clsid) return &row;
    return nullptr;
}

const ClassRow* FindClass(std::string_view progId) {
    for (const ClassRow& row : ClassTable())
        if (row.description->progId == progId) return &row;
    return nullptr;
}

}  // namespace kestrel
