#pragma once
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/FilterGeometry.h"
#include "kestrel/framework/FilterResult.h"
#include "kestrel/framework/IPdibFilterCreator.h"
#include "kestrel/framework/PdibFilterChain.h"
#include "kestrel/host/BandPipeline.h"
#include "kestrel/host/Picture.h"
#include "kestrel/host/PictureSink.h"
#include "kestrel/host/PictureSource.h"
#include "kestrel/image/RowSpan.h"

namespace kestrel {

/// A line of a chain text that cannot be used. Lines count from 1.
struct ChainFault {
    int line = 0;
    std::string reason;
};

/// The output of one link of a line.
struct LinkGeometry {
    std::string progId;  ///< empty for the picture at the head of the line
    FilterGeometry geometry;
};

/// A picture, a chain and what comes out: the one way in which hosts run a chain.
///
/// Chain texts hold one filter a line: ProgID, a TAB, the parameter text, a line feed. The whole output picture is
/// made in one go: as one request where a filter measures its request, in bands of rows otherwise. One thread at a
/// time, `SetAbort` apart; several renderings in several threads do not disturb each other. Operations other than those
/// with a result throw `std::bad_alloc` when memory does not suffice.
class KESTREL_API Rendering {
public:
    /// A chain of more filters is refused. Requests and updates run through all of them on the caller's stack, with
    /// `CPdibFilterChain::kStackPerLink` bytes for each.
    static constexpr int kMaximumFilters = CPdibFilterChain::kMaximumFilters;

    Rendering();
    ~Rendering();
    Rendering(const Rendering&) = delete;
    Rendering& operator=(const Rendering&) = delete;

    /// Makes the chain equal to a text, one filter for each line; filters that match already keep their caches. A text
    /// with a line that cannot be used changes nothing; the first such line is reported. An empty text is an empty
    /// chain.
    [[nodiscard]] std::optional<ChainFault> SetChainText(std::string_view text);
    /// Adds a filter by its cost, with a parameter text; null leaves the values that it was made with. `E_FAIL` for an
    /// unknown ProgID and for one filter too many.
    [[nodiscard]] HRESULT AddFilter(const char* progId, const char* text);
    /// The chain as text, in the form that `SetChainText` takes, with the active or the pending values.
    std::string ChainText(bool active) const;
    int FilterCount() const;
    IPdibFilterChain& Chain() { return *chain_; }

    /// Takes a picture over. `E_INVALIDARG` unless the image is 24-bit and the mask, if any, 8-bit of the same size.
    [[nodiscard]] HRESULT SetPicture(Picture picture);
    /// Takes the size of a picture whose rows only `RenderRows` will get to see. `E_INVALIDARG` for a size below 1.
    [[nodiscard]] HRESULT SetPictureSize(int width, int height, bool hasMask);
    /// Factor by which the picture is smaller than its full-size original; some filters scale their pixel sizes by it.
    /// `E_INVALIDARG` unless it is finite and above 0; the factor then stays as it was.
    [[nodiscard]] HRESULT SetRenderScale(double scale);
    /// Size in pixels, above 0, in which the host shows the picture. It goes down the line from the picture's side and
    /// is what the host's end answers when the line asks for a size.
    void SetViewSize(int width, int height);

    /// Threads that make a picture, the caller's among them; 1 in a new rendering. They make bands of rows where the
    /// line works in bands, and share the passes of filters that need the whole picture. The bytes are the same for any
    /// number. `E_INVALIDARG` below 1.
    [[nodiscard]] HRESULT SetThreads(int threads);

    /// Puts the host's own services (text drawing, descriptors) in the place of the text renderer; null: none.
    void SetServices(IHostServices* services) {
        sink_->SetServices(services);
        servedByHost_ = true;
    }

    /// Brings the line up to date and returns the size of the output.
    void GetOutputSize(int* width, int* height);
    /// The output of each link, from the picture to the last filter. No cache is lost by asking.
    std::vector<LinkGeometry> LinkGeometries();
    /// The view's size as it arrives at the end of the line; -1, -1 when none was set.
    void GetViewSize(int* width, int* height);
    /// The size in which the line asks for the picture to fill the view; -1, -1 when it takes any size.
    void GetRequiredSize(int* width, int* height);
    /// Whether a picture that comes reduced to `width` x `height` can stand for the one whose size is set: the output
    /// keeps its size, and no filter before the one that decides it has lengths in pixels. Sets the new size.
    bool MakesTheSameOf(int width, int height);
    /// Pixels of the largest picture that any link of the line outputs.
    std::int64_t LargestPixelCount();

    /// About how many bytes `Render` and `RenderRows` need for the picture whose size is set: the picture, what the
    /// filters keep, and what there is of the output at a time. 0 from `MemoryOfRows` for a line that `RenderRows`
    /// refuses.
    std::uint64_t MemoryOfWhole();
    std::uint64_t MemoryOfRows();

    /// Makes the output picture. The input stays for another rendering. Results other than `S_OK`: `S_FALSE` after an
    /// abort, `E_INVALIDARG` for an output without pixels, `E_OUTOFMEMORY`, or what a filter answered.
    [[nodiscard]] HRESULT Render(Picture& result);
    /// The same once, for a host that does not ask again: the input picture is consumed, and no filter keeps a picture
    /// that has been used. A line of filters that all work in place makes the output in the input's own rows, so that
    /// one picture and its mask are all the memory that is needed; where filters need the whole picture, that of one
    /// and its input are in memory at a time.
    [[nodiscard]] HRESULT RenderAndRelease(Picture& result);
    /// Why rows of the output cannot be made of rows of the input: the ProgID of the first filter that needs the whole
    /// picture at once. Empty when they can.
    std::string NeedsWholePicture();
    /// Can `RenderRows` make the output? Not where a filter measures its request, which has to be one then.
    bool ServesRows();
    /// Makes rows of the output while those of the input come in: for pictures that are too large for memory, and to
    /// read, filter and write at the same time. `feed` gets every row of a picture of the size that was set, `take` the
    /// rows `rows` of the output, both from the top down, one call at a time but from any of the threads; what they
    /// throw ends the work and is thrown to the caller. A picture that was set is used instead of `feed`. A line that
    /// needs the whole picture has it in memory until its filters have used it, one that was set too, but not its
    /// output. The bytes are those of `Render`. Besides its results: `E_INVALIDARG` for a line that does not serve rows
    /// and for rows outside the output, `E_FAIL` when `take` returned false. The line's filters keep no pictures.
    /// `bandRows` is the height of a band; 0: what suits the line.
    [[nodiscard]] HRESULT RenderRows(RowSpan rows, const RowFeed& feed, const RowTaker& take, int bandRows = 0);
    /// One colour as the line would show it: blue, green, red, mask.
    [[nodiscard]] HRESULT TransformColor(std::uint8_t* pixel);

    /// Stops (true) a running request, and all later ones until it is taken back (false). From any thread, during a
    /// request or with none.
    void SetAbort(bool abort);

private:
    /// Does each line of a sound text name the filter of its number?
    bool NamesTheFirstFilters(std::string_view text) const;
    void Update();
    /// Are all filters ones of the class table, with descriptions that pass a test?
    bool EveryFilter(bool (*test)(const Description&)) const;
    /// May the output go into the input's rows?
    bool WorksInPlace() const;
    /// `inBands`: whether the filters have been told to work in bands.
    FilterResult RenderInto(Picture& result, bool inBands);
    HRESULT RenderWhole(Picture& result, bool inBands);
    HRESULT RenderInPlace(Picture& result);
    HRESULT RenderOnce(Picture& result);
    class Once;
    /// Visits the filters from the last to the first; false when there is a link of another kind, or `visit` says so.
    template <class Visit>
    bool EachFilterUpstream(const Visit& visit) const;
    void WorkInBands(bool bands);
    /// The rows of the picture that rows of the output are made of. With `kept`, which has the lowest row so far for
    /// each filter from the last on, it is without those that filters have kept of earlier ones.
    RowSpan InputRows(RowSpan output, std::vector<int>* kept = nullptr) const;
    /// Does a filter keep rows of a band for the next one, so that bands are to be made in their order?
    bool MakesBandsInOrder() const;
    /// Bytes of the pictures that filters make a band of the output with.
    std::uint64_t MemoryOfBand(const std::vector<LinkGeometry>& links, RowSpan rows) const;
    /// Height of bands for rows of the output, high enough that what neighbours share is a small part of the work.
    int BandHeight(RowSpan rows, int width) const;
    /// `ofWhole`: each band is made of the whole picture.
    std::vector<BandPipeline::Band> BandsOf(RowSpan rows, int width, int bandRows, bool ofWhole) const;
    FilterResult RunBands(BandPipeline& pipeline, int width, bool inBands);
    /// Calls `work(line)` on this thread with this line, and on up to `count` others, each with a line of its own that
    /// follows this one. Returns when all are done.
    template <class Work>
    void WithHelpers(int count, bool inBands, const Work& work);
    /// Can a thread have a line of its own?
    bool CanBeFollowed() const;
    /// How many threads beside the caller's are worth their start for a picture of so many bands.
    int HelperCount(int bands, bool inBands) const;
    /// Is the head of the line this rendering's source, and not one that the host put there?
    bool ServesOwnPicture() const;
    /// Becomes like another rendering, whose picture it shares. False when its chain cannot be had by text.
    bool Follow(const Rendering& other, const std::string& pending, const std::string& active);
    template <class Work>
    FilterResult Bounded(const Work& work);

    Ref<IPdibFilterCreator> creator_;
    Ref<IPdibFilterChain> chain_;
    Ref<PictureSource> source_;
    Ref<PictureSink> sink_;
    Picture picture_;
    bool servedByHost_ = false;  ///< the services may bear one thread only
    double renderScale_ = 1.0;
    int viewWidth_ = -1;
    int viewHeight_ = -1;
    int threads_ = 1;
    int version_ = -1;  ///< of the line, as this consumer has seen it
    std::atomic<bool> aborted_{false};
};

}  // namespace kestrel
