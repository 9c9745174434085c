#pragma once
#include <cstdarg>
#include <cstdint>
#include <string_view>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Stands in front of the characters, in the same heap block. A block is this header, `allocLength` characters and one
/// terminator, to the byte.
struct QvStringData {
    static constexpr std::int32_t kEmptyShared = -2;  ///< the one constant empty text; never counted, never freed
    static constexpr std::int32_t kLocked = -1;       ///< a locked buffer; never shared

    std::int32_t references;   ///< one of the two above, or how many strings share the block
    std::int32_t dataLength;   ///< characters in use, without the terminator
    std::int32_t allocLength;  ///< characters that the block can hold, without the terminator

    char* Characters() { return reinterpret_cast<char*>(this + 1); }
};

/// A text that may be left out: null becomes the empty text.
inline const char* NotNull(const char* text) { return text ? text : ""; }

/// 8-bit text, NUL-terminated, shared by counted reference and copied before a write. The object is one pointer to the
/// first character and crosses module boundaries by value.
///
/// Characters are Windows-1252: upper and lower case, the wide view and the OEM conversions follow that code page and
/// not the locale of the process. Only `Collate` and `CollateNoCase` ask the locale. Lengths and positions are in
/// bytes. Arguments may point into the string itself. A null text counts as an empty one.
///
/// Two threads may hold copies of one text, since the count is atomic; a single object is not protected. An exhausted
/// heap, and a text beyond 2 GB, throw `std::bad_alloc`.
class KESTREL_API QvString {
public:
    QvString() { Init(); }
    QvString(const QvString& other);
    QvString(const char* text);
    QvString(const unsigned char* text) : QvString(reinterpret_cast<const char*>(text)) {}
    /// `length` bytes, NUL bytes included; a length below 1 makes the empty text.
    QvString(const char* text, int length);
    explicit QvString(char c, int count = 1);
    ~QvString() { Release(); }

    QvString& operator=(const QvString& other);
    QvString& operator=(const char* text);
    QvString& operator=(const unsigned char* text) { return *this = reinterpret_cast<const char*>(text); }
    QvString& operator=(char c);

    int GetLength() const { return GetData()->dataLength; }
    /// Characters that fit without a new block.
    int GetAllocLength() const { return GetData()->allocLength; }
    bool IsEmpty() const { return GetLength() == 0; }
    /// Drops the text. A locked block stays, emptied.
    void Empty();

    /// No check: `index` is 0 to the length.
    char GetAt(int index) const { return text_[index]; }
    char operator[](int index) const { return text_[index]; }
    /// No check: `index` is 0 to the length - 1.
    void SetAt(int index, char c);
    operator const char*() const { return text_; }
    /// The text as UTF-16, kept inside the block after the characters; valid until the next change.
    operator const unsigned short*();

    QvString& operator+=(const QvString& other);
    QvString& operator+=(const char* text);
    QvString& operator+=(char c);

    /// Negative, 0 or positive; bytes compare as unsigned. The no-case form compares in lower case.
    int Compare(const char* text) const;
    int CompareNoCase(const char* text) const;
    /// By the collating order of the locale.
    int Collate(const char* text) const;
    int CollateNoCase(const char* text) const;

    /// Negative arguments count as 0; what lies past the end is left out.
    QvString Mid(int first) const;
    QvString Mid(int first, int count) const;
    QvString Left(int count) const;
    QvString Right(int count) const;
    /// The longest start made only of, or only of others than, the characters of `set`.
    QvString SpanIncluding(const char* set) const;
    QvString SpanExcluding(const char* set) const;

    void MakeUpper();
    void MakeLower();
    void MakeReverse();
    /// Trim white space (bytes 9 to 13 and the blank), one character, or the characters of a set.
    void TrimLeft();
    void TrimLeft(char c);
    void TrimLeft(const char* set);
    void TrimRight();
    void TrimRight(char c);
    void TrimRight(const char* set);

    /// Positions from 0; -1 when there is none. The search ends at the first NUL.
    int Find(char c, int start = 0) const;
    int Find(const char* text, int start = 0) const;
    int ReverseFind(char c) const;
    int FindOneOf(const char* set) const;

    /// How many were replaced. Text after embedded NUL bytes is searched too.
    int Replace(char old, char replacement);
    int Replace(const char* old, const char* replacement);
    int ReplaceNoCase(const char* old, const char* replacement);
    /// How many characters were removed.
    int Remove(char c);
    /// The new length; `index` is brought into 0 to the length.
    int Insert(int index, char c);
    int Insert(int index, const char* text);
    /// The length before the deletion; a count past the end deletes to the end.
    int Delete(int index, int count = 1);

    /// As `printf`. The block is sized by an estimate from the format and grown when the text turns out longer.
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void FormatV(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)));
    /// Inserts numbered arguments: `%1` to `%99` as texts, `%1!08x!` by a conversion of `d i u o x X c s p`, whose `*`
    /// take the arguments from that number on. `%%`, `%.`, `%!` and "% " give the character, `%n` and every line end CR
    /// LF,
    /// `%r` CR, `%t` TAB, `%b` a blank; `%0` ends the text. Arguments that no insert names must be integers or
    /// pointers. Throws `std::invalid_argument` for a malformed format and leaves the string as it was.
    void FormatMessage(const char* format, ...);
    void FormatMessageV(const char* format, va_list arguments);

    /// Between Windows-1252 and code page 850.
    void CharToOem();
    void OemToChar();

    /// Room for `length` characters, the text kept, for writing; `ReleaseBuffer` follows.
    char* GetBuffer(int length);
    /// The same, with the length set at once.
    char* GetBufferSetLength(int length);
    /// Takes what was written: `length` characters, or up to the first NUL with -1.
    void ReleaseBuffer(int length = -1);
    /// Frees unused room. A locked block stays where it is.
    void FreeExtra();
    /// The characters in a block that nobody shares until `UnlockBuffer`. A change that needs more room moves the text
    /// to another block, which is locked too; the pointer is then stale.
    char* LockBuffer();
    /// For a locked string: its block is an ordinary one again.
    void UnlockBuffer();

protected:
    QvStringData* GetData() const { return reinterpret_cast<QvStringData*>(text_) - 1; }
    /// Points the object at the shared empty text; what it held is not released.
    void Init();
    /// Drops the object's hold on its block.
    void Release();
    /// A fresh block of exactly `length` characters; what the object held is not released. 0 makes the empty text.
    void AllocBuffer(int length);
    /// `count` characters from `first` as a new block of `copy`.
    void AllocCopy(QvString& copy, int count, int first) const;
    void AssignCopy(int length, const char* text);
    /// Both texts, one after the other, in a new block of exactly that length; what the object held is not released.
    void ConcatCopy(int length1, const char* text1, int length2, const char* text2);
    void ConcatInPlace(int length, const char* text);
    /// Leaves a shared block for a private copy; a block of the object's own, or a locked one, stays.
    void CopyBeforeWrite();
    static int SafeStrlen(const char* text);

private:
    std::string_view View() const { return {text_, static_cast<std::size_t>(GetLength())}; }
    /// Exchanges the block for that of `fresh`, which nobody shares. A lock stays with the object: whoever locked it
    /// counts on a text that is not shared until the unlock, wherever its characters lie.
    void TakeBlock(QvString& fresh);
    void SetLength(int length);
    void AssignView(std::string_view text);
    int InsertView(int index, std::string_view text);
    int ReplaceMatches(std::string_view searched, std::string_view pattern, const char* replacement);

    char* text_;
};

static_assert(sizeof(QvString) == sizeof(char*));

/// A string on the shared empty text.
KESTREL_API const QvString& QvGetEmptyString();

KESTREL_API QvString operator+(const QvString& left, const QvString& right);
KESTREL_API QvString operator+(const QvString& left, const char* right);
KESTREL_API QvString operator+(const char* left, const QvString& right);
KESTREL_API QvString operator+(const QvString& left, char right);
KESTREL_API QvString operator+(char left, const QvString& right);

inline bool operator==(const QvString& left, const QvString& right) { return left.Compare(right) == 0; }
inline bool operator==(const QvString& left, const char* right) { return left.Compare(right) == 0; }
inline bool operator==(const char* left, const QvString& right) { return right.Compare(left) == 0; }
inline bool operator!=(const QvString& left, const QvString& right) { return left.Compare(right) != 0; }
inline bool operator!=(const QvString& left, const char* right) { return left.Compare(right) != 0; }
inline bool operator!=(const char* left, const QvString& right) { return right.Compare(left) != 0; }
inline bool operator<(const QvString& left, const QvString& right) { return left.Compare(right) < 0; }
inline bool operator<(const QvString& left, const char* right) { return left.Compare(right) < 0; }
inline bool operator<(const char* left, const QvString& right) { return right.Compare(left) > 0; }
inline bool operator>(const QvString& left, const QvString& right) { return left.Compare(right) > 0; }
inline bool operator>(const QvString& left, const char* right) { return left.Compare(right) > 0; }
inline bool operator>(const char* left, const QvString& right) { return right.Compare(left) < 0; }
inline bool operator<=(const QvString& left, const QvString& right) { return left.Compare(right) <= 0; }
inline bool operator<=(const QvString& left, const char* right) { return left.Compare(right) <= 0; }
inline bool operator<=(const char* left, const QvString& right) { return right.Compare(left) >= 0; }
inline bool operator>=(const QvString& left, const QvString& right) { return left.Compare(right) >= 0; }
inline bool operator>=(const QvString& left, const char* right) { return left.Compare(right) >= 0; }
inline bool operator>=(const char* left, const QvString& right) { return right.Compare(left) <= 0; }

}  // namespace kestrel
