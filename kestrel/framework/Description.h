#pragma once
#include "kestrel/foundation/Guid.h"

namespace kestrel {

/// Do lengths in a filter's parameters, and how far it looks around a pixel, follow the render scale? Where they stay,
/// a reduced preview does not look like the full picture.
enum class Lengths {
    None,              ///< there are none, or they are shares of the picture
    Follow,            ///< they are those of the full-size picture
    FollowAtVersion2,  ///< they are, in texts of version 2
    Stay,              ///< they are those of the picture that is rendered
};

/// "none", "follow the render scale".
constexpr const char* NameOf(Lengths lengths) {
    constexpr const char* names[] = {"none", "follow the render scale", "follow the render scale in texts of version 2",
                                     "stay at every render scale"};
    return names[static_cast<int>(lengths)];
}

/// The reach of a filter that needs all of its input for any row.
inline constexpr int kWholePicture = -1;
/// That of a filter whose rows are made of those near their place in an input of another height. A filter may need the
/// whole picture all the same, where the input has transparency.
inline constexpr int kScaledRows = -2;
/// That of a filter whose rows are made of those that a slanting line crosses. It may need the whole picture all the
/// same, where it does more than slant it.
inline constexpr int kSlantedRows = -3;

/// What a class of filters is called and where it stands.
struct Description {
    const char* progId = "";  ///< "TMFilter.Sepia.1"
    GUID clsid{};
    int id = 0;                ///< sort key of the catalogue, descending
    int cost = 5000;           ///< sort key of a chain, ascending
    const char* nameKey = "";  ///< key of the translated name, or the plain name
    const char* name = "";     ///< English name
    const char* icon = "";     ///< icon base
    const char* help = "";     ///< key of the help topic
    const char* summary = "";  ///< what the filter does, one sentence for a user
    /// Every request asks upstream exactly once, with the arguments as they stand, before it touches the caller's rows,
    /// and the output has the input's size. Hosts may then hand such a line the rows of the picture itself.
    bool inPlace = false;
    /// Bytes depend on the request as a whole, on its size or its histogram: a part of it cannot be asked for alone.
    bool measuresRequest = false;
    /// Rows of the input above and below the place of a row of the output that this row depends on; `kWholePicture`
    /// where it depends on more, such as the statistics of the picture; `kScaledRows`; or `kSlantedRows`. What
    /// parameters change about it, and which place that is, `CPdibFilter::InputRows` tells.
    int reach = kWholePicture;
    /// It can hide pixels of a picture without transparency. Counts for filters with a reach of 0 and above.
    bool hides = false;
    Lengths lengths = Lengths::None;
};

}  // namespace kestrel
