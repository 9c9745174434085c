#include <cstdio>
#include <cstring>

#include "kestrel/foundation/Version.h"

int main() {
    std::printf("found %s, running %s\n", FOUND_VERSION, kestrel::Version());
    return std::strcmp(FOUND_VERSION, kestrel::Version()) == 0 ? 0 : 1;
}
