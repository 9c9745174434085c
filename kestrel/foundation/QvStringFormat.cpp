// Format and FormatMessage of QvString: both read a format before they touch its arguments.
#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <stdexcept>
#include <string>

#include "kestrel/foundation/QvString.h"

namespace kestrel {
namespace {

constexpr std::int64_t kMinForInteger = 32;
constexpr std::int64_t kMinForFloat = 128;
constexpr std::int64_t kNullText = 6;  // "(null)"

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// A decimal number, held at INT_MAX; `at` moves past it.
std::int64_t ReadNumber(const char*& at) {
    std::int64_t value = 0;
    for (; IsDigit(*at); ++at) value = std::min<std::int64_t>(value * 10 + (*at - '0'), INT_MAX);
    return value;
}

enum class Size { kInt, kLong, kLongLong, kLongDouble };

/// The length modifier; `at` moves past it. `size_t`, `ptrdiff_t` and `intmax_t` have the width of `long` here.
Size ReadSize(const char*& at) {
    static_assert(sizeof(std::size_t) == sizeof(long) && sizeof(std::ptrdiff_t) == sizeof(long) &&
                  sizeof(std::intmax_t) == sizeof(long));
    if (*at == 'h') {
        at += at[1] == 'h' ? 2 : 1;
        return Size::kInt;  // promoted
    }
    if (*at == 'l' && at[1] == 'l') return at += 2, Size::kLongLong;
    if (*at == 'q') return ++at, Size::kLongLong;
    if (*at == 'L') return ++at, Size::kLongDouble;
    if (*at == 'l' || *at == 'z' || *at == 't' || *at == 'j') return ++at, Size::kLong;
    return Size::kInt;
}

/// The arguments of a call, so that functions can share how far they were read.
struct Reader {
    va_list list;
};

/// One conversion of a format, its widths taken from the arguments.
struct Conversion {
    std::int64_t width = 0;
    std::int64_t precision = 0;
    bool hasPrecision = false;
    bool isAlternate = false;  ///< the '#' flag
    Size size = Size::kInt;
    char type = '\0';

    /// A text of so many characters, padded and cut.
    std::int64_t Fitted(std::int64_t length) const {
        length = std::max(length, width);
        return hasPrecision ? std::min(length, precision) : length;
    }
    std::int64_t OfNumber(std::int64_t minimum) const { return std::max(minimum, width + precision); }
};

/// A width or precision: digits, or an argument.
std::int64_t ReadField(const char*& at, Reader& arguments) {
    if (*at != '*') return ReadNumber(at);
    ++at;
    return std::abs(std::int64_t{va_arg(arguments.list, int)});
}

/// What follows a per cent sign; `at` moves past it.
Conversion ReadConversion(const char*& at, Reader& arguments) {
    Conversion read;
    for (; *at != '\0' && std::strchr("#+- 0", *at); ++at) read.isAlternate = read.isAlternate || *at == '#';
    read.width = ReadField(at, arguments);
    if (*at == '.') {
        ++at;
        read.hasPrecision = true;
        read.precision = ReadField(at, arguments);
    }
    read.size = ReadSize(at);
    read.type = *at;
    if (*at != '\0') ++at;
    return read;
}

std::int64_t TextLength(const Conversion& conversion, const void* text) {
    if (!text) return kNullText;
    // With a precision the text may lack its terminator.
    const auto maximum =
        conversion.hasPrecision ? static_cast<std::size_t>(conversion.precision) : SIZE_MAX / sizeof(wchar_t);
    return static_cast<std::int64_t>(conversion.size == Size::kLong
                                         ? wcsnlen(static_cast<const wchar_t*>(text), maximum)
                                         : strnlen(static_cast<const char*>(text), maximum));
}

void SkipInteger(Size size, Reader& arguments) {
    if (size == Size::kInt)
        (void)va_arg(arguments.list, int);
    else if (size == Size::kLong)
        (void)va_arg(arguments.list, long);
    else
        (void)va_arg(arguments.list, long long);
}

/// Estimates one conversion and passes its argument; -1 for one that is not known.
std::int64_t EstimateConversion(const Conversion& conversion, Reader& arguments) {
    switch (conversion.type) {
        case 'c':
            (void)va_arg(arguments.list, int);
            return conversion.Fitted(2);
        case 's':
            return conversion.Fitted(
                std::max<std::int64_t>(TextLength(conversion, va_arg(arguments.list, const void*)), 1));
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            SkipInteger(conversion.size, arguments);
            return conversion.OfNumber(kMinForInteger);
        case 'p':
            (void)va_arg(arguments.list, void*);
            return conversion.OfNumber(kMinForInteger);
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
            if (conversion.size == Size::kLongDouble)
                (void)va_arg(arguments.list, long double);
            else
                (void)va_arg(arguments.list, double);
            return conversion.OfNumber(kMinForFloat);
        case 'n':
            (void)va_arg(arguments.list, void*);
            return 0;
        default:
            return -1;
    }
}

/// How long the text will be, roughly: it saves a second pass in nearly every call and is no bound. The scan stops at a
/// conversion that it does not know, since the type of its argument is unknown too.
std::int64_t EstimateLength(const char* format, Reader& arguments) {
    std::int64_t total = 0;
    for (const char* at = format; *at != '\0';) {
        if (*at != '%' || *++at == '%') {
            ++total;
            if (*at != '\0') ++at;
            continue;
        }
        const Conversion conversion = ReadConversion(at, arguments);
        const std::int64_t length = EstimateConversion(conversion, arguments);
        if (conversion.isAlternate) total += 2;
        if (length < 0) break;
        total += length;
    }
    return total;
}

[[noreturn]] void ThrowMalformed(const char* why) { throw std::invalid_argument(std::string("FormatMessage: ") + why); }

/// One `%n!conversion!`.
struct NumberedInsert {
    int number = 0;          ///< of the first argument, from 1
    int stars = 0;           ///< widths and precisions that come before the value
    std::string conversion;  ///< for printf, with its per cent sign
    Size size = Size::kInt;
    bool isText = false;  ///< a pointer, otherwise an integer
};

/// Reads what stands between the exclamation marks; `at` stands after the first and moves past the second.
void ReadConversion(const char*& at, NumberedInsert& insert) {
    const char* begin = at;
    for (; *at != '\0' && std::strchr("#+- 0", *at); ++at) continue;
    const auto number = [&] {
        if (*at == '*') {
            ++insert.stars;
            ++at;
        } else {
            ReadNumber(at);
        }
    };
    number();
    if (*at == '.') {
        ++at;
        number();
    }
    insert.conversion.assign(begin, at);
    insert.conversion.insert(0, 1, '%');
    insert.size = ReadSize(at);
    const char kind = *at;
    if (kind == '\0' || !std::strchr("diouxXcsp", kind)) ThrowMalformed("no conversion of integers or texts");
    if (at[1] != '!') ThrowMalformed("the second exclamation mark is missing");
    insert.isText = kind == 's' || kind == 'p';
    if (kind == 's' || kind == 'c') insert.size = Size::kInt;  // 8-bit texts only
    if (insert.size == Size::kLong) insert.conversion += 'l';
    if (insert.size == Size::kLongLong || insert.size == Size::kLongDouble) insert.conversion += "ll";
    insert.conversion += kind;
    at += 2;
}

/// The arguments of one call, fetched in their order, each as the type that the inserts ask for.
class Arguments {
public:
    static constexpr int kMaxArguments = 99;

    void Expect(int number, Size size, bool isText) {
        if (number > kMaxArguments) ThrowMalformed("more than 99 arguments");
        Slot& slot = slots_[static_cast<std::size_t>(number)];
        if (slot.used && (slot.isText != isText || (slot.size == Size::kInt) != (size == Size::kInt)))
            ThrowMalformed("one argument is asked for in two types");
        slot.used = true;
        slot.isText = isText;
        slot.size = size;
        last_ = std::max(last_, number);
    }

    void Fetch(va_list arguments) {
        for (int number = 1; number <= last_; ++number) {
            Slot& slot = slots_[static_cast<std::size_t>(number)];
            if (slot.isText || !slot.used)
                slot.text = va_arg(arguments, const char*);
            else if (slot.size == Size::kInt)
                slot.integer = va_arg(arguments, int);
            else
                slot.integer = va_arg(arguments, long long);
        }
    }

    int Integer(int number) const { return static_cast<int>(slots_[static_cast<std::size_t>(number)].integer); }

    std::string Print(const NumberedInsert& insert) const {
        const Slot& value = slots_[static_cast<std::size_t>(insert.number + insert.stars)];
        if (value.isText) return Print(insert, value.text);
        if (insert.size == Size::kInt) return Print(insert, static_cast<int>(value.integer));
        if (insert.size == Size::kLong) return Print(insert, static_cast<long>(value.integer));
        return Print(insert, value.integer);
    }

private:
    struct Slot {
        bool used = false;
        bool isText = false;
        Size size = Size::kInt;
        long long integer = 0;
        const char* text = nullptr;
    };

    template <class Value>
    std::string Print(const NumberedInsert& insert, Value value) const {
        const auto print = [&](char* buffer, std::size_t size) {
            const char* format = insert.conversion.c_str();
            if (insert.stars == 0) return std::snprintf(buffer, size, format, value);
            const int first = Integer(insert.number);
            if (insert.stars == 1) return std::snprintf(buffer, size, format, first, value);
            return std::snprintf(buffer, size, format, first, Integer(insert.number + 1), value);
        };
        const int length = print(nullptr, 0);
        if (length < 0) ThrowMalformed("an insert cannot be printed");
        std::string text(static_cast<std::size_t>(length), '\0');
        print(text.data(), text.size() + 1);
        return text;
    }

    std::array<Slot, kMaxArguments + 1> slots_;
    int last_ = 0;
};

/// Walks a message format: `plain` gets what stands as it is, `insert` each insert.
template <class Plain, class OnInsert>
void WalkMessage(const char* format, Plain plain, OnInsert insert) {
    for (const char* at = format; *at != '\0';) {
        const char c = *at++;
        if (c == '\r' || c == '\n') {
            if (c == '\r' && *at == '\n') ++at;
            plain("\r\n");
            continue;
        }
        if (c != '%') {
            plain(std::string_view(&c, 1));
            continue;
        }
        if (*at == '\0') ThrowMalformed("a per cent sign ends it");
        if (!IsDigit(*at)) {
            const char escape = *at++;
            switch (escape) {
                case 'n':
                    plain("\r\n");
                    break;
                case 'r':
                    plain("\r");
                    break;
                case 't':
                    plain("\t");
                    break;
                case 'b':
                    plain(" ");
                    break;
                default:
                    plain(std::string_view(&escape, 1));
            }
            continue;
        }
        if (*at == '0') return;
        NumberedInsert found;
        found.number = *at++ - '0';
        if (IsDigit(*at)) found.number = found.number * 10 + (*at++ - '0');
        if (*at == '!') {
            ++at;
            ReadConversion(at, found);
        } else {
            found.conversion = "%s";
            found.isText = true;
        }
        insert(found);
    }
}

}  // namespace

void QvString::Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    FormatV(format, arguments);
    va_end(arguments);
}

void QvString::FormatV(const char* format, va_list arguments) {
    if (!format) return Empty();
    Reader scan;
    va_copy(scan.list, arguments);
    const std::int64_t estimate = EstimateLength(format, scan);
    va_end(scan.list);

    QvString text;  // the arguments may lie in this string, which changes only at the end
    int room = static_cast<int>(std::min<std::int64_t>(estimate, INT_MAX / 2));
    for (bool again = true; again;) {
        char* buffer = text.GetBuffer(std::max(room, 1));
        va_list print;
        va_copy(print, arguments);
        const int length = std::vsnprintf(buffer, static_cast<std::size_t>(text.GetAllocLength()) + 1, format, print);
        va_end(print);
        if (length < 0) return Empty();  // a wide text that the locale cannot hold, or more than 2 GB
        again = length > text.GetAllocLength();
        room = length;
    }
    text.ReleaseBuffer();
    *this = text;
}

void QvString::FormatMessage(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    try {
        FormatMessageV(format, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
}

void QvString::FormatMessageV(const char* format, va_list arguments) {
    if (!format) ThrowMalformed("no format");
    Arguments values;
    WalkMessage(
        format, [](std::string_view) {},
        [&](const NumberedInsert& insert) {
            for (int star = 0; star < insert.stars; ++star) values.Expect(insert.number + star, Size::kInt, false);
            values.Expect(insert.number + insert.stars, insert.size, insert.isText);
        });
    values.Fetch(arguments);
    std::string text;
    WalkMessage(
        format, [&](std::string_view plain) { text += plain; },
        [&](const NumberedInsert& insert) { text += values.Print(insert); });
    AssignView(text);
}

}  // namespace kestrel
