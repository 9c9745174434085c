#pragma once
// One setting for each filter of the catalogue at which its effect is plain to see on a photograph. The gallery shows
// them, the benchmarks measure them; a filter without a row fails both.
#include <string_view>

namespace kestrel {

struct TellingSetting {
    std::string_view filter;  ///< the word in the middle of the ProgID
    std::string_view text;    ///< parameter text
    bool cutOut = false;      ///< shows on a picture with transparent surroundings only
};

inline constexpr TellingSetting kTellingSettings[] = {
    {"AdoptColor", "ColorRed=060,ColorGreen=110,ColorBlue=190,Intensity=080"},
    {"BlackWhiteness", "BlackWhiteNess=100"},
    {"Blur", "Blurness=070,Version=2"},
    {"BrightnessContrast", "Brightness=010,Contrast=030,Saturation=040"},
    {"ColorTuning", "SatR=-60,SatY=-80,SatG=070,SatC=000,SatB=090,SatM=000"},
    {"Crop", "LeftMargin=0.2, RightMargin=0.8, BottomMargin=0.15, TopMargin=0.75, ShrinkAlpha=0, FixRatioOn=0"},
    {"DuoColor", "ColorRed=250,ColorGreen=225,ColorBlue=150,Red2=030,Green2=040,Blue2=120,Intensity=090"},
    {"Emboss", "EmbossStrength=080"},
    {"Exposure", "Red=040,Green=030,Blue=-10"},
    {"Exposure2", "Red=060,Green=000,Blue=-70"},
    {"FindEdges", "EdgeEnhance=080"},
    {"Gamma", "S10=0,S20=30,S30=0,S40=-40,S50=10,S15=0,S25=-60,S35=40,S45=60,S55=0"},
    {"GradCurves",
     "nL=04, nR=02, nG=02, nB=02, xL1=000, xL2=070, xL3=185, xL4=255, yL1=000, yL2=035, yL3=225, yL4=255, Linear=0, "
     "YIQOn=0, FilterOn=1"},
    {"HSB", "Hue=040,Sat=020,Bright=000,HueB=060,SatB=040,BrightB=000"},
    {"Histo", "Intensity=090"},
    {"ImgBg", "Red=090,Green=150,Blue=210,Transparency=000", true},
    {"Invert", "Inversity=100"},
    {"InvertMask", "Red=230,Green=200,Blue=120,Transparency=040", true},
    {"Offset", "OffsetX=060,OffsetY=040"},
    {"Optimize", "Slider1=040,Slider2=030,Slider3=020,Slider4=030"},
    {"Passpartout",
     "BordersizeOn=1,Borderhori=040,Borderverti=040,TotalHori=150,TotalVerti=150,Radius=010,Red=120,Green=020,Blue=040,"
     "Transparency=000,Poscorhori=000,Poscorverti=000"},
    {"PrintCrop",
     "MarginL=0.1, MarginR=0.7, MarginB=0.1, MarginT=0.9, Width=15, Height=10, Measur=1, PPI=100, FixedPPI=0"},
    {"PrintPad", "AspectRatioX=1, AspectRatioY=1, ForceRatio=1, Toggle=0, Landscape=1, PadColor=d0c8b0", true},
    {"PrintScale", "PrintWidth=240, PrintHeight=240, PrintTurn=1"},
    {"RGBColor", "Red=025,Green=-05,Blue=-30"},
    {"Rauchglas",
     "BordersizeOn=1,Borderhori=60,Borderverti=60,TotalHori=150,TotalVerti=150,Radius=5,Red=180,Green=200,Blue=220,"
     "Transparency=060,Poscorhori=000,Poscorverti=000"},
    {"RedEye", "N=2, X1=0.605, Y1=0.531, E1=0, F1=50, X2=0.646, Y2=0.531, E2=0, F2=50"},
    {"RgbMixer",
     "BOnK=0,BOnR=1,BOnG=1,BOnB=1,BBypass=0,BRgb0=1,BCon0=0,BRgb1=0,BCon1=0,BRgb2=0,BCon2=0,BRgb3=0,BCon3=0,"
     "rR=000,rG=040,rB=060,gR=030,gG=070,gB=000,bR=090,bG=010,bB=000,rC=000,gC=000,bC=000"},
    {"RotCrop",
     "LeftMargin=0.1, RightMargin=0.9, BottomMargin=0.1, TopMargin=0.9, ShrinkAlpha=0, FixRatioOn=0, Mirrored=0, "
     "Angle=0.12, Rot1X=0.25, Rot1Y=0.5, Rot2X=0.75, Rot2Y=0.5"},
    {"Rotate", "MirrorOn=0, Angle=25.000, CenterX=0, CenterY=0, AlignLeftBottom=0"},
    {"Scale", "KeepProportions=1, AllowEnlarge=0, MaximumHorizontalSize=240, MaximumVerticalSize=240"},
    {"Scale100", "KeepProportions=0, AllowEnlarge=1, HorizontalProz=60, VerticalProz=90"},
    {"Sepia", "Sepia=090"},
    {"Shadow",
     "LightDirection=1350, InnerOn=0, LightIntensity=050, ShadowDensity=070, ShadowBlur=020, Size=020, "
     "ShadowDistance=012, ShadowRed=020, ShadowGreen=020, ShadowBlue=060",
     true},
    {"Sharpen", "Sharpness=080,ExtraParam=|SHARP|,Version=2"},
    {"SoftFrame", "SoftCorner=1,FrameWidth=30,Links=1,Oben=1,Rechts=1,Unten=1"},
    {"Staub", "MaxRgnSize=012,GrayTolerance=030"},
    {"Text", "pos=5, dir=0, offset=10, fname=DejaVu Sans, fsz=36, fcol=16777215, fb=1, shd=100, tr=0, txt=Kestrel"},
    {"Tonwert", "AutoTone=1,AutoContrast=0,AutoContrastRGB=1,Hi=0,Med=0,Lo=0,Addhi=0,Addmed=0,Addlo=0"},
    {"Transparency", "Transparency=060"},
    {"WhiteBlackGrey", "RedG=150, GreenG=140, BlueG=110, Mode=1, Opacity=100, FilterOn=1"},
};

/// The setting of a ProgID such as "TMFilter.Sepia.1"; null when the table has none.
constexpr const TellingSetting* FindTellingSetting(std::string_view progId) {
    const auto from = progId.find('.') + 1;
    const auto word = progId.substr(from, progId.rfind('.') - from);
    for (const auto& setting : kTellingSettings)
        if (setting.filter == word) return &setting;
    return nullptr;
}

}  // namespace kestrel
