#pragma once
#include <atomic>

#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// Base of a counted object with these interfaces: it answers for each, and for `IUnknown` with the first. The count
/// starts at 0, so that the first `Ref` makes it 1; the last release ends the object.
template <class First, class... Others>
class Counted : public First, public Others... {
public:
    Counted() = default;
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    HRESULT QueryInterface(const GUID& iid, void** object) override {
        *object = nullptr;
        if (iid == IUnknown::kIid || iid == First::kIid) *object = static_cast<First*>(this);
        ((iid == Others::kIid ? void(*object = static_cast<Others*>(this)) : void()), ...);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    std::uint32_t AddRef() final { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }
    std::uint32_t Release() final {
        const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) {
            FinalRelease();
            delete this;
        }
        return left;
    }

protected:
    virtual ~Counted() = default;
    /// Runs while the object is still whole, before it ends.
    virtual void FinalRelease() {}

private:
    std::atomic<std::uint32_t> references_{0};
};

}  // namespace kestrel
