#include "kestrel/framework/FilterInfo.h"

#include <cstring>

namespace kestrel {
namespace {

/// Copies a text that is shorter than `size`; another one leaves the buffer alone.
void CopyText(const std::string& text, char* buffer, int size) {
    if (size > 0 && text.size() < static_cast<std::size_t>(size)) std::memcpy(buffer, text.c_str(), text.size() + 1);
}

}  // namespace

CFilterInfo::CFilterInfo(const Description* description)
    : Title(description ? description->name : ""),
      Name(Title),
      iconBase_(description ? description->icon : "NullName"),
      nameKey_(description ? description->nameKey : "NullFilterName") {}

HRESULT CFilterInfo::QueryInterface(const GUID& iid, void** object) {
    if (iid == IUnknown::kIid || iid == IFilterInfo::kIid)
        *object = static_cast<IFilterInfo*>(this);
    else if (iid == IFilterEntry::kIid)
        *object = static_cast<IFilterEntry*>(this);
    else
        *object = nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

std::uint32_t CFilterInfo::AddRef() { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }

std::uint32_t CFilterInfo::Release() {
    const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

HRESULT CFilterInfo::GetInfoName(char* buffer, int size) {
    CopyText(Title, buffer, size);
    return S_OK;
}

HRESULT CFilterInfo::Handle(void*) { return S_OK; }
HRESULT CFilterInfo::Notify1(void* argument) { return Handle(argument); }
HRESULT CFilterInfo::Notify2(void* argument) { return Handle(argument); }
HRESULT CFilterInfo::Notify3(void* argument) { return Handle(argument); }

HRESULT CFilterInfo::GetProperty(const char* key, char* buffer, int size) {
    if (std::strcmp(key, "Name") == 0) CopyText(Name, buffer, size);
    if (std::strcmp(key, "IsActive") == 0) CopyText(Active ? "1" : "0", buffer, size);
    return S_OK;
}

HRESULT CFilterInfo::GetIconBase(char* buffer, int size) {
    CopyText(iconBase_, buffer, size);
    return S_OK;
}

HRESULT CFilterInfo::GetNameKey(char* buffer, int size) {
    CopyText(nameKey_, buffer, size);
    return S_OK;
}

HRESULT CFilterInfo::Reserved(void*) { return S_OK; }

HRESULT CFilterInfo::GetBitmapName(EntryState state, char* buffer, int size) {
    constexpr const char* endings[] = {"_clk", "_foc", "_prs_foc"};
    CopyText(iconBase_ + endings[static_cast<int>(state)], buffer, size);
    return S_OK;
}

}  // namespace kestrel
