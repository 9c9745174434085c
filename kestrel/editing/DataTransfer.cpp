#include "kestrel/editing/DataTransfer.h"

#include <algorithm>
#include <array>
#include <initializer_list>

#include "kestrel/foundation/QvString.h"

namespace kestrel {
namespace {

using namespace transfer_format;

constexpr std::string_view kScaleProgId = "TMFilter.Scale.1";
constexpr std::array<std::string_view, 4> kUnfit = {kScaleProgId, "TMFilter.Scale100.1", "TMFilter.Offset.1",
                                                    "TMFilter.Shadow.1"};

constexpr int kFirstChainLength = 4000;      // bytes; doubled until the text fits
constexpr int kLongestChainLength = 100000;  // never asked for: the last doubling below it is 64000
constexpr const char* kChainTooLong = "Error in SaveChainAsText: String too long";

HRESULT PutFilterAs(TransferTarget target, const char* progId, const char* unfit, const char* fit) {
    progId = NotNull(progId);
    const HRESULT result = target.Put(IsFilterFitForIA(progId) ? fit : unfit, progId);
    return result >= 0 && progId == kScaleProgId ? target.Put(kScaleFilter, progId) : result;
}

bool Offers(IDataObject& data, const char* name) {
    const FormatEtc format{.name = name};
    return data.QueryGetData(&format) == S_OK;
}

std::string TextOf(IDataObject* data, std::initializer_list<const char*> names) {
    if (!data) return {};
    for (const char* name : names) {
        const FormatEtc format{.name = name};
        StorageMedium medium;
        if (data->GetData(&format, &medium) != S_OK || medium.kind != kMediumBlock) continue;
        medium.block.resize(std::min(medium.block.find('\0'), medium.block.size()));
        return medium.block;
    }
    return {};
}

}  // namespace

HRESULT TransferTarget::Put(const char* format, std::string_view text) const {
    std::string block(text);
    block += '\0';
    if (source_) return source_->CacheData(format, std::move(block));
    if (!object_) return S_OK;
    const FormatEtc description{.name = format};
    StorageMedium medium{kMediumBlock, std::move(block)};
    return object_->SetData(&description, &medium, true);
}

bool IsFilterFitForIA(std::string_view progId) {
    return std::find(kUnfit.begin(), kUnfit.end(), progId) == kUnfit.end();
}

bool IsChainFitForIA(std::string_view chainText) {
    return std::none_of(kUnfit.begin(), kUnfit.end(),
                        [&](std::string_view name) { return chainText.find(name) != std::string_view::npos; });
}

HRESULT PutFilter(TransferTarget target, const char* progId) {
    return PutFilterAs(target, progId, kFilter, kFilterFitForIA);
}

HRESULT PutFilterNotForTrash(TransferTarget target, const char* progId) {
    return PutFilterAs(target, progId, kFilterNotForTrash, kFilterNotForTrashFitForIA);
}

HRESULT PutParameter(TransferTarget target, const char* text) { return target.Put(kParameter, NotNull(text)); }

HRESULT PutDialog(TransferTarget target, const char* progId) {
    progId = NotNull(progId);
    return target.Put(IsFilterFitForIA(progId) ? kDialogFitForIA : kDialog, progId);
}

HRESULT PutChainText(TransferTarget target, const char* text) {
    text = NotNull(text);
    return target.Put(IsChainFitForIA(text) ? kChainFitForIA : kChain, text);
}

HRESULT SaveChainAsText(TransferTarget target, IPdibFilterChain* chain, const char* fieldSeparator,
                        const char* recordSeparator) {
    if (!target || !chain) return S_OK;
    QvString text;
    for (int length = kFirstChainLength;; length *= 2) {
        if (length > kLongestChainLength) {
            text = kChainTooLong;
            break;
        }
        char* const buffer = text.GetBuffer(length);
        *buffer = '\0';
        const HRESULT result = chain->GetChainText(buffer, length, fieldSeparator, recordSeparator, false);
        text.ReleaseBuffer();
        if (result >= 0) break;
    }
    return PutChainText(target, text);
}

bool IsFilterAvailable(IDataObject* data, bool onlyFit, bool noTrashForbidden) {
    if (!data) return false;
    const auto offers = [&](const char* free, const char* notForTrash) {
        return Offers(*data, free) || (!noTrashForbidden && Offers(*data, notForTrash));
    };
    return (!onlyFit && offers(kFilter, kFilterNotForTrash)) || offers(kFilterFitForIA, kFilterNotForTrashFitForIA);
}

std::string GetFilter(IDataObject* data) {
    return TextOf(data, {kFilterFitForIA, kFilterNotForTrash, kFilterNotForTrashFitForIA, kFilter});
}
std::string GetDialog(IDataObject* data) { return TextOf(data, {kDialogFitForIA, kDialog}); }
std::string GetChain(IDataObject* data) { return TextOf(data, {kChainFitForIA, kChain}); }
std::string GetParameter(IDataObject* data) { return TextOf(data, {kParameter}); }

}  // namespace kestrel
