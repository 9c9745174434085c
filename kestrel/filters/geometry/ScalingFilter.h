#pragma once
#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "kestrel/framework/RowLender.h"
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/passes/Resampler.h"

namespace kestrel {

/// How much a picture is enlarged, along rows and along columns.
struct ScaleFactors {
    double x = 1;
    double y = 1;
};

/// A filter that changes the size of the picture by a resampler. Cached whole; a band of the output is made of the rows
/// of the input that its taps lie on. Where the picture shrinks, that needs an input without transparency, as any
/// hidden pixel of it decides about all pixels of the output.
template <class Record, const auto& kTable, const auto& kAbout>
class ScalingFilter : public TwinFilter<Record, kTable, kAbout> {
public:
    using TwinFilter<Record, kTable, kAbout>::TwinFilter;

    std::optional<RowSpan> InputRows(RowSpan output) const override {
        if (!resampler_.IsPossible() || !resampler_.IsBearable()) return std::nullopt;  // fails as a whole
        if (resampler_.AsksForTransparency() && !HasOpaqueInput()) return std::nullopt;
        return resampler_.InputRows(output);
    }
    bool IsOpaque() const override { return !resampler_.HidesAll() && HasOpaqueInput(); }

protected:
    /// Prepares the resampler for a picture of the input's size and origin and the rounded result size, which may be 0,
    /// and fills size, frame and origin of the output; a size of 0 or below becomes 1. `possible` says whether such a
    /// picture can be made at all.
    void SetScaledGeometry(ScaleFactors factors, int outWidth, int outHeight, bool possible) {
        const FilterGeometry& in = this->m_InActive;
        FilterGeometry& out = this->m_Out;
        const passes::ScaleAxis columns{in.Width, std::max(outWidth, 0), in.OffsetX, factors.x};
        const passes::ScaleAxis rows{in.Height, std::max(outHeight, 0), in.OffsetY, factors.y};
        resampler_.SetAxes(columns, rows, possible);
        out.Width = out.FullWidth = std::max(outWidth, 1);
        out.Height = out.FullHeight = std::max(outHeight, 1);
        if (!resampler_.IsPossible()) return;
        out.OffsetX = passes::OutOrigin(columns);
        out.OffsetY = passes::OutOrigin(rows);
    }

    bool HasOpaqueInput() const { return kestrel::IsOpaque(this->m_Upstream.get()); }
    bool IsPossible() const { return resampler_.IsPossible(); }

    /// `run(pass)` calls `pass()`, which makes the request's rows in the cache and returns false when aborted.
    template <class Run>
    FilterResult Resampled(const PixelRequest& request, kernels::OpaqueSums sums, const Run& run) {
        return this->CachedWhole(request, [&]() -> FilterResult {
            const RowSpan wanted = this->WantedRows(request), made = resampler_.MadeRows(wanted);
            resampler_.Prepare();
            const RowSpan rows = this->FetchedRows();
            const int width = this->m_InActive.Width;
            passes::Resampler::Source source{{nullptr, nullptr, width, rows.count}, rows, HasOpaqueInput()};
            const std::vector<const std::uint8_t*> lent =
                source.opaque && resampler_.AsksForTransparency() ? LentRows(rows) : std::vector<const std::uint8_t*>();
            if (!lent.empty()) {
                this->EnsureWorkImages(0, 0, this->m_Out.Width, made.count);
                source.planes.rows = lent.data();
            } else {
                if (const FilterResult result = this->FetchIntoWork(this->m_Out.Width, made.count); result.Failed())
                    return result;
                source.planes = passes::PlanesOf(*this->m_Work, width, rows.count);
            }
            this->SetCachedFrom(made.first);
            const bool done =
                run([&] { return resampler_.Calculate(source, *this->m_Cache, wanted, sums, this->m_Abort); });
            return done ? this->kDone : this->kNotDone;
        });
    }

private:
    /// Where rows of the input lie; none where one of them would have to be made.
    std::vector<const std::uint8_t*> LentRows(RowSpan rows) const {
        std::vector<const std::uint8_t*> lent;
        const auto* const lender = dynamic_cast<const RowLender*>(this->m_Upstream.get());
        for (int y = rows.first; lender && y < rows.End(); ++y) {
            lent.push_back(lender->Lend(0, y, this->m_InActive.Width).pixels);
            if (!lent.back()) return {};
        }
        return lent;
    }

    passes::Resampler resampler_;
};

}  // namespace kestrel
