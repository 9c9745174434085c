#pragma once
#include <utility>

#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// Counted pointer to an interface or a counted object; may be null. Moving does not count.
template <class T>
class Ref {
public:
    Ref() = default;
    Ref(std::nullptr_t) {}
    /// Shares an object that somebody else owns as well.
    explicit Ref(T* object) : object_(object) {
        if (object_) object_->AddRef();
    }
    Ref(const Ref& other) : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Ref() {
        if (object_) object_->Release();
    }

    /// Takes over a reference that was already counted for the caller.
    static Ref Adopt(T* object) {
        Ref ref;
        ref.object_ = object;
        return ref;
    }

    /// Asks an object for the interface `T`; null when it has none, or for a null object.
    static Ref Query(IUnknown* unknown) {
        void* object = nullptr;
        if (!unknown || unknown->QueryInterface(T::kIid, &object) != S_OK) return {};
        return Adopt(static_cast<T*>(object));
    }

    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }
    bool operator==(const Ref&) const = default;

    /// Hands the counted pointer over; the receiver releases it.
    [[nodiscard]] T* Detach() { return std::exchange(object_, nullptr); }
    /// Where an interface operation stores its result; what was held is released first.
    [[nodiscard]] void** Out() {
        *this = {};
        return reinterpret_cast<void**>(&object_);
    }

private:
    T* object_ = nullptr;
};

}  // namespace kestrel
