#include "kestrel/codec/TiffLibrary.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <new>

namespace kestrel {
namespace {

TiffStream* StreamOf(thandle_t handle) { return static_cast<TiffStream*>(handle); }

tmsize_t ReadStream(thandle_t handle, void* to, tmsize_t count) {
    return static_cast<tmsize_t>(StreamOf(handle)->Read(to, static_cast<std::size_t>(count)));
}

tmsize_t WriteStream(thandle_t handle, void* from, tmsize_t count) {
    return StreamOf(handle)->Write(from, static_cast<std::size_t>(count)) ? count : -1;
}

toff_t SeekStream(thandle_t handle, toff_t offset, int whence) {
    TiffStream* const stream = StreamOf(handle);
    const std::uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? stream->Position() : stream->Size();
    return stream->Seek(base + offset) ? base + offset : static_cast<toff_t>(-1);
}

toff_t SizeOfStream(thandle_t handle) { return StreamOf(handle)->Size(); }

int CloseStream(thandle_t) { return 0; }

int OnError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    std::string& error = StreamOf(user)->error;
    if (error.empty()) error = text;
    return 1;
}

int OnWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

}  // namespace

TiffLibrary::TiffLibrary() : SharedLibrary(KESTREL_TIFF_LIBRARY) {}

CodecError TiffLibrary::Missing() {
    return {CodecFault::NotSupported, "TIFF files need the library " KESTREL_TIFF_LIBRARY};
}

const TiffLibrary* TiffLibrary::Get() {
    static const TiffLibrary library;
    return library.IsThere() ? &library : nullptr;
}

TiffFile OpenTiffFile(TiffStream& stream, const char* mode, std::uint64_t largestBlock) {
    const TiffLibrary& library = *TiffLibrary::Get();
    TIFFOpenOptions* options = library.TIFFOpenOptionsAlloc();
    if (!options) throw std::bad_alloc();
    library.TIFFOpenOptionsSetMaxSingleMemAlloc(
        options, static_cast<tmsize_t>(std::min<std::uint64_t>(largestBlock, INT64_MAX)));
    library.TIFFOpenOptionsSetErrorHandlerExtR(options, OnError, &stream);
    library.TIFFOpenOptionsSetWarningHandlerExtR(options, OnWarning, nullptr);
    TiffFile file(library.TIFFClientOpenExt("TIFF", mode, &stream, ReadStream, WriteStream, SeekStream, CloseStream,
                                            SizeOfStream, nullptr, nullptr, options));
    library.TIFFOpenOptionsFree(options);
    return file;
}

}  // namespace kestrel
