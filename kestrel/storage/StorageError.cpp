#include "kestrel/storage/StorageError.h"

namespace kestrel {
namespace {

thread_local std::string lastError;

}  // namespace

const std::string& LastStorageError() { return lastError; }

void SetLastStorageError(std::string text) { lastError = std::move(text); }

}  // namespace kestrel
