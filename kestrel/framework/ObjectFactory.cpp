#include "kestrel/framework/ObjectFactory.h"

#include <atomic>

namespace kestrel {
namespace {

/// What answers while nothing is in place: no class.
class NoClasses final : public ObjectFactory {
public:
    const char* ProgIdOf(const GUID&) const override { return nullptr; }
    HRESULT Create(const char*, const GUID&, void** object) const override {
        *object = nullptr;
        return CLASS_E_CLASSNOTAVAILABLE;
    }
};

constinit const NoClasses noClasses;
constinit std::atomic<const ObjectFactory*> current{&noClasses};

}  // namespace

void ObjectFactory::Set(const ObjectFactory* factory) { current.store(factory ? factory : &noClasses); }
const ObjectFactory& ObjectFactory::Get() { return *current.load(); }

}  // namespace kestrel
