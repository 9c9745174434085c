#pragma once
// Picture files, as hosts read and write them.
#include "kestrel/codec/ImageLoader.h"
