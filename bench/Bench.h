#pragma once
// What the files of Kestrel's own benchmark program share.
#include "bench/Worker.h"
#include "kestrel/host/Picture.h"

namespace kestrel::bench {

/// The picture that everything is measured over, 24 bits and no mask; the same with transparent surroundings; one of
/// half its width and height.
const Picture& BenchPicture();
const Picture& CutOutPicture();
const Picture& HalfPicture();

/// The picture beside itself and its mirror images, so that a large one takes no longer to make than a small one.
DibPtr Tile(const Dib* tile, int width, int height);

/// Is this a dry run, over a picture of a few pixels?
bool IsDry();

void AddFilters(Worker& worker);
void AddPictures(Worker& worker);
void AddDust(Worker& worker);
void AddStorage(Worker& worker);

}  // namespace kestrel::bench
