#pragma once
#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// The catalogue of filters: makes them by ProgID or by their place in the list, and makes chains.
struct IPdibFilterCreator : IUnknown {
    static constexpr GUID kIid = MakeGuid("{9C0B64D1-52E7-4F0E-8A36-1D7B90C4E2A5}");

    /// The ProgID is compared whole: "TMFilter.Scale" is not "TMFilter.Scale.1". None such: null and `E_FAIL`.
    virtual HRESULT CreateFilter(const char* progId, const GUID& iid, void** object) = 0;
    /// Makes a filter, its dialog, opens that over `owner` and returns an interface of the dialog; otherwise null and
    /// the first result that failed.
    virtual HRESULT CreateFilterDialog(const char* progId, void* owner, const GUID& iid, void** object) = 0;
    virtual HRESULT GetFilterCount(int* count) = 0;
    /// Entry 0 has the highest filter id. An index out of range: null and `E_FAIL`.
    virtual HRESULT CreateFilterByIndex(int index, const GUID& iid, void** object) = 0;
    virtual HRESULT CreateChain(const GUID& iid, void** object) = 0;
    /// ProgID and cost of an entry. The ProgID is copied without a size check: 200 bytes hold every one of them.
    virtual HRESULT GetFilterByIndex(int index, char* progId, int ignored, int* cost) = 0;

protected:
    ~IPdibFilterCreator() = default;
};

}  // namespace kestrel
