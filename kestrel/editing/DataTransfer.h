#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "kestrel/editing/IDataObject.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/framework/IPdibFilterChain.h"

namespace kestrel {

/// Filters, parameter texts, dialogs and chains as data that is dragged or copied. The data is one zero-terminated text
/// of bytes; the name of its format says what it is and who may take it. IA is a target of the host's, which takes only
/// the formats that are fit for it; the trash takes none of the formats that are not for it.

namespace transfer_format {
inline constexpr const char* kFilter = "QVTarvenmoorAnimFilter";  ///< the ProgID, as in the next four
inline constexpr const char* kFilterFitForIA = "QVTarvenmoorAnimFilterFitForIA";
inline constexpr const char* kFilterNotForTrash = "QVTarvenmoorAnimFilterNotForTrash";
inline constexpr const char* kFilterNotForTrashFitForIA = "QVTarvenmoorAnimFilterNotForTrashFitForIA";
inline constexpr const char* kScaleFilter = "QVTarvenmoorAnimScaleFilter";
inline constexpr const char* kParameter = "QVTarvenmoorAnimFilterParameter";  ///< a filter's parameter text
inline constexpr const char* kDialog = "QVTarvenmoorAnimFilterDialog";        ///< the ProgID, as in the next
inline constexpr const char* kDialogFitForIA = "QVTarvenmoorAnimFilterDialogFitForIA";
inline constexpr const char* kChain = "QVTarvenmoorAnimFilterChain";  ///< a chain text, as in the next
inline constexpr const char* kChainFitForIA = "QVTarvenmoorAnimFilterChainFitForIA";
}  // namespace transfer_format

/// Collects what a drag or a copy offers, in place of a data object: a toolkit's clipboard data, for one.
struct DataSource {
    /// Offers a block under a format's name.
    virtual HRESULT CacheData(const char* format, std::string block) = 0;

protected:
    ~DataSource() = default;
};

/// What put operations write to: either of the two, or null, which takes nothing and is a success.
class KESTREL_API TransferTarget {
public:
    TransferTarget(std::nullptr_t) {}
    TransferTarget(DataSource* source) : source_(source) {}
    TransferTarget(IDataObject* object) : object_(object) {}

    explicit operator bool() const { return source_ || object_; }
    HRESULT Put(const char* format, std::string_view text) const;

private:
    DataSource* source_ = nullptr;
    IDataObject* object_ = nullptr;
};

/// May IA take a filter, or a chain in whose text none of the unfit filters is named?
KESTREL_API bool IsFilterFitForIA(std::string_view progId);
KESTREL_API bool IsChainFitForIA(std::string_view chainText);

/// The result is that of the first format that the target refused.
KESTREL_API HRESULT PutFilter(TransferTarget target, const char* progId);
KESTREL_API HRESULT PutFilterNotForTrash(TransferTarget target, const char* progId);
KESTREL_API HRESULT PutParameter(TransferTarget target, const char* text);
KESTREL_API HRESULT PutDialog(TransferTarget target, const char* progId);
KESTREL_API HRESULT PutChainText(TransferTarget target, const char* text);
/// Puts the text of the chain's pending parameters. One of 64000 bytes or more is replaced by a text that says so, in
/// which a chain finds no filter.
KESTREL_API HRESULT SaveChainAsText(TransferTarget target, IPdibFilterChain* chain, const char* fieldSeparator,
                                    const char* recordSeparator);

/// Does the object hold a filter? `onlyFit` asks for one that IA may take, `noTrashForbidden` for one that the trash
/// may take.
KESTREL_API bool IsFilterAvailable(IDataObject* data, bool onlyFit, bool noTrashForbidden);
/// The text of the first format that is there, up to its zero byte; empty when there is none.
KESTREL_API std::string GetFilter(IDataObject* data);
KESTREL_API std::string GetDialog(IDataObject* data);
KESTREL_API std::string GetChain(IDataObject* data);
KESTREL_API std::string GetParameter(IDataObject* data);

}  // namespace kestrel
