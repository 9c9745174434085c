// Who the classes are. Hosts keep these texts and numbers in their files, so that none may ever change.
#include "kestrel/server/ClassTable.h"

#include <gtest/gtest.h>

#include <string>

#include "kestrel/framework/IFilterObject.h"

namespace kestrel {
namespace {

struct Identity {
    const char* word;  ///< of the ProgID
    GUID clsid;
    int id, cost;
    const char *nameKey, *name, *icon, *help;
};

// clang-format off
constexpr Identity kIdentities[] = {
    {"Sepia", MakeGuid("{75D1E4FD-A2C9-4405-A3F3-986E632A3CEF}"), 31, 5000, "IDS_SEPIA_NAME", "Sepia", "icons_sepia", "HLP_SEPIA"},
    {"BrightnessContrast", MakeGuid("{DD3286D3-8741-4425-9097-3F0D2A9BA76D}"), 12, 5000, "IDS_HUNDK_NAME", "Image\nEnhancement", "icons_hkuk", "HLP_IMAGE_ENHANCEMENT"},
    {"HSB", MakeGuid("{AF139E4C-1A42-44A3-B2A4-612E0EF209D1}"), 15, 5000, "IDS_HSB_NAME", "Hue, Saturation,\nBrightness", "icons_hsb", "HLP_HSB"},
    {"Sharpen", MakeGuid("{34CF6091-ABBC-4EA4-9A0C-1A05CC829DDD}"), 23, 5000, "IDS_SCHARF_NAME", "Sharpness", "icons_scharfz", "HLP_SCHARF"},
    {"ColorTuning", MakeGuid("{76F7DC5C-0A5F-45E9-B5C0-1D078E0A4251}"), 16, 5000, "IDS_FARBEQUALIZER_NAME", "Color Tuning", "icons_colorequalizer", "HLP_FARBEQUALIZER"},
    {"Transparency", MakeGuid("{69A1B9ED-43C4-47E7-85B9-6EFF2AE942F4}"), 36, 5000, "IDS_TRANS_NAME", "Transparency", "icons_transpar", "HLP_TRANS"},
    {"RGBColor", MakeGuid("{576ED016-D447-451C-B847-000D6CF9D815}"), 21, 5000, "IDS_COLOR_NAME", "Color", "icons_color", "HLP_COLOR"},
    {"Blur", MakeGuid("{A48C13F9-56B9-4166-913C-22D45E3E7B44}"), 24, 5000, "IDS_WEICH_NAME", "Blur", "icons_weichz", "HLP_WEICH"},
    {"Staub", MakeGuid("{A7496949-526B-45FC-9985-345DF1B9CAE1}"), 22, 5000, "IDS_STAUB_NAME", "Despeckle", "icons_staub", "HLP_STAUB"},
    {"Emboss", MakeGuid("{A3A92ABB-5781-48E3-B232-DB44077890A8}"), 43, 5000, "IDS_EMBOSS_NAME", "Emboss", "icons_emboss", "HLP_EMBOSS"},
    {"FindEdges", MakeGuid("{14CC3A76-2215-42DE-A216-1C11C8FE1492}"), 42, 5000, "IDS_FINDEDGES_NAME", "Find Edges", "icons_konturenfinden", "HLP_FINDEDGES"},
    {"Rotate", MakeGuid("{AC51BDBF-3B69-4B0F-9165-C674DA87D59D}"), 4, 5000, "IDS_DREH_NAME", "Rotate", "icons_rotate", "HLP_DREH"},
    {"Scale", MakeGuid("{CD684F34-CA4F-420A-AC43-EF6A70BB9976}"), 6, 500, "IDS_SCALE_NAME", "Scale (Absolute)", "icons_scale", "HLP_SCALE"},
    {"Scale100", MakeGuid("{1AB93CA6-0442-4E11-9863-7F428C20F0DE}"), 7, 700, "IDS_SCALE100_NAME", "Scale (Percent)", "icons_percentscale", "HLP_SCALE100"},
    {"Crop", MakeGuid("{1532021C-3CEA-459C-93B9-AD78CBB4BBD4}"), 5, 200, "IDS_CROP_NAME", "Crop", "icons_crop", "HLP_CROP"},
    {"RotCrop", MakeGuid("{137A03AF-7CD8-4505-8E55-160CC67D6455}"), 0, 200, "IDS_ROTCROP_NAME", "Image Alignment", "icons_bildlage", "HLP_ROTCROP"},
    {"PrintPad", MakeGuid("{28EE372F-A400-4CC7-A7EB-FBEA8C944BC2}"), 3, 5000, "PrintPad", "PrintPad", "icons_passpartout", "HLP_PRINTPAD"},
    {"PrintCrop", MakeGuid("{6E88B389-934A-4D67-AE82-F1D199B6E786}"), 1, 9500, "PrintCrop", "PrintCrop", "icons_crop", "HLP_PRINTCROP"},
    {"PrintScale", MakeGuid("{13D8AB9C-C1C1-4C84-826D-84F879A55A2E}"), 2, 9500, "PrintScale", "PrintScale", "icons_scale", "HLP_PRINTSCALE"},
    {"Shadow", MakeGuid("{4544F873-F263-47D9-B407-3BBADF76C30F}"), 26, 9500, "IDS_SCHATTEN_NAME", "Buttonize & Shadow", "icons_light_fx", "HLP_SCHATTEN"},
    {"Offset", MakeGuid("{9668AAA6-A975-4C1E-BD49-EEBE736379D5}"), 37, 5000, "IDS_OFFSET_NAME", "Offset", "icons_shift", "HLP_OFFSET"},
    {"BlackWhiteness", MakeGuid("{04E4A0E0-7DA4-4831-98F2-2EE1E44504EC}"), 30, 5000, "IDS_BLACKWHITE_NAME", "Black & White", "icons_blackwhite", "HLP_BLACKWHITE"},
    {"SoftFrame", MakeGuid("{71F728AA-5B83-48DF-AEA3-7480EDFA2625}"), 33, 5000, "IDS_SOFTFRAME_NAME", "Soft Edge", "icons_softframe", "HLP_SOFTFRAME"},
    {"Invert", MakeGuid("{3A03D679-9270-4DB5-8602-6245481A9FC4}"), 35, 5000, "IDS_INVERT_NAME", "Invert Image", "icons_invert", "HLP_INVERT"},
    {"AdoptColor", MakeGuid("{58B0722B-50DD-4AFF-8251-F6C73F4732DB}"), 27, 5000, "IDS_ADOPTCOLOR_NAME", "Colorize", "icons_adoptcolor", "HLP_COLORIZE"},
    {"Tonwert", MakeGuid("{C57ECEDF-7649-428F-9CB7-3AD890A9F6BA}"), 9, 5000, "IDS_TONWERT_NAME", "Auto Tone Levels", "icons_tonwert", "HLP_TONWERT"},
    {"Passpartout", MakeGuid("{4A04AA27-E25C-4AD7-AC9A-D3E6C0E5EC74}"), 32, 5000, "IDS_PASS_NAME", "Scalable Backdrop", "icons_passpartout", "HLP_PASSPARTOUT"},
    {"Rauchglas", MakeGuid("{58CD4A03-8A44-4C52-BFF2-358FD5C84F54}"), 40, 5000, "IDS_SMOKY_NAME", "Smoked Glass", "icons_smokedglass", "HLP_SMOKEDGLASS"},
    {"Exposure2", MakeGuid("{A6A4671F-5E3C-4903-AE79-FCA373AE352D}"), 41, 5000, "IDS_EXPOSURE2_NAME", "Color Correction", "icons_filter1", "HLP_EXPOSURE2"},
    {"Exposure", MakeGuid("{09017BFC-F0AA-4A04-881B-724FC4FE4EA0}"), 19, 5000, "IDS_EXPOSURE_NAME", "Exposure Correction", "icons_exposure", "HLP_EXPOSURECORRECTION"},
    {"Gamma", MakeGuid("{0D60B8DC-0929-4465-9BDB-CAC201D3C92E}"), 17, 5000, "IDS_CCEX_NAME", "Color Balance", "icons_colorbalance", "HLP_CCEX"},
    {"Optimize", MakeGuid("{274FC05D-A8EB-472F-B137-EB7C080F40F7}"), 13, 5000, "IDS_OPT_NAME", "Exposure Correction", "icons_exposure", "HLP_OPT"},
    {"Histo", MakeGuid("{E429A054-4E0B-41EB-AF5A-7ED64C0C1E5E}"), 20, 5000, "IDS_HISTO_NAME", "Equalize\nBrightness", "icons_tonaladj", "HLP_HISTO"},
    {"ImgBg", MakeGuid("{445FCA29-864C-48BF-90D2-C72E6C0D8014}"), 38, 5000, "IDS_IMGBG_NAME", "Simple Backdrop", "icons_colorfiller", "HLP_IMGBG"},
    {"DuoColor", MakeGuid("{E27FA90D-EE65-493C-B136-78ECC9643DB1}"), 28, 5000, "IDS_DUOCOLOR_NAME", "Bicolor", "icons_bicolor", "HLP_DUOCOLORIZE"},
    {"InvertMask", MakeGuid("{64D4DA96-DFC9-4062-A2EF-3A91CA626B6B}"), 39, 5000, "IDS_INVERTMASK_NAME", "Invert Mask", "icons_invmask", "HLP_INVERTMASK"},
    {"RedEye", MakeGuid("{69820186-FD45-4DF2-BEE2-20B30962FC04}"), 30, 5000, "IDS_REDEYE_NAME", "Red Eyes", "icons_redeye", "HLP_REDEYE"},
    {"Text", MakeGuid("{4BE4D92D-64BA-45F7-A366-9A3F8BA351CB}"), 34, 6000, "IDS_TEXT_NAME", "Text", "icons_text", "HLP_TEXT"},
    {"RgbMixer", MakeGuid("{562A5A61-F071-4F91-A037-2126043093DD}"), 29, 5000, "IDS_RGBMIXER_NAME", "RGB Mixer", "icons_colormixer", "HLP_RGBMIXER"},
    {"Chain", MakeGuid("{4D5338CA-7AE5-473C-8923-ABA0010F2C98}"), 0, 5000, "", "Filterchain", "", ""},
    {"Creator", MakeGuid("{3D02A93D-515B-493D-9645-0ED407F86C70}"), 0, 5000, "", "Filtercreator", "", ""},
    {"GradCurves", MakeGuid("{832E598C-A960-46BC-865D-EB527BADDF70}"), 11, 5000, "IDS_GRADCURVES_NAME", "Gradation", "icons_gradat", "HLP_GRADATION"},
    {"WhiteBlackGrey", MakeGuid("{C249826F-F763-4715-99B8-7C98069092DC}"), 10, 5000, "IDS_WHITEBLACKGREY_NAME", "White Balance", "icons_whitebalance", "HLP_WHITEBLACKGREY"},
};
// clang-format on

TEST(ClassTable, EveryClassIsWhoItWas) {
    const auto classes = ClassTable();
    ASSERT_EQ(classes.size(), std::size(kIdentities));
    for (std::size_t i = 0; i < classes.size(); ++i) {
        const Description& is = *classes[i].description;
        const Identity& was = kIdentities[i];
        SCOPED_TRACE(was.word);
        EXPECT_EQ(is.progId, "TMFilter." + std::string(was.word) + ".1");
        EXPECT_EQ(is.clsid, was.clsid);
        EXPECT_EQ(is.id, was.id);
        EXPECT_EQ(is.cost, was.cost);
        EXPECT_STREQ(is.nameKey, was.nameKey);
        EXPECT_STREQ(is.name, was.name);
        EXPECT_STREQ(is.icon, was.icon);
        EXPECT_STREQ(is.help, was.help);
        Ref<IUnknown> object;
        EXPECT_EQ(classes[i].create(IUnknown::kIid, object.Out()), S_OK);
        if (const auto filter = Ref<IFilterObject>::Query(object.get())) {
            int id = -1, cost = -1;
            filter->GetFilterId(&id);
            filter->GetCost(&cost);
            EXPECT_EQ(id, was.id);
            EXPECT_EQ(cost, was.cost);
        } else {
            EXPECT_FALSE(classes[i].IsFilter());
        }
    }
}

}  // namespace
}  // namespace kestrel
