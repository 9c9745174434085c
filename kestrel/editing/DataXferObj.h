#pragma once
#include <cstddef>
#include <vector>

#include "kestrel/editing/IDataObject.h"
#include "kestrel/foundation/Counted.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/framework/Module.h"

namespace kestrel {

/// The library's own data object: keeps formats in the order in which they were first set, each with its data. Data
/// set again under the same name, aspect and part replaces the old. Notifications are not supported. One thread at a
/// time; an exhausted heap throws `std::bad_alloc`.
class KESTREL_API CDataXferObj final : public ModuleObject, public Counted<IDataObject> {
    struct Entry {
        FormatEtc format;
        StorageMedium medium;
    };

public:
    /// Walks the formats that the object had when the walk was made.
    class KESTREL_API CEnumFormatEtc final : public ModuleObject, public Counted<IEnumFormatEtc> {
    public:
        explicit CEnumFormatEtc(std::vector<FormatEtc> formats, std::size_t at = 0);

        HRESULT Next(std::uint32_t count, FormatEtc* formats, std::uint32_t* fetched) override;
        HRESULT Skip(std::uint32_t count) override;
        HRESULT Reset() override;
        HRESULT Clone(IEnumFormatEtc** copy) override;

    private:
        const std::vector<FormatEtc> formats_;
        std::size_t at_;
    };

    HRESULT GetData(const FormatEtc* format, StorageMedium* medium) override;
    HRESULT GetDataHere(const FormatEtc* format, StorageMedium* medium) override;
    HRESULT QueryGetData(const FormatEtc* format) override;
    HRESULT GetCanonicalFormatEtc(const FormatEtc* format, FormatEtc* canonical) override;
    /// `DV_E_TYMED` for data that is no block of memory.
    HRESULT SetData(const FormatEtc* format, StorageMedium* medium, bool release) override;
    /// `E_NOTIMPL` for the formats that can be set: any can.
    HRESULT EnumFormatEtc(DataDirection direction, IEnumFormatEtc** formats) override;
    HRESULT DAdvise(const FormatEtc* format, std::uint32_t flags, IUnknown* sink, std::uint32_t* connection) override;
    HRESULT DUnadvise(std::uint32_t connection) override;
    HRESULT EnumDAdvise(IUnknown** connections) override;

private:
    /// The data in this format, or why there is none.
    HRESULT Find(const FormatEtc* format, const Entry** found) const;

    std::vector<Entry> entries_;
};

}  // namespace kestrel
