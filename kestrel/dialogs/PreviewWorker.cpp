#include "kestrel/dialogs/PreviewWorker.h"

#include <fmt/format.h>

#include <QTimer>
#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace kestrel {
namespace {

/// A reduced picture serves views that need it up to this much smaller: a crop that is dragged changes the size of the
/// output at every step.
constexpr double kSparePixels = 1.5;

/// The picture as the screen takes it, the top row first; alpha is 255 - mask.
QImage ToImage(const Picture& picture) {
    const int width = picture.Width(), height = picture.Height();
    QImage image(width, height, picture.mask ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    if (image.isNull()) return image;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* pixel = DibRow(picture.image.get(), y);
        const std::uint8_t* const mask = picture.mask ? DibRow(picture.mask.get(), y) : nullptr;
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(height - 1 - y));
        for (int x = 0; x < width; ++x, pixel += 3)
            line[x] = qRgba(pixel[2], pixel[1], pixel[0], mask ? 255 - mask[x] : 255);
    }
    return image;
}

}  // namespace

PreviewWorker::PreviewWorker(Picture picture, QObject* parent)
    : QObject(parent), image_(picture.image.get()), width_(picture.Width()), height_(picture.Height()) {
    if (full_.SetPicture(std::move(picture)) != S_OK) image_ = nullptr;
    thread_ = std::thread([this] { Run(); });
}

PreviewWorker::~PreviewWorker() {
    {
        const std::lock_guard lock(guard_);
        ending_ = true;
        SetAbort(true);
    }
    wake_.notify_one();
    thread_.join();
}

void PreviewWorker::Ask(PreviewRequest request) {
    const std::lock_guard lock(guard_);
    waiting_ = std::move(request);
    ++asked_;
    wake_.notify_one();
    if (running_ == 0) return;
    const auto had = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started_);
    // Precise: a timer that comes early would find the moment not over.
    QTimer::singleShot(std::max(kGrace - had, std::chrono::milliseconds(0)), Qt::PreciseTimer, this,
                       &PreviewWorker::StopOutdated);
}

bool PreviewWorker::IsBusy() {
    const std::lock_guard lock(guard_);
    return running_ != 0;
}

void PreviewWorker::StopOutdated() {
    const std::lock_guard lock(guard_);
    if (running_ != 0 && running_ != asked_ && Clock::now() - started_ >= kGrace) SetAbort(true);
}

void PreviewWorker::SetAbort(bool abort) {
    full_.SetAbort(abort);
    small_.SetAbort(abort);
}

void PreviewWorker::Run() {
    std::unique_lock lock(guard_);
    for (;;) {
        wake_.wait(lock, [this] { return ending_ || waiting_; });
        if (ending_) return;
        const PreviewRequest request = *std::exchange(waiting_, std::nullopt);
        const std::uint64_t number = running_ = asked_;
        started_ = Clock::now();
        SetAbort(false);
        lock.unlock();
        Preview preview = Make(request);
        lock.lock();
        running_ = 0;
        // A result that came in its moment is shown although a newer request waits.
        if (!ending_ && (number == asked_ || !preview.image.isNull()))
            QMetaObject::invokeMethod(
                this, [this, preview = std::move(preview)] { Q_EMIT Ready(preview); }, Qt::QueuedConnection);
    }
}

Preview PreviewWorker::Make(const PreviewRequest& request) {
    Preview preview{.request = request, .image = {}, .full = {}};
    HRESULT result = E_FAIL;
    try {
        result = Render(request, preview);
    } catch (const std::bad_alloc&) {
        result = E_OUTOFMEMORY;
    }
    if (result != S_OK || preview.image.isNull())
        preview.problem = result == E_OUTOFMEMORY ? "IDS_PREVIEW_MEMORY" : "IDS_PREVIEW_FAILED";
    return preview;
}

HRESULT PreviewWorker::Render(const PreviewRequest& request, Preview& preview) {
    if (!image_ || full_.SetChainText(request.chainText)) return E_INVALIDARG;
    int width = 0, height = 0;
    full_.GetOutputSize(&width, &height);
    preview.full = {width, height};
    double factor = 1;
    if (!request.box.isEmpty())
        factor = std::max({1.0, 1.0 * width / request.box.width(), 1.0 * height / request.box.height()});

    Picture picture;
    HRESULT result = S_OK;
    if (factor == 1) {
        result = full_.Render(picture);
    } else {
        if (smallFactor_ > factor || smallFactor_ * kSparePixels < factor) result = Reduce(factor);
        if (result == S_OK && small_.SetChainText(request.chainText)) result = E_INVALIDARG;
        if (result == S_OK) result = small_.Render(picture);
    }
    if (result == S_OK) preview.image = ToImage(picture);
    return result;
}

HRESULT PreviewWorker::Reduce(double factor) {
    const auto reduced = [factor](int size) { return std::max(1, static_cast<int>(std::lround(size / factor))); };
    const std::string scale = fmt::format(
        "TMFilter.Scale.1\tKeepProportions=0, AllowEnlarge=0, MaximumHorizontalSize={}, MaximumVerticalSize={}\n",
        reduced(width_), reduced(height_));
    if (full_.SetChainText(scale)) return E_INVALIDARG;
    Picture picture;
    HRESULT result = full_.Render(picture);
    if (result != S_OK) return result;
    smallFactor_ = 0;
    result = small_.SetPicture(std::move(picture));
    if (result == S_OK) result = small_.SetRenderScale(factor);
    if (result == S_OK) smallFactor_ = factor;
    return result;
}

}  // namespace kestrel
