#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/IScriptEngine.h"

namespace kestrel {

class IQvStorage;

/// Helps a list of filters to its words and icons: hands them from the built-in storage to the script engine of a host.
/// One thread at a time.
class KESTREL_API FilterBox {
public:
    /// Asks `host` for its engine, then hands over, in this order: the icons whose names hold `iconPrefix`, once in a
    /// process for each prefix; the strings; the page script `pageName` with its sequence. Both names may be null.
    /// What cannot be read is skipped silently. `storage` is the root of the built-in storage; it is not closed.
    void FilterBox_Parse(IUnknown* host, IQvStorage* storage, const char* pageName, const char* iconPrefix);

    /// Whether the last call had an engine and a storage.
    bool IsActive() const { return engine_ && storage_; }

private:
    Ref<IScriptEngine> engine_;
    IQvStorage* storage_ = nullptr;
};

}  // namespace kestrel
