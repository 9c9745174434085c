#include "kestrel/editing/DataXferObj.h"

#include <algorithm>
#include <utility>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/foundation/Ref.h"

namespace kestrel {

CDataXferObj::CEnumFormatEtc::CEnumFormatEtc(std::vector<FormatEtc> formats, std::size_t at)
    : formats_(std::move(formats)), at_(at) {}

HRESULT CDataXferObj::CEnumFormatEtc::Next(std::uint32_t count, FormatEtc* formats, std::uint32_t* fetched) {
    if (fetched) *fetched = 0;
    if ((!formats && count > 0) || (!fetched && count != 1)) return E_INVALIDARG;
    const auto taken = static_cast<std::uint32_t>(std::min<std::size_t>(count, formats_.size() - at_));
    std::copy_n(formats_.data() + at_, taken, formats);
    at_ += taken;
    if (fetched) *fetched = taken;
    return taken == count ? S_OK : S_FALSE;
}

HRESULT CDataXferObj::CEnumFormatEtc::Skip(std::uint32_t count) {
    const std::size_t passed = std::min<std::size_t>(count, formats_.size() - at_);
    at_ += passed;
    return passed == count ? S_OK : S_FALSE;
}

HRESULT CDataXferObj::CEnumFormatEtc::Reset() {
    at_ = 0;
    return S_OK;
}

HRESULT CDataXferObj::CEnumFormatEtc::Clone(IEnumFormatEtc** copy) {
    if (!copy) return E_INVALIDARG;
    *copy = Ref<IEnumFormatEtc>(new CEnumFormatEtc(formats_, at_)).Detach();
    return S_OK;
}

HRESULT CDataXferObj::Find(const FormatEtc* format, const Entry** found) const {
    if (!format) return E_INVALIDARG;
    HRESULT why = DV_E_FORMATETC;
    for (const Entry& entry : entries_) {
        if (entry.format.name != format->name) continue;
        if (entry.format.aspect != format->aspect)
            why = DV_E_DVASPECT;
        else if (entry.format.index != format->index)
            why = DV_E_LINDEX;
        else if (!(entry.format.media & format->media))
            why = DV_E_TYMED;
        else {
            *found = &entry;
            return S_OK;
        }
    }
    return why;
}

HRESULT CDataXferObj::GetData(const FormatEtc* format, StorageMedium* medium) {
    if (!medium) return E_INVALIDARG;
    *medium = {};
    const Entry* entry = nullptr;
    const HRESULT result = Find(format, &entry);
    if (result == S_OK) *medium = entry->medium;
    return result;
}

HRESULT CDataXferObj::GetDataHere(const FormatEtc* format, StorageMedium* medium) {
    if (!medium) return E_INVALIDARG;
    const Entry* entry = nullptr;
    if (const HRESULT result = Find(format, &entry); result != S_OK) return result;
    if (medium->kind != entry->medium.kind) return DV_E_TYMED;
    if (medium->block.size() < entry->medium.block.size()) return STG_E_MEDIUMFULL;
    std::copy(entry->medium.block.begin(), entry->medium.block.end(), medium->block.begin());
    return S_OK;
}

HRESULT CDataXferObj::QueryGetData(const FormatEtc* format) {
    const Entry* entry = nullptr;
    return Find(format, &entry);
}

HRESULT CDataXferObj::SetData(const FormatEtc* format, StorageMedium* medium, bool release) {
    if (!format || !medium) return E_INVALIDARG;
    if (format->name.empty()) return DV_E_FORMATETC;
    if (medium->kind != kMediumBlock || !(format->media & medium->kind)) return DV_E_TYMED;
    Entry entry{*format, release ? std::exchange(*medium, {}) : *medium};
    const auto same = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& old) {
        return old.format.name == format->name && old.format.aspect == format->aspect &&
               old.format.index == format->index;
    });
    if (same == entries_.end())
        entries_.push_back(std::move(entry));
    else
        *same = std::move(entry);
    return S_OK;
}

HRESULT CDataXferObj::EnumFormatEtc(DataDirection direction, IEnumFormatEtc** formats) {
    if (!formats) return E_INVALIDARG;
    *formats = nullptr;
    if (direction != DataDirection::Get) return E_NOTIMPL;
    std::vector<FormatEtc> list;
    for (const Entry& entry : entries_) list.push_back(entry.format);
    *formats = Ref<IEnumFormatEtc>(new CEnumFormatEtc(std::move(list))).Detach();
    return S_OK;
}

HRESULT CDataXferObj::GetCanonicalFormatEtc(const FormatEtc*, FormatEtc*) {
    WriteDebugOutput("In CDataXferObj::GetCanonicalFormatEtc");
    return E_NOTIMPL;
}

HRESULT CDataXferObj::DAdvise(const FormatEtc*, std::uint32_t, IUnknown*, std::uint32_t* connection) {
    WriteDebugOutput("In CDataXferObj::DAdvise");
    if (connection) *connection = 0;
    return OLE_E_ADVISENOTSUPPORTED;
}

HRESULT CDataXferObj::DUnadvise(std::uint32_t) { return OLE_E_ADVISENOTSUPPORTED; }

HRESULT CDataXferObj::EnumDAdvise(IUnknown** connections) {
    WriteDebugOutput("In CDataXferObj::EnumDAdvise");
    if (connections) *connections = nullptr;
    return OLE_E_ADVISENOTSUPPORTED;
}

}  // namespace kestrel
