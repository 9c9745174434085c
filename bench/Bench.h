#pragma once
// What the benchmarks share: the picture, and the list of what is measured.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/image/Dib.h"

namespace kestrel::bench {

/// The picture that everything is measured over, 24 bits, made once: 6000 x 4000, or a small one in a dry run.
const Dib* BenchPicture();

/// The name of the plain copy of the picture's and its mask's bytes, to which everything is compared.
inline constexpr const char* kCopy = "copy";

/// Measures `work`. Called while the program starts; `work` throws when it cannot do what it measures.
/// `like` names our benchmark that does the same work, for those of other libraries.
void Add(const std::string& name, std::function<void()> work, const std::string& like = "");

/// Adds what can only be listed once the picture's size is known; called by `main`.
void AddFilters();
void AddPictures();
void AddDust();
void AddStorage();

/// Each file of another library registers itself with an object of this type.
struct Peer {
    explicit Peer(void (*add)());
};

}  // namespace kestrel::bench
