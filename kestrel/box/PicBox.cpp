#include "kestrel/box/PicBox.h"

#include <algorithm>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/diagnostics/LogSink.h"

namespace kestrel {

qvPicBox::qvPicBox(IQvStorage& root, unsigned long mode, const char* pictures, bool keepNative, bool external)
    : root_(root),
      picturesName_(pictures ? pictures : "Pictures"),
      keepNative_(keepNative || root.KeepNative()),
      external_(external || root.External()) {
    if (external_) {
        basePath_ = std::string(root.Path());
        return;
    }
    pictures_ = root.OpenStorage(picturesName_.c_str(), mode);
    if (!pictures_) {
        failed_ = true;
        return;
    }
    picMask_ = pictures_->OpenStorage("PicMask", mode);
    onlyPic_ = pictures_->OpenStorage("OnlyPic", mode);
    onlyMask_ = pictures_->OpenStorage("OnlyMask", mode);
    oldPicMask_ = root.OpenStorage("Pic_Mask", mode);
    rootPicMask_ = root.OpenStorage("PicMask", mode);
}

// Every stream told when it was closed whether it was kept; closing the storages adds nothing to that.
qvPicBox::~qvPicBox() {
    rootPicMask_.reset();
    oldPicMask_.reset();
    onlyMask_.reset();
    onlyPic_.reset();
    picMask_.reset();
    pictures_.reset();
}

void qvPicBox::SetRawWhiteBalance(const std::uint8_t (&flags)[3], const double (&factors)[4]) {
    std::copy(std::begin(flags), std::end(flags), whiteBalance_);
    std::copy(std::begin(factors), std::end(factors), rawFactors_);
}

void qvPicBox::SetLimits(const LoadOptions& limits) { limits_ = std::make_unique<LoadOptions>(limits); }

void qvPicBox::PutExifData(const void* bytes, std::size_t size) {
    const auto* const from = static_cast<const std::uint8_t*>(bytes);
    metadata_.exif.assign(from, from + (bytes ? size : 0));
}

void qvPicBox::PutIPTCData(const void* bytes, std::size_t size) {
    const auto* const from = static_cast<const std::uint8_t*>(bytes);
    metadata_.iptc.assign(from, from + (bytes ? size : 0));
}

void qvPicBox::Log(int line, const std::string& text) { LogLine(-1, "qvPicBox", line, text); }

bool qvPicBox::Fail(int line, const std::string& text) {
    failed_ = true;
    Log(line, text);
    return false;
}

}  // namespace kestrel
