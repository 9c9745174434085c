#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Result.h"

namespace kestrel {

/// A parameter text is a line of `Key=value` pieces. There is no grammar: each reader looks for its key as a substring,
/// wherever it stands, skips it and one character more, and reads a number.

/// The first decimal integer at the start of `text` as "%d" reads it: white space skipped, a sign allowed, digits
/// beyond 32 bits wrap. None: no value.
KESTREL_API std::optional<std::int32_t> ReadDecimal(std::string_view text);
/// The same for a floating-point number; the decimal point is a point in every locale.
KESTREL_API std::optional<double> ReadDouble(std::string_view text);
/// The text after the first occurrence of `key` and one more character; none: no value.
KESTREL_API std::optional<std::string_view> AfterKey(std::string_view text, std::string_view key);
/// The integer there.
KESTREL_API std::optional<std::int32_t> ReadIntAfterKey(std::string_view text, std::string_view key);
/// The text after the first occurrence of `key` followed by "="; none: no value.
KESTREL_API std::optional<std::string_view> AfterEquals(std::string_view text, std::string_view key);
/// The integer there.
KESTREL_API std::optional<std::int32_t> ReadIntAfterEquals(std::string_view text, std::string_view key);
/// The one decimal digit there.
KESTREL_API std::optional<std::int32_t> ReadDigitAfterEquals(std::string_view text, std::string_view key);
/// The hexadecimal number there; one above `maximum` is no value.
KESTREL_API std::optional<std::int32_t> ReadHexAfterEquals(std::string_view text, std::string_view key,
                                                           std::uint32_t maximum);
/// The floating-point number there.
KESTREL_API std::optional<double> ReadDoubleAfterEquals(std::string_view text, std::string_view key);
/// The text there up to the next comma.
KESTREL_API std::optional<std::string_view> ReadPiece(std::string_view text, std::string_view key);

/// The four shared readers. True when a number was read; `*changed` is set when it differs from the field, and never
/// cleared. A missing key or number leaves field and flag alone.
KESTREL_API bool ReadIntParameter(std::string_view text, std::string_view key, std::int32_t* field, bool* changed);
KESTREL_API bool ReadUIntParameter(std::string_view text, std::string_view key, std::uint32_t* field, bool* changed);
/// Compares and stores the low byte.
KESTREL_API bool ReadByteParameter(std::string_view text, std::string_view key, std::uint8_t* field, bool* changed);
/// Compares the number with 0 or 1 and stores whether it is not 0: reading 2 into a true field sets the flag.
KESTREL_API bool ReadBoolParameter(std::string_view text, std::string_view key, bool* field, bool* changed);

/// `value` as "%.<digits>d" prints it: at least that many digits, a minus sign before them.
KESTREL_API void AppendDecimal(std::string& text, std::int32_t value, int digits);
/// `value` with that many decimals; the decimal point is a point in every locale.
KESTREL_API void AppendDouble(std::string& text, double value, int decimals);
/// `value` in lower-case hexadecimal, at least that many digits.
KESTREL_API void AppendHex(std::string& text, std::uint32_t value, int digits);

/// Copies a finished text with its terminator into a caller's buffer; `E_FAIL` and nothing written when it does not
/// fit. A `size` below `minimum`, the filter's own bound, writes nothing and is a success.
KESTREL_API HRESULT WriteText(const std::string& text, char* buffer, int size, int minimum);

}  // namespace kestrel
