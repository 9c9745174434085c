#include "kestrel/codec/RowDecoder.h"

#include <utility>

#include "kestrel/codec/PictureInput.h"
#include "kestrel/codec/ScanlineOrienter.h"

namespace kestrel {
namespace {

constexpr int kUpright = 1;
constexpr int kMirrored = 2;  ///< left and right, which a row knows by itself

}  // namespace

RowDecoder::RowDecoder(const std::string& path, const LoadOptions& options)
    : input_(std::make_unique<PictureInput>(path, options)) {
    Open();
}

RowDecoder::RowDecoder(std::FILE* stream, const LoadOptions& options)
    : input_(std::make_unique<PictureInput>(stream, options)) {
    Open();
}

RowDecoder::~RowDecoder() = default;

void RowDecoder::Open() {
    decoder_.reset();  // it reads from the same place
    decoder_ = input_->Open(about_);
    if (about_.orientation != kUpright && about_.orientation != kMirrored) decoder_.reset();
    if (!decoder_) return;
    width_ = decoder_->Width();
    height_ = decoder_->Height();
}

std::uint64_t RowDecoder::Memory() const { return decoder_ ? decoder_->Memory() : 0; }

bool RowDecoder::Read(std::uint8_t* pixels, std::uint8_t* mask) {
    broken_ = broken_ || !decoder_->Read(pixels, mask);
    if (broken_) {
        ClearLine(pixels, mask, width_);
        return began_;
    }
    began_ = true;
    if (about_.orientation == kMirrored) {
        MirrorLine(pixels, width_, 3);
        if (mask) MirrorLine(mask, width_, 1);
    }
    return true;
}

const LoadResult& RowDecoder::Finish() {
    if (decoder_ && !std::exchange(finished_, true)) {
        decoder_->Finish(about_);
        if (about_.error) about_.condition = Condition::Nothing;
    }
    return about_;
}

bool RowDecoder::Restart() {
    began_ = broken_ = finished_ = false;
    Open();
    return decoder_ != nullptr;
}

void RowDecoder::Prefer(int width, int height) {
    input_->Prefer(width, height);
    Restart();
}

LoadResult RowDecoder::LoadWhole() {
    decoder_.reset();  // it reads from the same place
    return input_->Load();
}

}  // namespace kestrel
