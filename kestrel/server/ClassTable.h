#pragma once
#include <span>
#include <string_view>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/Description.h"
#include "kestrel/parameters/ParameterInfo.h"

namespace kestrel {

/// One class that the library can make.
struct ClassRow {
    const Description* description;
    /// Makes an object and asks it for an interface; nothing stays allocated on failure.
    HRESULT (*create)(const GUID& iid, void** object);
    /// Keys and defaults; null for classes that are no filters (chain, creator).
    ParameterInfo (*parameters)();

    /// Does the class belong to the filter category, which the catalogue lists?
    bool IsFilter() const { return parameters != nullptr; }
};

/// Makes an object of a counted class whose count starts at 0.
template <class T>
HRESULT CreateInstance(const GUID& iid, void** object) {
    const Ref<T> instance(new T);
    return instance->QueryInterface(iid, object);
}

/// The row of a filter class.
template <class T>
constexpr ClassRow FilterRow() {
    return {&T::kDescription, &CreateInstance<T>, &T::Parameters};
}

/// The row of a class that is no filter.
template <class T>
constexpr ClassRow ServerRow() {
    return {&T::kDescription, &CreateInstance<T>, nullptr};
}

/// All classes in their fixed order.
KESTREL_API std::span<const ClassRow> ClassTable();

/// The row of a class; null when there is none.
KESTREL_API const ClassRow* FindClass(const GUID& clsid);
/// The row of a ProgID, compared whole.
KESTREL_API const ClassRow* FindClass(std::string_view progId);

}  // namespace kestrel
