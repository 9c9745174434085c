#include "kestrel/filters/composition/PasspartoutFilter.h"

#include <cstdlib>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/filters/composition/Saturated.h"
#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/Composite.h"
#include "kestrel/passes/RoundCorners.h"

namespace kestrel {
namespace {

constexpr std::int32_t BoardParameters::*kLengths[] = {&BoardParameters::borderHori, &BoardParameters::borderVerti,
                                                       &BoardParameters::totalHori,  &BoardParameters::totalVerti,
                                                       &BoardParameters::radius,     &BoardParameters::poscorhori,
                                                       &BoardParameters::poscorverti};

/// One dimension of the board: its size, and where the picture begins on it.
struct Extent {
    int size;
    int offset;
};

Extent BorderExtent(std::int64_t base, std::int64_t border) {
    border = std::max<std::int64_t>(border, 0);
    return {Saturated(base + 2 * border), static_cast<int>(border)};
}

Extent TotalExtent(std::int64_t base, int input, int total) {
    const int size = std::max(total, input);
    return {size, size > input ? static_cast<int>(std::max<std::int64_t>((size - base) / 2, 0)) : 0};
}

/// A board that tints what lies under it: `transparency` percent of the picture, in single precision.
kernels::ByteTable TintTable(std::uint8_t colour, std::int32_t transparency) {
    const float keep = static_cast<float>(transparency) / 100.0f;
    const float cover = 1.0f - keep;
    kernels::ByteTable table;
    for (int byte = 0; byte < 256; ++byte)
        table[static_cast<std::size_t>(byte)] = static_cast<std::uint8_t>(
            TruncateToInt(static_cast<float>(colour) * cover + static_cast<float>(byte) * keep));
    return table;
}

}  // namespace

CPasspartoutFilter::CPasspartoutFilter()
    : TwinFilter({.bordersizeOn = false, .poscorhori = 1, .poscorverti = 1, .transparency = 255}) {}

// Parameters and geometry

BoardParameters CPasspartoutFilter::Scaled() const {
    BoardParameters board = Pending();
    for (const auto length : kLengths) board.*length = RoundBySign(board.*length * m_RenderScale);
    return board;
}

bool CPasspartoutFilter::HasChanged() {
    BoardParameters board = Scaled();
    ClipParameters(board, m_RenderScale, [](const std::string&) {});
    return !Same(board, Active());
}

HRESULT CPasspartoutFilter::CommitChanges() {
    Active() = Scaled();
    bool clipped = false;
    ClipParameters(Active(), m_RenderScale, [&](const std::string& line) {
        LogLine(-1, "PasspartoutFilter", __LINE__, line);
        clipped = true;
    });
    if (clipped) LogLine(-1, "PasspartoutFilter", __LINE__, "CPasspartoutFilter---PARMS CLIPPED\n");
    RecalcGeometry();
    return S_OK;
}

void CPasspartoutFilter::RecalcGeometry() {
    const BoardParameters& board = Active();
    const int baseWidth = std::max(m_InActive.Width, m_InActive.FullWidth);
    const int baseHeight = std::max(m_InActive.Height, m_InActive.FullHeight);
    const Extent x = board.bordersizeOn ? BorderExtent(baseWidth, board.borderHori)
                                        : TotalExtent(baseWidth, m_InActive.Width, board.totalHori);
    const Extent y = board.bordersizeOn ? BorderExtent(baseHeight, board.borderVerti)
                                        : TotalExtent(baseHeight, m_InActive.Height, board.totalVerti);
    m_Out.Width = m_Out.FullWidth = x.size;
    m_Out.Height = m_Out.FullHeight = y.size;
    m_Out.OffsetX = m_Out.OffsetY = 0;
    m_nOffsetX = x.offset;
    m_nOffsetY = y.offset;
}

BoardParameters CPasspartoutFilter::Shown() const {
    BoardParameters board = Active();
    for (const auto length : kLengths) board.*length = TruncateToInt(board.*length / m_RenderScale);
    return board;
}

// Pixels

FilterResult CPasspartoutFilter::MakePixels(const PixelRequest& request) {
    return CachedWhole(request, [this] { return Compose(); });
}

FilterResult CPasspartoutFilter::Compose() {
    if (const FilterResult result = FetchOnBoard(); result.Failed()) return result;
    const Area inner = InnerArea();
    if (!PaintBoard(inner) || !PaintInner(inner)) return kNotDone;
    passes::RoundCorners(passes::PlanesOf(*m_Cache, m_Out.Width, m_Out.Height), Active().radius);
    return S_OK;
}

/// Fetches what of the picture lies on the board.
FilterResult CPasspartoutFilter::FetchOnBoard() {
    EnsureWorkImages(0, 0, m_Out.Width, m_Out.Height);
    m_Cache->Clear();
    const std::int64_t x = std::int64_t{m_nOffsetX} + Active().poscorhori;
    const std::int64_t y = std::int64_t{m_nOffsetY} + Active().poscorverti;
    const std::int64_t left = std::clamp<std::int64_t>(x, 0, m_Out.Width);
    const std::int64_t bottom = std::clamp<std::int64_t>(y, 0, m_Out.Height);
    const std::int64_t right = std::clamp<std::int64_t>(x + m_InActive.Width, left, m_Out.Width);
    const std::int64_t top = std::clamp<std::int64_t>(y + m_InActive.Height, bottom, m_Out.Height);
    if (left == right || bottom == top) return S_OK;
    return FetchUpstream({static_cast<int>(left), static_cast<int>(bottom), static_cast<int>(left - x),
                          static_cast<int>(bottom - y), static_cast<int>(right - left), static_cast<int>(top - bottom),
                          m_Cache->Rows(), m_Cache->MaskRows()});
}

CPasspartoutFilter::Area CPasspartoutFilter::InnerArea() const {
    const BoardParameters& board = Active();
    const std::int64_t width = m_Out.Width;
    const std::int64_t height = m_Out.Height;
    Area inner{};
    if (board.bordersizeOn) {
        const std::int64_t hori = std::llabs(board.borderHori);
        const std::int64_t verti = std::llabs(board.borderVerti);
        inner = {hori, verti, width - 1 - hori, height - 1 - verti};
    } else {
        inner.left = (width - std::max(m_InActive.Width, m_InActive.FullWidth)) / 2;
        inner.bottom = (height - std::max(m_InActive.Height, m_InActive.FullHeight)) / 2;
        inner.right = inner.left + m_InActive.Width - 1;
        inner.top = inner.bottom + m_InActive.Height - 1;
    }
    // A near side is held to 0, a far side to the board, and a far side before the board to its first row or column.
    const auto hold = [](std::int64_t& near, std::int64_t& far, std::int64_t shift, std::int64_t size) {
        near = std::max<std::int64_t>(near + shift, 0);
        far = std::max<std::int64_t>(std::min(far + shift, size - 1), 0);
    };
    hold(inner.left, inner.right, board.poscorhori, width);
    hold(inner.bottom, inner.top, board.poscorverti, height);
    return inner;
}

/// Paints the board around the inner area, each pixel once. False when aborted.
bool CPasspartoutFilter::PaintBoard(const Area& inner) {
    const BoardParameters& board = Active();
    const std::int64_t width = m_Out.Width;
    const auto mask = static_cast<std::uint8_t>(kernels::BoardAlpha(board.transparency));
    const bool tints = board.bordersizeOn && board.transparency != 0;
    const kernels::ChannelTables tint{TintTable(board.blue, board.transparency),
                                      TintTable(board.green, board.transparency),
                                      TintTable(board.red, board.transparency)};
    const auto paint = [&](std::int64_t y, std::int64_t from, std::int64_t to, bool overlap) {
        if (from >= to) return;
        std::uint8_t* pixels = m_Cache->Rows()[y] + from * 3;
        const auto n = static_cast<std::size_t>(to - from);
        if (overlap)
            kernels::ChannelTablesRow({pixels, n * 3}, tint);
        else
            for (std::size_t i = 0; i < n; ++i) {
                pixels[3 * i] = board.blue;
                pixels[3 * i + 1] = board.green;
                pixels[3 * i + 2] = board.red;
            }
        std::fill_n(m_Cache->MaskRows()[y] + from, n, overlap ? std::uint8_t{0} : mask);
    };

    // Beside a band that lies over the picture there may be board that does not.
    const std::int64_t shift = board.poscorhori;
    const bool plainSides = board.borderHori >= 0;
    const std::int64_t bandLeft = plainSides ? std::clamp<std::int64_t>(board.borderHori + shift, 0, width) : 0;
    const std::int64_t bandRight =
        plainSides ? std::clamp<std::int64_t>(width - board.borderHori + shift, bandLeft, width) : width;
    for (std::int64_t y = m_Out.Height - 1; y >= 0; --y) {
        if (Aborted()) return false;
        if (y < inner.bottom || y > inner.top) {
            const bool overlap = tints && board.borderVerti < 0;
            paint(y, 0, bandLeft, false);
            paint(y, bandLeft, bandRight, overlap);
            paint(y, bandRight, width, false);
        } else {
            const bool overlap = tints && board.borderHori < 0;
            const std::int64_t left = std::min(inner.left, width);
            paint(y, 0, left, overlap);
            paint(y, std::max(left, inner.right + 1), width, overlap);
        }
    }
    return true;
}

/// Lets the board show through the transparent parts of the picture. False when aborted.
bool CPasspartoutFilter::PaintInner(const Area& inner) {
    if (inner.left > inner.right) return true;
    const std::int64_t alpha = kernels::BoardAlpha(Active().transparency);
    const passes::Planes picture = passes::PlanesOf(*m_Cache, m_Out.Width, m_Out.Height);
    for (std::int64_t y = inner.top; y >= inner.bottom; --y) {
        if (Aborted()) return false;
        kernels::PaintInnerRow(passes::Part(picture, y, inner.left, inner.right + 1), Active().Color(), alpha);
    }
    return true;
}

HRESULT CPasspartoutFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::LayOnBoard(pixel, Active().Color(), kernels::BoardAlpha(Active().transparency));
    return result;
}

}  // namespace kestrel
