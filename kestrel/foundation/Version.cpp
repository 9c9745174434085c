#include "kestrel/foundation/Version.h"

namespace kestrel {

const char* Version() { return KESTREL_VERSION; }

}  // namespace kestrel
