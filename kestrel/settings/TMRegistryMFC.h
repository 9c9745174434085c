#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/settings/TMRegistry.h"

namespace kestrel {

/// The same settings; what it keeps for all users can be written by every user, whoever was the first. A text that an
/// administrator has set stays the administrator's: others' writes return `kKeyNotWritable`.
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
