#include "kestrel/host/TextLibrary.h"

namespace kestrel {

TextLibrary::TextLibrary() : SharedLibrary(KESTREL_TEXT_LIBRARY) {}

const TextLibrary& Pango() {
    static const TextLibrary library;
    return library;
}

}  // namespace kestrel
