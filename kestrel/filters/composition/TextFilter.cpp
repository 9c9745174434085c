#include "kestrel/filters/composition/TextFilter.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "kestrel/foundation/Truncate.h"
#include "kestrel/framework/HostServices.h"
#include "kestrel/kernels/Composite.h"
#include "kestrel/parameters/ParameterText.h"
#include "kestrel/parameters/TextEscapes.h"

namespace kestrel {
namespace {

/// What ends where a C string would, in at most `size` bytes with the terminator.
std::string AsField(std::string text, std::size_t size) {
    text.resize(std::min(text.find('\0'), std::min(text.size(), size - 1)));
    return text;
}

/// Can this be a bitmap of `depth` bits? Nothing tells how large its block is, so that all that can be checked is.
bool IsSound(const Dib* dib, int depth) {
    constexpr std::uint32_t kLargestHeader = 124;
    return dib && dib->biSize >= sizeof(Dib) && dib->biSize <= kLargestHeader && dib->biWidth > 0 &&
           dib->biHeight > 0 && DibBitsPerPixel(dib) == depth && dib->biClrUsed <= 256 &&
           (dib->biCompression == kDibPlain || dib->biCompression == kDibBitFields) &&
           (dib->biSizeImage == 0 ||
            dib->biSizeImage >= std::uint64_t{DibRowSize(dib)} * static_cast<std::uint32_t>(dib->biHeight));
}

}  // namespace

// Parameters

CTextFilter::CTextFilter() {
    const auto services = GetHostServices();
    char text[kTextFieldSize] = "";
    DefaultTextRequest request{text, static_cast<std::int32_t>(sizeof text)};
    if (!services || services->Dispatch(kTextFilterDispatcher, kDefaultTextCode, &request) != S_OK) return;
    text[sizeof text - 1] = '\0';
    Pending().text = AsField(UnescapeText(text), kTextFieldSize);
}

void CTextFilter::ReadText(std::string_view text) {
    TextParameters& p = Pending();
    const std::string font = p.fontName;
    TwinFilter::ReadText(text);
    p.fontName = AsField(std::move(p.fontName), std::string::npos);
    if (p.fontName.empty() || p.fontName.size() >= FontProperty::kNameSize) p.fontName = font;
    AskHost();
    if (!AfterEquals(text, kTextText.keys.back().key)) return;
    const std::string words = AsField(std::move(p.text), kTextFieldSize);
    if (TakeText(words))
        m_Unoffered.reset();
    else
        m_Unoffered = words;
}

/// Asks the host once what it offers; false when there is none yet.
bool CTextFilter::AskHost() {
    const auto services = FindHostServices(*this);
    if (!services) return false;
    if (!m_bHostExpands)
        m_bHostExpands = services->Offers(kTextFilterDispatcher) || services->Offers("DispInformationFieldPage");
    return true;
}

/// Takes a text over with the host's descriptors expanded and its line breaks made. False when no host was there to
/// expand them.
bool CTextFilter::TakeText(const std::string& text) {
    std::string& taken = Pending().text;
    taken = text;
    const bool asked = AskHost();
    if (asked && *m_bHostExpands)
        if (const std::unique_ptr<char, decltype(&std::free)> words(
                FindHostServices(*this)->TranslateText(text.c_str()), &std::free);
            words)
            taken = AsField(words.get(), kTextFieldSize);
    for (std::size_t at = 0; (at = taken.find("\\n", at)) != std::string::npos; ++at) taken.replace(at, 2, 1, '\n');
    return asked;
}

bool CTextFilter::HasChanged() {
    // A chain gives a filter its text before it stands in the line, from where the host can be seen.
    if (m_Unoffered && AskHost()) {
        TakeText(*m_Unoffered);
        m_Unoffered.reset();
    }
    return TwinFilter::HasChanged() || m_dDrawnScale != m_RenderScale;
}

HRESULT CTextFilter::CommitChanges() {
    m_dDrawnScale = m_RenderScale;
    return TwinFilter::CommitChanges();
}

HRESULT CTextFilter::SendEvent(void* event) {
    if (event && static_cast<const FilterEvent*>(event)->code == kRenderTextCode) m_Dirty = true;
    return TwinFilter::SendEvent(event);
}

// Pixels

FilterResult CTextFilter::MakePixels(const PixelRequest& request) {
    return InPlacePasses(request, [&] {
        if ((m_Dirty || !m_Overlay) && !DrawText()) m_Overlay.reset();
        return m_Overlay ? LayOver(request, *m_Overlay) : kDone;
    });
}

FilterResult CTextFilter::LayOver(const PixelRequest& request, const Overlay& text) const {
    const std::int64_t left = std::max<std::int64_t>(request.srcX, text.x);
    const std::int64_t right = std::min(std::int64_t{request.srcX} + request.width, text.x + text.width);
    const std::int64_t bottom = std::max<std::int64_t>(request.srcY, text.y);
    const std::int64_t top = std::min(std::int64_t{request.srcY} + request.height, text.y + text.height);
    for (std::int64_t y = top - 1; y >= bottom && left < right; --y) {
        if (Aborted()) return kNotDone;
        const auto at = static_cast<std::size_t>((y - text.y) * text.width + left - text.x);
        const auto h = static_cast<int>(y - request.srcY);
        const auto c = static_cast<std::size_t>(left - request.srcX);
        const auto n = static_cast<std::size_t>(right - left);
        kernels::OverRow({request.Pixels(h).subspan(c * 3, n * 3), request.Mask(h).subspan(c, n)},
                         {std::span(text.pixels).subspan(at * 3, n * 3), std::span(text.mask).subspan(at, n)});
    }
    return S_OK;
}

/// Lets the host draw the text and keeps what lies on the picture. False without a host that can be asked.
bool CTextFilter::DrawText() {
    const auto services = FindHostServices(*this);
    if (!services) return false;
    const TextParameters& p = Active();
    const auto scaled = [this](std::int32_t length) { return TruncateToInt(length * m_dDrawnScale); };
    FontProperty font;
    font.SetFontName(p.fontName.c_str());
    font.SetPitchAndFamily(p.pitchAndFamily);
    font.SetCharSet(p.charSet);
    font.SetFontSize(p.fontSize > 0 ? std::max(scaled(p.fontSize), 1) : scaled(p.fontSize));
    font.SetFontColor(p.fontColor);
    font.SetBold(p.bold);
    font.SetItalic(p.italic);
    font.SetUnderline(p.underline);
    TextRenderRequest request{};
    request.pos = p.pos;
    request.dir = p.dir;
    request.offset = scaled(p.offset);
    request.font = &font;
    request.shd = p.shadow;
    request.shadowRed = p.shadowRed;
    request.shadowGreen = p.shadowGreen;
    request.shadowBlue = p.shadowBlue;
    request.tr = p.transparency;
    request.text = p.text.c_str();
    request.width = m_InActive.Width;
    request.height = m_InActive.Height;
    const TextPoint anchor = TextAnchor(p.pos, request.offset, request.width, request.height);
    const HRESULT result = services->Dispatch(kTextFilterDispatcher, kRenderTextCode, &request);

    struct Release {
        TextRenderRequest& request;
        ~Release() {
            if (request.release) request.release(&request);
        }
    } const release{request};
    m_Overlay = result == S_OK ? CutOut(request, anchor) : Overlay{};
    return true;
}

/// The part of an answer that lies on the picture; empty for an answer that is empty or cannot be right.
CTextFilter::Overlay CTextFilter::CutOut(const TextRenderRequest& request, const TextPoint& anchor) const {
    const Dib* image = request.image;
    const Dib* mask = request.mask;
    if (!IsSound(image, 24) || !IsSound(mask, 8) || image->biWidth != mask->biWidth ||
        image->biHeight != mask->biHeight)
        return {};
    const std::int64_t x = anchor.x - request.hotSpotX;
    const std::int64_t y = anchor.y - request.hotSpotY;
    Overlay overlay;
    overlay.x = std::max<std::int64_t>(x, 0);
    overlay.y = std::max<std::int64_t>(y, 0);
    const std::int64_t width = std::min<std::int64_t>(x + image->biWidth, m_InActive.Width) - overlay.x;
    const std::int64_t height = std::min<std::int64_t>(y + image->biHeight, m_InActive.Height) - overlay.y;
    if (width <= 0 || height <= 0) return {};
    overlay.width = static_cast<int>(width);
    overlay.height = static_cast<int>(height);
    overlay.pixels.reserve(static_cast<std::size_t>(width * height * 3));
    overlay.mask.reserve(static_cast<std::size_t>(width * height));
    for (std::int64_t row = overlay.y - y; row < overlay.y - y + height; ++row) {
        const std::uint8_t* pixels = DibRow(image, static_cast<int>(row)) + (overlay.x - x) * 3;
        const std::uint8_t* masks = DibRow(mask, static_cast<int>(row)) + (overlay.x - x);
        overlay.pixels.insert(overlay.pixels.end(), pixels, pixels + width * 3);
        overlay.mask.insert(overlay.mask.end(), masks, masks + width);
    }
    return overlay;
}

}  // namespace kestrel
