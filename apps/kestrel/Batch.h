#pragma once
#include "apps/kestrel/ApplyOptions.h"

/// `kestrel apply FILE... --output PATTERN`: every input through a line of filters of its own, on several threads; one
/// that fails does not stop the others. Returns the program's exit code.
int RunBatch(ApplyOptions& options, const ApplyJob& job);
