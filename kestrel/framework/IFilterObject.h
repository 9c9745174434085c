#pragma once
#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// What every filter answers about itself, its links and its state.
struct IFilterObject : IUnknown {
    static constexpr GUID kIid = MakeGuid("{8D772961-5CA0-4866-95E9-CD0E660E683C}");

    /// Writes the ProgID with its terminator; an empty text when it does not fit `size` bytes. Always 0.
    virtual HRESULT GetProgID(char* buffer, int size) = 0;
    /// Makes the object that describes this class in a list (`IFilterInfo`).
    virtual HRESULT CreateFilterInfo(const GUID& iid, void** object) = 0;
    /// Sort key in a chain: low values stand nearer the source.
    virtual HRESULT GetCost(int* cost) = 0;
    /// Sort key in the catalogue.
    virtual HRESULT GetFilterId(int* id) = 0;
    /// Asks the neighbour on that side; none: null and `E_NOINTERFACE`.
    virtual HRESULT QueryDownstream(const GUID& iid, void** object) = 0;
    virtual HRESULT QueryUpstream(const GUID& iid, void** object) = 0;
    /// Sets both ends of a link (null clears this end only) and marks this filter dirty.
    virtual HRESULT SetDownstream(IUnknown* next) = 0;
    virtual HRESULT SetUpstream(IUnknown* previous) = 0;
    /// Makes the filter's dialog; `E_NOINTERFACE` for a class without one or a process without the dialogs.
    virtual HRESULT CreateDialog(const GUID& iid, void** object) = 0;
    /// Stores the class identifier and the ProgID that belongs to it.
    virtual HRESULT SetClassInfo(const GUID& clsid) = 0;
    /// Is any pending parameter unlike its active twin?
    virtual bool HasChanged() = 0;
    /// Active parameters := pending ones; a filter that changes geometry changes its output record here.
    virtual HRESULT CommitChanges() = 0;
    /// Turns a size wanted downstream into the size wanted upstream.
    virtual HRESULT MapSize(int width, int height, int* outWidth, int* outHeight) = 0;
    /// Makes the tables that follow from the active parameters; `CommitChanges` of filters with tables calls it.
    virtual void RebuildTables() = 0;

protected:
    ~IFilterObject() = default;
};

}  // namespace kestrel
