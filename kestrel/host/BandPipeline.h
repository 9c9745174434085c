#pragma once
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <vector>

#include "kestrel/framework/FilterResult.h"
#include "kestrel/host/Picture.h"
#include "kestrel/host/RowWindow.h"
#include "kestrel/image/RowSpan.h"

namespace kestrel {

/// Fills the next row of a picture, from the top down: 24-bit pixels, and the mask where the picture has one.
using RowFeed = std::function<void(std::uint8_t* pixels, std::uint8_t* mask)>;
/// Takes the next row of a result, from the top down, and may write over it. False: it takes no more.
using RowTaker = std::function<bool(std::uint8_t* pixels, std::uint8_t* mask)>;

/// A picture that is made in bands of rows, from the top down, while its input still comes in and the bands before are
/// on their way out. Any number of threads take part; one at a time reads, one at a time writes, all others make bands
/// if they have a line of filters of their own. Only the rows that bands at work need are in memory.
class BandPipeline {
public:
    struct Band {
        RowSpan output;  ///< rows of the result
        RowSpan input;   ///< rows of the picture that they are made of
    };
    /// Makes the rows of a band into row tables that begin with its lowest row. Called from several threads.
    using MakeBand = std::function<FilterResult(RowSpan rows, std::uint8_t* const* pixels, std::uint8_t* const* masks)>;

    /// `input` is all of a picture, or its size alone; then its rows come in. `bands` in their order from the top;
    /// `width` is that of the result. Throws `std::bad_alloc`.
    BandPipeline(const RowWindow& input, std::vector<Band> bands, int width, int threads);

    /// Input rows that have to be in memory at once so that `ahead` bands after any one can be made beside it.
    static int RowsToKeep(const std::vector<Band>& bands, int ahead, int inputHeight);
    /// The rows that are in memory now and in the course of the run.
    const RowWindow& Rows() const { return window_; }
    void SetEnds(RowFeed feed, RowTaker take);
    /// Frees the rows that came in, all of which have been used.
    void DropInput() { held_ = {}; }

    /// Takes part until all is done or something failed; without `make` only in reading and writing. `alone`: no other
    /// thread makes bands, so that this one leaves the rest to them as long as it has bands to make. Exceptions of
    /// feed, taker and `make` end the run; the one that came first is thrown again by `Result`.
    void Work(const MakeBand& make, bool alone = false);
    /// What came of it, once all threads are back: `E_FAIL` when the taker took no more.
    FilterResult Result() const;

private:
    using Lock = std::unique_lock<std::mutex>;
    /// The buffer of a band between its making and its writing.
    struct Slot {
        Picture picture;
        std::vector<std::uint8_t*> pixels, masks;  ///< row tables
        bool done = false;
    };

    Slot& SlotOf(std::size_t band) { return slots_[band % slots_.size()]; }
    bool Ended() const { return failed_ || (written_ == bands_.size() && unread_ == 0); }
    bool MayWrite() { return !writing_ && written_ < next_ && SlotOf(written_).done; }
    bool MayRead() { return !reading_ && ReadableRows() > 0; }
    bool MayMake() const {
        return next_ < bands_.size() && next_ - written_ < slots_.size() && bands_[next_].input.first >= unread_;
    }
    int ReadableRows();
    void Write(Lock& lock);
    void Read(Lock& lock);
    void Make(Lock& lock, const MakeBand& make);
    template <class Piece>
    void Unlocked(Lock& lock, const Piece& piece);

    const std::vector<Band> bands_;
    Picture held_;  ///< rows of an input that comes in
    RowWindow window_;
    std::vector<Slot> slots_;
    RowFeed feed_;
    RowTaker take_;

    std::mutex guard_;  ///< of all that follows
    std::condition_variable changed_;
    int unread_;               ///< rows of the picture that have not come in; those above them have
    std::size_t next_ = 0;     ///< first band that nobody has begun
    std::size_t oldest_ = 0;   ///< first band that is not made
    std::size_t written_ = 0;  ///< bands that are out
    bool reading_ = false;
    bool writing_ = false;
    bool failed_ = false;
    HRESULT result_ = S_OK;
    std::exception_ptr thrown_;
};

}  // namespace kestrel
