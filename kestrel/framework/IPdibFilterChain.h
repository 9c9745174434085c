#pragma once
#include "kestrel/foundation/Unknown.h"
#include "kestrel/framework/IPdibFilterCreator.h"

namespace kestrel {

/// An ordered line of filters between a source and a sink. It holds no pixels; requests go over the filters' own links.
///
/// Changes are bracketed by `BeginChange` and `EndChange` of the sink, unless stated otherwise. One thread at a time,
/// and none during a running request. Results are 0 unless stated otherwise.
struct IPdibFilterChain : IUnknown {
    static constexpr GUID kIid = MakeGuid("{5E2F7A90-3B1C-4D68-B4A7-60F3C81D9E12}");

    /// The provider of pixels (`IFilterPixels`) at the head of the line; null takes it away. The old one is released
    /// without a call.
    virtual HRESULT SetSource(IUnknown* source) = 0;
    /// The receiver (`IFilterGeometry`) at the end of the line; null takes it away. No bracket.
    virtual HRESULT SetSink(IUnknown* sink) = 0;
    virtual HRESULT GetFilterCount(int* count) = 0;
    /// An interface of the filter at `index`, of the last one for a negative index. None there: null and `E_FAIL`.
    virtual HRESULT GetFilter(int index, const GUID& iid, void** object) = 0;
    /// The first filter of exactly this ProgID; none: 1, and `*object` is left alone.
    virtual HRESULT FindFilter(const char* progId, const GUID& iid, void** object) = 0;
    /// Inserts before the first filter of a higher cost. `E_FAIL` for null and for a filter that stands in a chain,
    /// this or another; `E_BOUNDS` for one more than a chain holds.
    virtual HRESULT AddFilter(IUnknown* filter) = 0;
    /// Inserts at a position, after the last filter when the chain is shorter; costs are not looked at. A negative
    /// index stands for 1. Fails as `AddFilter` does.
    virtual HRESULT InsertFilter(int index, IUnknown* filter) = 0;
    virtual HRESULT RemoveAllFilters() = 0;
    /// Removes the filter at `index`, if there is one. A negative index stands for 0.
    virtual HRESULT RemoveFilter(int index) = 0;
    virtual HRESULT RemoveFiltersByProgID(const char* progId) = 0;
    /// The same without the bracket.
    virtual HRESULT RemoveFiltersByProgIDQuiet(const char* progId) = 0;
    /// An empty change: the bracket and nothing else.
    virtual HRESULT Refresh(int first, int second) = 0;
    /// The chain as text: for each filter ProgID, field separator, active or pending parameter text, record separator.
    /// A text that does not fit `size` bytes with its terminator: `E_FAIL`, nothing written.
    virtual HRESULT GetChainText(char* buffer, int size, const char* fieldSeparator, const char* recordSeparator,
                                 bool active) = 0;
    /// Makes the chain equal to a text and keeps the filters, with their caches, that match it already. A record whose
    /// filter cannot be made is skipped. A record after the last filter whose ProgID stands in the chain sets that
    /// filter in place of adding a second one. Records beyond what a chain holds are left out: `E_BOUNDS`.
    virtual HRESULT SetChainText(const char* text, const char* fieldSeparator, const char* recordSeparator,
                                 IPdibFilterCreator* creator) = 0;
    /// The same without the bracket.
    virtual HRESULT SetChainTextQuiet(const char* text, const char* fieldSeparator, const char* recordSeparator,
                                      IPdibFilterCreator* creator) = 0;
    virtual HRESULT Reserved(void* argument) = 0;

protected:
    ~IPdibFilterChain() = default;
};

}  // namespace kestrel
