#include "kestrel/foundation/QvString.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kestrel {
namespace {

/// Shows the block behind a string.
class Opened : public QvString {
public:
    using QvString::QvString;
    Opened(const QvString& other) : QvString(other) {}
    Opened& operator=(const QvString& other) { return QvString::operator=(other), *this; }
    using QvString::operator=;
    const QvStringData& Data() const { return *GetData(); }
    int Count() const { return GetData()->references; }
    const char* Text() const { return *this; }
};

std::string Bytes(const QvString& text) {
    return {static_cast<const char*>(text), static_cast<std::size_t>(text.GetLength())};
}

TEST(QvStringTest, EmptyTextsShareOneUncountedBlock) {
    const Opened one;
    const Opened two(one);
    const Opened three("");
    EXPECT_EQ(one.Count(), -2);
    EXPECT_EQ(one.Data().dataLength, 0);
    EXPECT_EQ(one.Data().allocLength, 0);
    EXPECT_EQ(one.Text(), two.Text());
    EXPECT_EQ(one.Text(), three.Text());
    EXPECT_EQ(one.Text(), static_cast<const char*>(QvGetEmptyString()));
    EXPECT_EQ(two.Count(), -2);
    EXPECT_STREQ(one, "");
    EXPECT_TRUE(one == two);
}

TEST(QvStringTest, NothingWritesToTheSharedEmptyText) {
    Opened text;
    text.ReleaseBuffer();
    text.UnlockBuffer();
    text.MakeUpper();
    text.MakeReverse();
    text.TrimLeft();
    text.TrimRight("x");
    text.Empty();
    text.FreeExtra();
    text = "";
    text += "";
    text.Insert(0, "");
    text.Remove('a');
    text.Delete(0, 5);
    text.GetBufferSetLength(0);
    text.CharToOem();
    EXPECT_EQ(text.Count(), -2);
}

TEST(QvStringTest, BlockIsHeaderCharactersAndTerminator) {
    EXPECT_EQ(sizeof(QvStringData), 12u);
    const Opened text("abcde");
    const auto* bytes = reinterpret_cast<const char*>(&text.Data());
    EXPECT_EQ(text.Text() - bytes, 12);
    std::int32_t fields[3];
    std::memcpy(fields, bytes, sizeof fields);
    EXPECT_EQ(fields[0], 1);
    EXPECT_EQ(fields[1], 5);
    EXPECT_EQ(fields[2], 5);
    EXPECT_EQ(text.Text()[5], '\0');
}

TEST(QvStringTest, CopiesShareUntilOneWrites) {
    Opened one("share");
    Opened two(one);
    Opened three;
    three = two;
    EXPECT_EQ(one.Count(), 3);
    EXPECT_EQ(one.Text(), three.Text());
    two.SetAt(0, 'S');
    EXPECT_EQ(one.Count(), 2);
    EXPECT_EQ(two.Count(), 1);
    EXPECT_STREQ(one, "share");
    EXPECT_STREQ(two, "Share");
    const char* block = two.Text();
    two.SetAt(1, 'H');
    EXPECT_EQ(two.Text(), block) << "a sole owner writes in place";
    three = "other";
    EXPECT_EQ(one.Count(), 1);
    const Opened& same = one;
    one = same;
    EXPECT_STREQ(one, "share");
}

TEST(QvStringTest, LockedBufferIsNeverShared) {
    Opened locked("fixed");
    char* block = locked.LockBuffer();
    EXPECT_EQ(locked.Count(), -1);

    Opened copy(locked);
    EXPECT_STREQ(copy, "fixed");
    EXPECT_EQ(copy.Count(), 1);
    EXPECT_NE(copy.Text(), block);

    Opened assigned("something else");
    assigned = locked;
    EXPECT_STREQ(assigned, "fixed");
    EXPECT_EQ(assigned.Count(), 1);
    EXPECT_EQ(locked.Count(), -1);

    const Opened other("new");
    locked = other;
    EXPECT_EQ(locked.Text(), block) << "assigning to it copies the characters";
    EXPECT_STREQ(locked, "new");
    EXPECT_EQ(other.Count(), 1);

    locked.Empty();
    EXPECT_EQ(locked.Text(), block);
    EXPECT_EQ(locked.Count(), -1);
    EXPECT_STREQ(locked, "");

    locked.UnlockBuffer();
    EXPECT_EQ(locked.Count(), 1);
    locked = "again";
    const Opened shared(locked);
    EXPECT_EQ(locked.Count(), 2);
}

TEST(QvStringTest, LockingAnEmptyTextLeavesTheSharedOneAlone) {
    Opened locked;
    locked.LockBuffer();
    EXPECT_EQ(locked.Count(), -1);
    EXPECT_EQ(Opened().Count(), -2);
    locked.UnlockBuffer();
    EXPECT_EQ(locked.Count(), 1);
    EXPECT_STREQ(locked, "");
}

TEST(QvStringTest, MakingAndJoining) {
    const unsigned char raw[] = {'u', 0xFC, 0};
    EXPECT_EQ(Bytes(QvString(raw)), "u\xFC");
    EXPECT_EQ(Bytes(QvString("abcdef", 3)), "abc");
    EXPECT_EQ(Bytes(QvString("a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(Bytes(QvString("abc", -1)), "");
    EXPECT_EQ(Bytes(QvString(static_cast<const char*>(nullptr))), "");
    EXPECT_EQ(Bytes(QvString('x', 4)), "xxxx");
    EXPECT_EQ(Bytes(QvString('x', -4)), "");

    const QvString a("ab");
    const QvString b("cd");
    EXPECT_EQ(Bytes(a + b), "abcd");
    EXPECT_EQ(Bytes(a + "cd"), "abcd");
    EXPECT_EQ(Bytes("ab" + b), "abcd");
    EXPECT_EQ(Bytes(a + 'c'), "abc");
    EXPECT_EQ(Bytes('b' + b), "bcd");
    EXPECT_EQ(Bytes(a), "ab");
    QvString sum;
    sum += a;
    sum += "-";
    sum += '+';
    sum += b;
    EXPECT_EQ(Bytes(sum), "ab-+cd");
    sum = 'z';
    EXPECT_EQ(Bytes(sum), "z");
}

TEST(QvStringTest, AppendsInPlaceOrInABlockOfExactlyTheNewLength) {
    Opened text("abc");
    text += "de";
    EXPECT_EQ(text.Data().allocLength, 5);
    text.GetBuffer(20);
    const char* block = text.Text();
    text += "fgh";
    EXPECT_EQ(text.Text(), block);
    EXPECT_EQ(text.Data().allocLength, 20);
    const Opened share(text);
    text += "i";
    EXPECT_EQ(text.Data().allocLength, 9);
    EXPECT_STREQ(text, "abcdefghi");
    EXPECT_STREQ(share, "abcdefgh");
}

TEST(QvStringTest, ArgumentsMayLieInTheStringItself) {
    Opened text("abcd");
    text += text;
    EXPECT_STREQ(text, "abcdabcd");
    text = text.Text() + 6;
    EXPECT_STREQ(text, "cd");
    text.Insert(1, text.Text());
    EXPECT_STREQ(text, "ccdd");
    text.Replace(text.Text() + 2, text.Text());
    EXPECT_STREQ(text, "ccccdd");
    text.Format("%s|%s", text.Text(), text.Text() + 4);
    EXPECT_STREQ(text, "ccccdd|dd");
    text.FormatMessage("%1!s!%1", text.Text());
    EXPECT_STREQ(text, "ccccdd|ddccccdd|dd");
    text.TrimLeft(text.Text() + 4);
    EXPECT_STREQ(text, "");
}

TEST(QvStringTest, ComparisonsInEveryOperandOrder) {
    const char* texts[] = {"", "A", "a", "ab", "b", "\xE4"};
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) {
            const QvString left(texts[i]);
            const QvString right(texts[j]);
            const auto expect = [&](bool want, bool both, bool first, bool second) {
                EXPECT_TRUE(both == want && first == want && second == want) << texts[i] << " and " << texts[j];
            };
            expect(i == j, left == right, left == texts[j], texts[i] == right);
            expect(i != j, left != right, left != texts[j], texts[i] != right);
            expect(i < j, left < right, left < texts[j], texts[i] < right);
            expect(i > j, left > right, left > texts[j], texts[i] > right);
            expect(i <= j, left <= right, left <= texts[j], texts[i] <= right);
            expect(i >= j, left >= right, left >= texts[j], texts[i] >= right);
        }
}

TEST(QvStringTest, CompareWithoutCase) {
    EXPECT_EQ(QvString("Gr\xFC\xDF"
                       "E")
                  .CompareNoCase("gR\xDC\xDF"
                                 "e"),
              0);
    EXPECT_LT(QvString("abc").CompareNoCase("ABCD"), 0);
    EXPECT_GT(QvString("abd").CompareNoCase("ABC"), 0);
    EXPECT_LT(QvString("_").CompareNoCase("A"), 0) << "compared in lower case";
    EXPECT_NE(QvString("\xD7").CompareNoCase("\xF7"), 0) << "times and divided by are no letters";
    std::setlocale(LC_ALL, "C");
    EXPECT_LT(QvString("a").Collate("b"), 0);
    EXPECT_EQ(QvString("AbC").CollateNoCase("aBc"), 0);
    EXPECT_GT(QvString("b").CollateNoCase("A"), 0);
}

TEST(QvStringTest, PartsAreClamped) {
    const QvString text("kestrel");
    const auto mid = [&](int first, int count) { return Bytes(text.Mid(first, count)); };
    EXPECT_EQ(mid(1, 3), "est");
    EXPECT_EQ(mid(-3, 2), "ke");
    EXPECT_EQ(mid(5, 100), "el");
    EXPECT_EQ(mid(7, 1), "");
    EXPECT_EQ(mid(100, INT_MAX), "");
    EXPECT_EQ(mid(2, -1), "");
    EXPECT_EQ(mid(1, INT_MAX), "estrel");
    EXPECT_EQ(Bytes(text.Mid(4)), "rel");
    EXPECT_EQ(Bytes(text.Left(3)), "kes");
    EXPECT_EQ(Bytes(text.Left(-1)), "");
    EXPECT_EQ(Bytes(text.Left(99)), "kestrel");
    EXPECT_EQ(Bytes(text.Right(3)), "rel");
    EXPECT_EQ(Bytes(text.Right(-1)), "");
    EXPECT_EQ(Bytes(text.Right(99)), "kestrel");
    EXPECT_EQ(Bytes(text.SpanIncluding("eks")), "kes");
    EXPECT_EQ(Bytes(text.SpanExcluding("tr")), "kes");
    EXPECT_EQ(Bytes(text.SpanExcluding("xyz")), "kestrel");
}

TEST(QvStringTest, CaseFollowsTheCodePage) {
    // German, French, Czech letters and the oe ligature; sharp s, micro and florin have no capital here.
    QvString text("a z\xE4\xF6\xFC\xE9\x9A\x9C\x9E\xFF\xDF\xB5\x83\xF7@[");
    text.MakeUpper();
    EXPECT_EQ(Bytes(text), "A Z\xC4\xD6\xDC\xC9\x8A\x8C\x8E\x9F\xDF\xB5\x83\xF7@[");
    text.MakeLower();
    EXPECT_EQ(Bytes(text), "a z\xE4\xF6\xFC\xE9\x9A\x9C\x9E\xFF\xDF\xB5\x83\xF7@[");
    text.MakeReverse();
    EXPECT_EQ(Bytes(text.Left(3)), "[@\xF7");
}

TEST(QvStringTest, Trims) {
    QvString text(" \t\r\n\v\f a b \n");
    text.TrimLeft();
    EXPECT_EQ(Bytes(text), "a b \n");
    text.TrimRight();
    EXPECT_EQ(Bytes(text), "a b");
    text = "xxaxx";
    text.TrimLeft('x');
    EXPECT_EQ(Bytes(text), "axx");
    text.TrimRight('x');
    EXPECT_EQ(Bytes(text), "a");
    text = "-+1+-";
    text.TrimLeft("+-");
    EXPECT_EQ(Bytes(text), "1+-");
    text.TrimRight("+-");
    EXPECT_EQ(Bytes(text), "1");
    text.TrimRight("1");
    EXPECT_EQ(Bytes(text), "");
}

TEST(QvStringTest, Searches) {
    const QvString text("path/to/file");
    EXPECT_EQ(text.Find('/'), 4);
    EXPECT_EQ(text.Find('/', 5), 7);
    EXPECT_EQ(text.Find('/', 8), -1);
    EXPECT_EQ(text.Find('f', 100), -1);
    EXPECT_EQ(text.Find('p', -5), 0);
    EXPECT_EQ(text.Find("to"), 5);
    EXPECT_EQ(text.Find("t", 3), 5);
    EXPECT_EQ(text.Find("", 12), 12);
    EXPECT_EQ(text.Find("", 13), -1);
    EXPECT_EQ(text.ReverseFind('/'), 7);
    EXPECT_EQ(text.ReverseFind('z'), -1);
    EXPECT_EQ(text.FindOneOf("zi/"), 4);
    EXPECT_EQ(text.FindOneOf("xyz"), -1);
}

TEST(QvStringTest, ReplacesBehindEmbeddedNulsToo) {
    QvString text("ab\0cab\0\0ab", 10);
    EXPECT_EQ(text.Replace("ab", "x"), 3);
    EXPECT_EQ(Bytes(text), std::string("x\0cx\0\0x", 7));
    EXPECT_EQ(text.Replace("x", "long"), 3);
    EXPECT_EQ(Bytes(text), std::string("long\0clong\0\0long", 16));
    EXPECT_EQ(text.Replace("long", nullptr), 3);
    EXPECT_EQ(Bytes(text), std::string("\0c\0\0", 4));
    EXPECT_EQ(text.Replace("", "x"), 0);
    EXPECT_EQ(text.Replace(nullptr, "x"), 0);
    EXPECT_EQ(text.Replace("none", "x"), 0);
}

TEST(QvStringTest, ReplacesWithoutCase) {
    QvString text("K\xC4se und k\xE4se");
    EXPECT_EQ(text.Replace("k\xE4se", "Brot"), 1);
    EXPECT_EQ(text.ReplaceNoCase("K\xC4SE", "Wein"), 1);
    EXPECT_EQ(Bytes(text), "Wein und Brot");
    text = "aAaAa";
    EXPECT_EQ(text.ReplaceNoCase("aa", "A"), 2);
    EXPECT_EQ(Bytes(text), "AAa") << "what was put in is not searched again";
    text = "banana";
    EXPECT_EQ(text.Replace('a', 'o'), 3);
    EXPECT_EQ(Bytes(text), "bonono");
    EXPECT_EQ(text.Replace('o', 'o'), 0);
}

TEST(QvStringTest, ReplaceKeepsABlockWithRoom) {
    Opened text("aXbX");
    text.GetBuffer(10);
    const char* block = text.Text();
    EXPECT_EQ(text.Replace("X", "123"), 2);
    EXPECT_EQ(text.Text(), block);
    EXPECT_STREQ(text, "a123b123");
    const Opened share(text);
    EXPECT_EQ(text.Replace("123", "X"), 2);
    EXPECT_STREQ(share, "a123b123");
    EXPECT_STREQ(text, "aXbX");
}

TEST(QvStringTest, InsertsAndDeletes) {
    QvString text("bd");
    EXPECT_EQ(text.Insert(1, 'c'), 3);
    EXPECT_EQ(text.Insert(-7, 'a'), 4);
    EXPECT_EQ(text.Insert(99, "ef"), 6);
    EXPECT_EQ(Bytes(text), "abcdef");
    EXPECT_EQ(text.Insert(0, ""), 6);
    EXPECT_EQ(text.Delete(1, 2), 6) << "the length before";
    EXPECT_EQ(Bytes(text), "adef");
    EXPECT_EQ(text.Delete(-1), 4);
    EXPECT_EQ(Bytes(text), "def");
    EXPECT_EQ(text.Delete(0, 0), 3);
    EXPECT_EQ(text.Delete(3, 1), 3);
    EXPECT_EQ(text.Delete(1, INT_MAX), 3);
    EXPECT_EQ(Bytes(text), "d");
    text = "a-b-c";
    EXPECT_EQ(text.Remove('-'), 2);
    EXPECT_EQ(Bytes(text), "abc");
    EXPECT_EQ(text.Remove('-'), 0);
}

TEST(QvStringTest, Buffers) {
    Opened text("abc");
    std::strcpy(text.GetBuffer(10) + 3, "def");
    EXPECT_EQ(text.Data().allocLength, 10);
    EXPECT_EQ(text.GetLength(), 3);
    text.ReleaseBuffer();
    EXPECT_STREQ(text, "abcdef");
    text.ReleaseBuffer(2);
    EXPECT_STREQ(text, "ab");
    text.ReleaseBuffer(1000);
    EXPECT_EQ(text.GetLength(), 10) << "no more than the block holds";
    text.ReleaseBuffer(2);
    text.FreeExtra();
    EXPECT_EQ(text.Data().allocLength, 2);
    EXPECT_STREQ(text, "ab");
    std::memcpy(text.GetBufferSetLength(4), "wxyz", 4);
    EXPECT_STREQ(text, "wxyz");
    const Opened share(text);
    text.GetBuffer(0)[0] = '!';
    EXPECT_STREQ(share, "wxyz");
}

TEST(QvStringTest, FormatTakesItsRoomFromTheEstimate) {
    const auto room = [](auto... arguments) {
        Opened text;
        text.Format(arguments...);
        return text.Data().allocLength;
    };
    EXPECT_EQ(room("ab%%c", 0), 4);
    EXPECT_EQ(room("x%d", 7), 33);
    EXPECT_EQ(room("%40d", 7), 40);
    EXPECT_EQ(room("%30.20u", 7u), 50);
    EXPECT_EQ(room("%#x", 7u), 34);
    EXPECT_EQ(room("%c", 'a'), 2);
    EXPECT_EQ(room("%9c", 'a'), 9);
    EXPECT_EQ(room("%s", "hello"), 5);
    EXPECT_EQ(room("%s", ""), 1);
    EXPECT_EQ(room("%12s", "hello"), 12);
    EXPECT_EQ(room("%.3s", "hello"), 3);
    EXPECT_EQ(room("%.9s", "hello"), 5);
    EXPECT_EQ(room("%hhd%s", 7, "tail"), 36);
    EXPECT_EQ(room("%*s", 15, "hello"), 15);
    EXPECT_EQ(room("%-*s", -15, "hello"), 15);
    EXPECT_EQ(room("%f", 1.0), 128);
    EXPECT_EQ(room("%100.50g%s", 1.0, "tail"), 154);
    EXPECT_EQ(room("%ld%s", 1L << 40, "tail"), 36);
    EXPECT_EQ(room("%p", static_cast<void*>(nullptr)), 32);
}

TEST(QvStringTest, FormatNeverOverrunsItsEstimate) {
    QvString text;
    text.Format("%f", 1e300);
    EXPECT_EQ(text.GetLength(), 308);
    text.Format("%10.3s|", "hello");  // the estimate cuts to 3 what takes 10
    EXPECT_EQ(Bytes(text), "       hel|");
    text.Format("%c%s %05d %-4d| %x", 'a', "bc", -42, 7, 255u);
    EXPECT_EQ(Bytes(text), "abc -0042 7   | ff");
    text.Format("%.*s", 2, "abc");
    EXPECT_EQ(Bytes(text), "ab");
    const char unterminated[] = {'x', 'y'};
    text.Format("%.2s", unterminated);
    EXPECT_EQ(Bytes(text), "xy");
    text.Format("%ls", L"wide");
    EXPECT_EQ(Bytes(text), "wide");
    text.Format("%s", "");
    EXPECT_TRUE(text.IsEmpty());
    QvString shared(text = "shared");
    shared.Format("%d%%", 50);
    EXPECT_EQ(Bytes(shared), "50%");
    EXPECT_EQ(Bytes(text), "shared");
}

TEST(QvStringTest, WideViewLiesBehindTheCharacters) {
    Opened text("a\x80\xE4");
    const unsigned short* wide = text;
    EXPECT_EQ(wide[0], 'a');
    EXPECT_EQ(wide[1], 0x20AC);
    EXPECT_EQ(wide[2], 0xE4);
    EXPECT_EQ(wide[3], 0);
    EXPECT_EQ(reinterpret_cast<const char*>(wide) - text.Text(), 4) << "length 3 plus 2, rounded down to even";
    EXPECT_EQ(text.Data().allocLength, 12);
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_STREQ(text, "a\x80\xE4");
    Opened even("ab");
    const unsigned short* evenWide = even;
    EXPECT_EQ(reinterpret_cast<const char*>(evenWide) - even.Text(), 4);
    Opened empty;
    EXPECT_EQ(*static_cast<const unsigned short*>(empty), 0);
    const Opened share(text);
    EXPECT_EQ(static_cast<const unsigned short*>(text)[2], 0xE4);
    EXPECT_EQ(share.Count(), 1) << "the view is made in a block of the string's own";
}

TEST(QvStringTest, FormatMessageInsertsByNumber) {
    QvString text;
    text.FormatMessage("%2 of %1!d! (%2!10s!|%2!-6.3s!|%1!05X!)%%%n", 250, "rows");
    EXPECT_EQ(Bytes(text), "rows of 250 (      rows|row   |000FA)%\r\n");
    text.FormatMessage("%1!*.*s!;%4", 6, 2, "abc", "end");
    EXPECT_EQ(Bytes(text), "    ab;end");
    text.FormatMessage("a\nb\r\nc%rd%te%bf%.%!% g%0 never seen");
    EXPECT_EQ(Bytes(text), "a\r\nb\r\nc\rd\te f.! g");
    text.FormatMessage("%3 %1!lld! %1!llx! %1!lx!", 1LL << 40, "unused", "third");
    EXPECT_EQ(Bytes(text), "third 1099511627776 10000000000 10000000000");
    [&]<std::size_t... kI>(std::index_sequence<kI...>) { text.FormatMessage("%99", (kI == 98 ? "last" : "other")...); }
    (std::make_index_sequence<99>());
    EXPECT_EQ(Bytes(text), "last");
    text.FormatMessage("%10%9%8%7%6%5%4%3%2%1", "0", "1", "2", "3", "4", "5", "6", "7", "8", "9");
    EXPECT_EQ(Bytes(text), "9876543210");
    text.FormatMessage("%1!s!", static_cast<const char*>("%n%d"));
    EXPECT_EQ(Bytes(text), "%n%d") << "an insert is not read as a format";
}

TEST(QvStringTest, MalformedMessagesRaiseAndChangeNothing) {
    const char* malformed[] = {"%",      "text %", "%1!d",  "%1!",     "%1!!",        "%1!n!",         "%1!f!",
                               "%1!dd!", "%1!5",   "%1!.*", "%99!*d!", "%1!s! %1!d!", "%1!d! %1!lld!", "%2!*d! %2"};
    for (const char* format : malformed) {
        QvString text("kept");
        EXPECT_THROW(text.FormatMessage(format, nullptr, nullptr, nullptr), std::invalid_argument) << format;
        EXPECT_EQ(Bytes(text), "kept");
    }
    EXPECT_THROW(QvString().FormatMessage(nullptr), std::invalid_argument);
}

TEST(QvStringTest, OemAndBack) {
    QvString text("\xE4\xF6\xFC\xDF \xC4 \x80 \x93x\x94 \x96");
    text.CharToOem();
    EXPECT_EQ(Bytes(text), "\x84\x94\x81\xE1 \x8E ? \"x\" -");
    text.OemToChar();
    EXPECT_EQ(Bytes(text), "\xE4\xF6\xFC\xDF \xC4 ? \"x\" -");
    text = "\xC9\xCD\xBB\xBA\xB0";
    text.OemToChar();
    EXPECT_EQ(Bytes(text), "+-+|?");
}

TEST(QvStringTest, RandomEditsAgreeWithStdString) {
    std::mt19937 random(11);
    const auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
    std::vector<Opened> shares(8);
    std::vector<std::string> wants(8);
    std::vector<char> locked(8);
    for (int round = 0; round < 20000; ++round) {
        const auto i = static_cast<std::size_t>(pick(0, 7));
        const auto j = static_cast<std::size_t>(pick(0, 7));
        Opened& text = shares[i];
        std::string& want = wants[i];
        const int length = static_cast<int>(want.size());
        const int at = pick(0, length);
        const char c = static_cast<char>(pick('a', 'd'));
        switch (pick(0, 11)) {
            case 0:
                text = shares[j], want = wants[j];
                break;
            case 1:
                if (length < 500) text += shares[j], want += std::string(wants[j]);
                break;
            case 2:
                text.Insert(at, c), want.insert(want.begin() + at, c);
                break;
            case 3:
                text.Delete(at, 3), want.erase(static_cast<std::size_t>(at), 3);
                break;
            case 4:
                text = text.Mid(at, 20), want = want.substr(static_cast<std::size_t>(at), 20);
                break;
            case 5:
                text.Remove(c), std::erase(want, c);
                break;
            case 6:
                text.MakeReverse(), std::reverse(want.begin(), want.end());
                break;
            case 7:
                text.LockBuffer(), locked[i] = true;
                break;
            case 8:
                if (locked[i]) text.UnlockBuffer(), locked[i] = false;
                break;
            case 9:  // a piece of its own, often with room to spare
                text.GetBuffer(pick(0, 2 * length));
                if (length < 500) {
                    const auto piece = static_cast<std::size_t>(pick(0, length));
                    text.Insert(at, text.Text() + piece);
                    want.insert(static_cast<std::size_t>(at), std::string(want, piece));
                }
                break;
            case 10:
                text.FreeExtra();
                break;
            default:
                text.GetBuffer(pick(0, 40));
                text.ReleaseBuffer();
                break;
        }
        ASSERT_EQ(text.Count() == QvStringData::kLocked, locked[i] != 0) << "round " << round;
        ASSERT_EQ(Bytes(text), want) << "round " << round;
        ASSERT_EQ(static_cast<const char*>(text)[want.size()], '\0');
    }
}

TEST(QvStringTest, LockedTextThatMovesIsNotShared) {
    Opened text("short");
    text.LockBuffer();
    text += " and then longer";
    const Opened copy(text);
    text.UnlockBuffer();
    text = "other";
    EXPECT_STREQ(copy, "short and then longer");
    EXPECT_EQ(copy.Count(), 1);
}

TEST(QvStringTest, CountsAcrossThreads) {
    Opened text("shared among threads");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&text] {
            for (int round = 0; round < 20000; ++round) {
                QvString copy(text);
                QvString other;
                other = copy;
                if (round % 16 == 0) other += '!';
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(text.Count(), 1);
    EXPECT_STREQ(text, "shared among threads");
}

}  // namespace
}  // namespace kestrel
