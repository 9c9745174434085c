#pragma once
#include "kestrel/framework/TwinFilter.h"

namespace kestrel {

/// One percentage, kept as the share of the picture that stays, in 1/255; 255 changes nothing.
struct KeepByteParameters {
    std::uint8_t keep = 255;
    bool operator==(const KeepByteParameters&) const = default;
};

using KeepByteTable = ParameterTable<KeepByteParameters, 1>;

constexpr KeepByteTable MakeKeepByteTable(const char* key, const char* written, const char* standard,
                                          const char* label) {
    return {.keys = {{{key, &KeepByteParameters::keep, {0, 100}, label}}},
            .written = written,
            .leastBuffer = 31,
            .standard = standard};
}

/// Base of the filters whose percentage is kept as such a byte. Texts hold the percentage; one without it means 0.
/// Every percentage 0..100 survives the way there and back.
template <const auto& kTable, const auto& kAbout>
class KeepByteFilter : public TwinFilter<KeepByteParameters, kTable, kAbout> {
public:
    static ParameterInfo Parameters() {
        ParameterInfo info = table::Info(kTable);
        info.keys[0].kind = "integer";
        info.keys[0].standard = "0";
        return info;
    }

protected:
    void ReadText(std::string_view text) override {
        std::int32_t percent = 0;
        bool changed = false;
        ReadIntParameter(text, kTable.keys[0].key, &percent, &changed);
        this->Pending().keep = static_cast<std::uint8_t>((100 - std::int64_t{percent}) * 255 / 100);
    }
    std::string PendingText() const override { return Text(this->Pending()); }
    std::string ActiveText() const override { return Text(this->Active()); }

private:
    static std::string Text(KeepByteParameters parameters) {
        parameters.keep = static_cast<std::uint8_t>((255 - parameters.keep) * 100 / 255);
        return table::Write(kTable, kTable.written, parameters);
    }
};

}  // namespace kestrel
