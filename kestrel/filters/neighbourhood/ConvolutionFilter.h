#pragma once
#include "kestrel/framework/TwinFilter.h"
#include "kestrel/kernels/ConvolutionKernels.h"

namespace kestrel {

/// What Sharpen, Blur, FindEdges and Emboss know: how strong they are.
struct ConvolutionParameters {
    std::uint8_t strength = 0;  ///< percent of the kernel over the picture; 101..255 extrapolates
    std::uint8_t version = 1;   ///< of the text; held once, read from the pending record, no change by itself
    bool operator==(const ConvolutionParameters&) const = default;
};

constexpr ParameterKey<ConvolutionParameters> StrengthKey(const char* key, const char* label) {
    return {key, &ConvolutionParameters::strength, {0, 100}, label, Reading::EqualsOrFallback, 0};
}
inline constexpr ParameterKey<ConvolutionParameters> kVersionKey{"Version", &ConvolutionParameters::version, {1, 255},
                                                                 "",        Reading::EqualsOrFallback,       1};

/// A filter that mixes one row of the kernel table with the identity and convolves the whole picture once. Its text has
/// no version below 2; from 2 on the text of the active values shows the pending strength too.
template <const auto& kText, const auto& kAbout, std::size_t kKernel>
class ConvolutionFilter : public TwinFilter<ConvolutionParameters, kText, kAbout> {
public:
    bool HasChanged() override { return this->Pending().strength != this->Active().strength; }

protected:
    /// Percent of the kernel.
    virtual double Strength() const { return this->Active().strength; }

    HRESULT TransformWindow(const Window& window) override {
        double mixed[3][3];
        kernels::MixWithIdentity(kernels::ConvolutionKernels[kKernel], Strength(), mixed);
        return this->ConvolveRegion3x3(mixed, 0, window);
    }

    std::string PendingText() const override { return Text(this->Pending()); }
    std::string ActiveText() const override {
        return Text(this->Pending().version >= 2 ? this->Pending() : this->Active());
    }

private:
    std::string Text(const ConvolutionParameters& values) const {
        std::string text = table::Write(kText, kText.written, values);
        if (this->Pending().version >= 2) text += ",Version=" + std::to_string(this->Pending().version);
        return text;
    }
};

}  // namespace kestrel
