// The formatter: sequences and conversions, tokens, specs and names past the
// buffers, the message composer, and each locale that has a column.
#include "fmtlocale.h"
#include "kernel/lxlang.h"
#include "kernel/lxprintf.h"

#include <cstdarg>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

const size_t kOut = 2048;
const char kUntouched = '\x7F';

// The result must be the text's length; nothing may be written behind it.
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

TEST(LxPrintF, Sequences) {
    const struct { const char *format, *expected; } rows[] = {
        {"", ""}, {"plain text", "plain text"}, {"$$d", "$d"}, {"$%", "%"}, {"%%d", "%d"},
        // A spec without a conversion character stands, with % as its head.
        {"cost %", "cost %"}, {"cost $", "cost %"}, {"$-5", "%-5"}, {"a%5.", "a%5."},
        {"%!:", ":"}, {"%!.", "."}, {"$!,", ","}, {"%!x", "x"}, {"%!", ""},
        {"%&:", "."}, {"1%&,2%&.3", "1,2.3"}, {"%&", ""},
        // Unknown tokens and unclosed brackets come back as they were.
        {"$(nosuch)", "$(nosuch)"}, {"[$()]", "[$()]"}, {"$(12", "$(12"}, {"$(-x)", "$(-x)"},
        {"$(name", "$(name"}, {"$(", "$("},
    };
    for (const auto &row : rows) EXPECT_EQ(Format(row.format), row.expected) << row.format;
    EXPECT_EQ(Format("$(12 apples and %d pears", 5), "$(12 apples and 5 pears");
    EXPECT_EQ(Format("$(nosuch and %d", 5), "$(nosuch and %d");  // the name takes the rest
    char out[8] = "xxxxxxx";
    EXPECT_EQ(LxPrintF(nullptr, "abc"), 0);
    EXPECT_EQ(LxPrintF(out, nullptr), 0);
    EXPECT_STREQ(out, "");
}

TEST(LxPrintF, TextsAndArgumentsInStep) {
    EXPECT_EQ(Format("[%-6s][$.2s]", "ab", "abcdef"), "[ab    ][ab]");
    EXPECT_EQ(Format("%s", (const char *)nullptr), "(null)");
    EXPECT_EQ(Format("%ls%c%c", L"wide", 'o', 'k'), "wideok");
    EXPECT_EQ(Format("%I64d %d %x %s %c %e %I64x %d", 1LL << 40, 7, 255u, "s", 'c', 2.0,
                     0xABCDEF0123ULL, -9),
              "1099511627776 7 ff s c 2.000000e+000 abcdef0123 -9");
    // Separators take no argument: the next conversion gets it.
    EXPECT_EQ(Format("%:%d%!:%d%&.%d%*x", 1, 2, 3),
              ":1:2.3" + std::string(Inat_Decimal(nullptr)) + "x");
}

// A spec that could make the runtime read more than its one argument, or
// write more than the conversion buffer, writes nothing; its argument is
// still used up.
TEST(LxPrintF, UnsafeOrOversizedSpecsWriteNothing) {
    EXPECT_EQ(Format("[%nd][%Sd][%Zd][%pd][%5$d][%d]", 1, 2, 3, 4, 5, 6), "[][][][][][6]");
    EXPECT_EQ(Format("[%nx][%Sf][%x]", 1u, 2.0, 255u), "[][][ff]");
    EXPECT_EQ(Format("[%Ss][%Zc][%s]", "a", 'b', "c"), "[][][c]");
    EXPECT_EQ(Format("[%n.2z][%d]", 100, 7), "[][7]");
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

// The spec buffer ends the conversion: the spec is then plain text and the
// argument goes to the next conversion.
TEST(LxPrintF, LongSpecIsWrittenAsItStands) {
    std::string head = "%" + std::string(300, '5') + "d";
    EXPECT_EQ(Format((head + "|%d").c_str(), 7), head + "|7");
    std::string dollar = "$" + std::string(300, '5') + "d";
    EXPECT_EQ(Format((dollar + "|%d").c_str(), 7), head + "|7");
    // 259 characters with the conversion character still convert.
    std::string inside = "%" + std::string(256, '0') + "5d";
    EXPECT_EQ(Format((inside + "|%d").c_str(), 5, 6), "00005|6");
    std::string outside = "%" + std::string(257, '0') + "5d";
    EXPECT_EQ(Format((outside + "|%d").c_str(), 5), outside + "|5");
}

class LxPrintFTokens : public testing::Test {
protected:
    void TearDown() override {
        for (const char *name : {"Fmt.Test", "Fmt.Empty", "Fmt.Raw", "Fmt.Term"})
            LxPrintF_DeleteToken(name);
    }
};

TEST_F(LxPrintFTokens, AddReplaceDeleteWithoutRegardToCase) {
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Test", "value"));
    EXPECT_EQ(Format("[$(fmt.TEST)]"), "[value]");
    ASSERT_TRUE(LxPrintF_AddToken("FMT.test", "other"));
    EXPECT_EQ(Format("$(Fmt.Test)"), "other");
    EXPECT_TRUE(LxPrintF_DeleteToken("fmt.test"));
    EXPECT_FALSE(LxPrintF_DeleteToken("Fmt.Test"));
    EXPECT_EQ(Format("$(Fmt.Test)"), "$(Fmt.Test)");
    EXPECT_FALSE(LxPrintF_AddToken(nullptr, "x"));
    EXPECT_FALSE(LxPrintF_DeleteToken(nullptr));
    // Values are not expanded again.
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Raw", "$d %s $(Fmt.Raw)"));
    EXPECT_EQ(Format("$(Fmt.Raw)|%d", 4), "$d %s $(Fmt.Raw)|4");
    ASSERT_TRUE(LxPrintF_AddToken("Fmt.Empty", nullptr));
    EXPECT_EQ(Format("[$(Fmt.Empty)]"), "[]");
}

TEST_F(LxPrintFTokens, NamesUpTo260Characters) {
    std::string name(260, 'n');
    ASSERT_TRUE(LxPrintF_AddToken(name.c_str(), "long"));
    EXPECT_EQ(Format(("$(" + name + ")").c_str()), "long");
    EXPECT_TRUE(LxPrintF_DeleteToken(name.c_str()));
    EXPECT_FALSE(LxPrintF_AddToken((name + "n").c_str(), "x"));  // could never be looked up
    // A longer bracket is no token: it comes back as it was.
    std::string longer = "$(" + std::string(300, 'n') + ")";
    EXPECT_EQ(Format((longer + "%d").c_str(), 3), longer + "3");
    std::string unclosed = "$(" + std::string(300, 'n');
    EXPECT_EQ(Format(unclosed.c_str()), unclosed);
}

TEST_F(LxPrintFTokens, ManyTokensInAnyOrderStaySorted) {
    const int kCount = 41;  // inserted out of order, so that every lookup needs the order
    const auto name = [](const char *prefix, int k) { return prefix + std::to_string(100 + k); };
    for (int i = 0; i < kCount; i++) {
        int k = (i * 17) % kCount;
        ASSERT_TRUE(LxPrintF_AddToken(name("Fmt.Many.", k).c_str(), name("v", k).c_str()));
    }
    for (int k = 0; k < kCount; k += 2)
        EXPECT_TRUE(LxPrintF_DeleteToken(name("FMT.MANY.", k).c_str())) << k;
    for (int k = 0; k < kCount; k++) {
        const std::string format = "$(" + name("fmt.many.", k) + ")";
        EXPECT_EQ(Format(format.c_str()), k % 2 ? name("v", k) : format);
    }
    for (int k = 1; k < kCount; k += 2)
        EXPECT_TRUE(LxPrintF_DeleteToken(name("Fmt.Many.", k).c_str())) << k;
}

TEST_F(LxPrintFTokens, ThreadsAddReplaceAndReadAtOnce) {
    const int kThreads = 4, kRounds = 200;
    const auto value = [](int t, int r) { return std::to_string(t) + "-" + std::to_string(r); };
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([t, &value] {
            const std::string name = "Fmt.Thread." + std::to_string(t);
            char out[64];
            for (int r = 0; r < kRounds; r++) {
                LxPrintF_AddToken(name.c_str(), value(t, r).c_str());
                LxPrintF(out, "$(Fmt.Thread.0)");
                LxPrintF_AddToken("Fmt.Shared", value(t, r).c_str());
                LxPrintF(out, "$(Fmt.Shared)");
            }
        });
    }
    for (std::thread &th : threads) th.join();
    for (int t = 0; t < kThreads; t++) {
        const std::string name = "Fmt.Thread." + std::to_string(t);
        EXPECT_EQ(Format(("$(" + name + ")").c_str()), value(t, kRounds - 1));
        EXPECT_TRUE(LxPrintF_DeleteToken(name.c_str()));
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
    EXPECT_EQ(LxLang_GetInternationals(nullptr, 0), S_OK);  // later tests need the start tokens
}

TEST(LxComposeStr, InsertionsAndFailures) {
    char out[64];
    EXPECT_EQ(LxComposeStr(out, sizeof out, "%2-%1", "a", "bc"), 4u);
    EXPECT_STREQ(out, "bc-a");
    EXPECT_EQ(LxComposeStr(out, sizeof out, "%1!d! items, %2!04x!", 42, 255), 14u);
    EXPECT_STREQ(out, "42 items, 00ff");
    // Failures leave an empty buffer.
    EXPECT_EQ(LxComposeStr(out, 4, "%1", "abcdef"), 0u);
    EXPECT_STREQ(out, "");
    strcpy(out, "xyz");
    EXPECT_EQ(LxComposeStr(out, 4, nullptr), 0u);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(LxComposeStr(nullptr, 10, "x"), 0u);
    strcpy(out, "xyz");
    EXPECT_EQ(LxComposeStr(out, 0, "x"), 0u);
    EXPECT_STREQ(out, "xyz");
}

// Expected texts are spelled with the locale's separators (see Spelled).
template <typename T>
struct LocaleRow { const char *format; T value; const char *expected; };

// Rows without separators hold in every locale.
const LocaleRow<LONG> kIntRows[] = {
    {"%d", INT_MIN, "-2147483648"}, {"%u", -1, "4294967295"}, {"%-5d|", 42, "42   |"},
    {"$x", 0xBEEF, "beef"}, {"%08X", 0xBEEF, "0000BEEF"}, {"%#x", 255, "0xff"},
    {"%z", 1234567, "1234567"}, {"[%.0z]", 0, "[]"}, {"[$.0z]", 0, "[]"},  // "%.0d" of 0: empty
    {"$d", 1234567, "1'234'567"}, {"%d", 1234567, "1234567"}, {"$d", 0, "0"},
    {"$d", INT_MIN, "-2'147'483'648"}, {"$i", -1000, "-1'000"}, {"$u", -1, "4'294'967'295"},
    // With modifiers the runtime goes first: padding, zeros and a plus sign
    // stay as leading text.
    {"$5d", 1234, " 1'234"}, {"$05d", 1234, "01'234"}, {"$+d", 1234, "+1'234"},
    {"$.2d", 7, "07"}, {"$5u", (LONG)4000000000u, "4'000'000'000"},
    {"$-7d|", 1234, "1234   |"},  // trailing padding isn't a number the system takes
    {"$.2z", 123456, "1'234_56"}, {"%.2z", 123456, "1234_56"}, {"%.2z", -5, "-0_05"},
    {"$8.1z", 12345, "1'234_5"},  // width dropped
    {"%.9z", INT_MAX, "2_147483647"},
    // From 16 decimals on the divisor is computed rather than looked up.
    {"%.15z", 12, "0_000000000000012"}, {"%.16z", 12, "0_0000000000000012"},
    {"$.0z", 1234, "1'234"}, {"$z", -1234567, "-1'234'567"},
    {"%*d", 0, "_d"}, {"$*", 0, "_"}, {"%5*", 0, "_"}, {"%,", 0, "~"}, {"%:", 0, ":"},
    // Bracketed numbers take no argument.
    {"$(1234.5)", 0, "1'234_5"}, {"$(-1234567)", 0, "-1'234'567"}, {"$(1234)kB", 0, "1'234kB"},
    {"$(.5)", 0, "0_5"}, {"$(0)", 0, "0"}, {"$(007)", 0, "007"},
    {"$(1,234)", 0, "1,234"},  // a comma isn't a number the system takes
};

const LocaleRow<LONGLONG> kInt64Rows[] = {
    {"%I64d", -5, "-5"}, {"%I64u", -1, "18446744073709551615"},
    {"%I64x", 0x123456789AB, "123456789ab"},
    {"$I64d", 1234567890123LL, "1'234'567'890'123"},
    {"$I64d", -9223372036854775807LL - 1, "-9'223'372'036'854'775'808"},
    {"$I64u", -1LL, "18'446'744'073'709'551'615"},
};

const LocaleRow<double> kRealRows[] = {
    {"%e", 1234.5, "1.234500e+003"}, {"$G", 1e-10, "1E-010"},
    {"$g", 123456.0, "123456"},  // g never groups
    {"%.2f", 1234.5, "1234_50"}, {"$.2f", 1234.5, "1'234_50"}, {"$.2fKB", 1234.5, "1'234_50KB"},
    {"$.2f", -1234567.126, "-1'234'567_13"}, {"$.0f", 1234567.0, "1'234'567"},
    {"%f", -0.5, "-0_500000"}, {"%10.1f|", 2.26, "       2_3|"},
    {"$10.1f", 12345.67, "   12'345_7"}, {"%g", 0.25, "0_25"},
    {"$g", 1234567.0, "1.23457e+006"}, {"%e", 0.25, "2.500000e-001"},
};

class LxPrintFLocale : public fmttest::LocaleTest {
protected:
    template <typename T, size_t N>
    void Check(const LocaleRow<T> (&rows)[N]) {
        for (const LocaleRow<T> &row : rows)
            EXPECT_EQ(Format(row.format, row.value), Spelled(row.expected))
                << row.format << " of " << row.value;
    }
};

TEST_F(LxPrintFLocale, Conversions) {
    Check(kIntRows);
    Check(kInt64Rows);
    Check(kRealRows);
    EXPECT_EQ(Format("$I64d files, %.2z MB, $.1f%%, %s", 1LL << 40, 314, 12.5, "ok"),
              Spelled("1'099'511'627'776 files, 3_14 MB, 12_5%, ok"));
}

class LxPrintFDoubleByte : public fmttest::DoubleByteTest {};

TEST_F(LxPrintFDoubleByte, PairsPassWhole) {
    // A lead byte takes the next byte with it, even a '$'.
    EXPECT_EQ(Format("\x81$d|", 5), "\x81$d|");
    // A pair's second byte 'd' (0x82 0x64) doesn't end a spec; the spec
    // isn't one the runtime may see, and the argument is used up.
    EXPECT_EQ(Format("%\x82\x64" "d|%d", 5, 6), "|6");
    EXPECT_EQ(Format("\x83\x5C%d\x83\x5C", 7), "\x83\x5C" "7\x83\x5C");
    const char *name = "\x8B\xC8\x96\xBC";
    ASSERT_TRUE(LxPrintF_AddToken(name, "\x83\x5C"));
    EXPECT_EQ(Format("[$(\x8B\xC8\x96\xBC)]"), "[\x83\x5C]");
    EXPECT_TRUE(LxPrintF_DeleteToken(name));
}

}  // namespace
