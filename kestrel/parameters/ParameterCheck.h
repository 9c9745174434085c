#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"
#include "kestrel/parameters/ParameterInfo.h"

namespace kestrel {

/// What a person would want to know of a parameter text before a filter gets it.
enum class TextFault {
    UnknownKey,  ///< no reader looks for the key
    Unreadable,  ///< the value is not a number, or not only a number
    TooLarge,    ///< the number does not fit the field
    Unread,      ///< the readers find the key at an earlier place
    NoEffect,    ///< the text leaves the filter switched off
    OutOfRange,  ///< taken up, but no dialog offers the value
    OtherKey,    ///< taken up as another key, which the name contains
};

struct TextNote {
    TextFault fault;
    std::string words;  ///< one line, without the filter's name

    /// Is something not taken up, or without effect? What is only unusual is not refused.
    bool IsRefused() const { return fault != TextFault::OutOfRange && fault != TextFault::OtherKey; }
};

/// What a filter would not take up of `text`, and what is unusual, in the order of the text; empty when all is well.
/// Filters themselves read whatever they can and never complain.
KESTREL_API std::vector<TextNote> CheckParameterText(const ParameterInfo& info, std::string_view text);

}  // namespace kestrel
