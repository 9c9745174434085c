#pragma once
#include <cstdint>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The second loader: decodes reduced pictures of large files without decoding them at full size, by the scaled
/// decoding of JPEG and the half size of raw files. A session holds one file; calls return false when something is
/// missing or cannot be read. Sessions may be used on any thread, each on one at a time.
class KESTREL_API PolyImagePro {
public:
    struct Session;

    /// Null without memory.
    static Session* _cNewSession();
    static void _cDestroySession(Session* session);

    /// Names the file and reads its header. The three numbers are not looked at.
    static bool _cLoadImage(Session* session, const char* path, int, int, int);
    /// Size of the picture, upright, then: bits of a pixel, resolution across and down in pixels per inch (0: none),
    /// number of pages, format code, colours of a palette (0), compression (0). Pointers may be null.
    static bool _cGetImageInfo(Session* session, int* width, int* height, int* bits, int* xResolution, int* yResolution,
                               int* pages, int* format, int* colors, int* compression);
    /// Has the picture reduced to fit into this size with its proportions kept. Never enlarges. Mode and flag choose
    /// a filter and its quality; there is one.
    static bool _cOpResizeEx(Session* session, int width, int height, int mode, int flag);
    /// The picture as a packed 24-bit record.
    static bool _cGetDIB(Session* session, std::vector<std::uint8_t>* dib, int);
    /// The alpha of each pixel, lines from the top, without padding; false when the file has none.
    static bool _cGetAlphaMask(Session* session, std::vector<std::uint8_t>* mask);
};

}  // namespace kestrel
