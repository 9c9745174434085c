#include "kestrel/codec/RowEncoder.h"

#include <new>

#include "kestrel/codec/Codecs.h"

namespace kestrel {

bool RowEncoder::Writes(ImageFormat format) {
    const Codec* const codec = FindCodec(format);
    return codec && codec->create;
}

RowEncoder::RowEncoder(std::FILE* stream, int width, int height, bool alpha, const SaveOptions& options)
    : stream_(stream), target_(stream) {
    try {
        const FileOptions about(options, width, height);
        if (!Writes(options.format))
            error_ = {CodecFault::NotSupported,
                      std::string("files of the format ") + FormatName(options.format) + " are not written by rows"};
        else
            encoder_ = FindCodec(options.format)->create(target_, {width, height, alpha}, about, error_);
    } catch (const std::bad_alloc&) {
        error_ = NoMemory();
    }
}

RowEncoder::~RowEncoder() = default;

bool RowEncoder::Write(const std::uint8_t* pixels, const std::uint8_t* mask) {
    return encoder_ && encoder_->Write(pixels, mask);
}

CodecError RowEncoder::Finish() {
    if (encoder_) error_ = encoder_->Finish();
    encoder_.reset();
    if (!error_ && std::fflush(stream_) != 0) error_ = WriteError();
    return error_;
}

}  // namespace kestrel
