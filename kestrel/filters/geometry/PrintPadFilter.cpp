#include "kestrel/filters/geometry/PrintPadFilter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <tuple>
#include <utility>

#include "kestrel/filters/geometry/RangedKeys.h"
#include "kestrel/filters/geometry/Sizes.h"

namespace kestrel {
namespace {

constexpr RangedKey<PrintPadRecord> kKeys[] = {
    {"AspectRatioX", &PrintPadRecord::m_nAspectRatioX, 3, 1, 1000000},
    {"AspectRatioY", &PrintPadRecord::m_nAspectRatioY, 2, 1, 1000000},
    {"ForceRatio", &PrintPadRecord::m_bForceRatio, 0},
    {"Toggle", &PrintPadRecord::m_bToggle, 0},
    {"Landscape", &PrintPadRecord::m_bLandscape, 0},
    {"Copy", &PrintPadRecord::m_nCopy, 1, 1, 1000},
};

constexpr std::int32_t kWhite = 0xffffff;

/// The colour behind its key, hexadecimal; white without one.
std::int32_t ReadPadColor(std::string_view text) {
    constexpr std::string_view kKey = "PadColor=";
    const std::size_t at = text.find(kKey);
    if (at == std::string_view::npos) return kWhite;
    std::string_view digits = text.substr(at + kKey.size());
    digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
    std::uint32_t color = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), color, 16);
    if (error == std::errc::invalid_argument) return kWhite;
    return error == std::errc{} && color <= kWhite ? static_cast<std::int32_t>(color) : kWhite;
}

std::string Written(const PrintPadRecord& r) {
    return fmt::format("AspectRatioX={}, AspectRatioY={}, ForceRatio={}, Toggle={}, Landscape={}, PadColor={:06x}{}",
                       r.m_nAspectRatioX, r.m_nAspectRatioY, r.m_bForceRatio ? 1 : 0, r.m_bToggle ? 1 : 0,
                       r.m_bLandscape ? 1 : 0, r.m_nPadColor,
                       r.m_nCopy != 1 ? fmt::format(", Copy={}", r.m_nCopy) : "");
}

/// Lays a pixel over the pad.
void FlattenPixel(std::uint8_t* pixel, std::uint8_t* mask, const std::array<std::uint8_t, 3>& pad) {
    const int m = *mask;
    if (m == 0) return;
    for (std::size_t c = 0; c < 3; ++c) pixel[c] = static_cast<std::uint8_t>((pad[c] * m + pixel[c] * (255 - m)) / 255);
    *mask = 0;
}

}  // namespace

bool PrintPadRecord::operator==(const PrintPadRecord& other) const {
    const auto compared = [](const PrintPadRecord& r) {
        return std::tie(r.m_nAspectRatioX, r.m_nAspectRatioY, r.m_bForceRatio, r.m_bToggle, r.m_bLandscape,
                        r.m_nPadColor);
    };
    return compared(*this) == compared(other);
}

ParameterInfo CPrintPadFilter::Parameters() {
    ParameterInfo info = table::Info(kPrintPadText);
    table::AddRanged(kKeys, PrintPadRecord{}, &info);
    KeyInfo color;
    color.key = "PadColor";
    color.kind = "text";
    color.standard = "ffffff";
    info.keys.insert(info.keys.end() - 1, color);
    return info;
}

void CPrintPadFilter::ReadText(std::string_view text) {
    table::ReadRanged(text, kKeys, Pending());
    Pending().m_nPadColor = ReadPadColor(text);
}

std::string CPrintPadFilter::PendingText() const { return Written(Pending()); }

std::string CPrintPadFilter::ActiveText() const { return Written(Active()); }

HRESULT CPrintPadFilter::CommitChanges() {
    committed_ = Pending();
    const std::int32_t copies = Active().m_nCopy;
    const HRESULT result = TwinFilter::CommitChanges();
    PrintPadRecord& r = Active();
    r.m_nCopy = copies;  // stays with the pending record

    const int width = m_InActive.Width;
    const int height = m_InActive.Height;
    if (r.m_bForceRatio && width != height) r.m_bLandscape = width > height;
    double numerator = r.m_nAspectRatioX;
    double denominator = r.m_nAspectRatioY;
    const bool disagree = r.m_bLandscape ? numerator < denominator : numerator > denominator;
    if (disagree != r.m_bToggle) std::swap(numerator, denominator);
    const double ratio = numerator / denominator;

    if (r.m_bForceRatio && width > 0 && height > 0) {
        if (static_cast<double>(width) / height < ratio)
            m_Out.Width = SizeFrom(height * ratio);
        else
            m_Out.Height = SizeFrom(width / ratio);
    }
    m_Out.FullWidth = m_Out.Width;
    m_Out.FullHeight = m_Out.Height;
    m_Cache.reset();
    return result;
}

HRESULT CPrintPadFilter::TransformWindow(const Window& window) {
    if (m_InActive.Width < 1 || m_InActive.Height < 1) return Finished(E_INVALIDARG);
    return CachedWhole(window, [this] { return Pad(); });
}

HRESULT CPrintPadFilter::Pad() {
    if (const HRESULT result = FetchPadded(); result != S_OK) return result;
    const auto color = static_cast<std::uint32_t>(Active().m_nPadColor);
    const std::array<std::uint8_t, 3> pad{static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(color >> 8),
                                          static_cast<std::uint8_t>(color >> 16)};
    return WalkRows(CachedWindow(m_Out.Width, m_Out.Height),
                    [&pad](std::span<std::uint8_t> pixels, std::span<std::uint8_t> mask) {
                        for (std::size_t x = 0; x < mask.size(); ++x) FlattenPixel(&pixels[3 * x], &mask[x], pad);
                    });
}

HRESULT CPrintPadFilter::FetchPadded() {
    EnsureWorkImages(0, 0, m_Out.Width, m_Out.Height);
    m_Cache->Clear();
    const int padX = (m_Out.Width - m_InActive.Width) / 2;
    const int padY = (m_Out.Height - m_InActive.Height) / 2;
    // Rounding may leave the result a pixel short.
    const int cutX = std::max(-padX, 0);
    const int cutY = std::max(-padY, 0);
    const int width = std::min(m_InActive.Width - cutX, m_Out.Width - (padX + cutX));
    const int height = std::min(m_InActive.Height - cutY, m_Out.Height - (padY + cutY));
    return FetchUpstream({padX + cutX, padY + cutY, cutX, cutY, std::max(width, 0), std::max(height, 0),
                          m_Cache->Rows(), m_Cache->MaskRows()});
}

}  // namespace kestrel
