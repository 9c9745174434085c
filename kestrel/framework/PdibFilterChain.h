#pragma once
#include <optional>
#include <string>

#include "kestrel/foundation/Counted.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/ChainText.h"
#include "kestrel/framework/Description.h"
#include "kestrel/framework/FilterResult.h"
#include "kestrel/framework/IFilterGeometry.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterPixels.h"
#include "kestrel/framework/IPdibFilterChain.h"
#include "kestrel/framework/Module.h"

namespace kestrel {

inline constexpr Description kChain{.progId = "TMFilter.Chain.1",
                                    .clsid = MakeGuid("{4D5338CA-7AE5-473C-8923-ABA0010F2C98}"),
                                    .name = "Filterchain",
                                    .summary = "Holds an ordered list of filters between a source and a sink."};

/// The chain. There is no container: the list is threaded through the filters' links, and a neighbour that is no
/// `IFilterObject`, as source and sink, ends it. The last release takes the whole line apart, so that nothing that was
/// in it keeps anything else alive.
///
/// Requests and updates run through all links on the stack of the thread that asks: a thread needs `kStackPerLink`
/// bytes for each. A line of more than `kMaximumFilters` is refused with `E_BOUNDS`.
///
/// Chains may share a source or a sink one after the other: the one that linked it last is the one that cuts it.
///
/// An exception of a filter is logged and goes on to the caller, with the sink resumed; the line may be half changed.
class KESTREL_API CPdibFilterChain final : public ModuleObject, public Counted<IPdibFilterChain> {
public:
    static constexpr const Description& kDescription = kChain;
    static constexpr int kMaximumFilters = 1000;
    static constexpr int kStackPerLink = 2048;  ///< bytes; a typical filter takes a tenth of it, the deepest 1,200

    HRESULT SetSource(IUnknown* source) override;
    HRESULT SetSink(IUnknown* sink) override;
    HRESULT GetFilterCount(int* count) override;
    HRESULT GetFilter(int index, const GUID& iid, void** object) override;
    HRESULT FindFilter(const char* progId, const GUID& iid, void** object) override;
    HRESULT AddFilter(IUnknown* filter) override;
    HRESULT InsertFilter(int index, IUnknown* filter) override;
    HRESULT RemoveAllFilters() override;
    HRESULT RemoveFilter(int index) override;
    HRESULT RemoveFiltersByProgID(const char* progId) override;
    HRESULT RemoveFiltersByProgIDQuiet(const char* progId) override;
    HRESULT Refresh(int first, int second) override;
    HRESULT GetChainText(char* buffer, int size, const char* fieldSeparator, const char* recordSeparator,
                         bool active) override;
    HRESULT SetChainText(const char* text, const char* fieldSeparator, const char* recordSeparator,
                         IPdibFilterCreator* creator) override;
    HRESULT SetChainTextQuiet(const char* text, const char* fieldSeparator, const char* recordSeparator,
                              IPdibFilterCreator* creator) override;
    HRESULT Reserved(void* argument) override;

private:
    ~CPdibFilterChain() = default;

    // The walk. Each step sets `m_Cursor` and returns it.
    IFilterObject* First();
    IFilterObject* Next();
    IFilterObject* Prev();
    /// The filter at `index`, the last one for a negative index; `*count` filters were passed, with the one found.
    IFilterObject* Seek(int index, int* count = nullptr);

    /// `S_OK` for a filter that stands in no chain and has room in this one.
    FilterResult CheckNew(IFilterObject* filter);

    // Changes of the line, without notice to the sink.
    void InsertFirst(IFilterObject* filter);
    void InsertAfterCursor(IFilterObject* filter);
    void InsertBeforeCursor(IFilterObject* filter);
    /// The cursor moves on to the filter after the removed one.
    IFilterObject* RemoveAtCursor();
    void LinkEnds();
    /// Links an end to a neighbour in the line; this chain is the one that cuts the end from then on.
    void LinkSource(IFilterObject* first);
    void LinkSink(IFilterObject* last);
    void SetFirst(const Ref<IFilterObject>& first);
    void FinalRelease() override;

    // Chain text.
    void MatchRecord(const char* name, const char* parameters, IPdibFilterCreator* creator);
    FilterResult AppendRecords(const ChainText& records, std::size_t from, IPdibFilterCreator* creator);

    void SuspendSink();
    void ResumeSink();
    /// Runs the body of an operation; an exception is logged with `format`, the sink resumed, the exception raised
    /// again.
    template <class Body>
    HRESULT Guarded(const char* format, const Body& body, int line = __builtin_LINE());
    /// The same between `SuspendSink` and `ResumeSink`.
    template <class Body>
    HRESULT Bracketed(const char* format, const Body& body, int line = __builtin_LINE());

    Ref<IFilterPixels> m_Source;
    Ref<IFilterGeometry> m_Sink;
    Ref<IFilterObject> m_First;
    IFilterObject* m_Cursor = nullptr;  ///< position of the walk; not counted
    bool m_Suspended = false;           ///< the sink has received `BeginChange` and not yet `EndChange`
};

}  // namespace kestrel
