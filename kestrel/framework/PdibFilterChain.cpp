#include "kestrel/framework/PdibFilterChain.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/framework/IFilterParameters.h"

namespace kestrel {
namespace {

constexpr const char* kSourceName = "PdibFilterChain";
constexpr const char* kUnhandled = "FilterChain: Unhandled exception in {}({})";
constexpr const char* kOccurred = "Exception occoured in {} ({})";

/// Bytes that a ProgID may take, with its terminator, when it is compared.
constexpr int kNameSize = 200;
/// First sizes of the buffers for parameter texts, in bytes; longer texts get larger ones, up to the limit.
constexpr int kCompareSize = 1024;
constexpr int kSaveSize = 4096;
constexpr int kLargestText = 64 << 20;

void LogException(const char* format, int line) {
    try {
        LogLine(-1, kSourceName, line, fmt::format(fmt::runtime(format), kSourceName, line));
    } catch (...) {
        try {
            LogLine(0, kSourceName, line, fmt::format("Exception in logging {},{}", line, kSourceName));
        } catch (...) {
            // The log is beyond help; the exception that was to be logged still reaches the caller.
        }
    }
}

/// The ProgID as far as `size` bytes hold it: a longer one is an empty text.
std::string NameOf(IFilterObject* filter, int size = kNameSize) {
    std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
    filter->GetProgID(buffer.data(), size);
    return {buffer.data(), strnlen(buffer.data(), buffer.size())};
}

/// A parameter text of any length; empty when the filter writes none. No value: the text is beyond all bounds.
std::optional<std::string> TextOf(IFilterParameters* filter, bool active, int size) {
    for (;; size *= 4) {
        std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
        const HRESULT result = active ? filter->GetParameterText(buffer.data(), size)
                                      : filter->GetParameterTextForSave(buffer.data(), size);
        if (result != E_FAIL) return std::string(buffer.data(), strnlen(buffer.data(), buffer.size()));
        if (size >= kLargestText) return std::nullopt;
    }
}

bool HasText(IFilterObject* filter, const char* parameters) {
    const auto text = Ref<IFilterParameters>::Query(filter);
    return text && TextOf(text.get(), false, kCompareSize) == parameters;
}

/// Gives a filter a text unlike its own.
void UpdateText(IFilterObject* filter, const char* parameters) {
    const auto text = Ref<IFilterParameters>::Query(filter);
    if (text && TextOf(text.get(), false, kCompareSize) != parameters) text->SetParameterText(parameters, 1);
}

/// A new filter with its text; null when the creator has none of that name.
Ref<IFilterObject> MakeFilter(IPdibFilterCreator* creator, const char* name, const char* parameters) {
    Ref<IFilterObject> filter;
    if (!creator || creator->CreateFilter(name, IFilterObject::kIid, filter.Out()) != S_OK) return {};
    if (const auto text = Ref<IFilterParameters>::Query(filter.get())) text->SetParameterText(parameters, 1);
    return filter;
}

int CostOf(IFilterObject* filter) {
    int cost = 0;
    filter->GetCost(&cost);
    return cost;
}

}  // namespace

void CPdibFilterChain::FinalRelease() {
    const Ref source = std::exchange(m_Source, nullptr);
    const Ref sink = std::exchange(m_Sink, nullptr);
    try {
        RemoveAllFilters();
        if (source) source->ConnectDownstream(nullptr);
        if (sink) sink->ConnectUpstream(nullptr);
    } catch (...) {
        // A release has no caller that could take the exception.
        LogException(kUnhandled, __LINE__);
    }
}

// Guards

void CPdibFilterChain::SuspendSink() {
    if (!m_Sink) return;
    m_Suspended = true;
    m_Sink->BeginChange();
}

void CPdibFilterChain::ResumeSink() {
    if (!m_Suspended) return;
    m_Suspended = false;
    if (m_Sink) m_Sink->EndChange();
}

template <class Body>
HRESULT CPdibFilterChain::Guarded(const char* format, const Body& body, int line) {
    try {
        return body();
    } catch (...) {
        LogException(format, line);
        ResumeSink();
        throw;
    }
}

template <class Body>
HRESULT CPdibFilterChain::Bracketed(const char* format, const Body& body, int line) {
    return Guarded(
        format,
        [&] {
            SuspendSink();
            const HRESULT result = body();
            ResumeSink();
            return result;
        },
        line);
}

// The walk

IFilterObject* CPdibFilterChain::First() { return m_Cursor = m_First.get(); }

IFilterObject* CPdibFilterChain::Next() {
    Ref<IFilterObject> next;  // the link holds it when this reference has gone
    if (m_Cursor && m_Cursor->QueryDownstream(IFilterObject::kIid, next.Out()) != S_OK) next = nullptr;
    return m_Cursor = next.get();
}

IFilterObject* CPdibFilterChain::Prev() {
    if (!m_Cursor) return nullptr;
    Ref<IFilterObject> previous;
    if (m_Cursor->QueryUpstream(IFilterObject::kIid, previous.Out()) != S_OK) previous = nullptr;
    return m_Cursor = previous.get();
}

IFilterObject* CPdibFilterChain::Seek(int index, int* count) {
    int passed = 0;
    IFilterObject* found = nullptr;
    for (IFilterObject* filter = First(); filter; filter = Next()) {
        ++passed;
        if (index < 0) found = filter;
        if (index == passed - 1) {
            found = filter;
            break;
        }
    }
    if (count) *count = passed;
    return m_Cursor = found;
}

bool CPdibFilterChain::IsInLine(const IFilterObject* filter) {
    First();
    while (m_Cursor && m_Cursor != filter) Next();
    return m_Cursor != nullptr;
}

// Changes of the line

void CPdibFilterChain::InsertFirst(IFilterObject* filter) {
    if (m_Source) filter->SetUpstream(m_Source.get());
    if (m_First)
        filter->SetDownstream(m_First.get());
    else if (m_Sink)
        filter->SetDownstream(m_Sink.get());
    m_First = Ref(filter);  // last: were a link to throw, the line behind would be lost
}

void CPdibFilterChain::InsertAfterCursor(IFilterObject* filter) {
    if (!m_Cursor || !filter) return;
    IFilterObject* const before = m_Cursor;
    const Ref<IFilterObject> next(Next());  // loses the link that held it
    m_Cursor = before;
    before->SetDownstream(filter);
    if (next)
        next->SetUpstream(filter);
    else if (m_Sink)
        filter->SetDownstream(m_Sink.get());
}

void CPdibFilterChain::InsertBeforeCursor(IFilterObject* filter) {
    if (!m_First || m_Cursor == m_First.get() || !Prev())
        InsertFirst(filter);
    else
        InsertAfterCursor(filter);
}

IFilterObject* CPdibFilterChain::RemoveAtCursor() {
    if (!m_Cursor) return nullptr;
    const Ref<IFilterObject> removed(m_Cursor);
    IFilterObject* const previous = Prev();
    m_Cursor = removed.get();
    const Ref<IFilterObject> next(Next());

    // A line without that end gets null, so that no filter keeps pointing at the removed one.
    if (removed == m_First) {
        m_First = next;
        if (next) next->SetUpstream(m_Source.get());
    } else if (next) {
        next->SetUpstream(previous);
    }
    removed->SetUpstream(nullptr);
    removed->SetDownstream(nullptr);
    if (!next && previous) previous->SetDownstream(m_Sink.get());
    if (!m_First) LinkEnds();
    return m_Cursor = next.get();
}

void CPdibFilterChain::LinkEnds() {
    if (!m_Source || !m_Sink) return;
    m_Sink->ConnectUpstream(m_Source.get());
    m_Source->ConnectDownstream(m_Sink.get());
}

// Operations

HRESULT CPdibFilterChain::SetSource(IUnknown* source) {
    return Bracketed(kUnhandled, [&] {
        m_Source = Ref<IFilterPixels>::Query(source);
        if (m_First)
            m_First->SetUpstream(m_Source.get());
        else
            LinkEnds();
        return S_OK;
    });
}

HRESULT CPdibFilterChain::SetSink(IUnknown* sink) {
    m_Sink = Ref<IFilterGeometry>::Query(sink);
    if (IFilterObject* const last = Seek(-1))
        last->SetDownstream(m_Sink.get());
    else
        LinkEnds();
    return S_OK;
}

HRESULT CPdibFilterChain::GetFilterCount(int* count) {
    Seek(-1, count);
    return S_OK;
}

HRESULT CPdibFilterChain::GetFilter(int index, const GUID& iid, void** object) {
    if (IFilterObject* const filter = Seek(index)) return filter->QueryInterface(iid, object);
    *object = nullptr;
    return E_FAIL;
}

HRESULT CPdibFilterChain::FindFilter(const char* progId, const GUID& iid, void** object) {
    if (!progId) return S_FALSE;
    for (IFilterObject* filter = First(); filter; filter = Next())
        if (NameOf(filter) == progId) return filter->QueryInterface(iid, object);
    return S_FALSE;
}

HRESULT CPdibFilterChain::AddFilter(IUnknown* filter) {
    return Bracketed(kUnhandled, [&] {
        if (!filter) return E_FAIL;
        Ref<IFilterObject> added;
        if (const HRESULT result = filter->QueryInterface(IFilterObject::kIid, added.Out()); result != S_OK)
            return result;
        if (IsInLine(added.get())) return E_FAIL;
        const int cost = CostOf(added.get());
        First();
        while (m_Cursor && CostOf(m_Cursor) <= cost) Next();
        if (m_Cursor || !m_First) {
            InsertBeforeCursor(added.get());
        } else {
            Seek(-1);
            InsertAfterCursor(added.get());
        }
        return S_OK;
    });
}

HRESULT CPdibFilterChain::InsertFilter(int index, IUnknown* filter) {
    return Bracketed(kUnhandled, [&] {
        if (!filter) return E_FAIL;
        Ref<IFilterObject> added;
        if (const HRESULT result = filter->QueryInterface(IFilterObject::kIid, added.Out()); result != S_OK)
            return result;
        if (IsInLine(added.get())) return E_FAIL;
        if (!m_First || index == 0) {
            InsertFirst(added.get());
            return S_OK;
        }
        if (!Seek(std::max(index, 1) - 1)) Seek(-1);
        InsertAfterCursor(added.get());
        return S_OK;
    });
}

HRESULT CPdibFilterChain::RemoveAllFilters() {
    return Bracketed(kUnhandled, [&] {
        Ref<IFilterObject> filter = std::exchange(m_First, nullptr);
        while (filter) {
            m_Cursor = filter.get();
            const Ref<IFilterObject> next(Next());
            filter->SetDownstream(nullptr);
            filter->SetUpstream(nullptr);
            filter = next;
        }
        LinkEnds();
        return S_OK;
    });
}

HRESULT CPdibFilterChain::RemoveFilter(int index) {
    return Bracketed(kUnhandled, [&] {
        Seek(std::max(index, 0));
        RemoveAtCursor();
        return S_OK;
    });
}

HRESULT CPdibFilterChain::RemoveFiltersByProgID(const char* progId) {
    return Bracketed(kOccurred, [&] { return RemoveFiltersByProgIDQuiet(progId); });
}

HRESULT CPdibFilterChain::RemoveFiltersByProgIDQuiet(const char* progId) {
    return Guarded(kUnhandled, [&] {
        if (!progId) return S_OK;
        First();
        while (m_Cursor) {
            if (NameOf(m_Cursor) == progId)
                RemoveAtCursor();
            else
                Next();
        }
        return S_OK;
    });
}

HRESULT CPdibFilterChain::Refresh(int, int) {
    SuspendSink();
    ResumeSink();
    return S_OK;
}

HRESULT CPdibFilterChain::Reserved(void*) { return S_OK; }

// Chain text

HRESULT CPdibFilterChain::GetChainText(char* buffer, int size, const char* fieldSeparator, const char* recordSeparator,
                                       bool active) {
    std::string whole;
    for (IFilterObject* filter = First(); filter; filter = Next()) {
        const auto parameters = Ref<IFilterParameters>::Query(filter);
        if (!parameters) continue;
        const auto text = TextOf(parameters.get(), active, kSaveSize);
        if (!text) return E_FAIL;
        whole += NameOf(filter, kSaveSize);
        whole += fieldSeparator ? fieldSeparator : "";
        whole += *text;
        whole += recordSeparator ? recordSeparator : "";
    }
    if (size < 0 || whole.size() >= static_cast<std::size_t>(size)) return E_FAIL;
    std::memcpy(buffer, whole.c_str(), whole.size() + 1);
    return S_OK;
}

HRESULT CPdibFilterChain::SetChainText(const char* text, const char* fieldSeparator, const char* recordSeparator,
                                       IPdibFilterCreator* creator) {
    return Bracketed(kOccurred, [&] { return SetChainTextQuiet(text, fieldSeparator, recordSeparator, creator); });
}

HRESULT CPdibFilterChain::SetChainTextQuiet(const char* text, const char* fieldSeparator, const char* recordSeparator,
                                            IPdibFilterCreator* creator) {
    return Guarded(kUnhandled, [&] {
        if (m_Source && !m_Sink) SetSink(m_Source.get());
        const ChainText records(text, fieldSeparator, recordSeparator);
        std::size_t record = 0;
        for (First(); m_Cursor && record < records.Count(); ++record)
            MatchRecord(records.Name(record), records.Parameters(record), creator);
        if (record < records.Count()) AppendRecords(records, record, creator);
        while (m_Cursor) RemoveAtCursor();
        if (!m_First) LinkEnds();
        return S_OK;
    });
}

/// One record against the filter of the same number, the cursor. Moves the cursor to the filter of the next number.
void CPdibFilterChain::MatchRecord(const char* name, const char* parameters, IPdibFilterCreator* creator) {
    IFilterObject* const filter = m_Cursor;
    if (NameOf(filter) == name) {
        UpdateText(filter, parameters);
        m_Cursor = filter;
        Next();
        return;
    }
    IFilterObject* const next = Next();
    m_Cursor = filter;
    if (next && NameOf(next) == name && HasText(next, parameters)) {  // this filter was taken out of the text
        RemoveAtCursor();
        Next();
        return;
    }
    if (const auto inserted = MakeFilter(creator, name, parameters)) {
        InsertBeforeCursor(inserted.get());
        m_Cursor = filter;
    } else {
        Next();
    }
}

/// The records behind the last filter. No number finds a filter any more, only a name does; every record makes the
/// chain at most one longer, so that this stays so. The names are kept aside, or long texts would take a walk a record.
void CPdibFilterChain::AppendRecords(const ChainText& records, std::size_t from, IPdibFilterCreator* creator) {
    std::unordered_map<std::string, IFilterObject*> byName;
    IFilterObject* last = nullptr;
    for (IFilterObject* filter = First(); filter; filter = Next()) {
        byName.emplace(NameOf(filter), filter);
        last = filter;
    }
    for (std::size_t record = from; record < records.Count(); ++record) {
        const char* const name = records.Name(record);
        if (const auto found = byName.find(name); found != byName.end()) {
            UpdateText(found->second, records.Parameters(record));
            continue;
        }
        const auto appended = MakeFilter(creator, name, records.Parameters(record));
        if (!appended) continue;
        if (last) {
            m_Cursor = last;
            InsertAfterCursor(appended.get());
        } else {
            InsertFirst(appended.get());
        }
        last = appended.get();
        byName.emplace(NameOf(last), last);
    }
    m_Cursor = nullptr;
}

}  // namespace kestrel
