#include "kestrel/storage/QvHelperStream.h"

namespace kestrel {

QvHelperStream::QvHelperStream(int size)
    : storage_(size), stream_(storage_.CreateStream("TempStream", kStorageRead | kStorageWrite | kStorageCreate)) {}

}  // namespace kestrel
