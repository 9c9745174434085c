#include "kestrel/foundation/QvString.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <new>
#include <string>

#include "kestrel/foundation/CodePage.h"

namespace kestrel {
namespace {

/// The text that every empty string shares; constant, so that a stray write is caught by the hardware.
struct EmptyText {
    QvStringData data;
    char terminator;
};
constexpr EmptyText kEmptyText = {{QvStringData::kEmptyShared, 0, 0}, '\0'};

/// Header, characters and terminator stay within the 32 bits of the length fields.
constexpr std::int64_t kMaxLength = std::numeric_limits<std::int32_t>::max() - 16;

std::atomic_ref<std::int32_t> Count(QvStringData* data) { return std::atomic_ref<std::int32_t>(data->references); }

bool IsEmptyShared(const QvStringData* data) { return data == &kEmptyText.data; }
bool IsLocked(QvStringData* data) { return Count(data).load(std::memory_order_acquire) == QvStringData::kLocked; }
bool IsShared(QvStringData* data) { return Count(data).load(std::memory_order_acquire) >= 2; }

int CheckedLength(std::int64_t length) {
    if (length > kMaxLength) throw std::bad_alloc();
    return static_cast<int>(length);
}

/// A block of one owner; of 0 characters too, which a locked empty text needs.
QvStringData* NewBlock(int length) {
    const std::size_t bytes = sizeof(QvStringData) + static_cast<std::size_t>(length) + 1;
    auto* data = new (::operator new(bytes)) QvStringData{1, length, length};
    data->Characters()[length] = '\0';
    return data;
}

void CopyCharacters(char* to, const char* from, int count) {
    if (count > 0) std::memmove(to, from, static_cast<std::size_t>(count));
}

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsIn(const char* set, char c) { return std::strchr(NotNull(set), c) != nullptr; }
int Sign(unsigned char left, unsigned char right) { return left < right ? -1 : left > right; }

}  // namespace

// The block and its count

void QvString::Init() { text_ = const_cast<char*>(&kEmptyText.terminator); }

void QvString::Release() {
    QvStringData* data = GetData();
    Init();
    if (IsEmptyShared(data)) return;
    if (Count(data).fetch_sub(1, std::memory_order_acq_rel) - 1 < 1) ::operator delete(data);
}

void QvString::AllocBuffer(int length) {
    if (length == 0) return Init();
    text_ = NewBlock(CheckedLength(length))->Characters();
}

void QvString::AllocCopy(QvString& copy, int count, int first) const {
    QvString part;
    part.AllocBuffer(count);
    CopyCharacters(part.text_, text_ + first, count);
    copy = part;
}

void QvString::TakeBlock(QvString& fresh) {
    const bool locked = IsLocked(GetData());
    std::swap(text_, fresh.text_);
    if (locked) Count(GetData()).store(QvStringData::kLocked, std::memory_order_release);
}

void QvString::AssignCopy(int length, const char* text) {
    if (IsShared(GetData()) || length > GetAllocLength()) {
        QvString fresh;
        fresh.AllocBuffer(length);
        CopyCharacters(fresh.text_, text, length);
        return TakeBlock(fresh);
    }
    CopyCharacters(text_, text, length);
    SetLength(length);
}

void QvString::AssignView(std::string_view text) {
    AssignCopy(CheckedLength(static_cast<std::int64_t>(text.size())), text.data());
}

void QvString::ConcatCopy(int length1, const char* text1, int length2, const char* text2) {
    AllocBuffer(CheckedLength(std::int64_t{length1} + length2));
    CopyCharacters(text_, text1, length1);
    CopyCharacters(text_ + length1, text2, length2);
}

void QvString::ConcatInPlace(int length, const char* text) {
    if (length == 0) return;
    const int before = GetLength();
    const int after = CheckedLength(std::int64_t{before} + length);
    if (IsShared(GetData()) || after > GetAllocLength()) {
        QvString sum;
        sum.ConcatCopy(before, text_, length, text);
        return TakeBlock(sum);
    }
    CopyCharacters(text_ + before, text, length);
    SetLength(after);
}

void QvString::CopyBeforeWrite() {
    if (!IsShared(GetData())) return;
    QvString copy;
    copy.AllocBuffer(GetLength());
    CopyCharacters(copy.text_, text_, GetLength());
    TakeBlock(copy);
}

void QvString::SetLength(int length) {
    QvStringData* data = GetData();
    if (IsEmptyShared(data)) return;
    data->dataLength = length;
    text_[length] = '\0';
}

int QvString::SafeStrlen(const char* text) {
    if (!text) return 0;
    return CheckedLength(static_cast<std::int64_t>(std::strlen(text)));
}

// Making and assigning

QvString::QvString(const QvString& other) {
    Init();
    *this = other;
}

QvString::QvString(const char* text) {
    Init();
    AssignCopy(SafeStrlen(text), text);
}

QvString::QvString(const char* text, int length) {
    Init();
    if (text && length > 0) AssignCopy(length, text);
}

QvString::QvString(char c, int count) {
    Init();
    AllocBuffer(std::max(count, 0));
    std::fill_n(text_, GetLength(), c);
}

QvString& QvString::operator=(const QvString& other) {
    if (text_ == other.text_) return *this;  // one block, or both on the shared empty text
    if (IsLocked(GetData()) || IsLocked(other.GetData())) {
        AssignCopy(other.GetLength(), other.text_);
        return *this;
    }
    char* text = other.text_;
    if (!IsEmptyShared(other.GetData())) Count(other.GetData()).fetch_add(1, std::memory_order_relaxed);
    Release();
    text_ = text;
    return *this;
}

QvString& QvString::operator=(const char* text) {
    AssignCopy(SafeStrlen(text), text);
    return *this;
}

QvString& QvString::operator=(char c) {
    AssignCopy(1, &c);
    return *this;
}

void QvString::Empty() {
    if (IsEmpty()) return;
    if (IsLocked(GetData()))
        AssignCopy(0, "");
    else
        Release();
}

void QvString::SetAt(int index, char c) {
    CopyBeforeWrite();
    text_[index] = c;
}

QvString::operator const unsigned short*() {
    const int length = GetLength();
    const std::int64_t offset = (std::int64_t{length} + 2) & ~std::int64_t{1};  // even: the view is of 16-bit units
    char* characters = GetBuffer(CheckedLength(3 * offset));
    char* wide = characters + offset;
    for (int i = 0; i <= length; ++i) {
        const char16_t unit = UnicodeFrom1252(characters[i]);
        std::memcpy(wide + 2 * std::ptrdiff_t{i}, &unit, sizeof unit);
    }
    return reinterpret_cast<const unsigned short*>(wide);
}

QvString& QvString::operator+=(const QvString& other) {
    ConcatInPlace(other.GetLength(), other.text_);
    return *this;
}

QvString& QvString::operator+=(const char* text) {
    ConcatInPlace(SafeStrlen(text), text);
    return *this;
}

QvString& QvString::operator+=(char c) {
    ConcatInPlace(1, &c);
    return *this;
}

// Comparing

int QvString::Compare(const char* text) const { return text == text_ ? 0 : std::strcmp(text_, NotNull(text)); }

int QvString::CompareNoCase(const char* text) const {
    const char* left = text_;
    const char* right = NotNull(text);
    for (;; ++left, ++right) {
        const char a = LowerCase1252(*left);
        const char b = LowerCase1252(*right);
        if (a != b || a == '\0') return Sign(static_cast<unsigned char>(a), static_cast<unsigned char>(b));
    }
}

int QvString::Collate(const char* text) const { return std::strcoll(text_, NotNull(text)); }

int QvString::CollateNoCase(const char* text) const {
    QvString left(*this);
    QvString right(text);
    left.MakeLower();
    right.MakeLower();
    return left.Collate(right);
}

// Parts

QvString QvString::Mid(int first) const { return Mid(first, GetLength()); }

QvString QvString::Mid(int first, int count) const {
    first = std::clamp(first, 0, GetLength());
    count = std::clamp(count, 0, GetLength() - first);
    if (count == GetLength()) return *this;
    QvString part;
    AllocCopy(part, count, first);
    return part;
}

QvString QvString::Left(int count) const { return Mid(0, count); }

QvString QvString::Right(int count) const { return Mid(GetLength() - std::clamp(count, 0, GetLength())); }

QvString QvString::SpanIncluding(const char* set) const {
    return Left(static_cast<int>(std::strspn(text_, NotNull(set))));
}

QvString QvString::SpanExcluding(const char* set) const {
    return Left(static_cast<int>(std::strcspn(text_, NotNull(set))));
}

// Changing

void QvString::MakeUpper() {
    CopyBeforeWrite();
    std::transform(text_, text_ + GetLength(), text_, UpperCase1252);
}

void QvString::MakeLower() {
    CopyBeforeWrite();
    std::transform(text_, text_ + GetLength(), text_, LowerCase1252);
}

void QvString::MakeReverse() {
    CopyBeforeWrite();
    std::reverse(text_, text_ + GetLength());
}

namespace {

template <class Drop>
int LeadingCount(std::string_view text, Drop drop) {
    return static_cast<int>(std::find_if_not(text.begin(), text.end(), drop) - text.begin());
}

template <class Drop>
int TrailingCount(std::string_view text, Drop drop) {
    return static_cast<int>(std::find_if_not(text.rbegin(), text.rend(), drop) - text.rbegin());
}

}  // namespace

void QvString::TrimLeft() { Delete(0, LeadingCount(View(), IsSpace)); }
void QvString::TrimLeft(char c) {
    Delete(0, LeadingCount(View(), [c](char t) { return t == c; }));
}
void QvString::TrimLeft(const char* set) {
    const QvString own(set);  // the set may lie in this text
    Delete(0, LeadingCount(View(), [&](char t) { return t != '\0' && IsIn(own, t); }));
}

void QvString::TrimRight() {
    const int count = TrailingCount(View(), IsSpace);
    Delete(GetLength() - count, count);
}
void QvString::TrimRight(char c) {
    const int count = TrailingCount(View(), [c](char t) { return t == c; });
    Delete(GetLength() - count, count);
}
void QvString::TrimRight(const char* set) {
    const QvString own(set);
    const int count = TrailingCount(View(), [&](char t) { return t != '\0' && IsIn(own, t); });
    Delete(GetLength() - count, count);
}

int QvString::Replace(char old, char replacement) {
    if (old == replacement || View().find(old) == std::string_view::npos) return 0;
    CopyBeforeWrite();
    const auto count = std::count(text_, text_ + GetLength(), old);
    std::replace(text_, text_ + GetLength(), old, replacement);
    return static_cast<int>(count);
}

int QvString::Replace(const char* old, const char* replacement) {
    return ReplaceMatches(View(), NotNull(old), replacement);
}

int QvString::ReplaceNoCase(const char* old, const char* replacement) {
    std::string searched(View());
    std::string pattern(NotNull(old));
    std::transform(searched.begin(), searched.end(), searched.begin(), UpperCase1252);
    std::transform(pattern.begin(), pattern.end(), pattern.begin(), UpperCase1252);
    return ReplaceMatches(searched, pattern, replacement);
}

/// `searched` is this text in the form in which `pattern` is looked for; both have the same length.
int QvString::ReplaceMatches(std::string_view searched, std::string_view pattern, const char* replacement) {
    if (pattern.empty()) return 0;
    int count = 0;
    for (std::size_t at = 0; (at = searched.find(pattern, at)) != std::string_view::npos; at += pattern.size()) ++count;
    if (count == 0) return 0;

    const std::string_view insert = NotNull(replacement);
    const auto growth = static_cast<std::int64_t>(insert.size()) - static_cast<std::int64_t>(pattern.size());
    const int length = CheckedLength(GetLength() + count * growth);
    std::string result;  // made beside the text, since pattern and replacement may lie in it
    result.reserve(static_cast<std::size_t>(length));
    std::size_t done = 0;
    for (std::size_t at; (at = searched.find(pattern, done)) != std::string_view::npos; done = at + pattern.size())
        result.append(View(), done, at - done).append(insert);
    result.append(View(), done);
    AssignView(result);
    return count;
}

int QvString::Remove(char c) {
    CopyBeforeWrite();
    const auto kept = static_cast<int>(std::remove(text_, text_ + GetLength(), c) - text_);
    const int removed = GetLength() - kept;
    SetLength(kept);
    return removed;
}

int QvString::Insert(int index, char c) { return InsertView(index, {&c, 1}); }
int QvString::Insert(int index, const char* text) { return InsertView(index, NotNull(text)); }

int QvString::InsertView(int index, std::string_view text) {
    const int before = GetLength();
    if (text.empty()) return before;
    index = std::clamp(index, 0, before);
    const int after = CheckedLength(before + static_cast<std::int64_t>(text.size()));
    const int length = after - before;
    const bool inside = text.data() >= text_ && text.data() <= text_ + before;
    if (IsShared(GetData()) || after > GetAllocLength() || inside) {
        QvString fresh;
        fresh.AllocBuffer(after);
        CopyCharacters(fresh.text_, text_, index);
        CopyCharacters(fresh.text_ + index, text.data(), length);
        CopyCharacters(fresh.text_ + index + length, text_ + index, before - index);
        TakeBlock(fresh);
    } else {
        CopyCharacters(text_ + index + length, text_ + index, before - index);
        CopyCharacters(text_ + index, text.data(), length);
        SetLength(after);
    }
    return after;
}

int QvString::Delete(int index, int count) {
    const int before = GetLength();
    index = std::max(index, 0);
    if (count < 1 || index >= before) return before;
    count = std::min(count, before - index);
    CopyBeforeWrite();
    CopyCharacters(text_ + index, text_ + index + count, before - index - count);
    SetLength(before - count);
    return before;
}

void QvString::CharToOem() {
    CopyBeforeWrite();
    std::transform(text_, text_ + GetLength(), text_, OemFrom1252);
}

void QvString::OemToChar() {
    CopyBeforeWrite();
    std::transform(text_, text_ + GetLength(), text_, Windows1252FromOem);
}

// Searching

int QvString::Find(char c, int start) const {
    start = std::max(start, 0);
    if (start >= GetLength()) return -1;
    const char* found = std::strchr(text_ + start, c);
    return found ? static_cast<int>(found - text_) : -1;
}

int QvString::Find(const char* text, int start) const {
    start = std::max(start, 0);
    if (start > GetLength()) return -1;
    const char* found = std::strstr(text_ + start, NotNull(text));
    return found ? static_cast<int>(found - text_) : -1;
}

int QvString::ReverseFind(char c) const {
    const char* found = std::strrchr(text_, c);
    return found ? static_cast<int>(found - text_) : -1;
}

int QvString::FindOneOf(const char* set) const {
    const char* found = std::strpbrk(text_, NotNull(set));
    return found ? static_cast<int>(found - text_) : -1;
}

// Buffers

char* QvString::GetBuffer(int length) {
    if (IsShared(GetData()) || length > GetAllocLength()) {
        QvString fresh;
        fresh.AllocBuffer(std::max(length, GetLength()));
        CopyCharacters(fresh.text_, text_, GetLength());
        fresh.SetLength(GetLength());
        TakeBlock(fresh);
    }
    return text_;
}

char* QvString::GetBufferSetLength(int length) {
    length = std::max(length, 0);
    GetBuffer(length);
    SetLength(length);
    return text_;
}

void QvString::ReleaseBuffer(int length) {
    CopyBeforeWrite();
    const int room = GetAllocLength();
    if (length < 0) length = static_cast<int>(strnlen(text_, static_cast<std::size_t>(room)));
    SetLength(std::min(length, room));
}

void QvString::FreeExtra() {
    if (GetLength() == GetAllocLength() || IsLocked(GetData())) return;
    QvString exact;
    exact.AllocBuffer(GetLength());
    CopyCharacters(exact.text_, text_, GetLength());
    TakeBlock(exact);
}

char* QvString::LockBuffer() {
    GetBuffer(0);
    if (IsEmptyShared(GetData())) text_ = NewBlock(0)->Characters();
    Count(GetData()).store(QvStringData::kLocked, std::memory_order_release);
    return text_;
}

void QvString::UnlockBuffer() {
    if (!IsEmptyShared(GetData())) Count(GetData()).store(1, std::memory_order_release);
}

// Free operators

const QvString& QvGetEmptyString() {
    static const QvString empty;
    return empty;
}

QvString operator+(const QvString& left, const QvString& right) {
    QvString sum(left);
    sum += right;
    return sum;
}

QvString operator+(const QvString& left, const char* right) {
    QvString sum(left);
    sum += right;
    return sum;
}

QvString operator+(const char* left, const QvString& right) { return QvString(left) + right; }

QvString operator+(const QvString& left, char right) {
    QvString sum(left);
    sum += right;
    return sum;
}

QvString operator+(char left, const QvString& right) { return QvString(left) + right; }

}  // namespace kestrel
