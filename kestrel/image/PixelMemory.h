#pragma once
#include <cstdint>

// Heap memory for the rows of pictures. Not installed.
namespace kestrel {

/// A block with undefined bytes; null when memory does not suffice. Freed with `std::free`. A large one lies in huge
/// pages where the system has them: a fresh picture of 24 megapixels then meets 50 page faults, not 24,000.
void* AllocatePixels(std::uint64_t bytes);
/// The same with all bytes 0.
void* AllocateZeroPixels(std::uint64_t bytes);

}  // namespace kestrel
