#pragma once
#include <string>
#include <vector>

#include "kestrel/foundation/Counted.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/Description.h"
#include "kestrel/framework/IPdibFilterCreator.h"
#include "kestrel/framework/Module.h"
#include "kestrel/server/IClassFactory.h"

namespace kestrel {

inline constexpr Description kCreator{.progId = "TMFilter.Creator.1",
                                      .clsid = MakeGuid("{3D02A93D-515B-493D-9645-0ED407F86C70}"),
                                      .name = "Filtercreator",
                                      .summary = "The catalogue of filters: makes filters and chains."};

/// The catalogue over the class table. The list is made once, by the constructor, from a sample of each class of the
/// filter category; a class that cannot be made is left out. Safe from any thread afterwards.
class KESTREL_API CPdibFilterCreator final : public ModuleObject, public Counted<IPdibFilterCreator> {
public:
    static constexpr const Description& kDescription = kCreator;
    CPdibFilterCreator();

    HRESULT CreateFilter(const char* progId, const GUID& iid, void** object) override;
    HRESULT CreateFilterDialog(const char* progId, void* owner, const GUID& iid, void** object) override;
    HRESULT GetFilterCount(int* count) override;
    HRESULT CreateFilterByIndex(int index, const GUID& iid, void** object) override;
    HRESULT CreateChain(const GUID& iid, void** object) override;
    HRESULT GetFilterByIndex(int index, char* progId, int ignored, int* cost) override;

private:
    struct Entry {
        Ref<IClassFactory> Factory;
        std::string ProgID;
        int Cost = 0;
        int FilterId = 0;
    };

    ~CPdibFilterCreator() = default;
    const Entry* At(int index) const;

    std::vector<Entry> entries_;  ///< by descending `FilterId`, equal ones in the order of the class table
    Ref<IClassFactory> ChainFactory;
};

}  // namespace kestrel
