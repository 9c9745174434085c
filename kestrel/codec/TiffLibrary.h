#pragma once
#include <tiffio.h>

#include <cstdint>
#include <memory>
#include <string>

#include "kestrel/codec/CodecError.h"
#include "kestrel/foundation/SharedLibrary.h"

// libtiff, as the reader and the writer of TIFF files use it. Not installed.
namespace kestrel {

struct TiffLibrary : SharedLibrary {
    TiffLibrary();
    KESTREL_LATE(TIFFOpenOptionsAlloc);
    KESTREL_LATE(TIFFOpenOptionsFree);
    KESTREL_LATE(TIFFOpenOptionsSetMaxSingleMemAlloc);
    KESTREL_LATE(TIFFOpenOptionsSetErrorHandlerExtR);
    KESTREL_LATE(TIFFOpenOptionsSetWarningHandlerExtR);
    KESTREL_LATE(TIFFClientOpenExt);
    KESTREL_LATE(TIFFClose);
    KESTREL_LATE(TIFFGetField);
    KESTREL_LATE(TIFFGetFieldDefaulted);
    KESTREL_LATE(TIFFSetField);
    KESTREL_LATE(TIFFIsCODECConfigured);
    KESTREL_LATE(TIFFCurrentDirOffset);
    KESTREL_LATE(TIFFSetDirectory);
    KESTREL_LATE(TIFFNumberOfDirectories);
    KESTREL_LATE(TIFFIsTiled);
    KESTREL_LATE(TIFFScanlineSize64);
    KESTREL_LATE(TIFFStripSize64);
    KESTREL_LATE(TIFFTileSize64);
    KESTREL_LATE(TIFFTileRowSize64);
    KESTREL_LATE(TIFFGetStrileByteCount);
    KESTREL_LATE(TIFFComputeStrip);
    KESTREL_LATE(TIFFComputeTile);
    KESTREL_LATE(TIFFReadScanline);
    KESTREL_LATE(TIFFReadEncodedStrip);
    KESTREL_LATE(TIFFReadEncodedTile);
    KESTREL_LATE(TIFFRGBAImageOK);
    KESTREL_LATE(TIFFRGBAImageBegin);
    KESTREL_LATE(TIFFRGBAImageGet);
    KESTREL_LATE(TIFFRGBAImageEnd);
    KESTREL_LATE(TIFFDefaultStripSize);
    KESTREL_LATE(TIFFWriteScanline);
    KESTREL_LATE(TIFFFlushData);
    KESTREL_LATE(TIFFFlush);

    /// Null when it is not installed.
    static const TiffLibrary* Get();
    /// What to say then.
    static CodecError Missing();
};

/// What the library reads from or writes to. It calls from C: nothing may throw.
class TiffStream {
public:
    TiffStream() = default;
    virtual ~TiffStream() = default;
    TiffStream(const TiffStream&) = delete;
    TiffStream& operator=(const TiffStream&) = delete;

    /// Bytes that were read; fewer than asked at the end.
    virtual std::size_t Read(void* to, std::size_t count) = 0;
    virtual bool Write(const void* from, std::size_t count) = 0;
    virtual bool Seek(std::uint64_t position) = 0;
    virtual std::uint64_t Position() const = 0;
    virtual std::uint64_t Size() const = 0;

    /// The first error that the library reported, or what it was asked to say.
    std::string error{};
};

struct TiffCloser {
    void operator()(TIFF* file) const { TiffLibrary::Get()->TIFFClose(file); }
};
using TiffFile = std::unique_ptr<TIFF, TiffCloser>;

/// `largestBlock` bounds what one field or strip may allocate. Null, with the error in the stream, when the file cannot
/// be opened. The stream has to outlive the file.
TiffFile OpenTiffFile(TiffStream& stream, const char* mode, std::uint64_t largestBlock);

}  // namespace kestrel
