#pragma once
#include <optional>
#include <string>
#include <vector>

#include "kestrel/framework/TextRenderRequest.h"
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

struct TextParameters {
    std::int32_t pos = 8;      ///< anchor 1..9: along the top, left and right of the middle, along the bottom, middle
    std::int32_t dir = 0;      ///< 0 normal, 90 upward, 270 downward
    std::int32_t offset = 10;  ///< distance from the border, pixels of the full-size picture
    std::string fontName = "Arial";
    std::uint8_t pitchAndFamily = 0;
    std::uint8_t charSet = 0;
    std::int32_t fontSize = 12;         ///< pixels of the full-size picture
    std::int32_t fontColor = 0xffffff;  ///< 0x00BBGGRR
    bool bold = true;
    bool italic = false;
    bool underline = false;
    std::int32_t shadow = 100;  ///< density, percent
    std::uint8_t shadowRed = 0;
    std::uint8_t shadowGreen = 0;
    std::uint8_t shadowBlue = 0;
    std::int32_t transparency = 0;  ///< percent
    std::string text;               ///< Windows-1252, at most 199 bytes
    bool operator==(const TextParameters&) const = default;
};

/// The keys that hold numbers; the font's name and the text are read and written beside it.
inline constexpr ParameterTable<TextParameters, 15> kTextText{
    .keys = {{{"pos", &TextParameters::pos, {1, 9}, "IDS_TEXT_POSITION", Reading::Equals},
              {"dir", &TextParameters::dir, {0, 270}, "IDS_TEXT_DIRECTION", Reading::Equals},
              {"offset", &TextParameters::offset, {0, 10000}, "IDS_TEXT_DISTANCE", Reading::Equals},
              {"fpia", &TextParameters::pitchAndFamily, {0, 255}, "IDS_TEXT_FONT", Reading::Equals},
              {"fchs", &TextParameters::charSet, {0, 255}, "IDS_TEXT_FONT", Reading::Equals},
              {"fsz", &TextParameters::fontSize, {1, 4096}, "IDS_TEXT_FONT", Reading::Equals},
              {"fcol", &TextParameters::fontColor, {0, 0xffffff}, "IDS_TEXT_FONT", Reading::Equals},
              {"fb", &TextParameters::bold, {0, 1}, "IDS_TEXT_FONT", Reading::Equals},
              {"fi", &TextParameters::italic, {0, 1}, "IDS_TEXT_FONT", Reading::Equals},
              {"fu", &TextParameters::underline, {0, 1}, "IDS_TEXT_FONT", Reading::Equals},
              {"shd", &TextParameters::shadow, {0, 100}, "IDS_TEXT_SHADOW", Reading::Equals},
              {"shr", &TextParameters::shadowRed, {0, 255}, "IDS_TEXT_SHADOWCOLOR", Reading::Equals},
              {"shg", &TextParameters::shadowGreen, {0, 255}, "IDS_TEXT_SHADOWCOLOR", Reading::Equals},
              {"shb", &TextParameters::shadowBlue, {0, 255}, "IDS_TEXT_SHADOWCOLOR", Reading::Equals},
              {"tr", &TextParameters::transparency, {0, 100}, "IDS_TEXT_TRANSPARENCY", Reading::Equals}}},
    .written = "fpia=%d, fchs=%d, fsz=%d, fcol=%d, fb=%d, fi=%d, fu=%d, shd=%d, shr=%d, shg=%d, shb=%d, tr=%d, txt=",
    .leastBuffer = 1,
    .standard =
        "pos=8,offset=10,dir=0,fname=Arial,fpia=0,fchs=0,fsz=12,fcol=16777215,fb=1,fi=0,fu=0,shr=0,shg=0,shb=0,"
        "shd=100,tr=0,txt="};

inline constexpr Description kText{.progId = "TMFilter.Text.1",
                                   .clsid = MakeGuid("{4BE4D92D-64BA-45F7-A366-9A3F8BA351CB}"),
                                   .id = 34,
                                   .cost = 6000,
                                   .nameKey = "IDS_TEXT_NAME",
                                   .name = "Text",
                                   .icon = "icons_text",
                                   .help = "HLP_TEXT",
                                   .summary = "Writes lines of text into the picture."};

/// Writes text into the picture. The host draws it (`TextRenderRequest`); without one, or when it answers nothing, the
/// picture passes. The text is drawn once for each state of the filter and kept.
class CTextFilter final : public TwinFilter<TextParameters, kTextText, kText> {
public:
    CTextFilter();
    static ParameterInfo Parameters();

    bool HasChanged() override;
    HRESULT CommitChanges() override;
    /// The code `kRenderTextCode` asks for the text to be drawn anew, when the host draws it differently now.
    HRESULT SendEvent(void* event) override;

protected:
    void ReadText(std::string_view text) override;
    std::string PendingText() const override;
    std::string ActiveText() const override;
    HRESULT TransformWindow(const Window& window) override;

private:
    /// The part of the drawn text that lies on the picture.
    struct Overlay {
        std::int64_t x = 0;  ///< its corner in the picture
        std::int64_t y = 0;
        int width = 0;
        int height = 0;
        std::vector<std::uint8_t> pixels;  ///< rows without padding
        std::vector<std::uint8_t> mask;
    };

    bool AskHost();
    bool TakeText(const std::string& text);
    bool DrawText();
    /// Lays the drawn text over a request.
    HRESULT LayOver(const Window& window, const Overlay& text) const;
    Overlay CutOut(const TextRenderRequest& request, const TextPoint& anchor) const;

    std::optional<Overlay> m_Overlay;        ///< none while no host has been asked
    std::optional<bool> m_bHostExpands;      ///< does the host know descriptors? asked once
    std::optional<std::string> m_Unoffered;  ///< a pending text that no host could be asked to expand yet
    double m_dDrawnScale = 0;                ///< render scale that the active lengths belong to; 0 before a commit
};

}  // namespace kestrel
