#include "kestrel/framework/PdibFilterChain.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <mutex>
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
            // Logging failed too; the exception that was to be logged still reaches the caller.
        }
    }
}

/// The ProgID as far as `size` bytes hold it: a longer one is an empty text.
std::string NameOf(IFilterObject* filter, int size = kNameSize) {
    std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
    filter->GetProgID(buffer.data(), size);
    return {buffer.data(), strnlen(buffer.data(), buffer.size())};
}

/// A parameter text of any length; empty when the filter writes none. No value: the text exceeds the limit.
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

/// Sets a filter's text when it differs from its own.
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

/// Which chain linked a source, a sink or a first filter last, for all chains of the process. Everything that is listed
/// is held by the chain that it is listed for.
class Claims {
public:
    void Take(const IUnknown* object, const IPdibFilterChain* chain) {
        if (!object) return;
        const std::lock_guard guard(guard_);
        owners_[object] = chain;
    }
    /// Was it `chain`'s? Then it is nobody's now.
    bool Drop(const IUnknown* object, const IPdibFilterChain* chain) {
        const std::lock_guard guard(guard_);
        const auto found = owners_.find(object);
        if (found == owners_.end() || found->second != chain) return false;
        owners_.erase(found);
        return true;
    }
    bool IsTaken(const IUnknown* object) {
        const std::lock_guard guard(guard_);
        return owners_.contains(object);
    }

private:
    std::mutex guard_;
    std::unordered_map<const IUnknown*, const IPdibFilterChain*> owners_;
};

/// Never destroyed: a host may release its last chain after the statics of the library.
Claims& claims = *new Claims;

}  // namespace

void CPdibFilterChain::FinalRelease() {
    const Ref source = std::exchange(m_Source, nullptr);
    const Ref sink = std::exchange(m_Sink, nullptr);
    try {
        RemoveAllFilters();
        if (claims.Drop(source.get(), this)) source->ConnectDownstream(nullptr);
        if (claims.Drop(sink.get(), this)) sink->ConnectUpstream(nullptr);
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

FilterResult CPdibFilterChain::CheckNew(IFilterObject* filter) {
    m_Cursor = filter;
    IFilterObject* head = filter;
    while (Prev()) head = m_Cursor;
    if (claims.IsTaken(head)) return E_FAIL;
    int count = 0;
    Seek(-1, &count);
    return count < kMaximumFilters ? S_OK : E_BOUNDS;
}

// Changes of the line

void CPdibFilterChain::InsertFirst(IFilterObject* filter) {
    if (m_Source) LinkSource(filter);
    if (m_First)
        filter->SetDownstream(m_First.get());
    else if (m_Sink)
        LinkSink(filter);
    SetFirst(Ref(filter));  // last: were a link to throw, the line after it would be lost
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
        LinkSink(filter);
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
        SetFirst(next);
        if (next) LinkSource(next.get());
    } else if (next) {
        next->SetUpstream(previous);
    }
    removed->SetUpstream(nullptr);
    removed->SetDownstream(nullptr);
    if (!next && previous) LinkSink(previous);
    if (!m_First) LinkEnds();
    return m_Cursor = next.get();
}

void CPdibFilterChain::LinkEnds() {
    if (!m_Source || !m_Sink) return;
    claims.Take(m_Source.get(), this);
    claims.Take(m_Sink.get(), this);
    m_Sink->ConnectUpstream(m_Source.get());
    m_Source->ConnectDownstream(m_Sink.get());
}

void CPdibFilterChain::LinkSource(IFilterObject* first) {
    claims.Take(m_Source.get(), this);
    first->SetUpstream(m_Source.get());
}

void CPdibFilterChain::LinkSink(IFilterObject* last) {
    claims.Take(m_Sink.get(), this);
    last->SetDownstream(m_Sink.get());
}

void CPdibFilterChain::SetFirst(const Ref<IFilterObject>& first) {
    claims.Drop(m_First.get(), this);
    claims.Take(first.get(), this);
    m_First = first;
}

// Operations

HRESULT CPdibFilterChain::SetSource(IUnknown* source) {
    return Bracketed(kUnhandled, [&] {
        claims.Drop(m_Source.get(), this);
        m_Source = Ref<IFilterPixels>::Query(source);
        if (m_First)
            LinkSource(m_First.get());
        else
            LinkEnds();
        return S_OK;
    });
}

HRESULT CPdibFilterChain::SetSink(IUnknown* sink) {
    claims.Drop(m_Sink.get(), this);
    m_Sink = Ref<IFilterGeometry>::Query(sink);
    if (IFilterObject* const last = Seek(-1))
        LinkSink(last);
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
        if (const HRESULT result = CheckNew(added.get()); result != S_OK) return result;
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
        if (const HRESULT result = CheckNew(added.get()); result != S_OK) return result;
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
        Ref<IFilterObject> filter = m_First;
        SetFirst(nullptr);
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
        const std::size_t limit = std::min<std::size_t>(records.Count(), kMaximumFilters);
        for (First(); m_Cursor && record < limit; ++record)
            MatchRecord(records.Name(record), records.Parameters(record), creator);
        HRESULT result = S_OK;
        if (m_Cursor)
            result = limit < records.Count() ? E_BOUNDS : S_OK;
        else if (record < records.Count())
            result = AppendRecords(records, record, creator);
        while (m_Cursor) RemoveAtCursor();
        if (!m_First) LinkEnds();
        return result;
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

/// The records after the last filter: a filter of the same name is set, otherwise one is appended. The names are kept
/// in a map, or long texts would take a walk for each record.
FilterResult CPdibFilterChain::AppendRecords(const ChainText& records, std::size_t from, IPdibFilterCreator* creator) {
    std::unordered_map<std::string, IFilterObject*> byName;
    IFilterObject* last = nullptr;
    int count = 0;
    for (IFilterObject* filter = First(); filter; filter = Next()) {
        byName.emplace(NameOf(filter), filter);
        last = filter;
        ++count;
    }
    HRESULT result = S_OK;
    for (std::size_t record = from; record < records.Count(); ++record) {
        const char* const name = records.Name(record);
        if (const auto found = byName.find(name); found != byName.end()) {
            UpdateText(found->second, records.Parameters(record));
            continue;
        }
        if (count >= kMaximumFilters) {
            result = E_BOUNDS;
            continue;
        }
        const auto appended = MakeFilter(creator, name, records.Parameters(record));
        if (!appended) continue;
        ++count;
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
    return result;
}

}  // namespace kestrel
