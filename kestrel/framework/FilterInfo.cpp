#include "kestrel/framework/FilterInfo.h"

#include <cstring>

namespace kestrel {
namespace {

/// Copies a text that is shorter than `size`; another one leaves the buffer alone.
void CopyText(const QvString& text, char* buffer, int size) {
    if (text.GetLength() < size)
        std::memcpy(buffer, static_cast<const char*>(text), static_cast<std::size_t>(text.GetLength()) + 1);
}

}  // namespace

CFilterInfo::CFilterInfo(const Description* description)
    : Title(description ? description->name : ""),
      Name(Title),
      iconBase_(description ? description->icon : "NullName"),
      nameKey_(description ? description->nameKey : "NullFilterName") {}

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
