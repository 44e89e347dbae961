// Token parsers, in whatever locale the run has: in the tables ' stands for
// the user's thousand separator and _ for the decimal separator.
#include <gtest/gtest.h>

#include "kernel/lxtext.h"

#include <climits>
#include <cstring>
#include <string>

namespace {

std::string LocaleText(LCTYPE type) {
    char text[8] = {0};
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, type, text, sizeof text)) text[0] = 0;
    return text;
}

const std::string kThousand = LocaleText(LOCALE_STHOUSAND), kDecimal = LocaleText(LOCALE_SDECIMAL);

std::string Localise(const char *text) {
    std::string out;
    for (; *text; text++)
        out += *text == '\'' ? kThousand : *text == '_' ? kDecimal : std::string(1, *text);
    return out;
}

// Separators that are digits, white space or characters the rows use would
// change what the rows mean.
bool SeparatorsArePlain() {
    if (kThousand.empty() || kDecimal.empty() || kThousand == kDecimal) return false;
    for (char c : kThousand + kDecimal)
        if ((c >= '0' && c <= '9') || strchr(" \t#-a()+ex_", c)) return false;
    return true;
}

// rest: the text at the stop position.
template <typename T>
struct Row { const char *text; T value; const char *rest; };
template <typename T>
struct ExRow { const char *text; T onFailure, minimum, maximum, value; const char *rest; };

template <typename T>
T Call(T (*parse)(const char *, const char **), const Row<T> &, const char *text,
       const char **stop) {
    return parse(text, stop);
}
template <typename T>
T Call(T (*parse)(const char *, T, T, T, const char **), const ExRow<T> &row, const char *text,
       const char **stop) {
    return parse(text, row.onFailure, row.minimum, row.maximum, stop);
}

// Each row with and without a stop.
template <typename R, size_t N, typename Parse>
void Check(const R (&rows)[N], Parse parse) {
    if (!SeparatorsArePlain()) GTEST_SKIP() << "separators unusable here";
    for (const R &row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows << " \"" << row.text << '"');
        const std::string text = Localise(row.text);
        const char *stop = nullptr;
        EXPECT_EQ(Call(parse, row, text.c_str(), &stop), row.value);
        ASSERT_NE(stop, nullptr);
        EXPECT_STREQ(stop, Localise(row.rest).c_str());
        EXPECT_EQ(Call(parse, row, text.c_str(), nullptr), row.value);
    }
}

TEST(TokenParser, DWordToken) {
    const Row<DWORD> rows[] = {
        {"", 0, ""}, {"  \t 42 rest", 42, " rest"}, {"\r\n\v\f7", 7, ""}, {"12abc", 12, "abc"},
        {"abc", 0, "abc"}, {"-5", 0, "-5"},  // no sign
        {"1#2", 1, "#2"},                    // only the user's separator is passed
        {"1'234'567", 1234567, ""}, {"'5", 5, ""}, {"9''", 9, ""},  // a separator anywhere
        {"4294967295", 0xFFFFFFFFu, ""}, {"99999999999999999999", 1661992959u, ""},
    };
    Check(rows, LxTextToDWordToken);
}

TEST(TokenParser, DWordTokenExFailureAndClamp) {
    const ExRow<DWORD> rows[] = {
        // Not a number: the failure value, clamped.
        {"abc", 77, 0, 100, 77, "abc"}, {"abc", 500, 0, 100, 100, "abc"},
        {"abc", 3, 10, 100, 10, "abc"}, {"0abc", 77, 0, 100, 77, "abc"},
        // Zero, an empty text or white space is a real zero.
        {"0", 77, 0, 100, 0, ""}, {"", 77, 0, 100, 0, ""}, {"0 abc", 77, 0, 100, 0, " abc"},
        {"", 77, 5, 100, 5, ""},
        // A number followed by anything stands; the wrap is no failure.
        {"12abc", 77, 0, 100, 12, "abc"}, {"250", 77, 0, 100, 100, ""},
        {"1'000", 0, 0, 500, 500, ""}, {"4294967296", 9, 0, 100, 0, ""},
        // Bounds and values above 2^31 are large, not negative.
        {"3000000000", 0, 0, 0x80000000u, 0x80000000u, ""},
        {"3000000000", 0, 10, 0xFFFFFFFFu, 3000000000u, ""},
    };
    Check(rows, LxTextToDWordTokenEx);
}

TEST(TokenParser, DWordLongToken) {
    const Row<ULONGLONG> rows[] = {
        {"", 0, ""}, {" 12 x", 12, " x"}, {"4'294'967'296", 4294967296ull, ""},
        {"18'446'744'073'709'551'615", 18446744073709551615ull, ""},
        {"18446744073709551617", 1, ""}, {"-5", 0, "-5"},
    };
    Check(rows, LxTextToDWordLongToken);
}

TEST(TokenParser, LongToken) {
    const Row<LONG> rows[] = {
        // A bracket makes the number negative; the closing one ends the digits.
        {"(1'234)", -1234, ""}, {"(-5)", -5, ""}, {"(12", -12, ""}, {"  -42 x", -42, " x"},
        {"12_7", 12, ""},       // the decimal separator becomes a point
        {"12abc 5", 12, " 5"},  // the stop is the token's end, whatever it holds
        {"abc", 0, ""}, {"--5", 0, ""}, {"- 5", 0, " 5"}, {"+5", 0, ""},  // only a minus signs
        {"2147483647", LONG_MAX, ""}, {"-2147483648", LONG_MIN, ""},
        // Only 63 characters of a token are read.
        {"00000000000000000000000000000000000000000000000000000000000000123", 1, ""},
    };
    Check(rows, LxTextToLongToken);
}

TEST(TokenParser, LongLongToken) {
    const Row<LONGLONG> rows[] = {
        {"(1'234'567'890'123)", -1234567890123LL, ""}, {"3000000000", 3000000000LL, ""},
        {"9223372036854775807", LLONG_MAX, ""}, {"-9223372036854775808", LLONG_MIN, ""},
        {"-1 2", -1, " 2"}, {"x", 0, ""},
    };
    Check(rows, LxTextToLongLongToken);
}

TEST(TokenParser, DoubleToken) {
    const Row<double> rows[] = {
        {"1'234_5", 1234.5, ""}, {"(0_25)", -0.25, ""}, {"_5", 0.5, ""},
        {"-1_5e3", -1.5, ""},  // the exponent isn't ours: 'e' ends the digits
        {"3 4", 3.0, " 4"},
        // Nothing converted: the stop is the token's start.
        {"  abc def", 0.0, "abc def"}, {"-", 0.0, "-"}, {"()", 0.0, "()"}, {"", 0.0, ""},
    };
    Check(rows, LxTextToDoubleToken);
}

TEST(TokenParser, HexTokens) {
    const Row<DWORD> rows[] = {
        {"0x1F", 0x1F, ""}, {"0XfF", 0xFF, ""}, {"  abcDEF z", 0xABCDEF, " z"}, {"0x", 0, ""},
        {"0xg", 0, "g"}, {"00x1", 0, "x1"}, {"-1", 0, "-1"},
        {"123456789", 0x23456789u, ""},  // modulo 2^32
    };
    Check(rows, LxHexToDWordToken);
    const Row<ULONGLONG> longRows[] = {
        {"123456789ABCDEF0", 0x123456789ABCDEF0ull, ""}, {"0x100000000", 0x100000000ull, ""},
        {"1123456789ABCDEF0", 0x123456789ABCDEF0ull, ""},  // modulo 2^64
        {" 0Xffffffffffffffff!", 0xFFFFFFFFFFFFFFFFull, "!"},
    };
    Check(longRows, LxHexToDWordLongToken);
}

TEST(TokenParser, NullTextForEveryParser) {
    const struct { const char *name; double (*parse)(const char **stop); } rows[] = {
        {"DWord", [](const char **s) -> double { return LxTextToDWordToken(nullptr, s); }},
        {"DWordEx",
         [](const char **s) -> double { return LxTextToDWordTokenEx(nullptr, 7, 0, 100, s); }},
        {"DWordLong", [](const char **s) -> double { return LxTextToDWordLongToken(nullptr, s); }},
        {"Long", [](const char **s) -> double { return LxTextToLongToken(nullptr, s); }},
        {"LongLong", [](const char **s) -> double { return LxTextToLongLongToken(nullptr, s); }},
        {"Double", [](const char **s) { return LxTextToDoubleToken(nullptr, s); }},
        {"Hex", [](const char **s) -> double { return LxHexToDWordToken(nullptr, s); }},
        {"HexLong", [](const char **s) -> double { return LxHexToDWordLongToken(nullptr, s); }},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const char *stop = "x";
        EXPECT_EQ(row.parse(&stop), 0.0);
        EXPECT_EQ(stop, nullptr);
    }
    // No failure value, but the clamp.
    EXPECT_EQ(LxTextToLongLongTokenEx(nullptr, 7, 5, 10, nullptr), 5);
    EXPECT_EQ(LxTextToDoubleTokenEx(nullptr, 7, -1, 1, nullptr), 0.0);
}

TEST(TokenParser, WideAndSignedTokenEx) {
    const ExRow<ULONGLONG> dwordLong[] = {
        {"abc", 5, 0, 100, 5, "abc"}, {"18446744073709551615", 0, 0, ~0ull, ~0ull, ""},
        {"5", 0, 0x100000000ull, ~0ull, 0x100000000ull, ""},  // unsigned 64-bit bounds
        {"9'000'000'000", 0, 0, 0x180000000ull, 0x180000000ull, ""},
    };
    Check(dwordLong, LxTextToDWordLongTokenEx);
    const ExRow<LONG> longs[] = {
        // The stop is the token's end, so a text without a number is a real zero.
        {"abc", 7, -10, 10, 0, ""}, {"(1'234)", 0, -1000, 1000, -1000, ""},
        {"-50", 0, -10, 10, -10, ""}, {"3000", 0, -10, 10, 10, ""},
    };
    Check(longs, LxTextToLongTokenEx);
    const ExRow<double> doubles[] = {
        {"abc", 2.5, 0, 10, 2.5, "abc"}, {"(1_5)", 0, -1, 1, -1, ""}, {"0", 9, -1, 1, 0, ""},
        {"1'234_5", 0, 0, 1e6, 1234.5, ""}, {"1'234_5", 0, 0, 100.25, 100.25, ""},
    };
    Check(doubles, LxTextToDoubleTokenEx);
    const ExRow<DWORD> hex[] = {
        {"0xg", 7, 0, 100, 7, "g"}, {"0x", 7, 0, 100, 0, ""},
        {"FF", 0, 0, 100, 100, ""}, {"80000000", 0, 0, 0xFFFFFFFFu, 0x80000000u, ""},  // unsigned
        {"1", 0, 0x80000000u, 0xFFFFFFFFu, 0x80000000u, ""},
    };
    Check(hex, LxHexToDWordTokenEx);
}

// These two Ex forms read through the 32-bit parsers, though their bounds
// and failure values are 64-bit: a longer number wraps as atol reads it.
TEST(TokenParser, ExFormsThatReadThirtyTwoBitsOnly) {
    const ExRow<LONGLONG> longLong[] = {
        {"-1", 0, LLONG_MIN, LLONG_MAX, -1, ""},  // sign-extended
        {"5000000000", 0, LLONG_MIN, LLONG_MAX, 705032704LL, ""},
        {"3000000000", 0, LLONG_MIN, LLONG_MAX, -1294967296LL, ""},
        {"7", 0, 5000000000LL, 6000000000LL, 5000000000LL, ""}, {"-7", 0, -5, 0, -5, ""},
    };
    Check(longLong, LxTextToLongLongTokenEx);
    const ExRow<ULONGLONG> hexLong[] = {
        {"0x123456789", 0, 0, ~0ull, 0x23456789ull, ""},  // nine digits wrap
        {"FFFFFFFF", 0, 0, ~0ull, 0xFFFFFFFFull, ""},     // and nothing is sign-extended
        {"10", 0, 0x100000000ull, ~0ull, 0x100000000ull, ""},
        {"zz", 0x1FFFFFFFFull, 0, ~0ull, 0x1FFFFFFFFull, "zz"},
    };
    Check(hexLong, LxHexToDWordLongTokenEx);
}

}  // namespace
