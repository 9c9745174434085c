#pragma once
#include <cstddef>
#include <string>
#include <vector>

namespace kestrel {

/// Splits a chain text into records of a name and a parameter text. The first record decides for all: with one field
/// separator in it the name is the first field, with more a leading field stands before the name and is skipped. The
/// first record that is not whole ends the list.
class ChainText {
public:
    /// Works on a copy. Null or empty texts and empty separators make no records.
    ChainText(const char* text, const char* fieldSeparator, const char* recordSeparator);

    std::size_t Count() const { return records_.size(); }
    const char* Name(std::size_t record) const;
    const char* Parameters(std::size_t record) const;

private:
    /// The zero-terminated piece after the one at `at`; an empty text at the end of the copy.
    std::size_t Behind(std::size_t at, std::size_t separatorLength) const;
    std::size_t NameAt(std::size_t record) const;

    /// Mode of this thread's latest split; the accessors follow it.
    static thread_local bool m_FirstFieldIsName;

    std::string copy_;  ///< separators are overwritten with zero bytes
    std::size_t fieldLength_ = 0;
    std::vector<std::size_t> records_;  ///< where each record begins
};

}  // namespace kestrel
