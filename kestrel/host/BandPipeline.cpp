#include "kestrel/host/BandPipeline.h"

#include <algorithm>
#include <new>
#include <utility>

namespace kestrel {
namespace {

constexpr int kRowsAtATime = 16;  ///< that a thread reads before it looks around

}  // namespace

BandPipeline::BandPipeline(const RowWindow& input, std::vector<Band> bands, int width, int threads)
    : bands_(std::move(bands)),
      window_(input),
      slots_(std::min(static_cast<std::size_t>(threads) + 1, bands_.size())),
      unread_(input.pixels ? 0 : input.height) {
    if (!input.pixels) {
        const int kept = RowsToKeep(bands_, threads, input.height);
        held_.image.reset(DibCreate(24, input.width, kept));
        if (input.hasMask) held_.mask.reset(DibCreate(8, input.width, kept));
        if (!held_.image || (input.hasMask && !held_.mask)) throw std::bad_alloc();
        window_ = RowWindow::Of(held_.image.get(), held_.mask.get());
        window_.height = input.height;
    }
    int highest = 0;
    for (const Band& band : bands_) highest = std::max(highest, band.output.count);
    for (Slot& slot : slots_) {
        slot.picture = MakePicture(width, highest);
        if (!slot.picture.image) throw std::bad_alloc();
        for (int y = 0; y < highest; ++y) {
            slot.pixels.push_back(DibRow(slot.picture.image.get(), y));
            slot.masks.push_back(DibRow(slot.picture.mask.get(), y));
        }
    }
}

int BandPipeline::RowsToKeep(const std::vector<Band>& bands, int ahead, int inputHeight) {
    int rows = 1;
    for (std::size_t i = 0; i < bands.size(); ++i) {
        const RowSpan& last = bands[std::min(i + static_cast<std::size_t>(ahead), bands.size() - 1)].input;
        rows = std::max(rows, bands[i].input.End() - last.first);
    }
    return std::min(rows, std::max(inputHeight, 1));
}

void BandPipeline::SetEnds(RowFeed feed, RowTaker take) {
    feed_ = std::move(feed);
    take_ = std::move(take);
}

void BandPipeline::Work(const MakeBand& make, bool alone) {
    Lock lock(guard_);
    while (!Ended()) {
        if (make && alone && MayMake())
            Make(lock, make);
        else if (MayWrite())
            Write(lock);
        else if (MayRead())
            Read(lock);
        else if (make && MayMake())
            Make(lock, make);
        else
            changed_.wait(lock);  // for a piece that another thread is at
    }
}

FilterResult BandPipeline::Result() const {
    if (thrown_) std::rethrow_exception(thrown_);
    return result_;
}

/// Rows that can come in now: those whose places in the window no band at work or to come needs any more.
int BandPipeline::ReadableRows() {
    if (oldest_ == bands_.size()) return std::min(unread_, kRowsAtATime);
    const int lowestPlace = std::max(bands_[oldest_].input.End() - window_.kept, 0);
    return std::clamp(unread_ - lowestPlace, 0, kRowsAtATime);
}

/// Runs a piece of work without the lock; it returns a result.
template <class Piece>
void BandPipeline::Unlocked(Lock& lock, const Piece& piece) {
    lock.unlock();
    HRESULT result = S_OK;
    std::exception_ptr thrown;
    try {
        result = HRESULT{piece()};
    } catch (...) {
        thrown = std::current_exception();
    }
    lock.lock();
    changed_.notify_all();
    if ((result == S_OK && !thrown) || failed_) return;
    failed_ = true;
    result_ = result;
    thrown_ = thrown;
}

void BandPipeline::Write(Lock& lock) {
    writing_ = true;
    Slot& slot = SlotOf(written_);
    const int count = bands_[written_].output.count;
    Unlocked(lock, [&]() -> FilterResult {
        for (auto y = static_cast<std::size_t>(count); y > 0; --y)
            if (!take_(slot.pixels[y - 1], slot.masks[y - 1])) return E_FAIL;
        return S_OK;
    });
    slot.done = false;
    ++written_;
    writing_ = false;
}

void BandPipeline::Read(Lock& lock) {
    reading_ = true;
    const int first = unread_ - ReadableRows();
    const int end = unread_;
    Unlocked(lock, [&]() -> FilterResult {
        for (int y = end - 1; y >= first; --y)
            feed_(DibRow(held_.image.get(), y % window_.kept),
                  held_.mask ? DibRow(held_.mask.get(), y % window_.kept) : nullptr);
        return S_OK;
    });
    unread_ = first;
    reading_ = false;
}

void BandPipeline::Make(Lock& lock, const MakeBand& make) {
    const std::size_t band = next_++;
    Slot& slot = SlotOf(band);
    Unlocked(lock, [&]() -> FilterResult { return make(bands_[band].output, slot.pixels.data(), slot.masks.data()); });
    slot.done = true;
    while (oldest_ < next_ && (SlotOf(oldest_).done || oldest_ < written_)) ++oldest_;
}

}  // namespace kestrel
