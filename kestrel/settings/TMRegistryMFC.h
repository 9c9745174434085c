#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/settings/TMRegistry.h"

namespace kestrel {

/// The same settings; a store of all users that it makes can be written by every user.
class KESTREL_API TMRegistryMFC : public TMRegistry {
public:
    explicit TMRegistryMFC(const QvString& section) : TMRegistry(static_cast<const char*>(section)) {
        forEverybody_ = true;
    }
    TMRegistryMFC(const QvString& section, const QvString& version)
        : TMRegistry(static_cast<const char*>(section), static_cast<const char*>(version)) {
        forEverybody_ = true;
    }
};

}  // namespace kestrel
