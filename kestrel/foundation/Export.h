#pragma once

/// Marks what the shared library shows; everything else stays hidden.
#if defined(KESTREL_BUILDING_LIBRARY)
#define KESTREL_API __attribute__((visibility("default")))
#else
#define KESTREL_API
#endif
