#pragma once
#include <cstdint>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/IFilterObject.h"

namespace kestrel {

/// What a host does for filters beyond pixels. A sink that offers this interface serves the filters of its line; one
/// object set for the process serves all others. Calls come on the threads that use the filters.
struct IHostServices : IUnknown {
    static constexpr GUID kIid = MakeGuid("{5D0C6A52-7F0B-4E5C-9D7A-6B1F2E8C4A90}");

    /// Does the host answer requests under this name? A host may get ready for them here.
    virtual bool Offers(const char* dispatcher) = 0;
    /// Hands a request to the dispatcher of that name. `code` says what `record` is. Negative for a name or a code that
    /// the host does not know.
    virtual HRESULT Dispatch(const char* dispatcher, std::int32_t code, void* record) = 0;
    /// The text (Windows-1252) with its descriptors expanded, to be freed with `std::free`; null when it stands as it
    /// is.
    virtual char* TranslateText(const char* text) = 0;

protected:
    ~IHostServices() = default;
};

/// What travels through `SendEvent`.
struct FilterEvent {
    std::int32_t code;
    void* data;
};

/// Sets the services of the process; null takes them away.
KESTREL_API void SetHostServices(IHostServices* services);
/// The services of the process; null when there are none.
KESTREL_API Ref<IHostServices> GetHostServices();
/// The services at the end of the line that the filter stands in, or else those of the process; null when there are
/// none.
KESTREL_API Ref<IHostServices> FindHostServices(IFilterObject& filter);

}  // namespace kestrel
