#include "kestrel/framework/ClassTable.h"

#include "kestrel/filters/tone/InvertFilter.h"

namespace kestrel {
namespace {

// The order is that of the registration and of a catalogue's entries with equal ids.
constexpr ClassRow kClasses[] = {
    FilterRow<CInvertFilter>(),
};

}  // namespace

std::span<const ClassRow> ClassTable() { return kClasses; }

}  // namespace kestrel
