#pragma once
#include "kestrel/foundation/Export.h"

namespace kestrel::kernels {

/// Name of the instruction set that row kernels run on here, such as "AVX2"; a static text. With KESTREL_PLAIN set to
/// anything but "" or "0" when the library was loaded, it is the name of the plain form. Safe from every thread.
KESTREL_API const char* KernelTarget();

}  // namespace kestrel::kernels
