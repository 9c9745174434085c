#pragma once
#include "kestrel/storage/compound/Error.h"
#include "kestrel/storage/compound/Format.h"

namespace kestrel::compound {

class File;

/// See `Storage::CopyTo`. Storages inside are walked without recursion.
Error CopyElements(File& source, EntryId from, File& target, EntryId to);

}  // namespace kestrel::compound
