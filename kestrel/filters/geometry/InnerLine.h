#pragma once
#include <initializer_list>
#include <string>
#include <vector>

#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/FilterGeometry.h"
#include "kestrel/framework/FilterResult.h"
#include "kestrel/framework/IFilterGeometry.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/framework/IFilterPixels.h"
#include "kestrel/framework/PixelRequest.h"

namespace kestrel {

/// A line of filters inside a filter, which drives it by text. Its first link sees the owner's upstream neighbour, its
/// last one the owner's downstream neighbour, so that requests, sizes and aborts pass through it as through any line.
/// Geometry and the news of a change come in through `Update` alone.
class InnerLine {
public:
    /// The filter that holds the line.
    class Owner {
    public:
        /// The neighbours as they are now; null without one.
        virtual IFilterPixels* LineUpstream() = 0;
        virtual IFilterGeometry* LineDownstream() = 0;

    protected:
        ~Owner() = default;
    };

    /// Makes filters by ProgID and links them in this order. Throws `std::invalid_argument` for a ProgID that is not
    /// in the class table.
    InnerLine(Owner& owner, std::initializer_list<const char*> progIds);
    ~InnerLine();
    InnerLine(const InnerLine&) = delete;
    InnerLine& operator=(const InnerLine&) = delete;

    void SetText(std::size_t filter, const std::string& text);
    /// The text of the values that pixels are made with; empty when there is none.
    std::string ActiveText(std::size_t filter) const;

    /// Has a filter of the line got other values than it works with?
    bool HasChanged() const;
    /// Brings the line up to date for an input and gives its output. With `changed` the pixels of the input are new.
    FilterGeometry Update(const FilterGeometry& in, bool changed);

    IFilterGeometry& First() const { return *first_; }
    IFilterPixels& Last() const { return *last_; }
    FilterResult Transform(const PixelRequest& request) const;
    /// A size wanted of the last filter as a size wanted of the first one's input.
    HRESULT MapSize(int width, int height, int* outWidth, int* outHeight) const;

private:
    class Head;
    class Tail;

    std::vector<Ref<IFilterObject>> filters_;
    std::vector<Ref<IFilterParameters>> texts_;
    Ref<Head> head_;
    Ref<Tail> tail_;
    Ref<IFilterGeometry> first_;
    Ref<IFilterPixels> last_;
    int version_ = -1;
};

}  // namespace kestrel
