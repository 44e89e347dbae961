// The formatter, number text and parsers, and language blocks and menus on a
// real language file (the English langhost.dll and its German langhost.LNG).
// Each locale is a run of its own, named by MARLOK_EXPECT_LOCALE; expected
// texts there spell its thousand separator ', decimal _ and list separator ~.
#include "guardbuffer.h"
#include "kernel/kernel_internal.h"
#include "kernel/kernelstrings.h"
#include "kernel/lxmenu.h"
#include "kernel/lxprintf.h"
#include "kernel/lxtext.h"
#include "testsupport.h"
#include "tools/fixtures/langfile/langids.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

const LCID kGerman = 0x0407;

std::string LocaleName() {
    char name[LOCALE_NAME_MAX_LENGTH] = {0};
    GetLocaleInfoA(LOCALE_USER_DEFAULT, 0x5C /* LOCALE_SNAME */, name, sizeof name);
    return name;
}

void ExpectLocale() {
    const char *expected = getenv("MARLOK_EXPECT_LOCALE");
    EXPECT_EQ(expected && *expected ? expected : LocaleName(), LocaleName()) << "wrong locale";
}

// Swedish groups with a no-break space (0xA0 in code page 1252); en-IN's
// grouping "3;2;0" counts as 3.
const char *const kLocales[] = {"en-US", "de-DE", "en-IN", "sv-SE"};
const char *const kSeparators[][3] = {
    {",", ".", ","}, {".", ",", ";"}, {",", ".", ","}, {"\xA0", ",", ";"}};

class LocaleTest : public testing::Test {
protected:
    void SetUp() override {
        ExpectLocale();
        for (int i = 0; i < 4; i++)
            if (LocaleName() == kLocales[i]) locale_ = i;
        if (locale_ < 0) GTEST_SKIP() << "no expectations for " << LocaleName();
    }
    std::string Spelled(const char *text) const {
        static const char kMarks[] = "'_~";
        std::string out;
        for (const char *mark; *text; text++)
            out += (mark = strchr(kMarks, *text)) ? kSeparators[locale_][mark - kMarks]
                                                  : std::string(1, *text);
        return out;
    }
    int locale_ = -1;
};

// What a call left in out, marked if the call's result isn't its length.
std::string Text(const char *out, int n) {
    std::string text(out);
    return n == (int)text.size() ? text : text + " <returned " + std::to_string(n) + ">";
}

// Nothing may be written behind the text.
std::string Format(const char *format, ...) {
    std::vector<char> out(4096, '\x7F');
    va_list args;
    va_start(args, format);
    int n = LxVPrintF(out.data(), format, args);
    va_end(args);
    EXPECT_EQ('\x7F', out.at(strnlen(out.data(), out.size()) + 1)) << "written past the end";
    return Text(out.data(), n);
}

TEST(LxPrintF, SequencesAndArguments) {
    // A spec without a conversion character stands, with % as its head.
    const char *const rows[][2] = {
        {"$$d", "$d"}, {"$%", "%"}, {"%%d", "%d"}, {"cost $", "cost %"}, {"a%5.", "a%5."},
        {"%!:", ":"}, {"%!.", "."}, {"$!,", ","}, {"%!x", "x"}, {"%!", ""}, {"1%&,2%&:3", "1,2.3"},
        {"$(nosuch)", "$(nosuch)"}, {"[$()]", "[$()]"}, {"$(-x)", "$(-x)"}, {"$(", "$("},
        {"$(12 and %d", "$(12 and 5"}, {"$(nosuch and %d", "$(nosuch and %d"},
    };
    for (const auto &r : rows) EXPECT_EQ(r[1], Format(r[0], 5)) << r[0];
    // Separators take no argument; 64-bit numbers and doubles take two words.
    EXPECT_EQ(":1:2.3|ab   |ab|(null)|wide|ok|1099511627776 2.000000e+000 -9",
              Format("%:%d%!:%d%&.%d|%-5s|$.2s|%s|%ls|%c%c|%I64d %e %d", 1, 2, 3, "ab", "abc",
                     (const char *)nullptr, L"wide", 'o', 'k', 1LL << 40, 2.0, -9));
    char out[8] = "xxxxxxx";
    EXPECT_EQ(0, LxPrintF(nullptr, "abc"));
    EXPECT_EQ(0, LxPrintF(out, nullptr));
    EXPECT_STREQ("", out);
}

// A spec that could make the runtime read more than its one argument, or
// write more than the 260-character conversion buffer, writes nothing; its
// argument is still used up. 260 characters of spec end the conversion.
TEST(LxPrintF, HostileAndOversizedSpecs) {
    EXPECT_EQ("[][][][][][6]", Format("[%nd][%Sd][%Zd][%pd][%5$d][%d]", 1, 2, 3, 4, 5, 6));
    EXPECT_EQ("[][][][][c]", Format("[%nx][%Sf][%Ss][%n.2z][%s]", 1u, 2.0, "a", 100, "c"));
    EXPECT_EQ("[][][][][][][2]", Format("[%300d][%.300f][%.300z][%99999d][%2147483647f][%f][%d]",
                                        1, 1.0, 1, 1, 1.0, 1e300, 2));
    EXPECT_EQ("[" + std::string(257, ' ') + "1]", Format("[%258d]", 1));
    const std::string cut = Format("[%99999s][%d]", "a", 2);  // wsprintfA's own limit: 1024
    EXPECT_EQ("][2]", cut.substr(cut.size() - 4));
    EXPECT_LE(cut.size(), 1u + 1024 + 4);
    const std::string inside = "%" + std::string(256, '0') + "5d";
    EXPECT_EQ("00005|6", Format((inside + "|%d").c_str(), 5, 6));
    const std::string outside = "%" + std::string(257, '0') + "5d";
    EXPECT_EQ(outside + "|5", Format(("$" + outside.substr(1) + "|%d").c_str(), 5));
}

TEST(LxPrintFTokens, ReplaceDeleteAndNameLimit) {
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Test", "value"));
    ASSERT_TRUE(LxPrintF_AddToken("FMT.test", "$d %s $(Fmt.Test)"));
    EXPECT_EQ("[$d %s $(Fmt.Test)]4", Format("[$(fmt.TEST)]%d", 4)) << "values aren't expanded";
    EXPECT_TRUE(LxPrintF_DeleteToken("fmt.test"));
    EXPECT_FALSE(LxPrintF_DeleteToken("Fmt.Test"));
    const std::string name(260, 'n');
    ASSERT_TRUE(LxPrintF_AddToken(name.c_str(), nullptr));
    EXPECT_EQ("[]", Format(("[$(" + name + ")]").c_str()));
    EXPECT_TRUE(LxPrintF_DeleteToken(name.c_str()));
    EXPECT_FALSE(LxPrintF_AddToken((name + "n").c_str(), "x")) << "could never be looked up";
    EXPECT_EQ("$(" + name + "n)3", Format(("$(" + name + "n)%d").c_str(), 3));
}

// Threads insert out of order and read at once, so every later lookup needs
// both the order and the lock; the shared name is replaced, never doubled.
TEST(LxPrintFTokens, ThreadsKeepTheTableSorted) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([t] {
            char out[64];
            for (int i = t; i < 41 * 20; i += 4) {
                LxPrintF_AddToken(("Fmt." + std::to_string(100 + i * 17 % 41)).c_str(), "x");
                LxPrintF_AddToken("Fmt.Shared", "y");
                LxPrintF(out, "$(Fmt.Shared)");
            }
        });
    }
    for (std::thread &th : threads) th.join();
    for (int k = 100; k < 141; k++)
        EXPECT_TRUE(LxPrintF_DeleteToken(("FMT." + std::to_string(k)).c_str())) << k;
    EXPECT_TRUE(LxPrintF_DeleteToken("fmt.shared"));
    EXPECT_FALSE(LxPrintF_DeleteToken("Fmt.Shared"));
}

template <typename T>
struct LocaleRow { const char *format; T value; const char *expected; };

// With modifiers the runtime goes first: padding, zeros and a plus sign stay
// as leading text.
const LocaleRow<LONG> kIntRows[] = {
    {"%d", INT_MIN, "-2147483648"}, {"$d", INT_MIN, "-2'147'483'648"}, {"$d", 0, "0"},
    {"$d", 1234567, "1'234'567"}, {"$u", -1, "4'294'967'295"}, {"$5d", 1234, " 1'234"},
    {"$05d", 1234, "01'234"}, {"$z", -1234567, "-1'234'567"}, {"[$.0z]", 0, "[]"},
    {"$.2z", 123456, "1'234_56"}, {"%.2z", -5, "-0_05"}, {"$8.1z", 12345, "1'234_5"},
    {"%.15z", 12, "0_000000000000012"}, {"%.16z", 12, "0_0000000000000012"}, {"%*d", 0, "_d"},
    {"%,", 0, "~"}, {"%:", 0, ":"}, {"$(-1234567)", 0, "-1'234'567"}, {"$(.5)", 0, "0_5"},
};
const LocaleRow<LONGLONG> kInt64Rows[] = {
    {"$I64d", LLONG_MIN, "-9'223'372'036'854'775'808"},
    {"$I64u", -1LL, "18'446'744'073'709'551'615"}, {"%I64x", 0x123456789AB, "123456789ab"},
};
const LocaleRow<double> kRealRows[] = {
    {"%e", 1234.5, "1.234500e+003"}, {"$g", 123456.0, "123456"}, {"%g", 0.25, "0_25"},
    {"$g", 1234567.0, "1.23457e+006"}, {"$.2fKB", -1234567.126, "-1'234'567_13KB"},
    {"%10.1f|", 2.26, "       2_3|"}, {"$10.1f", 12345.67, "   12'345_7"},
};

using LxPrintFLocale = LocaleTest;

TEST_F(LxPrintFLocale, Conversions) {
    const auto check = [this](const auto &rows) {
        for (const auto &r : rows)
            EXPECT_EQ(Spelled(r.expected), Format(r.format, r.value)) << r.format << " " << r.value;
    };
    check(kIntRows);
    check(kInt64Rows);
    check(kRealRows);
}

// Code page 932: 0x81-0x9F and 0xE0-0xFC lead a pair whose second byte may
// be an ASCII letter or a backslash; 0x81 0x40 is the ideographic space.
TEST(LxPrintFDoubleByte, PairsPassWhole) {
    ExpectLocale();
    if (GetACP() != 932) GTEST_SKIP() << "needs code page 932, this is " << GetACP();
    EXPECT_EQ("\x81$d|", Format("\x81$d|", 5)) << "a lead byte takes even a '$' with it";
    // A pair's second byte 'd' doesn't end a spec; the argument is used up.
    EXPECT_EQ("|6", Format("%\x82\x64" "d|%d", 5, 6));
    EXPECT_EQ("\x83\x5C" "7\x83\x5C", Format("\x83\x5C%d\x83\x5C", 7));
}

TEST(LxNumTextDoubleByte, PairsStayWhole) {
    ExpectLocale();
    if (GetACP() != 932) GTEST_SKIP() << "needs code page 932, this is " << GetACP();
    char path[] = "a\\\x83\x5C\\b";
    EXPECT_EQ("a/\x83\x5C/b", Text(path, LxStringReplaceChars(path, '\\', '/')));
    char text[] = "\x81\x40 name\x81\x40\x81\x40";
    EXPECT_EQ("name", Text(text, LxStripWhiteSpace(text)));
    lxtest::GuardBuffer out(4);  // room for one pair: cut between pairs
    char *name = (char *)out.data();
    EXPECT_EQ(name, LxPrepareName("\x81\x40\x82\xA0\x82\xA2", name, 4));
    EXPECT_STREQ("\x82\xA0", name);
    EXPECT_EQ(-5, LxTextToLongToken("\x81\x40-5\x81\x40" "7", nullptr));
}

using LxNumTextLocale = LocaleTest;

TEST_F(LxNumTextLocale, Formatters) {
    enum { kNumber = -3, kDecimal = -2 };  // otherwise the decimals of the group form
    const struct { int decimals; const char *text, *expected; } rows[] = {
        {kNumber, "1234.56", "1'235"}, {kNumber, "0", "0"}, {kNumber, "007", "007"},
        {kNumber, "x-1000", "x-1'000"}, {kNumber, "12ab", "12ab"}, {kDecimal, ".5", "0_5"},
        {kDecimal, "1234", "1234"}, {-1, "1234567.891", "1'234'567_891"}, {3, "-0.5", "-0_500"},
    };
    for (const auto &r : rows) {
        char out[64];
        int n = r.decimals == kNumber    ? LxFormatNumber(r.text, out, 64)
                : r.decimals == kDecimal ? LxFormatDecimalNumber(r.text, out, 64)
                                         : LxFormatGroupDecimalNumber(r.text, out, 64, r.decimals);
        EXPECT_EQ(Spelled(r.expected), Text(out, n)) << '"' << r.text << "\" " << r.decimals;
    }
}

TEST_F(LxNumTextLocale, IntegersAndDoublesToText) {
    char out[64];
    EXPECT_EQ(Spelled("-2'147'483'648"), Text(out, LxLongToText(LONG_MIN, out, TRUE)));
    // A high word of 0 reads the low word unsigned, even for LongLong.
    EXPECT_EQ("4294967295", Text(out, LxLongLongToText(~0u, 0, out, FALSE)));
    EXPECT_EQ(Spelled("-9'223'372'036'854'775'808"),
              Text(out, LxLongLongToText(0, LONG_MIN, out, TRUE)));
    EXPECT_EQ(Spelled("18'446'744'073'709'551'615"),
              Text(out, LxDWordLongToText(~0u, ~0u, out, TRUE)));
    // Never a minus on a zero; the half step is single precision, a hair
    // below 0.005; decimals are held to 0 to 9.
    const struct { double value; int decimals; BOOL group; const char *expected; } rows[] = {
        {-0.004, 2, TRUE, "0_00"}, {-0.005, 2, FALSE, "0.00"}, {-0.00501, 2, FALSE, "-0.01"},
        {1.999, 2, FALSE, "2.00"}, {1234.5678, 2, TRUE, "1'234_57"}, {0.5, 0, FALSE, "1"},
        {0.000001, 9, FALSE, "0.000001000"}, {12.0, 20, FALSE, "12.000000000"},
        {-5.0, -1, FALSE, "-5"}, {1e20, 0, FALSE, "18446744073709551615"}, {NAN, 2, FALSE, "0.00"}};
    for (const auto &r : rows) {
        const int n = LxDoubleToText(out, r.value, r.decimals, r.group);
        EXPECT_EQ(Spelled(r.expected), Text(out, n)) << r.value << " " << r.decimals;
    }
}

// Text codes give the length, number codes the number; both empty the text.
// A copy of the record says how much of it is real; nothing lands behind it.
TEST_F(LxNumTextLocale, InternationalRecord) {
    const LONG kLanguage[] = {0x409, 0x407, 0x4009, 0x41D};
    const struct { int code; const char *text; LONG n; } rows[] = {
        {LXINAT_DECIMAL, "_", 1}, {LXINAT_LIST, "~", 1}, {LXINAT_TIME, ":", 1},
        {LXINAT_SMPTEDROP, ",", 1}, {LXINAT_BEAT, ".", 1}, {-1, "", 0}, {25, "", 0}, {122, "", 0},
        {LXINAT_LANGUAGE, "", kLanguage[locale_]}};
    for (const auto &r : rows) {
        char out[64] = "xyz";
        EXPECT_EQ(r.n, LxGetInat(r.code, out)) << r.code;
        EXPECT_EQ(Spelled(r.text), out) << r.code;
        EXPECT_EQ(r.n, LxGetInat(r.code, nullptr)) << r.code;
    }
    DWORD copy[113];
    for (DWORD size : {6u, 452u}) {
        memset(copy, 0xCC, sizeof copy);
        EXPECT_EQ(S_OK, LxLang_GetInternationals(copy, size));
        EXPECT_EQ(size == 6 ? 6u : 448u, copy[0]);
        EXPECT_EQ(GetSystemDefaultLCID() & 0xFFFF, copy[1] & 0xFFFF);
        EXPECT_EQ(size == 6 ? 0xCC : 0, ((BYTE *)copy)[size == 6 ? 6 : 448]);
    }
}

// Each buffer ends at a guard page; sizes count the terminator, and most
// rows are one short of the whole result. Number text without room for its
// grouping is cut as it stands; a name with nothing left gives null.
TEST(LxNumText, BoundedOutputNullsAndSmallHelpers) {
    const struct { bool name; const char *text; int size; const char *expected; } rows[] = {
        {false, "12", 3, "12"}, {false, "x", 1, ""}, {false, "   1234", 4, "   "},
        {false, "   1234", 3, "  "}, {false, "1234567", 4, "123"}, {true, "  name  ", 5, "name"},
        {true, " abcde ", 5, "abcd"}, {true, "   ", 9, nullptr}, {true, nullptr, 4, nullptr}};
    for (const auto &r : rows) {
        lxtest::GuardBuffer out(r.size);
        char *text = (char *)out.data();
        if (r.name) {
            EXPECT_EQ(r.expected ? text : nullptr, LxPrepareName(r.text, text, r.size)) << r.size;
            EXPECT_STREQ(r.expected ? r.expected : "", text);
        } else {
            EXPECT_EQ(r.expected, Text(text, LxFormatNumber(r.text, text, r.size))) << r.text;
        }
    }
    lxtest::GuardBuffer none(0);  // any write faults
    EXPECT_EQ(0, LxFormatNumber("1", (char *)none.data(), 0));
    EXPECT_EQ(nullptr, LxPrepareName("a", (char *)none.data(), 0));
    EXPECT_EQ(0, LxFormatGroupDecimalNumber("1", nullptr, 4, 0));
    EXPECT_EQ(0, LxLongToText(5, nullptr, FALSE));
    EXPECT_EQ(0, LxDoubleToText(nullptr, 1.0, 2, FALSE));
    EXPECT_EQ(nullptr, LxFourCCToString(0x41424344u, nullptr));
    EXPECT_EQ(0, LxStringReplaceChars(nullptr, 'a', 'b'));
    EXPECT_EQ(0, LxStripWhiteSpace(nullptr));
    char out[8] = "ZZZZZZZ";
    EXPECT_EQ(out, LxFourCCToString(0x7F1F2064u, out));  // 'd', space, 0x1F, 0x7F
    EXPECT_EQ(std::string("d ..\0Z", 6), std::string(out, 6));
    char list[] = " one|two|";  // a zero splits a list in place; the length is the whole walk
    EXPECT_EQ(9, LxStringReplaceChars(list, '|', 0));
    EXPECT_EQ("one", Text(list, LxStripWhiteSpace(list)));
}

// No locale of Wine shows a non-ASCII sign in its ANSI code page, so this
// run sets one (an en dash, 0x96 in code page 1252) as a user could. That
// changes the prefix for every process: it runs only in its own serial
// CTest entry, which sets MARLOK_TEST_NEGATIVE_SIGN, and restores the sign.
class LxNumTextNegativeSign : public testing::Test {
protected:
    void SetUp() override {
        if (!getenv("MARLOK_TEST_NEGATIVE_SIGN")) GTEST_SKIP() << "runs only in its own run";
        ASSERT_EQ("en-US", LocaleName());
        ASSERT_TRUE(GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SNEGATIVESIGN, saved_, 8));
        ASSERT_TRUE(changed_ = SetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SNEGATIVESIGN, "\x96"));
        LxLang_GetInternationals(nullptr, 0);
    }
    void TearDown() override {
        if (changed_) {
            EXPECT_TRUE(SetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SNEGATIVESIGN, saved_));
        }
        LxLang_GetInternationals(nullptr, 0);
    }
    char saved_[8] = {0};
    bool changed_ = false;
};

TEST_F(LxNumTextNegativeSign, OurTextKeepsTheAsciiMinus) {
    char out[64];
    ASSERT_TRUE(GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SNEGATIVESIGN, out, sizeof out));
    ASSERT_STREQ("\x96", out) << "the system itself now writes the dash";
    EXPECT_EQ("  -1,234", Text(out, LxFormatNumber("  -1234", out, 64)));
    EXPECT_EQ("-1,000|-1,234,567|-123.45|-1,000|-0.3",
              Format("$d|$d|$.2z|$(-1000)|$.1f", -1000, -1234567, -12345, -0.26));
}

// Rows: text, result, the text at the stop position (null: a null stop);
// with a maximum, the bounded form with its failure value and minimum.
template <typename T>
struct Row { const char *text; T value; const char *rest; T fail{}, min{}, max{}; };

class TokenParser : public LocaleTest {
protected:
    template <typename T, size_t N, typename Plain, typename Bounded>
    void Check(const Row<T> (&rows)[N], Plain plain, Bounded bounded) {
        for (const Row<T> &r : rows) {
            const std::string spelled = r.text ? Spelled(r.text) : "";
            const char *text = r.text ? spelled.c_str() : nullptr, *stop = "x";
            const auto call = [&](const char **s) {
                return r.max ? bounded(text, r.fail, r.min, r.max, s) : plain(text, s);
            };
            SCOPED_TRACE(r.text ? r.text : "null");
            EXPECT_EQ(r.value, call(&stop));
            EXPECT_EQ(r.rest ? Spelled(r.rest) : "null", stop ? stop : "null");
            EXPECT_EQ(r.value, call(nullptr));
        }
    }
};

// A bounded form takes the failure value for a zero that stopped on anything
// but the end or white space, then clamps, unsigned for the DWord and hex
// forms. A bracket makes a signed number negative; its stop is the token's
// end whatever the token holds, and only 63 characters of it are read.
TEST_F(TokenParser, EachParser) {
    const Row<DWORD> dwords[] = {
        {" \t 42 x", 42, " x"}, {"-5", 0, "-5"}, {"1#2", 1, "#2"}, {"1'234'567", 1234567, ""},
        {"99999999999999999999", 1661992959u, ""}, {nullptr, 0, nullptr},
        {"abc", 100, "abc", 500, 0, 100}, {"abc", 10, "abc", 3, 10, 100},
        {"0abc", 77, "abc", 77, 0, 100}, {"0 abc", 0, " abc", 77, 0, 100}, {"", 5, "", 77, 5, 100},
        {"3000000000", 0x80000000u, "", 0, 0, 0x80000000u}};
    Check(dwords, LxTextToDWordToken, LxTextToDWordTokenEx);
    const Row<ULONGLONG> dwordLongs[] = {{"18'446'744'073'709'551'617", 1, ""},
                                         {"5", 1ull << 32, "", 0, 1ull << 32, ~0ull}};
    Check(dwordLongs, LxTextToDWordLongToken, LxTextToDWordLongTokenEx);
    const std::string zeros = std::string(62, '0') + "123";
    const Row<LONG> longs[] = {
        {"(1'234)", -1234, ""}, {"(-5)", -5, ""}, {"  -42 x", -42, " x"}, {"12_7", 12, ""},
        {"12abc 5", 12, " 5"}, {"+5", 0, ""}, {zeros.c_str(), 1, ""}, {nullptr, 0, nullptr},
        {"abc", 0, "", 7, -10, 10}, {"-50", -10, "", 0, -10, 10}};
    Check(longs, LxTextToLongToken, LxTextToLongTokenEx);
    // The 64-bit bounded forms read through the 32-bit parsers: a longer
    // number wraps as atol reads it, and hex isn't sign-extended.
    const Row<LONGLONG> longLongs[] = {{"(1'234'567'890'123)", -1234567890123LL, ""},
                                       {"3000000000", -1294967296LL, "", 0, LLONG_MIN, LLONG_MAX},
                                       {"7", 5000000000LL, "", 0, 5000000000LL, 6000000000LL}};
    Check(longLongs, LxTextToLongLongToken, LxTextToLongLongTokenEx);
    const Row<ULONGLONG> hexLongs[] = {{" 0X1123456789ABCDEF0!", 0x123456789ABCDEF0ull, "!"},
                                       {"0x123456789", 0x23456789, "", 0, 0, ~0ull},
                                       {"FFFFFFFF", 0xFFFFFFFF, "", 0, 0, ~0ull}};
    Check(hexLongs, LxHexToDWordLongToken, LxHexToDWordLongTokenEx);
    const Row<DWORD> hex[] = {{"0XfF", 0xFF, ""}, {"  abcDEF z", 0xABCDEF, " z"}, {"0xg", 0, "g"},
                              {nullptr, 0, nullptr}, {"0xg", 7, "g", 7, 0, 100},
                              {"1", 0x80000000u, "", 0, 0x80000000u, ~0u}};
    Check(hex, LxHexToDWordToken, LxHexToDWordTokenEx);
    // Nothing converted: the stop is the token's start.
    const Row<double> doubles[] = {{"(1'234_5)", -1234.5, ""}, {"-1_5e3", -1.5, ""},
                                   {"  abc def", 0, "abc def"}, {nullptr, 0, nullptr},
                                   {"abc", 2.5, "abc", 2.5, 0, 10},
                                   {"1'234_5", 100.25, "", 0, 0, 100.25}};
    Check(doubles, LxTextToDoubleToken, LxTextToDoubleTokenEx);
}

// A menu as one UTF-8 line: items by "|", popups as title[items], "-" for a
// separator, "~" behind a grayed item.
std::string Describe(HMENU menu) {
    std::string out;
    for (int i = 0, n = GetMenuItemCount(menu); i < n; i++) {
        WCHAR wide[260] = {0};
        char text[520] = {0};
        GetMenuStringW(menu, (UINT)i, wide, 260, MF_BYPOSITION);
        WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, sizeof text, nullptr, nullptr);
        const UINT state = GetMenuState(menu, (UINT)i, MF_BYPOSITION);
        HMENU sub = GetSubMenu(menu, i);
        const bool separator = !sub && (state & MF_SEPARATOR);
        out += (i ? "|" : "") + std::string(separator ? "-" : text);
        out += !separator && (state & MF_GRAYED) ? "~" : "";
        if (sub) out += "[" + Describe(sub) + "]";
    }
    return out;
}

// The kernel is attached, so its own block and the start-up tokens exist.
class LangFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr)));
        ASSERT_NE(nullptr, module_ = LoadLibraryA((lxtest::ExeDir() + "langhost.dll").c_str()));
        ASSERT_EQ(S_OK, LxLang_Open(&lang_, module_, 0, 0));
        ASSERT_NE(nullptr, file_ = GetModuleHandleA((lxtest::ExeDir() + "langhost.LNG").c_str()));
    }
    void TearDown() override {
        LxLang_Close(lang_);
        if (module_) FreeLibrary(module_);
        Kernel_ProcessDetach();
    }
    HMODULE module_ = nullptr, file_ = nullptr;
    HLXLANG lang_ = nullptr;
};

char g_caption[64];

// Keeps the caption; a modal dialog (parameter 1) ends at once with 42.
INT_PTR CALLBACK CaptionProc(HWND w, UINT msg, WPARAM, LPARAM modal) {
    if (msg == WM_INITDIALOG) GetWindowTextA(w, g_caption, sizeof g_caption);
    if (msg == WM_INITDIALOG && modal) EndDialog(w, 42);
    return msg == WM_INITDIALOG;
}

// The translation counts once a language other than English is set; its
// "^*" marks go, in strings and below a menu's bar. What it lacks comes from
// the module.
TEST_F(LangFixture, TranslationFirstThenTheModule) {
    const struct { LCID lcid; UINT id; const char *text; } rows[] = {
        {0, IDS_SAVE, "Save"}, {0, IDS_LANGONLY, ""}, {kGerman, IDS_SAVE, "Speichern"},
        {kGerman, IDS_MODULEONLY, "Only in module"}, {kGerman, IDS_MODULEMARK, "Marked in module"},
        {kGerman, IDS_OTHERBUNDLE, "Other bundle"}, {kGerman, IDS_JUSTMARK, ""},
        {0x0809, IDS_SAVE, "Save"},
    };
    for (const auto &r : rows) {
        ASSERT_TRUE(!r.lcid || LxLang_UpdateKernelLCID(lang_, r.lcid, 0));
        char buf[64];
        EXPECT_EQ(r.text, Text(buf, LxLoadString(lang_, r.id, buf, sizeof buf))) << r.id;
        EXPECT_STREQ(r.text, LxGetString(lang_, r.id));
        EXPECT_EQ(r.lcid == kGerman ? file_ : module_, LxLang_InstFromLang(lang_));
    }
    const char *const menus[] = {
        "&File[&New|&Open|-|&Close|Recent[One|Two]|-|E&xit]|&Help",
        "^*&Datei[&Neu|\u00D6&ffnen|-|Sch&lie\u00DFen~|^*Zuletzt[Eins|Zwei]|-|&Beenden]|^*&Hilfe"};
    const char *const captions[] = {"Module dialog", "Sprachdialog"};
    const LPCSTR main = MAKEINTRESOURCEA(IDD_MAIN);
    for (int german = 0; german < 2; german++) {
        ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, german ? kGerman : 0, 0));
        HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_MAIN));
        EXPECT_EQ(menus[german], Describe(m));
        EXPECT_EQ((UINT)CMD_CLOSE, GetMenuItemID(GetSubMenu(m, 0), 3)) << "the same command";
        DestroyMenu(m);
        DestroyWindow(LxCreateDialogParam(lang_, main, nullptr, CaptionProc, 0));
        EXPECT_STREQ(captions[german], g_caption);
        EXPECT_EQ(42, LxDialogBoxParam(lang_, main, nullptr, CaptionProc, 1));
        EXPECT_STREQ(captions[german], g_caption);
    }
    const LPCSTR moduleOnly = MAKEINTRESOURCEA(IDD_MODULEONLY), missing = MAKEINTRESOURCEA(999);
    EXPECT_EQ(42, LxDialogBoxParam(lang_, moduleOnly, nullptr, CaptionProc, 1));
    EXPECT_EQ(-1, LxDialogBoxParam(lang_, missing, nullptr, CaptionProc, 1));
    char out[160];
    EXPECT_EQ(70, LxPrintF(out, "$(SMPTE.Label.NonDrop.Full)|$(smpte.label.drop)|$(MusicTime"
                                ".Label)|$(MusicTime.Label.Full)")) << "start-up tokens";
    EXPECT_STREQ("hours:minutes:seconds.frames|hr:mn:sc,fr|ms.bt.tk|measures.beats.ticks", out);
}

// Each buffer is one short of the whole text, or less, with a sentinel
// behind it. The mark goes after the cut: "^*Sp" gives "Sp".
TEST_F(LangFixture, TextsCutToTheirBuffers) {
    ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, kGerman, 0));
    const struct { UINT id; int size; const char *text, *languages; } rows[] = {
        {IDS_SAVE, 11, "Speicher", "DEU,FRA"}, {IDS_SAVE, 8, "Speic", "DEU,FRA"},
        {IDS_OTHERBUNDLE, 7, "Other ", "DEU,FR"}, {IDS_SAVE, 1, "", ""}};
    for (const auto &r : rows) {
        char buf[16], list[16];
        memset(buf, 0x55, sizeof buf);
        memset(list, 0x55, sizeof list);
        const LPCSTR version = MAKEINTRESOURCEA(IDV_VERSION);
        EXPECT_EQ(r.text, Text(buf, LxLoadString(lang_, r.id, buf, r.size)));
        EXPECT_EQ(r.languages, Text(list, LxEnumResourceLanguages(lang_, version, list, r.size)));
        EXPECT_EQ(0x55, (BYTE)buf[r.size]);
        EXPECT_EQ(0x55, (BYTE)list[r.size]);
    }
    // Ring texts get the room to the ring's end: 1024 bytes at the last place.
    char *base = LxGetStringBuffer(lang_, 8192 - 1028);
    const char *cut = LxGetString(lang_, IDS_LONG);
    EXPECT_EQ(base + 8192 - 1024, cut);
    EXPECT_EQ(1023u, strlen(cut));
    LxGetStringBuffer(lang_, 8192 - 1028);
    EXPECT_EQ(511u, wcslen(LxGetWideFromPrintString(lang_, (std::string(cut) + cut).c_str())));
}

// A piece starts at the position, which then moves on by its length + 4 with
// the low two bits cleared; above the size less a reserve of 1024 it starts
// over, and so does a piece without room behind the position.
TEST(LangRing, SizesPositionAndRefusals) {
    const LONG sizes[][2] = {{0, 8192}, {-1, 2048}, {100, 2048}, {3000, 3000}};
    for (const auto &r : sizes) {
        HLXLANG h = nullptr;
        ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, r[0]));
        char *base = LxGetStringBuffer(h, 100);
        EXPECT_EQ(base + 104, LxGetStringBuffer(h, 1));
        EXPECT_EQ(base, LxGetStringBuffer(h, r[1] - 100)) << "no room behind 108";
        EXPECT_EQ(base, LxGetStringBuffer(h, r[1] - 1028));
        char *last = LxGetStringBuffer(h, 1024);
        ASSERT_EQ(base + r[1] - 1024, last) << r[0];
        memset(last, 'x', 1024);
        EXPECT_EQ(base, LxGetStringBuffer(h, 0));
        EXPECT_EQ(nullptr, LxGetStringBuffer(h, r[1] + 1));
        LxLang_Close(h);
    }
}

const char *const kDefaults[] = {"dSave", "dOpen", "dModuleOnly", "dModuleMark", "dLong",
                                 "dLangOnly", "dJustMark", "dNone", nullptr, ""};

TEST(LangBlock, NullBlockAndBadArguments) {
    char buf[8] = "x";
    int position = 7;
    EXPECT_EQ(E_INVALIDARG, LxLang_Open(nullptr, nullptr, 0, 0));
    EXPECT_STREQ("", LxGetString(nullptr, 100));
    EXPECT_STREQ(L"", LxGetWideFromPrintString(nullptr, "x"));
    EXPECT_EQ("", Text(buf, LxLoadString(nullptr, 100, buf, sizeof buf)));
    EXPECT_EQ(nullptr, LxCreateDialogParam(nullptr, MAKEINTRESOURCEA(1), nullptr, nullptr, 0));
    EXPECT_EQ(E_INVALIDARG, LxLang_AddStringTable(nullptr, kDefaults, 10, 100));
    EXPECT_FALSE(LxMenuReplaceTokens(nullptr));
    EXPECT_EQ(nullptr, LxGetSubmenuByID(nullptr, 1, &position));
    EXPECT_EQ(-1, position);
    EXPECT_FALSE(LxLang_LoadUserLCIDMetric(nullptr, 0x060000DB, nullptr));
    EXPECT_EQ(E_INVALIDARG, LxLang_SaveUserLCIDMetric(nullptr, 0x060000DB, 1031));
}

// Only a table's two ends are tried against the others: one that surrounds
// an old table passes. Without a language file the defaults are the cache.
TEST(LangTables, OverlapsAndDefaultsThemselves) {
    const struct { UINT first; LONG count; HRESULT hr; } rows[] = {
        {105, 10, E_INVALIDARG}, {95, 10, E_INVALIDARG}, {90, 10, E_INVALIDARG},
        {200, 0, E_INVALIDARG}, {200, -3, E_INVALIDARG}, {110, 5, S_OK}, {50, 100, S_OK}};
    HLXLANG h = nullptr;
    ASSERT_EQ(S_OK, LxLang_Open(&h, GetModuleHandleA(nullptr), 0, 0));
    ASSERT_EQ(S_OK, LxLang_AddStringTable(h, kDefaults, 10, 100));
    for (const auto &r : rows)
        EXPECT_EQ(r.hr, LxLang_AddStringTable(h, kDefaults, r.count, r.first)) << r.first;
    EXPECT_EQ(kDefaults[9], LxGetString2(h, 109));
    EXPECT_STREQ("LxGetString2(uId=-1, ERROR)", LxGetString2(h, 0xFFFFFFFFu));
    LxLang_Close(h);
}

// With a language file each text is a copy, loaded once and kept for as long
// as the table, whatever the language does; 1024 characters at most.
TEST_F(LangFixture, StringTablesCacheTheirCopies) {
    ASSERT_EQ(S_OK, LxLang_AddStringTable(lang_, kDefaults, 10, 100));
    const char *save = LxGetString2(lang_, IDS_SAVE);
    ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, kGerman, 0));
    EXPECT_EQ(save, LxGetString2(lang_, IDS_SAVE));
    EXPECT_STREQ("Save", save);
    const struct { UINT id; const char *text; } rows[] = {
        {IDS_LANGONLY, "Nur Sprache"}, {IDS_JUSTMARK, "dJustMark"}, {107, "dNone"}, {109, ""}};
    for (const auto &r : rows) {
        EXPECT_STREQ(r.text, LxGetString2(lang_, r.id)) << r.id;
        EXPECT_NE(kDefaults[r.id - 100], LxGetString2(lang_, r.id)) << "a copy";
    }
    EXPECT_EQ(1024u, strlen(LxGetString2(lang_, IDS_LONG)));
    char buf[4] = "xyz";
    EXPECT_EQ(4, LxLoadString2(lang_, IDS_LANGONLY, buf, sizeof buf));
    EXPECT_STREQ("Nur", buf);
}

// Ids count up to the first 0, or up to the count; -1 means all of them.
// Cleaning leaves no separator at an end or beside another, and no empty
// popup.
TEST_F(LangFixture, CullCleanGrayTokensAndSearch) {
    const UINT ids[] = {CMD_CUT, CMD_COPY, CMD_ONLY, 0, CMD_UNDO}, ends[] = {CMD_UNDO, CMD_PASTE};
    const struct { const UINT *ids; int count; BOOL clean; const char *menu; } rows[] = {
        {ids, -1, TRUE, "&Edit[Undo|-|Paste~]|$"}, {ids, 2, FALSE, "&Edit[Undo|-|-|Paste~]|&T"},
        {ends, 2, TRUE, "&Edit[Cut|Copy]|&Tools[Only]|$"}};
    for (const auto &r : rows) {
        HMENU m = LxLoadCulledMenu(lang_, MAKEINTRESOURCEA(IDM_CULL), r.ids, r.count, r.clean);
        EXPECT_EQ(r.menu, Describe(m).substr(0, strlen(r.menu)));
        DestroyMenu(m);
    }
    HMENU m = LxLoadMenu(lang_, MAKEINTRESOURCEA(IDM_CULL));
    const UINT gray[] = {CMD_DEEP, CMD_CUT, 0, CMD_UNDO};
    EXPECT_TRUE(LxGrayMenu(m, gray, -1));
    AppendMenuA(GetSubMenu(m, 1), MF_STRING, 3001, "$$5 $(nosuch) 100%");
    ASSERT_TRUE(LxPrintF_AddToken("LangTest.App", "Marlo"));
    EXPECT_TRUE(LxMenuReplaceTokens(m));
    EXPECT_EQ("&Edit[Undo|-|Cut~|Copy|-|Paste~]|&Tools[Only|$5 $(nosuch) 100%]|"
              "Marlo &Help[About Marlo...|Deeper[Marlo deep~]]", Describe(m));
    int position = 7;
    EXPECT_EQ(GetSubMenu(GetSubMenu(m, 2), 1), LxGetSubmenuByID(m, CMD_DEEP, &position));
    EXPECT_EQ(1, position);
    DestroyMenu(m);
    LxPrintF_DeleteToken("LangTest.App");
}

// The defaults and the STRINGTABLE resource come from one list and must
// agree id for id, empty ones included, with nothing beside the table.
TEST(KernelStrings, ResourceMatchesTheDefaults) {
    const int kEmpty[][2] = {{3999, 3999}, {4053, 4053}, {4063, 4065}, {4108, 4108},
                             {4166, 4298}, {4300, 4301}, {4303, 4304}, {4322, 4327},
                             {4330, 4384}, {4386, 4389}, {4393, 4434}};
    for (int id = 3999; id <= 4434; id++) {
        bool empty = false;
        for (const auto &r : kEmpty) empty = empty || (id >= r[0] && id <= r[1]);
        const char *text = id >= 4000 && id < 4434 ? g_KernelStringDefaults[id - 4000] : nullptr;
        EXPECT_EQ(empty, !text || !*text) << id;
        char buffer[2048] = {0};
        EXPECT_EQ(text ? text : "", Text(buffer, LoadStringA(nullptr, id, buffer, sizeof buffer)));
    }
}

}  // namespace
