#pragma once
#include "kestrel/image/Dib.h"

namespace kestrel {

/// A picture with its transparency.
struct Picture {
    DibPtr image;  ///< 24-bit rows, the bottom row first
    DibPtr mask;   ///< 8-bit rows of the same size, 0 visible and 255 nothing; null: visible everywhere

    int Width() const { return image ? image->biWidth : 0; }
    int Height() const { return image ? image->biHeight : 0; }
};

/// A picture of colour 0 with a mask of 255: nothing there. Without an image when memory does not suffice.
KESTREL_API Picture MakePicture(int width, int height);

/// A part of a picture that lies inside it; (`left`, `top`) is its upper left corner, counted from the picture's upper
/// left corner. Without an image when memory does not suffice.
KESTREL_API Picture CutPicture(const Picture& picture, int left, int top, int width, int height);

}  // namespace kestrel
