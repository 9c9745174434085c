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
};

inline constexpr Choice kTextAnchors[] = {
    {1, "IDS_TEXT_POSITION_1", "top left"},  {2, "IDS_TEXT_POSITION_2", "top"},
    {3, "IDS_TEXT_POSITION_3", "top right"}, {4, "IDS_TEXT_POSITION_4", "left"},
    {5, "IDS_TEXT_POSITION_5", "right"},     {6, "IDS_TEXT_POSITION_6", "bottom left"},
    {7, "IDS_TEXT_POSITION_7", "bottom"},    {8, "IDS_TEXT_POSITION_8", "bottom right"},
    {9, "IDS_TEXT_POSITION_9", "middle"}};
inline constexpr Choice kTextDirections[] = {{0, "IDS_TEXT_DIRECTION_NORMAL", "normal"},
                                             {90, "IDS_TEXT_DIRECTION_UP", "up"},
                                             {270, "IDS_TEXT_DIRECTION_DOWN", "down"}};

inline constexpr ParameterTable<TextParameters, 17> kTextText{
    .keys = {Number("pos", &TextParameters::pos, {1, 9}, "IDS_TEXT_POSITION", "anchor")
                 .Equals()
                 .OneOf(kTextAnchors)
                 .ResetAt(-2),
             Number("dir", &TextParameters::dir, {0, 270}, "IDS_TEXT_DIRECTION", "direction")
                 .Equals()
                 .OneOf(kTextDirections),
             Number("offset", &TextParameters::offset, {0, 10000}, "IDS_TEXT_DISTANCE", "distance from the border",
                    Unit::Pixels)
                 .Equals()
                 .ResetAt(-1),
             Words("fname", &TextParameters::fontName, "IDS_TEXT_FONT", "name of the font"),
             Number("fpia", &TextParameters::pitchAndFamily, {0, 255}, "IDS_TEXT_FONT", "pitch and family of the font")
                 .Equals(),
             Number("fchs", &TextParameters::charSet, {0, 255}, "IDS_TEXT_FONT", "character set of the font").Equals(),
             Number("fsz", &TextParameters::fontSize, {1, 4096}, "IDS_TEXT_FONTSIZE", "size of the font", Unit::Pixels)
                 .Equals(),
             Number("fcol", &TextParameters::fontColor, {0, 0xffffff}, "IDS_TEXT_COLOR",
                    "colour of the text: red + 256 green + 65536 blue")
                 .Equals()
                 .Color(),
             Flag("fb", &TextParameters::bold, "IDS_TEXT_BOLD", "bold").OneDigit(),
             Flag("fi", &TextParameters::italic, "IDS_TEXT_ITALIC", "italic").OneDigit(),
             Flag("fu", &TextParameters::underline, "IDS_TEXT_UNDERLINE", "underlined").OneDigit(),
             Percent("shd", &TextParameters::shadow, "IDS_TEXT_SHADOW", "density of the shadow").Equals().ResetAt(1),
             ColorPart(Channel::Red, "shr", &TextParameters::shadowRed, "IDS_TEXT_SHADOWCOLOR", "colour of the shadow")
                 .Equals(),
             ColorPart(Channel::Green, "shg", &TextParameters::shadowGreen, "IDS_TEXT_SHADOWCOLOR",
                       "colour of the shadow")
                 .Equals(),
             ColorPart(Channel::Blue, "shb", &TextParameters::shadowBlue, "IDS_TEXT_SHADOWCOLOR",
                       "colour of the shadow")
                 .Equals(),
             Percent("tr", &TextParameters::transparency, "IDS_TEXT_TRANSPARENCY", "transparency of the text")
                 .Equals()
                 .ResetAt(2),
             Words("txt", &TextParameters::text, "IDS_TEXT_TEXT", "the text; comma, & and = as \\2c, \\26, \\3d")
                 .ResetAt(3)},
    .minimumBuffer = 1,
    .digits = 1};

inline constexpr Description kText{.progId = "TMFilter.Text.1",
                                   .clsid = MakeGuid("{4BE4D92D-64BA-45F7-A366-9A3F8BA351CB}"),
                                   .id = 34,
                                   .cost = 6000,
                                   .nameKey = "IDS_TEXT_NAME",
                                   .name = "Text",
                                   .icon = "icons_text",
                                   .help = "HLP_TEXT",
                                   .summary = "Writes lines of text into the picture.",
                                   .reach = 0,
                                   .lengths = Lengths::Follow};

/// Writes text into the picture. The host draws it (`TextRenderRequest`); without one, or when it answers nothing, the
/// picture passes. The text is drawn once for each state of the filter and kept.
class CTextFilter final : public TwinFilter<TextParameters, kTextText, kText> {
public:
    CTextFilter();
    bool HasChanged() override;
    HRESULT CommitChanges() override;
    /// The code `kRenderTextCode` asks for the text to be drawn anew, when the host draws it differently now.
    HRESULT SendEvent(void* event) override;

protected:
    void ReadText(std::string_view text) override;
    FilterResult MakePixels(const PixelRequest& request) override;

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
    FilterResult LayOver(const PixelRequest& request, const Overlay& text) const;
    Overlay CutOut(const TextRenderRequest& request, const TextPoint& anchor) const;

    std::optional<Overlay> m_Overlay;        ///< none while no host has been asked
    std::optional<bool> m_bHostExpands;      ///< does the host know descriptors? asked once
    std::optional<std::string> m_Unoffered;  ///< a pending text that no host could be asked to expand yet
    double m_dDrawnScale = 0;                ///< render scale that the active lengths belong to; 0 before a commit
};

}  // namespace kestrel
