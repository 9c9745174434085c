#include "kestrel/server/PdibFilterCreator.h"

#include <algorithm>
#include <cstring>

#include "kestrel/framework/IFilterDialog.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/PdibFilterChain.h"
#include "kestrel/server/ClassFactory.h"
#include "kestrel/server/ClassTable.h"

namespace kestrel {

CPdibFilterCreator::CPdibFilterCreator() {
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        Entry entry;
        if (GetClassObject(row.description->clsid, IClassFactory::kIid, entry.Factory.Out()) != S_OK) continue;
        entry.ProgID = row.description->progId;
        entry.Cost = row.description->cost;
        entry.FilterId = row.description->id;
        entries_.push_back(std::move(entry));
    }
    GetClassObject(kChain.clsid, IClassFactory::kIid, ChainFactory.Out());  // a failure leaves it null
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const Entry& a, const Entry& b) { return a.FilterId > b.FilterId; });
}

const CPdibFilterCreator::Entry* CPdibFilterCreator::At(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < entries_.size() ? &entries_[static_cast<std::size_t>(index)]
                                                                           : nullptr;
}

HRESULT CPdibFilterCreator::CreateFilter(const char* progId, const GUID& iid, void** object) {
    *object = nullptr;
    if (!progId) return E_FAIL;
    for (const Entry& entry : entries_)
        if (entry.ProgID == progId) return entry.Factory->CreateInstance(nullptr, iid, object);
    return E_FAIL;
}

HRESULT CPdibFilterCreator::CreateFilterDialog(const char* progId, void* owner, const GUID& iid, void** object) {
    *object = nullptr;
    Ref<IFilterObject> filter;
    if (const HRESULT made = CreateFilter(progId, IFilterObject::kIid, filter.Out()); made < 0) return made;
    Ref<IFilterDialog> dialog;
    if (const HRESULT made = filter->CreateDialog(IFilterDialog::kIid, dialog.Out()); made < 0) return made;
    int unused = 0;
    if (const HRESULT opened = dialog->Open(owner, &unused); opened < 0) return opened;
    return dialog->QueryInterface(iid, object);
}

HRESULT CPdibFilterCreator::GetFilterCount(int* count) {
    *count = static_cast<int>(entries_.size());
    return S_OK;
}

HRESULT CPdibFilterCreator::CreateFilterByIndex(int index, const GUID& iid, void** object) {
    *object = nullptr;
    const Entry* const entry = At(index);
    return entry ? entry->Factory->CreateInstance(nullptr, iid, object) : E_FAIL;
}

HRESULT CPdibFilterCreator::CreateChain(const GUID& iid, void** object) {
    *object = nullptr;
    return ChainFactory ? ChainFactory->CreateInstance(nullptr, iid, object) : E_FAIL;
}

HRESULT CPdibFilterCreator::GetFilterByIndex(int index, char* progId, int, int* cost) {
    const Entry* const entry = At(index);
    if (!entry) return E_FAIL;
    std::memcpy(progId, entry->ProgID.c_str(), entry->ProgID.size() + 1);
    *cost = entry->Cost;
    return S_OK;
}

}  // namespace kestrel
