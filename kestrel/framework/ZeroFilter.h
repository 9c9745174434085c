#pragma once
#include "kestrel/framework/PdibFilter.h"

namespace kestrel {

inline constexpr Description kZero{.progId = "TMFilter.Zero.1", .id = 45, .reach = 0};

/// The neutral filter: everything passes. It is a class that hosts may make directly; no catalogue lists it.
class KESTREL_API CZeroFilter final : public CPdibFilter {
public:
    CZeroFilter() : CPdibFilter(kZero) {}
    HRESULT CreateFilterInfo(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT CreateDialog(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
};

}  // namespace kestrel
