// The formatter: its sequences and every conversion character, in each
// locale that has a column; tokens and bracketed numbers; specs and names
// past the buffers; the message composer.
#include "fmtlocale.h"
#include "kernel/lxlang.h"
#include "kernel/lxprintf.h"

#include <cstdarg>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using fmttest::kLocaleCount;
using fmttest::LocaleTest;

namespace {

const size_t kOut = 2048;
const char kUntouched = '\x7F';

// LxVPrintF into a filled buffer: the result must be the text's length and
// nothing may be written behind its terminator.
std::string Format(const char *format, ...) {
    std::vector<char> out(kOut, kUntouched);
    va_list args;
    va_start(args, format);
    int n = LxVPrintF(out.data(), format, args);
    va_end(args);
    size_t length = strnlen(out.data(), kOut);
    EXPECT_LT(length, kOut - 1);
    EXPECT_EQ((size_t)n, length);
    if (length + 1 < kOut) {
        EXPECT_EQ(out[length + 1], kUntouched) << "written past the end";
    }
    return std::string(out.data(), length);
}

// ---- Sequences that don't depend on the locale ----------------------------------

struct TextRow {
    const char *format;
    const char *expected;
};

const TextRow kSequenceRows[] = {
    {"", ""},
    {"plain text", "plain text"},
    {"$$", "$"},
    {"$$d", "$d"},
    {"$%", "%"},
    {"%%", "%"},
    {"%%d", "%d"},
    // A lone head at the end, or a spec with no conversion character, is
    // written as it stands with % as its head.
    {"cost %", "cost %"},
    {"cost $", "cost %"},
    {"%-5", "%-5"},
    {"$-5", "%-5"},
    {"a%5.", "a%5."},
    // Separators that need no argument.
    {"%:", ":"},
    {"%!:", ":"},
    {"%!.", "."},
    {"$!,", ","},
    {"12%!:34%!,56", "12:34,56"},
    {"%!x", "x"},  // no separator, and the character stays
    {"%!", ""},
    {"%&:", "."},
    {"%&,", ","},
    {"%&", ""},
    {"1%&:2%&.3", "1.2.3"},
    // Unknown tokens and unclosed brackets come back as they were.
    {"$(nosuch)", "$(nosuch)"},
    {"[$()]", "[$()]"},
    {"$(12", "$(12"},
    {"$(-x)", "$(-x)"},
    {"$(name", "$(name"},
    {"$(", "$("},
};

TEST(LxPrintF, Sequences) {
    for (const TextRow &row : kSequenceRows) {
        SCOPED_TRACE(row.format);
        EXPECT_EQ(Format(row.format), row.expected);
    }
}

TEST(LxPrintF, UnclosedBracketLetsTheWalkGoOn) {
    EXPECT_EQ(Format("$(12 apples and %d pears", 5), "$(12 apples and 5 pears");
    EXPECT_EQ(Format("$(nosuch and %d", 5), "$(nosuch and %d");  // the name takes the rest
}

TEST(LxPrintF, NullArguments) {
    char out[8] = "xxxxxxx";
    EXPECT_EQ(LxPrintF(nullptr, "abc"), 0);
    EXPECT_EQ(LxPrintF(out, nullptr), 0);
    EXPECT_STREQ(out, "");
}

TEST(LxPrintF, ConversionsWithoutLocale) {
    EXPECT_EQ(Format("%d", 1234567), "1234567");
    EXPECT_EQ(Format("%d", INT_MIN), "-2147483648");
    EXPECT_EQ(Format("%u", 0xFFFFFFFFu), "4294967295");
    EXPECT_EQ(Format("%5d|", 42), "   42|");
    EXPECT_EQ(Format("%-5d|", 42), "42   |");
    EXPECT_EQ(Format("%+d", 42), "+42");
    EXPECT_EQ(Format("%x", 0xBEEFu), "beef");
    EXPECT_EQ(Format("$x", 0xBEEFu), "beef");
    EXPECT_EQ(Format("%08X", 0xBEEFu), "0000BEEF");
    EXPECT_EQ(Format("%#x", 255u), "0xff");
    EXPECT_EQ(Format("%I64d", -5LL), "-5");
    EXPECT_EQ(Format("%I64u", 18446744073709551615ULL), "18446744073709551615");
    EXPECT_EQ(Format("%I64x", 0x123456789ABULL), "123456789ab");
    EXPECT_EQ(Format("%e", 1234.5), "1.234500e+003");
    EXPECT_EQ(Format("$E", 0.5), "5.000000E-001");
    EXPECT_EQ(Format("%g", 1e10), "1e+010");
    EXPECT_EQ(Format("$G", 1e-10), "1E-010");
    EXPECT_EQ(Format("$g", 123456.0), "123456");  // g never groups
    EXPECT_EQ(Format("%s", "text"), "text");
    EXPECT_EQ(Format("$s", "text"), "text");
    EXPECT_EQ(Format("[%-6s]", "ab"), "[ab    ]");
    EXPECT_EQ(Format("[%.2s]", "abcdef"), "[ab]");
    EXPECT_EQ(Format("%s", (const char *)nullptr), "(null)");
    EXPECT_EQ(Format("%ls", L"wide"), "wide");
    EXPECT_EQ(Format("%c%c", 'o', 'k'), "ok");
    EXPECT_EQ(Format("%z", 1234567), "1234567");
    EXPECT_EQ(Format("[%.0z]", 0), "[]");  // "%.0d" of 0 is empty
    EXPECT_EQ(Format("[$.0z]", 0), "[]");
}

TEST(LxPrintF, ArgumentsStayInStep) {
    EXPECT_EQ(Format("%I64d %d %x %s %c %e %I64x %d", 1LL << 40, 7, 255u, "s", 'c', 2.0,
                     0xABCDEF0123ULL, -9),
              "1099511627776 7 ff s c 2.000000e+000 abcdef0123 -9");
    // Separators take no argument: the next conversion gets it.
    EXPECT_EQ(Format("%:%d%!:%d%&.%d%*x", 1, 2, 3),
              ":1:2.3" + std::string(Inat_Decimal(nullptr)) + "x");
}

// A spec that could make the runtime read more than the one argument it is
// given writes nothing, and its argument is still used up.
TEST(LxPrintF, UnsafeSpecsWriteNothing) {
    EXPECT_EQ(Format("[%nd][%Sd][%Zd][%pd][%5$d][%d]", 1, 2, 3, 4, 5, 6), "[][][][][][6]");
    EXPECT_EQ(Format("[%nx][%Sf][%x]", 1u, 2.0, 255u), "[][][ff]");
    EXPECT_EQ(Format("[%Ss][%Zc][%s]", "a", 'b', "c"), "[][][c]");
    EXPECT_EQ(Format("[%n.2z][%d]", 100, 7), "[][7]");
}

TEST(LxPrintF, RuntimeOutputBeyondTheConversionBufferWritesNothing) {
    EXPECT_EQ(Format("[%300d][%d]", 1, 2), "[][2]");
    EXPECT_EQ(Format("[%.300f][%d]", 1.0, 2), "[][2]");
    EXPECT_EQ(Format("[%f]", 1e300), "[]");
    EXPECT_EQ(Format("[%.300z][%d]", 1, 2), "[][2]");
    EXPECT_EQ(Format("[%258d]", 1), "[" + std::string(257, ' ') + "1]");
    EXPECT_EQ(Format("[%99999d][%.99999z][%2147483647f][%d]", 1, 1, 1.0, 2), "[][][][2]");
    // wsprintfA cuts at its own limit of 1024 characters.
    std::string cut = Format("[%99999s][%d]", "a", 2);
    EXPECT_EQ(cut.substr(0, 2), "[ ");
    EXPECT_EQ(cut.substr(cut.size() - 4), "][2]");
    EXPECT_LE(cut.size(), 1 + 1024 + 4);
}

TEST(LxPrintF, LongSpecIsWrittenAsItStands) {
    // The spec buffer ends the conversion; what follows is plain text, and
    // the argument goes to the next conversion.
    std::string head = "%" + std::string(300, '5') + "d";
    EXPECT_EQ(Format((head + "|%d").c_str(), 7), head + "|7");
    std::string dollar = "$" + std::string(300, '5') + "d";
    EXPECT_EQ(Format((dollar + "|%d").c_str(), 7), head + "|7");
    // 259 characters with the conversion character still convert; one more
    // and the spec is text.
    std::string inside = "%" + std::string(256, '0') + "5d";
    EXPECT_EQ(Format((inside + "|%d").c_str(), 5, 6), "00005|6");
    std::string outside = "%" + std::string(257, '0') + "5d";
    EXPECT_EQ(Format((outside + "|%d").c_str(), 5), outside + "|5");
}

// ---- Tokens ------------------------------------------------------------------------------

class LxPrintFTokens : public testing::Test {
protected:
    void TearDown() override {
        for (const char *name : {"Fmt.Test", "Fmt.Empty", "Fmt.Raw", "Fmt.Term"})
            LxPrintF_DeleteToken(name);
    }
};

TEST_F(LxPrintFTokens, AddReplaceDeleteWithoutRegardToCase) {
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Test", "value"));
    EXPECT_EQ(Format("[$(Fmt.Test)]"), "[value]");
    EXPECT_EQ(Format("[$(fmt.TEST)]"), "[value]");
    ASSERT_TRUE(LxPrintF_AddToken("FMT.test", "other"));
    EXPECT_EQ(Format("$(Fmt.Test)"), "other");
    EXPECT_TRUE(LxPrintF_DeleteToken("fmt.test"));
    EXPECT_FALSE(LxPrintF_DeleteToken("Fmt.Test"));
    EXPECT_EQ(Format("$(Fmt.Test)"), "$(Fmt.Test)");
}

TEST_F(LxPrintFTokens, ValuesAreNotExpandedAgain) {
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Raw", "$d %s $(Fmt.Raw)"));
    EXPECT_EQ(Format("$(Fmt.Raw)|%d", 4), "$d %s $(Fmt.Raw)|4");
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Empty", ""));
    EXPECT_EQ(Format("[$(Fmt.Empty)]"), "[]");
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Empty", nullptr));
    EXPECT_EQ(Format("[$(Fmt.Empty)]"), "[]");
}

TEST_F(LxPrintFTokens, NullNames) {
    EXPECT_FALSE(LxPrintF_AddToken(nullptr, "x"));
    EXPECT_FALSE(LxPrintF_DeleteToken(nullptr));
}

TEST_F(LxPrintFTokens, NamesUpTo260Characters) {
    std::string name(260, 'n');
    ASSERT_TRUE(LxPrintF_AddToken(name.c_str(), "long"));
    EXPECT_EQ(Format(("$(" + name + ")").c_str()), "long");
    EXPECT_TRUE(LxPrintF_DeleteToken(name.c_str()));
    // A longer name could never be looked up.
    EXPECT_FALSE(LxPrintF_AddToken((name + "n").c_str(), "x"));
    // A longer bracket is no token: it comes back as it was, bracket and all.
    std::string longer = "$(" + std::string(300, 'n') + ")";
    EXPECT_EQ(Format((longer + "%d").c_str(), 3), longer + "3");
    std::string unclosed = "$(" + std::string(300, 'n');
    EXPECT_EQ(Format(unclosed.c_str()), unclosed);
}

TEST_F(LxPrintFTokens, ManyTokensInAnyOrderStaySorted) {
    // Names inserted out of order, so that every lookup needs the order.
    const int kCount = 41;
    char name[32], value[32];
    for (int i = 0; i < kCount; i++) {
        int k = (i * 17) % kCount;
        snprintf(name, sizeof name, "Fmt.Many.%02d", k);
        snprintf(value, sizeof value, "v%d", k);
        ASSERT_TRUE(LxPrintF_AddToken(name, value));
    }
    for (int k = 0; k < kCount; k += 2) {
        snprintf(name, sizeof name, "FMT.MANY.%02d", k);
        EXPECT_TRUE(LxPrintF_DeleteToken(name)) << name;
    }
    for (int k = 0; k < kCount; k++) {
        SCOPED_TRACE(k);
        snprintf(name, sizeof name, "$(fmt.many.%02d)", k);
        snprintf(value, sizeof value, "v%d", k);
        EXPECT_EQ(Format(name), k % 2 ? std::string(value) : std::string(name));
    }
    for (int k = 1; k < kCount; k += 2) {
        snprintf(name, sizeof name, "Fmt.Many.%02d", k);
        EXPECT_TRUE(LxPrintF_DeleteToken(name));
    }
}

TEST_F(LxPrintFTokens, ThreadsAddReplaceAndReadAtOnce) {
    const int kThreads = 4, kRounds = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([t] {
            char name[32], value[32], out[64];
            snprintf(name, sizeof name, "Fmt.Thread.%d", t);
            for (int r = 0; r < kRounds; r++) {
                snprintf(value, sizeof value, "%d-%d", t, r);
                LxPrintF_AddToken(name, value);
                LxPrintF(out, "$(Fmt.Thread.0)");
                LxPrintF_AddToken("Fmt.Shared", value);
                LxPrintF(out, "$(Fmt.Shared)");
            }
        });
    }
    for (std::thread &th : threads) th.join();
    for (int t = 0; t < kThreads; t++) {
        char name[32], format[40], expected[32];
        snprintf(name, sizeof name, "Fmt.Thread.%d", t);
        snprintf(format, sizeof format, "$(%s)", name);
        snprintf(expected, sizeof expected, "%d-%d", t, kRounds - 1);
        EXPECT_EQ(Format(format), expected);
        EXPECT_TRUE(LxPrintF_DeleteToken(name));
    }
    // Exactly one token of the shared name survives the replacements.
    EXPECT_TRUE(LxPrintF_DeleteToken("Fmt.Shared"));
    EXPECT_FALSE(LxPrintF_DeleteToken("Fmt.Shared"));
}

TEST_F(LxPrintFTokens, TerminateDropsTheTableAndALaterCallMakesANewOne) {
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Term", "x"));
    LxPrintF_Terminate();
    EXPECT_EQ(Format("$(Fmt.Term)"), "$(Fmt.Term)");
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Term", "y"));
    EXPECT_EQ(Format("$(Fmt.Term)"), "y");
    // Later tests in this process may count on the start tokens.
    EXPECT_EQ(LxLang_GetInternationals(nullptr, 0), S_OK);
}

// ---- The message composer ----------------------------------------------------------

TEST(LxComposeStr, InsertionsByNumber) {
    char out[64];
    EXPECT_EQ(LxComposeStr(out, sizeof out, "%1 and %2", "a", "bc"), 8u);
    EXPECT_STREQ(out, "a and bc");
    EXPECT_EQ(LxComposeStr(out, sizeof out, "%2-%1", "a", "bc"), 4u);
    EXPECT_STREQ(out, "bc-a");
    EXPECT_EQ(LxComposeStr(out, sizeof out, "%1!d! items, %2!04x!", 42, 255), 14u);
    EXPECT_STREQ(out, "42 items, 00ff");
}

TEST(LxComposeStr, FailuresLeaveAnEmptyBuffer) {
    char out[4] = "xyz";
    EXPECT_EQ(LxComposeStr(out, sizeof out, "%1", "abcdef"), 0u);
    EXPECT_STREQ(out, "");
    strcpy(out, "xyz");
    EXPECT_EQ(LxComposeStr(out, sizeof out, nullptr), 0u);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(LxComposeStr(nullptr, 10, "x"), 0u);
    strcpy(out, "xyz");
    EXPECT_EQ(LxComposeStr(out, 0, "x"), 0u);
    EXPECT_STREQ(out, "xyz");
}

// ---- In each locale -------------------------------------------------------------------

#define NB FMT_NBSP

struct IntRow {
    const char *format;
    LONG value;
    const char *expected[kLocaleCount];  // en-US, de-DE, en-IN, sv-SE
};

const IntRow kIntRows[] = {
    {"$d", 1234567, {"1,234,567", "1.234.567", "1,234,567", "1" NB "234" NB "567"}},
    {"%d", 1234567, {"1234567", "1234567", "1234567", "1234567"}},
    {"$d", -1234567, {"-1,234,567", "-1.234.567", "-1,234,567", "-1" NB "234" NB "567"}},
    {"$d", INT_MIN,
     {"-2,147,483,648", "-2.147.483.648", "-2,147,483,648", "-2" NB "147" NB "483" NB "648"}},
    {"$d", 0, {"0", "0", "0", "0"}},
    {"$d", 999, {"999", "999", "999", "999"}},
    {"$i", -1000, {"-1,000", "-1.000", "-1,000", "-1" NB "000"}},
    {"$u", -1,
     {"4,294,967,295", "4.294.967.295", "4,294,967,295", "4" NB "294" NB "967" NB "295"}},
    // With modifiers the runtime goes first, and its padding stays as
    // leading text; so do zeros and a plus sign.
    {"$5d", 1234, {" 1,234", " 1.234", " 1,234", " 1" NB "234"}},
    {"$05d", 1234, {"01,234", "01.234", "01,234", "01" NB "234"}},
    {"$+d", 1234, {"+1,234", "+1.234", "+1,234", "+1" NB "234"}},
    {"$.2d", 7, {"07", "07", "07", "07"}},
    // Left-justified padding isn't a number the system takes: it stands.
    {"$-7d|", 1234, {"1234   |", "1234   |", "1234   |", "1234   |"}},
    {"$5u", (LONG)4000000000u, {"4,000,000,000", "4.000.000.000", "4,000,000,000",
                          "4" NB "000" NB "000" NB "000"}},
    // Fixed point.
    {"$.2z", 123456, {"1,234.56", "1.234,56", "1,234.56", "1" NB "234,56"}},
    {"%.2z", 123456, {"1234.56", "1234,56", "1234.56", "1234,56"}},
    {"%.2z", -5, {"-0.05", "-0,05", "-0.05", "-0,05"}},
    {"$.2z", -123456789, {"-1,234,567.89", "-1.234.567,89", "-1,234,567.89",
                          "-1" NB "234" NB "567,89"}},
    {"$8.1z", 12345, {"1,234.5", "1.234,5", "1,234.5", "1" NB "234,5"}},  // width dropped
    {"%.9z", INT_MAX, {"2.147483647", "2,147483647", "2.147483647", "2,147483647"}},
    // From 16 decimals on the divisor is computed rather than looked up.
    {"%.15z", 12, {"0.000000000000012", "0,000000000000012", "0.000000000000012",
                   "0,000000000000012"}},
    {"%.16z", 12, {"0.0000000000000012", "0,0000000000000012", "0.0000000000000012",
                   "0,0000000000000012"}},
    {"$.0z", 1234, {"1,234", "1.234", "1,234", "1" NB "234"}},
    {"$z", -1234567, {"-1,234,567", "-1.234.567", "-1,234,567", "-1" NB "234" NB "567"}},
    // Separators.
    {"%*d", 0, {".d", ",d", ".d", ",d"}},
    {"$*", 0, {".", ",", ".", ","}},
    {"%5*", 0, {".", ",", ".", ","}},
    {"%,", 0, {",", ";", ",", ";"}},
    {"%:", 0, {":", ":", ":", ":"}},
};

struct Int64Row {
    const char *format;
    LONGLONG value;
    const char *expected[kLocaleCount];
};

const Int64Row kInt64Rows[] = {
    {"$I64d", 1234567890123LL, {"1,234,567,890,123", "1.234.567.890.123", "1,234,567,890,123",
                                "1" NB "234" NB "567" NB "890" NB "123"}},
    {"$I64d", -9223372036854775807LL - 1,
     {"-9,223,372,036,854,775,808", "-9.223.372.036.854.775.808", "-9,223,372,036,854,775,808",
      "-9" NB "223" NB "372" NB "036" NB "854" NB "775" NB "808"}},
    {"$I64u", -1LL,
     {"18,446,744,073,709,551,615", "18.446.744.073.709.551.615", "18,446,744,073,709,551,615",
      "18" NB "446" NB "744" NB "073" NB "709" NB "551" NB "615"}},
    {"%I64d", 1234567890123LL,
     {"1234567890123", "1234567890123", "1234567890123", "1234567890123"}},
};

struct RealRow {
    const char *format;
    double value;
    const char *expected[kLocaleCount];
};

const RealRow kRealRows[] = {
    {"%.2f", 1234.5, {"1234.50", "1234,50", "1234.50", "1234,50"}},
    {"$.2f", 1234.5, {"1,234.50", "1.234,50", "1,234.50", "1" NB "234,50"}},
    {"$.2fKB", 1234.5, {"1,234.50KB", "1.234,50KB", "1,234.50KB", "1" NB "234,50KB"}},
    {"$.2f", -1234567.126, {"-1,234,567.13", "-1.234.567,13", "-1,234,567.13",
                            "-1" NB "234" NB "567,13"}},
    {"$.0f", 1234567.0, {"1,234,567", "1.234.567", "1,234,567", "1" NB "234" NB "567"}},
    {"%f", -0.5, {"-0.500000", "-0,500000", "-0.500000", "-0,500000"}},
    {"%10.1f|", 2.26, {"       2.3|", "       2,3|", "       2.3|", "       2,3|"}},
    {"$10.1f", 12345.67, {"   12,345.7", "   12.345,7", "   12,345.7", "   12" NB "345,7"}},
    {"%g", 0.25, {"0.25", "0,25", "0.25", "0,25"}},
    {"$g", 1234567.0, {"1.23457e+006", "1.23457e+006", "1.23457e+006", "1.23457e+006"}},
    {"%e", 0.25, {"2.500000e-001", "2.500000e-001", "2.500000e-001", "2.500000e-001"}},
};

struct BracketRow {
    const char *format;
    const char *expected[kLocaleCount];
};

const BracketRow kBracketRows[] = {
    {"$(1234.5)", {"1,234.5", "1.234,5", "1,234.5", "1" NB "234,5"}},
    {"$(-1234567)", {"-1,234,567", "-1.234.567", "-1,234,567", "-1" NB "234" NB "567"}},
    {"$(1234)kB", {"1,234kB", "1.234kB", "1,234kB", "1" NB "234kB"}},
    {"$(.5)", {"0.5", "0,5", "0.5", "0,5"}},
    {"$(0)", {"0", "0", "0", "0"}},
    {"$(007)", {"007", "007", "007", "007"}},
    // A comma isn't a number the system takes: the text stands.
    {"$(1,234)", {"1,234", "1,234", "1,234", "1,234"}},
};

class LxPrintFLocale : public LocaleTest {};

TEST_F(LxPrintFLocale, IntegerAndSeparatorConversions) {
    for (const IntRow &row : kIntRows) {
        SCOPED_TRACE(testing::Message() << row.format << " of " << row.value);
        EXPECT_EQ(Format(row.format, row.value), row.expected[locale_]);
    }
}

TEST_F(LxPrintFLocale, SixtyFourBitConversions) {
    for (const Int64Row &row : kInt64Rows) {
        SCOPED_TRACE(testing::Message() << row.format << " of " << row.value);
        EXPECT_EQ(Format(row.format, row.value), row.expected[locale_]);
    }
}

TEST_F(LxPrintFLocale, DoubleConversions) {
    for (const RealRow &row : kRealRows) {
        SCOPED_TRACE(testing::Message() << row.format << " of " << row.value);
        EXPECT_EQ(Format(row.format, row.value), row.expected[locale_]);
    }
}

TEST_F(LxPrintFLocale, BracketedNumbers) {
    for (const BracketRow &row : kBracketRows) {
        SCOPED_TRACE(row.format);
        EXPECT_EQ(Format(row.format), row.expected[locale_]);
    }
}

TEST_F(LxPrintFLocale, MixedArguments) {
    const char *expected[kLocaleCount] = {
        "1,099,511,627,776 files, 3.14 MB, 12.5%, ok",
        "1.099.511.627.776 files, 3,14 MB, 12,5%, ok",
        "1,099,511,627,776 files, 3.14 MB, 12.5%, ok",
        "1" NB "099" NB "511" NB "627" NB "776 files, 3,14 MB, 12,5%, ok",
    };
    EXPECT_EQ(Format("$I64d files, %.2z MB, $.1f%%, %s", 1LL << 40, 314, 12.5, "ok"),
              expected[locale_]);
}

// ---- Double-byte text --------------------------------------------------------------------

class LxPrintFDoubleByte : public fmttest::DoubleByteTest {};

TEST_F(LxPrintFDoubleByte, PairsPassWhole) {
    // A lead byte takes the next byte with it, even a '$'.
    EXPECT_EQ(Format("\x81$d|", 5), "\x81$d|");
    // Inside a spec a pair's second byte 'd' (0x82 0x64) doesn't end it; the
    // spec isn't one the runtime may see, and the argument is used up.
    EXPECT_EQ(Format("%\x82\x64" "d|%d", 5, 6), "|6");
    EXPECT_EQ(Format("\x83\x5C%d\x83\x5C", 7), "\x83\x5C" "7\x83\x5C");
}

TEST_F(LxPrintFDoubleByte, TokenNames) {
    const char *name = "\x8B\xC8\x96\xBC";
    ASSERT_TRUE(LxPrintF_AddToken(name, "\x83\x5C"));
    EXPECT_EQ(Format("[$(\x8B\xC8\x96\xBC)]"), "[\x83\x5C]");
    EXPECT_TRUE(LxPrintF_DeleteToken(name));
}

}  // namespace
