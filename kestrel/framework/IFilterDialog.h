#pragma once
#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// A filter's dialog, as the catalogue needs it.
struct IFilterDialog : IUnknown {
    static constexpr GUID kIid = MakeGuid("{0CD219A9-336C-499C-9670-D6485649888A}");

    /// Makes the dialog's window over `owner`, a window of the host's toolkit; `*result` is of no use to the library.
    virtual HRESULT Open(void* owner, int* result) = 0;

protected:
    ~IFilterDialog() = default;
};

}  // namespace kestrel
