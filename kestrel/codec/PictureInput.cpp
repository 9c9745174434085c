#include "kestrel/codec/PictureInput.h"

#include <sys/stat.h>

#include <cerrno>
#include <new>
#include <stdexcept>

#include "kestrel/codec/Exif.h"

namespace kestrel {
namespace {

CodecError UnknownFormat() { return {CodecFault::UnknownFormat, "the file is no picture of a known format"}; }

/// All bytes of a pipe or another file that has no size, unless its first ones are those of no picture.
CodecError ReadStream(std::FILE* file, std::uint64_t limit, std::vector<std::uint8_t>& bytes) {
    std::uint8_t buffer[1 << 16];
    std::size_t size;
    while ((size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        const bool first = bytes.empty();
        if (bytes.size() + size > limit)
            return {CodecFault::InputLimit, "the input is longer than " + std::to_string(limit) + " bytes"};
        bytes.insert(bytes.end(), buffer, buffer + size);
        if (first && FormatOfContent(bytes) == ImageFormat::Unknown) return UnknownFormat();
    }
    return std::ferror(file) ? SystemError() : CodecError();
}

/// What holds for every format once its decoder has done its part.
void Complete(LoadResult& result, bool sizeOnly) {
    if (result.image && result.fullWidth == 0) {
        result.fullWidth = result.image->biWidth;
        result.fullHeight = result.image->biHeight;
    }
    if (result.image) result.hasAlpha = result.mask != nullptr;
    if (result.metadata.density.unit == Density::Unit::None)
        result.metadata.density = ExifDensity(result.metadata.exif);
    if (sizeOnly && !result.error) result.condition = Condition::Nothing;
    if (!result.error) return;
    result.condition = Condition::Nothing;
    result.image.reset();
    result.mask.reset();
}

}  // namespace

PictureInput::PictureInput(const std::string& path, const LoadOptions& options)
    : options_(options), named_(options.named), file_(std::fopen(path.c_str(), "rbe")), source_(nullptr) {
    struct stat status {};
    if (!file_ || fstat(fileno(file_.get()), &status) != 0) {
        error_ = SystemError();
    } else if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        error_ = SystemError();
    } else {
        if (S_ISREG(status.st_mode) && named_ == ImageFormat::Unknown) named_ = FormatOfPath(path);
        Take(file_.get());
    }
}

PictureInput::PictureInput(std::FILE* stream, const LoadOptions& options)
    : options_(options), named_(options.named), source_(nullptr) {
    Take(stream);
}

PictureInput::PictureInput(std::span<const std::uint8_t> bytes, const LoadOptions& options)
    : options_(options), named_(options.named), source_(bytes) {}

void PictureInput::Take(std::FILE* stream) {
    struct stat status {};
    const int descriptor = fileno(stream);  // a stream in memory has none and can seek
    if (descriptor < 0 || (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))) {
        source_ = ByteReader(stream);
        start_ = source_.Position();
        return;
    }
    try {
        error_ = ReadStream(stream, options_.inputLimit, bytes_);
    } catch (const std::bad_alloc&) {
        error_ = NoMemory();
    }
    source_ = ByteReader(bytes_);
}

/// Finds the format and leaves the source at its start; otherwise sets the error.
bool PictureInput::Identify(LoadResult& result) {
    std::uint8_t start[kFormatBytes];
    source_.Seek(start_);
    const std::size_t size = source_.Read(start, sizeof start);
    if (size == 0) {
        result.error = {CodecFault::UnknownFormat, "the file is empty"};
        return false;
    }
    result.condition = Condition::Whole;
    result.format = FormatOfContent({start, size});
    if (result.format == ImageFormat::Tiff && source_.Seek(start_ + TiffDirectory({start, size}))) {
        std::uint8_t directory[kFormatBytes];
        const std::size_t known = source_.Read(directory, sizeof directory);
        if (IsCameraDirectory({directory, known}, start[0] == 'M')) result.format = ImageFormat::Raw;
    }
    // By its name: a raw file may look like a plain TIFF file.
    const bool vague = result.format == ImageFormat::Tiff || result.format == ImageFormat::Unknown;
    if (vague && named_ == ImageFormat::Raw) result.format = named_;
    if (source_.Seek(start_)) return true;
    result.error = SystemError();
    return false;
}

LoadResult PictureInput::With(const Use& use) {
    LoadResult result;
    result.error = error_;
    if (result.error || !Identify(result)) return result;
    try {
        const Codec* const codec = FindCodec(result.format);
        if (!codec)
            result.error = UnknownFormat();
        else if (options_.trustedOnly && !FindFormat(result.format)->trusted)
            result.error = {CodecFault::Untrusted, std::string("files of the format ") + FormatName(result.format) +
                                                       " need a decoder that is not among the trusted ones"};
        else if (FindFormat(result.format)->pages || HasPage(options_, result))
            use(*codec, result);
    } catch (const std::bad_alloc&) {
        result.error = NoMemory();
    } catch (const std::runtime_error& error) {  // from a decoder that would otherwise end the program
        result.error = {CodecFault::Broken, error.what()};
    }
    Complete(result, options_.sizeOnly);
    return result;
}

LoadResult PictureInput::Load() {
    return With([this](const Codec& codec, LoadResult& result) { LoadWith(codec, source_, options_, result); });
}

std::unique_ptr<LineDecoder> PictureInput::Open(LoadResult& result) {
    std::unique_ptr<LineDecoder> decoder;
    result = With([&](const Codec& codec, LoadResult& about) {
        if (codec.open) decoder = codec.open(source_, options_, about);
        if (decoder) about.hasAlpha = decoder->HasAlpha();
    });
    return decoder;
}

}  // namespace kestrel
