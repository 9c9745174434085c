#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/ConvolutionKernels.h"

namespace kestrel {

/// What Sharpen, Blur, FindEdges and Emboss know: how strong they are.
struct ConvolutionParameters {
    std::uint8_t strength = 0;  ///< percent of the kernel over the picture; 101..255 extrapolates
    std::uint8_t version = 1;   ///< of the text; held once, read from the pending record, no change by itself
};

constexpr ParameterRow<ConvolutionParameters> StrengthKey(const char* key, const char* label) {
    return Percent(key, &ConvolutionParameters::strength, label, "strength").Equals().Or(0);
}
inline constexpr ParameterRow<ConvolutionParameters> kVersionKey =
    Number("Version", &ConvolutionParameters::version, {1, 255}, "", "version of the text; written from 2 on")
        .Equals()
        .Or(1)
        .Digits(1)
        .When([](const ConvolutionParameters& p) { return p.version >= 2; })
        .NotCompared()
        .NotReset();

/// A filter that mixes one row of the kernel table with the identity and convolves the whole picture once. Its text has
/// no version below 2; from 2 on the text of the active values shows the pending strength too.
template <const auto& kText, const auto& kAbout, std::size_t kKernel>
class ConvolutionFilter : public TwinFilter<ConvolutionParameters, kText, kAbout> {
protected:
    /// Percent of the kernel.
    virtual double Strength() const { return this->Active().strength; }

    FilterResult MakePixels(const PixelRequest& request) override {
        double mixed[3][3];
        kernels::MixWithIdentity(kernels::ConvolutionKernels[kKernel], Strength(), mixed);
        return this->ConvolveRegion3x3(mixed, 0, request);
    }

    ConvolutionParameters Shown() const override {
        if (this->Pending().version >= 2) return this->Pending();
        return {.strength = this->Active().strength, .version = this->Pending().version};
    }
};

}  // namespace kestrel
