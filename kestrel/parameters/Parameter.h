#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/QvString.h"

namespace kestrel {

/// A set of named values, held as one text of `tag=value;` entries, each ended by CR LF. The text is all there is: a
/// read walks it, a write edits it, and it travels as it stands. This is not the parameter text of a filter.
///
/// Values are decimal numbers, `true` and `false`, or texts between double quotes, in which control characters, quotes,
/// backslashes and all bytes from 128 on are escaped. Tags are compared byte by byte; a null tag counts as an empty
/// one, which matches an entry that begins with `=`. Any text may be read: a malformed one only ends the walk early. An
/// exhausted heap throws `std::bad_alloc`. Threads may share a bag that nobody writes.
class KESTREL_API Parameter {
public:
    Parameter() = default;
    /// Each takes the text as it stands; a null text counts as an empty one.
    Parameter(const char* text) : text_(text) {}
    Parameter(const QvString& text) : text_(text) {}
    Parameter(const std::string& text) : text_(text.data(), static_cast<int>(text.size())) {}
    Parameter(const Parameter&) = default;
    Parameter& operator=(const Parameter&) = default;
    virtual ~Parameter() = default;

    /// The text, valid until the next write.
    operator const char*() const { return text_; }
    operator QvString() const { return text_; }

    /// True when the tag is present; otherwise the value is left alone. A value of another type reads as that type's
    /// reader takes its first bytes: a text is the number 0.
    bool Get(const char* tag, int& value) const;
    bool Get(const char* tag, bool& value) const;
    bool Get(const char* tag, double& value) const;
    bool Get(const char* tag, void*& value) const;
    /// False also for a value that is not between quotes.
    bool Get(const char* tag, QvString& value) const;

    /// The same, with 0, false, null or an empty text for a missing tag.
    int GetInt(const char* tag) const;
    bool GetBool(const char* tag) const;
    double GetDouble(const char* tag) const;
    void* GetPtr(const char* tag) const;
    QvString GetString(const char* tag) const;

    /// Replaces the value where the entry stands, or appends an entry. A last entry without a `;` stays without one.
    void Set(const char* tag, int value);
    void Set(const char* tag, bool value);
    void Set(const char* tag, double value);  ///< six decimals
    void Set(const char* tag, void* value);   ///< as a signed number
    void Set(const char* tag, const char* value);
    void Set(const char* tag, const QvString& value);  ///< zero bytes included

    /// Cuts the entry out up to the start of the next one; true when there was one. The search for the next entry knows
    /// nothing of quotes: when a quoted value holds a `=`, only the tag, its `=` and the first byte of the value go.
    bool RemoveTag(const char* tag);

    /// Do both hold the same tags with the same values, in any order? Numbers are compared as texts. Three odd cases
    /// are relied upon: an empty text in this bag needs no counterpart in the other; blanks before an unquoted entry
    /// make a bag unlike itself; and the walk over the other bag's tags asks this bag's text where a quoted value
    /// stands, at the index that it has reached in the other.
    bool operator==(const Parameter& other) const;
    bool operator!=(const Parameter& other) const { return !(*this == other); }

private:
    std::string_view View() const { return {text_, static_cast<std::size_t>(text_.GetLength())}; }
    void Assign(const std::string& text) { text_ = QvString(text.data(), static_cast<int>(text.size())); }
    /// Replaces or appends a value that is written already.
    void SetWritten(const char* tag, const std::string& value);

    QvString text_;
};

}  // namespace kestrel
