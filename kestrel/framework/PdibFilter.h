#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <type_traits>

#include "kestrel/foundation/AbortFlag.h"
#include "kestrel/foundation/Counted.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/foundation/QvString.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/Bands.h"
#include "kestrel/framework/Description.h"
#include "kestrel/framework/FilterGeometry.h"
#include "kestrel/framework/FilterResult.h"
#include "kestrel/framework/IFilterGeometry.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/framework/IFilterPixels.h"
#include "kestrel/framework/Module.h"
#include "kestrel/framework/OneShot.h"
#include "kestrel/framework/PixelRequest.h"
#include "kestrel/framework/RowLender.h"
#include "kestrel/image/RowSpan.h"
#include "kestrel/image/WorkImage.h"
#include "kestrel/kernels/Row.h"

namespace kestrel {

/// Base of all filters: a link in a line from a source to a sink. Upstream is where pixels come from, downstream where
/// the picture goes. Nothing is computed before the end of the line asks for pixels.
///
/// One thread at a time may use a line; only `SetAbort` may come from another one. Neighbours hold counted references
/// to each other, so a line lives until its links are cut.
class KESTREL_API CPdibFilter : public ModuleObject,
                                public Counted<IFilterObject, IFilterGeometry, IFilterPixels, IFilterParameters>,
                                public BandLink,
                                public OneShotLink {
public:
    explicit CPdibFilter(const Description& description);

    /// A factor between a picture and its full-size original: finite and above 0.
    static bool IsRenderScale(double scale) { return std::isfinite(scale) && scale > 0; }
    /// The output geometry as the last update left it. Unlike `GetGeometry` it asks nobody, so that no cache is lost.
    const FilterGeometry& OutputGeometry() const { return m_Out; }

    /// Not where a filter that works in bands looks beyond its rows: neighbouring requests would make some rows twice.
    bool ServesBands() const override {
        return !description_.measuresRequest && (!inBands_ || description_.reach == 0) &&
               kestrel::ServesBands(m_Upstream.get());
    }
    bool MakesWhole() const override { return description_.reach > 0 && !inBands_ && IsStale(); }
    bool IsOpaque() const override {
        return description_.reach >= 0 && !description_.hides && kestrel::IsOpaque(m_Upstream.get());
    }

    /// The rows of the input that rows of the output are made of, by the geometry of the last update; nothing when that
    /// is the whole picture. The base goes by the reach of the description, for an output that has the input's rows.
    virtual std::optional<RowSpan> InputRows(RowSpan output) const;
    /// From now on (true) each request is made alone, from `InputRows` of its rows, and no picture is kept for the next
    /// one: for hosts that ask for each row once and cannot hold the whole picture. Only for filters that answer
    /// `InputRows`. Not during a request.
    void WorkInBands(bool bands);
    /// Does it keep input rows of a band for the next one all the same, because neighbours share many? Bands are then
    /// to be asked for from the top down, and each gets those of its `InputRows` that no band before has got.
    virtual bool KeepsRows() const { return false; }

    // OneShotLink
    void SetOneShot(bool oneShot) override;
    void ReleaseOutput() override;

    // IFilterObject
    HRESULT GetProgID(char* buffer, int size) override;
    HRESULT CreateFilterInfo(const GUID& iid, void** object) override;
    HRESULT GetCost(int* cost) override;
    HRESULT GetFilterId(int* id) override;
    HRESULT QueryDownstream(const GUID& iid, void** object) override;
    HRESULT QueryUpstream(const GUID& iid, void** object) override;
    HRESULT SetDownstream(IUnknown* next) override;
    HRESULT SetUpstream(IUnknown* previous) override;
    HRESULT CreateDialog(const GUID& iid, void** object) override;
    HRESULT SetClassInfo(const GUID& clsid) override;
    bool HasChanged() override;
    HRESULT CommitChanges() override;
    HRESULT MapSize(int width, int height, int* outWidth, int* outHeight) override;
    void RebuildTables() override;

    // IFilterGeometry
    HRESULT SetSize(int width, int height) override;
    HRESULT SetOffset(int x, int y) override;
    HRESULT SetFullSize(int width, int height) override;
    HRESULT SetViewSize(int width, int height) override;
    HRESULT GetRequiredSize(int* width, int* height, double aspect) override;
    HRESULT SetRenderScale(double scale) override;
    HRESULT SetAnchor(int x, int y) override;
    HRESULT GetAnchor(int* x, int* y) override;
    HRESULT BeginChange() override;
    HRESULT EndChange() override;
    HRESULT ConnectUpstream(IUnknown* previous) override;
    HRESULT PassAlong14(void* first, void* second) override;
    HRESULT PassAlong15(void* value) override;
    HRESULT PassAlong16(void* first, void* second, void* third) override;
    HRESULT PassAlong17(void* value) override;
    HRESULT PassAlong18(void* value) override;

    // IFilterPixels
    /// Hands the request to `MakePixels`; memory that does not suffice becomes `E_OUTOFMEMORY`.
    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) final;
    HRESULT SetAbort(bool abort) override;
    HRESULT Update(bool* changed, int* version, bool track) override;
    HRESULT GetGeometry(int* width, int* height, int* offsetX, int* offsetY, int* fullWidth, int* fullHeight) override;
    HRESULT ConnectDownstream(IUnknown* next) override;
    HRESULT TransformColor(unsigned char* pixel) override;
    HRESULT SendEvent(void* event) override;

    // IFilterParameters
    HRESULT SetParameterText(const char* text, int flag) override;
    HRESULT GetParameterTextForSave(char* buffer, int size) override;
    HRESULT GetParameterText(char* buffer, int size) override;
    HRESULT SetExtraParameter(const char* key, const char* value) override;
    HRESULT GetExtraParameter(const char* key, char* buffer, int size) override;

    /// Conversions between RGB and HSL (`kernels/Hsl.h`); hue in degrees, lightness and saturation 0..1.
    static void RgbToHsl(std::uint8_t r, std::uint8_t g, std::uint8_t b, double* hue, double* lightness,
                         double* saturation);
    static void HslToRgb(double hue, double lightness, double saturation, std::uint8_t* r, std::uint8_t* g,
                         std::uint8_t* b);

protected:
    virtual ~CPdibFilter();

    /// Makes the requested part of this filter's output. The base passes the request upstream as it stands.
    virtual FilterResult MakePixels(const PixelRequest& request);

    static constexpr FilterResult kDone = S_OK;
    /// Result of a request that was not finished because of an abort or a failure in the filter.
    static constexpr FilterResult kNotDone = S_FALSE;

    /// In-place pattern: asks upstream first, then passes each row of the request, from the last to the first, to
    /// `rule(pixels)`, `rule(pixels, mask)` or `rule(y, pixels, mask)`: spans over the caller's rows, and the number of
    /// the row in the picture. A rule that takes `kernels::RowPair` for the pixels makes them of others where upstream
    /// lends its rows, in the order of memory, and is not to read what the caller's rows hold. Allocates nothing. An
    /// abort between rows leaves the flags as they are.
    template <class RowRule>
    FilterResult InPlace(const PixelRequest& request, const RowRule& rule);

    /// In-place pattern for filters that measure the request or go over it more than once: asks upstream first, then
    /// runs `passes()`, which returns `S_OK` when done.
    template <class Passes>
    FilterResult InPlacePasses(const PixelRequest& request, const Passes& passes);

    /// Cached-whole pattern: while the cached picture is out of date (always, when the filter works in bands),
    /// `compute()` makes it, with the help of `FetchIntoCache` or `FetchIntoWork`, and returns `S_OK` when done; the
    /// work picture is released afterwards. Then the rows of the request that lie inside the output picture are copied.
    template <class Compute>
    FilterResult CachedWhole(const PixelRequest& request, const Compute& compute);
    /// The same, with a rule for the copies: `prepare()` is called after `compute()` and returns `rule(RowPair)`, which
    /// makes the pixels of a delivered row of those in the cache.
    template <class Compute, class Prepare>
    FilterResult CachedWhole(const PixelRequest& request, const Compute& compute, const Prepare& prepare);
    /// The same for a filter that makes its rows one after the other: `compute(made)` calls `made(end)` whenever the
    /// rows of the cache below `end` are what they will be, and goes on if that returns `S_OK`. Those that the request
    /// asks for are copied then, while the nearer caches hold them.
    template <class Compute>
    FilterResult CachedByRows(const PixelRequest& request, const Compute& compute);
    /// The same for a cache that is not the output yet: `deliver(inside)` makes the part of the request that lies
    /// inside the output picture of it, whenever it is asked for, and returns `S_OK` when done.
    template <class Compute, class Deliver>
    FilterResult CachedPass(const PixelRequest& request, const Compute& compute, const Deliver& deliver);

    /// Moving pattern, and the end of all patterns: an output that is made has clean flags, any other is out of date.
    FilterResult Finished(FilterResult result);

    /// Sends a request to the upstream neighbour; `E_FAIL` without one. A failure marks this filter dirty.
    FilterResult FetchUpstream(const PixelRequest& request);
    /// Fetches the whole input picture into `image` with its corner at (`x`, `y`), in bands where the line serves them.
    /// With `clear` each of these rows of `image` is cleared first.
    FilterResult FetchWhole(CWorkImage& image, int x, int y, bool clear = false) {
        const FilterResult result = FetchRows({0, m_InActive.Height}, image, x, y, clear, NoWork());
        if (result.Ok()) ReleaseUpstream();
        return result;
    }
    /// Fetches the input rows into a cache of their size, where they are worked in place.
    FilterResult FetchIntoCache() { return FetchIntoCache(NoWork()); }
    /// The same, and `rows(first, end)` works on each band of the cache's rows, the lowest first, while the nearer
    /// caches hold it; it returns `S_OK` to go on. Rows above `end` are not there yet.
    template <class Rows>
    FilterResult FetchIntoCache(const Rows& rows) {
        EnsureImage(m_Cache, m_InActive.Width, fetched_.count);
        return FetchRows(fetched_, *m_Cache, 0, 0, true, rows);
    }
    /// Fetches the input rows into the work picture and sizes the cache, whose bytes are undefined.
    FilterResult FetchIntoWork(int cacheWidth, int cacheHeight);

    /// Passes each row of a request to `rule`, as `InPlace` does; `kNotDone` when aborted.
    template <class RowRule>
    FilterResult WalkRows(const PixelRequest& request, const RowRule& rule) const;
    /// The same with the help of threads that a host lends: `rule` is called from several at a time.
    template <class RowRule>
    FilterResult ShareWalk(const PixelRequest& request, const RowRule& rule) const;
    /// The part of the cached picture that is in use, as a request for `WalkRows`.
    PixelRequest CachedPixels(int width, int height) const {
        return {0, 0, 0, 0, width, height, m_Cache->Rows(), m_Cache->MaskRows()};
    }
    /// The input rows that `FetchIntoCache` and `FetchIntoWork` get: all of them, or those of a band. What is computed
    /// on a band is right but for its outer rows, as far as the reach, which nobody asked for.
    RowSpan FetchedRows() const { return fetched_; }
    /// The rows of the output that a request makes: all of them, or in bands its own.
    RowSpan WantedRows(const PixelRequest& request) const {
        return inBands_ ? RowSpan{request.srcY, request.height} : RowSpan{0, m_Out.Height};
    }
    /// For a `compute()` that does not make its input's rows: row 0 of the cache is this one of the output.
    void SetCachedFrom(int row) { cachedFrom_ = row; }

    bool WorksInBands() const { return inBands_; }
    /// Must the output be made again? A cached picture is made from its very start.
    bool IsStale() const { return inBands_ || m_Dirty || m_UpstreamDirty || !m_Cache; }
    bool Aborted() const { return m_Abort.IsSet(); }

    /// Keeps or remakes the work picture and the cache: one that is too small, or more than four times too large, is
    /// dropped. A pair of zeros leaves that picture alone. Throws `std::bad_alloc`.
    void EnsureWorkImages(int workWidth, int workHeight, int cacheWidth, int cacheHeight);

    /// Cached-whole pattern: convolves the input with nine weights (by rows, the lower row first). A neighbour of mask
    /// 255 passes its weight to the centre.
    FilterResult ConvolveRegion3x3(const double kernel[3][3], int bias, const PixelRequest& request);

    QvString m_ProgID;
    GUID m_Clsid{};
    FilterGeometry m_InActive;    ///< input geometry that this filter has accepted
    FilterGeometry m_Out;         ///< output geometry
    FilterGeometry m_InPending;   ///< input geometry as pushed from upstream, not yet accepted
    bool m_Dirty = false;         ///< this filter's own output is out of date
    bool m_UpstreamDirty = true;  ///< what comes from upstream has changed
    AbortFlag m_Abort;
    std::int32_t m_UpstreamVersion = -1;  ///< last version seen of the upstream neighbour
    std::int32_t m_Version = 0;           ///< version of this filter's output
    double m_RenderScale = 1.0;           ///< picture now rendered / full-size picture
    std::int32_t m_Anchor[2] = {0, 0};
    std::int32_t m_AnchorResult[2] = {0, 0};
    Ref<IFilterGeometry> m_Downstream;
    Ref<IFilterPixels> m_Upstream;
    std::unique_ptr<CWorkImage> m_Work;   ///< input of a neighbourhood operation, kept only during the computation
    std::unique_ptr<CWorkImage> m_Cache;  ///< output of a filter that computes whole pictures, kept between requests
    std::int32_t m_Cost = 5000;
    std::map<QvString, QvString> m_Extra;

private:
    struct NoWork {
        FilterResult operator()(int, int) const { return kDone; }
    };
    /// Fetches rows of the input, the first of them to row `y` of `image`, and calls `rows` for each band. With `clear`
    /// each row that may not be filled gets 0 and a mask of 255 first: what no input covers is nothing.
    template <class Rows>
    FilterResult FetchRows(RowSpan from, CWorkImage& image, int x, int y, bool clear, const Rows& rows);
    /// The most rows that `FetchRows` gets before it calls `rows`.
    int FetchedAtOnce() const { return inBands_ ? std::max(fetched_.count, 1) : BandRows(m_InActive.Width); }
    /// The part of a request that lies inside the output picture; empty when its corner lies outside.
    PixelRequest InsideOutput(PixelRequest request) const;
    /// Makes what a request asks for of the cache, the pixels of each row by `rule(RowPair)`.
    template <class RowRule>
    FilterResult CopyCached(PixelRequest inside, const RowRule& rule) const;
    /// The neighbour upstream if it lends all rows of the request, otherwise null.
    const RowLender* LenderOf(const PixelRequest& request) const;
    /// Is the output the end of its line and larger than caches, so that its rows have left them when they are read? A
    /// host that asks for each row once is taken to use it at once.
    bool OutlivesCaches() const;
    /// Makes the rows of a request of those that `lend(y)` lends, in the order in which they lie in memory, which is
    /// much faster than the other one. Not done when aborted, or when a row is not lent.
    template <class Lend, class RowRule>
    FilterResult MapRows(const PixelRequest& request, const Lend& lend, const RowRule& rule) const;
    /// Keeps or remakes one picture, as `EnsureWorkImages` says; true when a new one was made, of undefined bytes.
    static bool EnsureImage(std::unique_ptr<CWorkImage>& image, int width, int height);
    /// Drops the pictures upstream where nobody will ask for them again.
    void ReleaseUpstream() {
        if (oneShot_ && !inBands_) kestrel::ReleaseOutput(m_Upstream.get());
    }
    /// The interface of a neighbour, or of whatever an overriding class answers in its place.
    Ref<IFilterGeometry> PassDownstream();
    Ref<IFilterPixels> PassUpstream();

    RowSpan fetched_;                ///< rows of the input that the work picture holds
    int cachedFrom_ = 0;             ///< row of the output that is row 0 of the cache
    bool inBands_ = false;           ///< `WorkInBands`
    bool oneShot_ = false;           ///< `SetOneShot`
    const Description description_;  ///< the texts that it points to live as long as the process
};

template <class RowRule>
FilterResult CPdibFilter::InPlace(const PixelRequest& request, const RowRule& rule) {
    constexpr bool kMaps = std::is_invocable_v<RowRule, kernels::RowPair> ||
                           std::is_invocable_v<RowRule, int, kernels::RowPair, std::span<std::uint8_t>>;
    if constexpr (kMaps)
        if (const RowLender* const lender = LenderOf(request)) {
            const auto lend = [&](int y) { return lender->Lend(request.srcX, y, request.width); };
            const FilterResult mapped = MapRows(request, lend, rule);
            return mapped.Ok() ? Finished(S_OK) : mapped;
        }
    FilterResult result = FetchUpstream(request);
    if (result.Ok()) result = WalkRows(request, rule);
    return result.Ok() ? Finished(S_OK) : result;
}

template <class Lend, class RowRule>
FilterResult CPdibFilter::MapRows(const PixelRequest& request, const Lend& lend, const RowRule& rule) const {
    const bool large = OutlivesCaches();
    const struct Stream {  // also when aborted: another thread may make the rows anew
        const bool used;
        ~Stream() {
            if (used) kernels::FinishStream();
        }
    } stream{large};
    for (int h = 0; h < request.height; ++h) {
        const LentRow from = lend(request.srcY + h);
        if (!from.pixels || Aborted()) return kNotDone;
        const std::span<std::uint8_t> to = request.Pixels(h);
        const bool streams = large && from.pixels != to.data();
        const kernels::RowPair pixels(kernels::ConstRow(from.pixels, to.size()), to, streams);
        // A mask that the rule changes is not written past the caches before it does.
        constexpr bool kChangesMask = std::is_invocable_v<RowRule, int, kernels::RowPair, std::span<std::uint8_t>>;
        const std::span<std::uint8_t> mask = request.Mask(h);
        if (from.mask)
            kernels::CopyRow({{from.mask, mask.size()}, mask, streams && !kChangesMask});
        else
            kernels::ClearRow(mask, streams && !kChangesMask);
        if constexpr (kChangesMask)
            rule(request.srcY + h, pixels, mask);
        else
            rule(pixels);
    }
    return kDone;
}

template <class Passes>
FilterResult CPdibFilter::InPlacePasses(const PixelRequest& request, const Passes& passes) {
    const FilterResult result = FetchUpstream(request);
    return result.Ok() ? Finished(passes()) : result;
}

template <class Compute>
FilterResult CPdibFilter::CachedWhole(const PixelRequest& request, const Compute& compute) {
    return CachedWhole(request, compute, [] { return kernels::CopyRow; });
}

template <class Compute, class Deliver>
FilterResult CPdibFilter::CachedPass(const PixelRequest& request, const Compute& compute, const Deliver& deliver) {
    const bool stale = IsStale() && m_Out.Width > 0 && m_Out.Height > 0;
    m_Dirty = true;  // until the request is done, however it ends
    if (stale) {
        const struct WorkPicture {
            CPdibFilter& filter;
            ~WorkPicture() {
                if (!filter.inBands_) filter.m_Work.reset();  // the next band needs one as well
            }
        } work{*this};
        fetched_ = {0, m_InActive.Height};
        if (inBands_) {
            fetched_ = InputRows({request.srcY, request.height}).value_or(fetched_);
            if (fetched_.count == 0 && !KeepsRows()) return Finished(S_OK);
        }
        cachedFrom_ = fetched_.first;
        if (const FilterResult result = compute(); result.Failed()) return result;
        ReleaseUpstream();
    }
    const PixelRequest inside = InsideOutput(request);
    return Finished(m_Cache && inside.width > 0 ? deliver(inside) : kDone);
}

template <class Compute, class Prepare>
FilterResult CPdibFilter::CachedWhole(const PixelRequest& request, const Compute& compute, const Prepare& prepare) {
    return CachedPass(request, compute, [&](const PixelRequest& inside) { return CopyCached(inside, prepare()); });
}

template <class Compute>
FilterResult CPdibFilter::CachedByRows(const PixelRequest& request, const Compute& compute) {
    int copied = 0;  // what the request wants of the output's rows below it is done
    const auto copyBelow = [&](int end) {
        const PixelRequest inside = InsideOutput(request);
        const int first = std::max(copied - inside.srcY, 0);
        const int count = std::min(end - inside.srcY, inside.height);
        if (inside.width <= 0 || first >= count) return kDone;
        copied = inside.srcY + count;
        return CopyCached(inside.Part(first, count), kernels::CopyRow);
    };
    return CachedPass(
        request, [&] { return compute([&](int end) { return copyBelow(cachedFrom_ + end); }); },
        [&](const PixelRequest&) { return copyBelow(m_Out.Height); });
}

template <class RowRule>
FilterResult CPdibFilter::CopyCached(PixelRequest inside, const RowRule& rule) const {
    inside.width = std::min(inside.width, m_Cache->Width() - inside.srcX);
    inside.height = std::min(inside.height, m_Cache->Height() - (inside.srcY - cachedFrom_));
    if (inside.width <= 0) return kDone;
    const auto cached = [&](int y) {
        return LentRow{m_Cache->Rows()[y - cachedFrom_] + std::ptrdiff_t{inside.srcX} * 3,
                       m_Cache->MaskRows()[y - cachedFrom_] + inside.srcX};
    };
    return MapRows(inside, cached, rule);
}

template <class Rows>
FilterResult CPdibFilter::FetchRows(RowSpan from, CWorkImage& image, int x, int y, bool clear, const Rows& rows) {
    const int band = FetchedAtOnce();
    const bool cleared = clear && !kestrel::IsOpaque(m_Upstream.get());
    const int fetched = kestrel::ServesBands(m_Upstream.get()) ? band : std::max(from.count, 1);
    int row = 0;
    do {  // a picture without rows is asked for too
        const int end = std::min(row + fetched, from.count);
        if (cleared) image.ClearRows(y + row, end - row);
        const FilterResult result = FetchUpstream(
            {x, y + row, 0, from.first + row, m_InActive.Width, end - row, image.Rows(), image.MaskRows()});
        if (result.Failed()) return result;
        for (; row < end; row += band)
            if (const FilterResult done = rows(row, std::min(row + band, end)); done.Failed()) return done;
        row = end;
    } while (row < from.count);
    return S_OK;
}

template <class RowRule>
FilterResult CPdibFilter::ShareWalk(const PixelRequest& request, const RowRule& rule) const {
    const bool done = ShareRows(0, request.height, [&](std::int64_t from, std::int64_t end) {
        return WalkRows(request.Part(static_cast<int>(from), static_cast<int>(end)), rule).Ok();
    });
    return done ? kDone : kNotDone;
}

template <class RowRule>
FilterResult CPdibFilter::WalkRows(const PixelRequest& request, const RowRule& rule) const {
    for (int h = request.height - 1; h >= 0; --h) {
        if (Aborted()) return kNotDone;
        if constexpr (std::is_invocable_v<RowRule, std::span<std::uint8_t>, std::span<std::uint8_t>>)
            rule(request.Pixels(h), request.Mask(h));
        else if constexpr (std::is_invocable_v<RowRule, int, std::span<std::uint8_t>, std::span<std::uint8_t>>)
            rule(request.srcY + h, request.Pixels(h), request.Mask(h));
        else
            rule(request.Pixels(h));
    }
    return S_OK;
}

}  // namespace kestrel
