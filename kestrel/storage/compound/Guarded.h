#pragma once
#include <new>
#include <stdexcept>

#include "kestrel/storage/compound/Error.h"

namespace kestrel::compound {

/// Runs an operation; memory that runs out becomes an error, after `onFailure`.
template <class Operation, class OnFailure>
auto Guarded(const Operation& operation, const OnFailure& onFailure) -> decltype(operation()) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        onFailure();
    } catch (const std::length_error&) {
        onFailure();
    }
    return Error::kOutOfMemory;
}

}  // namespace kestrel::compound
