// Token parsers: digits and the user's thousand separator, modulo 2^32 or
// 2^64; the signed readers' whole tokens with brackets, minus and decimal
// separator; hexadecimal; the Ex forms' failure value and clamp, with the
// two forms that deliberately read 32 bits only.
#include <gtest/gtest.h>

#include "kernel/lxtext.h"

#include <climits>
#include <string>

namespace {

// The tables write the thousand separator as '\''; each run puts in the
// user's own, so that the rows hold in any locale.
std::string Separator() {
    char text[8] = {0};
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, text, sizeof text)) text[0] = 0;
    return text;
}

std::string DecimalSeparator() {
    char text[8] = {0};
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, text, sizeof text)) text[0] = 0;
    return text;
}

// '\'' stands for the thousand separator, and in the signed tables '_' for
// the decimal separator.
std::string Localise(const char *text, const std::string &sep,
                     const std::string &decimal = "_") {
    std::string out;
    for (const char *p = text; *p; p++) {
        if (*p == '\'')
            out += sep;
        else if (*p == '_')
            out += decimal;
        else
            out += *p;
    }
    return out;
}

bool UsesSeparator(const char *text) { return std::string(text).find('\'') != std::string::npos; }

// A separator that is a digit, white space or one of the table's other
// characters would change what the rows mean.
bool SeparatorIsPlain(const std::string &sep) {
    if (sep.empty()) return false;
    for (char c : sep)
        if ((c >= '0' && c <= '9') || c == ' ' || c == '\t' || c == '#' || c == '-' || c == 'a')
            return false;
    return true;
}

struct TokenRow {
    const char *text;
    DWORD value;
    const char *rest; // the text at the stop position, localised too
};

const TokenRow kTokenRows[] = {
    {"", 0, ""},
    {"0", 0, ""},
    {"123", 123, ""},
    {"  \t 42 rest", 42, " rest"},
    {"\r\n\v\f7", 7, ""},
    {"12abc", 12, "abc"},
    {"abc", 0, "abc"},
    {"-5", 0, "-5"},    // no sign
    {"1#2", 1, "#2"},   // only the user's separator is passed
    {"1'234'567", 1234567, ""},
    {"'5", 5, ""},      // a separator may stand anywhere, even first
    {"1''2", 12, ""},
    {"9'", 9, ""},
    {"4294967295", 0xFFFFFFFFu, ""},
    {"4294967296", 0, ""},
    {"99999999999999999999", 1661992959u, ""},
    {"4'294'967'297", 1, ""},
};

TEST(TokenParser, DWordTokenValuesAndStops) {
    const std::string sep = Separator();
    for (const TokenRow &row : kTokenRows) {
        SCOPED_TRACE(row.text);
        if (UsesSeparator(row.text) && !SeparatorIsPlain(sep)) continue;
        std::string text = Localise(row.text, sep);
        const char *stop = nullptr;
        EXPECT_EQ(LxTextToDWordToken(text.c_str(), &stop), row.value);
        ASSERT_NE(stop, nullptr);
        EXPECT_STREQ(stop, Localise(row.rest, sep).c_str());
        EXPECT_EQ(LxTextToDWordToken(text.c_str(), nullptr), row.value);
    }
}

struct ExRow {
    const char *text;
    DWORD onFailure, minimum, maximum;
    DWORD value;
    const char *rest;
};

const ExRow kExRows[] = {
    // Not a number: the failure value, clamped.
    {"abc", 77, 0, 100, 77, "abc"},
    {"abc", 500, 0, 100, 100, "abc"},
    {"abc", 3, 10, 100, 10, "abc"},
    {"0abc", 77, 0, 100, 77, "abc"},
    // Zero, an empty text or white space is a real zero.
    {"0", 77, 0, 100, 0, ""},
    {"", 77, 0, 100, 0, ""},
    {"   ", 77, 0, 100, 0, ""},
    {"0 abc", 77, 0, 100, 0, " abc"},
    {"", 77, 5, 100, 5, ""},
    // A number followed by anything stands.
    {"12abc", 77, 0, 100, 12, "abc"},
    {"250", 77, 0, 100, 100, ""},
    {"3", 77, 10, 100, 10, ""},
    {"1'000", 0, 0, 500, 500, ""},
    // The wrap is not a failure.
    {"4294967296", 9, 0, 100, 0, ""},
    // Unsigned bounds: a maximum above 2^31 is a large maximum, not a
    // negative one, and a value above 2^31 is large, not negative.
    {"5", 0, 0, 0xF0000000u, 5, ""},
    {"3000000000", 0, 0, 0x80000000u, 0x80000000u, ""},
    {"4294967295", 0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu, ""},
    {"3000000000", 0, 10, 0xFFFFFFFFu, 3000000000u, ""},
};

TEST(TokenParser, DWordTokenExFailureAndClamp) {
    const std::string sep = Separator();
    for (const ExRow &row : kExRows) {
        SCOPED_TRACE(testing::Message() << '"' << row.text << "\" failure " << row.onFailure
                                        << " range " << row.minimum << ".." << row.maximum);
        if (UsesSeparator(row.text) && !SeparatorIsPlain(sep)) continue;
        std::string text = Localise(row.text, sep);
        const char *stop = nullptr;
        EXPECT_EQ(LxTextToDWordTokenEx(text.c_str(), row.onFailure, row.minimum, row.maximum, &stop),
                  row.value);
        ASSERT_NE(stop, nullptr);
        EXPECT_STREQ(stop, row.rest);
        EXPECT_EQ(LxTextToDWordTokenEx(text.c_str(), row.onFailure, row.minimum, row.maximum,
                                       nullptr),
                  row.value);
    }
}

// ---- Wider and signed readers ------------------------------------------------------

// The signed tables need both separators and need them to differ from each
// other and from the characters the rows use.
bool SeparatorsArePlain(const std::string &thousand, const std::string &decimal) {
    if (!SeparatorIsPlain(thousand) || !SeparatorIsPlain(decimal) || thousand == decimal)
        return false;
    for (const std::string &sep : {thousand, decimal})
        for (char c : sep)
            if (c == '(' || c == ')' || c == '+' || c == 'e' || c == 'x' || c == '_') return false;
    return true;
}

template <typename T>
struct Row {
    const char *text;
    T value;
    const char *rest;
};

// Runs a plain parser's rows in this locale, with and without a stop.
template <typename T, typename Parse>
void CheckRows(const Row<T> *rows, size_t count, Parse parse, bool needsSeparators) {
    const std::string thousand = Separator(), decimal = DecimalSeparator();
    if (needsSeparators && !SeparatorsArePlain(thousand, decimal)) {
        GTEST_SKIP() << "separators unusable here";
    }
    for (size_t i = 0; i < count; i++) {
        const Row<T> &row = rows[i];
        SCOPED_TRACE(row.text);
        std::string text = Localise(row.text, thousand, decimal);
        const char *stop = nullptr;
        EXPECT_EQ(parse(text.c_str(), &stop), row.value);
        ASSERT_NE(stop, nullptr);
        EXPECT_STREQ(stop, Localise(row.rest, thousand, decimal).c_str());
        EXPECT_EQ(parse(text.c_str(), nullptr), row.value);
    }
}

const Row<ULONGLONG> kDWordLongRows[] = {
    {"", 0, ""},
    {" 12 x", 12, " x"},
    {"4294967296", 4294967296ull, ""},
    {"4'294'967'296", 4294967296ull, ""},
    {"18'446'744'073'709'551'615", 18446744073709551615ull, ""},
    {"18446744073709551616", 0, ""},
    {"18446744073709551617", 1, ""},
    {"-5", 0, "-5"},
};

TEST(TokenParser, DWordLongToken) {
    CheckRows(kDWordLongRows, sizeof kDWordLongRows / sizeof *kDWordLongRows,
              LxTextToDWordLongToken, true);
}

const Row<LONG> kLongRows[] = {
    // A bracket makes the number negative; the closing one ends the digits.
    {"(1'234)", -1234, ""},
    {"(-5)", -5, ""},
    {"(12", -12, ""},
    {"  -42 x", -42, " x"},
    {"12_7", 12, ""},          // the decimal separator becomes a point
    {"12abc 5", 12, " 5"},     // the stop is the token's end, whatever it holds
    {"abc", 0, ""},
    {"--5", 0, ""},
    {"- 5", 0, " 5"},
    {"+5", 0, ""},             // only the minus is a sign
    {"", 0, ""},
    {"   ", 0, ""},
    {"2147483647", LONG_MAX, ""},
    {"-2147483648", LONG_MIN, ""},
    // Only 63 characters of a token are read.
    {"00000000000000000000000000000000000000000000000000000000000000123", 1, ""},
};

TEST(TokenParser, LongToken) {
    CheckRows(kLongRows, sizeof kLongRows / sizeof *kLongRows, LxTextToLongToken, true);
}

const Row<LONGLONG> kLongLongRows[] = {
    {"(1'234'567'890'123)", -1234567890123LL, ""},
    {"4294967296", 4294967296LL, ""},
    {"9223372036854775807", LLONG_MAX, ""},
    {"-9223372036854775808", LLONG_MIN, ""},
    {"-1 2", -1, " 2"},
    {"x", 0, ""},
};

TEST(TokenParser, LongLongToken) {
    CheckRows(kLongLongRows, sizeof kLongLongRows / sizeof *kLongLongRows,
              LxTextToLongLongToken, true);
}

const Row<double> kDoubleRows[] = {
    {"1'234_5", 1234.5, ""},
    {"(0_25)", -0.25, ""},
    {"_5", 0.5, ""},
    {"-1_5e3", -1.5, ""},      // the exponent isn't ours: 'e' ends the digits
    {"3 4", 3.0, " 4"},
    // Nothing converted: the stop is the token's start.
    {"abc", 0.0, "abc"},
    {"  abc def", 0.0, "abc def"},
    {"-", 0.0, "-"},
    {"()", 0.0, "()"},
    {"", 0.0, ""},
};

TEST(TokenParser, DoubleToken) {
    CheckRows(kDoubleRows, sizeof kDoubleRows / sizeof *kDoubleRows, LxTextToDoubleToken, true);
}

const Row<DWORD> kHexRows[] = {
    {"0x1F", 0x1F, ""},
    {"0XfF", 0xFF, ""},
    {"  abcDEF z", 0xABCDEF, " z"},
    {"0x", 0, ""},
    {"0xg", 0, "g"},
    {"00x1", 0, "x1"},
    {"x1", 0, "x1"},
    {"-1", 0, "-1"},
    {"123456789", 0x23456789u, ""},  // modulo 2^32
    {"FFFFFFFF", 0xFFFFFFFFu, ""},
};

TEST(TokenParser, HexToken) {
    CheckRows(kHexRows, sizeof kHexRows / sizeof *kHexRows, LxHexToDWordToken, false);
}

const Row<ULONGLONG> kHexLongRows[] = {
    {"123456789ABCDEF0", 0x123456789ABCDEF0ull, ""},
    {"0x100000000", 0x100000000ull, ""},
    {"1123456789ABCDEF0", 0x123456789ABCDEF0ull, ""},  // modulo 2^64
    {" 0Xffffffffffffffff!", 0xFFFFFFFFFFFFFFFFull, "!"},
};

TEST(TokenParser, HexLongToken) {
    CheckRows(kHexLongRows, sizeof kHexLongRows / sizeof *kHexLongRows, LxHexToDWordLongToken,
              false);
}

TEST(TokenParser, NullTextForEveryParser) {
    const char *stop = "x";
    EXPECT_EQ(LxTextToDWordToken(nullptr, &stop), 0u);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxTextToDWordTokenEx(nullptr, 7, 0, 100, &stop), 0u);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxTextToDWordLongToken(nullptr, &stop), 0u);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxTextToLongToken(nullptr, &stop), 0);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxTextToLongLongToken(nullptr, &stop), 0);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxTextToDoubleToken(nullptr, &stop), 0.0);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxHexToDWordToken(nullptr, &stop), 0u);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxHexToDWordLongToken(nullptr, &stop), 0u);
    EXPECT_EQ(stop, nullptr);
    EXPECT_EQ(LxTextToLongTokenEx(nullptr, 7, -10, 10, nullptr), 0);
    EXPECT_EQ(LxTextToLongLongTokenEx(nullptr, 7, 5, 10, nullptr), 5);
    EXPECT_EQ(LxTextToDoubleTokenEx(nullptr, 7, -1, 1, nullptr), 0.0);
    EXPECT_EQ(LxHexToDWordTokenEx(nullptr, 7, 0, 10, nullptr), 0u);
    EXPECT_EQ(LxHexToDWordLongTokenEx(nullptr, 7, 0, 10, nullptr), 0u);
    EXPECT_EQ(LxTextToDWordLongTokenEx(nullptr, 7, 0, 10, nullptr), 0u);
}

// ---- Bounded forms -------------------------------------------------------------------

template <typename T>
struct BoundedRow {
    const char *text;
    T onFailure, minimum, maximum;
    T value;
    const char *rest;
};

template <typename T, typename Parse>
void CheckBounded(const BoundedRow<T> *rows, size_t count, Parse parse) {
    const std::string thousand = Separator(), decimal = DecimalSeparator();
    if (!SeparatorsArePlain(thousand, decimal)) GTEST_SKIP() << "separators unusable here";
    for (size_t i = 0; i < count; i++) {
        const BoundedRow<T> &row = rows[i];
        SCOPED_TRACE(testing::Message() << '"' << row.text << "\" failure " << row.onFailure
                                        << " range " << row.minimum << ".." << row.maximum);
        std::string text = Localise(row.text, thousand, decimal);
        const char *stop = nullptr;
        EXPECT_EQ(parse(text.c_str(), row.onFailure, row.minimum, row.maximum, &stop), row.value);
        ASSERT_NE(stop, nullptr);
        EXPECT_STREQ(stop, Localise(row.rest, thousand, decimal).c_str());
    }
}

const BoundedRow<ULONGLONG> kDWordLongExRows[] = {
    {"abc", 5, 0, 100, 5, "abc"},
    {"", 5, 0, 100, 0, ""},
    {"0 x", 5, 0, 100, 0, " x"},
    {"18446744073709551615", 0, 0, ~0ull, ~0ull, ""},
    // Unsigned 64-bit bounds.
    {"5", 0, 0x100000000ull, ~0ull, 0x100000000ull, ""},
    {"9'000'000'000", 0, 0, 0x180000000ull, 0x180000000ull, ""},
};

TEST(TokenParser, DWordLongTokenEx) {
    CheckBounded(kDWordLongExRows, sizeof kDWordLongExRows / sizeof *kDWordLongExRows,
                 LxTextToDWordLongTokenEx);
}

const BoundedRow<LONG> kLongExRows[] = {
    // The token's end is the stop, so a text that holds no number reads as
    // a real zero rather than a failure.
    {"abc", 7, -10, 10, 0, ""},
    {"", 99, -10, 10, 0, ""},
    {"(1'234)", 0, -1000, 1000, -1000, ""},
    {"5", 0, 10, 20, 10, ""},
    // Signed bounds.
    {"-50", 0, -10, 10, -10, ""},
    {"-5", 0, -10, 10, -5, ""},
    {"3000", 0, -10, 10, 10, ""},
};

TEST(TokenParser, LongTokenEx) {
    CheckBounded(kLongExRows, sizeof kLongExRows / sizeof *kLongExRows, LxTextToLongTokenEx);
}

const BoundedRow<LONGLONG> kLongLongExRows[] = {
    {"-1", 0, LLONG_MIN, LLONG_MAX, -1, ""},  // sign-extended
    {"-2147483648", 0, LLONG_MIN, LLONG_MAX, INT_MIN, ""},
    {"(1'000)", 0, LLONG_MIN, LLONG_MAX, -1000, ""},
    // The bounds are 64-bit.
    {"7", 0, 5000000000LL, 6000000000LL, 5000000000LL, ""},
    {"-7", 0, -5000000000LL, 0, -7, ""},
    {"-7", 0, -5, 0, -5, ""},
};

TEST(TokenParser, LongLongTokenEx) {
    CheckBounded(kLongLongExRows, sizeof kLongLongExRows / sizeof *kLongLongExRows,
                 LxTextToLongLongTokenEx);
}

// LxTextToLongLongTokenEx reads through the 32-bit reader: a number beyond
// 32 bits comes back as the runtime's atol reads it (modulo 2^32, then
// signed), not as the plain 64-bit reader gives it.
TEST(TokenParser, LongLongTokenExReadsThirtyTwoBitsOnly) {
    const char *big = "5000000000";
    EXPECT_EQ(LxTextToLongLongToken(big, nullptr), 5000000000LL);
    EXPECT_EQ(LxTextToLongLongTokenEx(big, 0, LLONG_MIN, LLONG_MAX, nullptr),
              (LONGLONG)LxTextToLongToken(big, nullptr));
    EXPECT_EQ(LxTextToLongLongTokenEx(big, 0, LLONG_MIN, LLONG_MAX, nullptr), 705032704LL);
    EXPECT_EQ(LxTextToLongLongTokenEx("-5000000000", 0, LLONG_MIN, LLONG_MAX, nullptr),
              -705032704LL);
    EXPECT_EQ(LxTextToLongLongTokenEx("3000000000", 0, LLONG_MIN, LLONG_MAX, nullptr),
              -1294967296LL);  // sign-extended from 32 bits
    EXPECT_EQ(LxTextToLongLongToken("3000000000", nullptr), 3000000000LL);
}

const BoundedRow<double> kDoubleExRows[] = {
    {"abc", 2.5, 0, 10, 2.5, "abc"},
    {"-", 9, -10, 10, 9, "-"},
    {"(1_5)", 0, -1, 1, -1, ""},
    {"0", 9, -1, 1, 0, ""},
    {"", 9, -1, 1, 0, ""},
    {"1'234_5", 0, 0, 1e6, 1234.5, ""},
    {"1'234_5", 0, 0, 100.25, 100.25, ""},
};

TEST(TokenParser, DoubleTokenEx) {
    CheckBounded(kDoubleExRows, sizeof kDoubleExRows / sizeof *kDoubleExRows,
                 LxTextToDoubleTokenEx);
}

const BoundedRow<DWORD> kHexExRows[] = {
    {"xyz", 7, 0, 100, 7, "xyz"},
    {"0xg", 7, 0, 100, 7, "g"},
    {"0x", 7, 0, 100, 0, ""},
    {"FF", 0, 0, 100, 100, ""},
    {"80000000", 0, 0, 0xFFFFFFFFu, 0x80000000u, ""},  // unsigned
    {"1", 0, 0x80000000u, 0xFFFFFFFFu, 0x80000000u, ""},
};

TEST(TokenParser, HexTokenEx) {
    CheckBounded(kHexExRows, sizeof kHexExRows / sizeof *kHexExRows, LxHexToDWordTokenEx);
}

const BoundedRow<ULONGLONG> kHexLongExRows[] = {
    // Read through the 32-bit reader: nine digits wrap, and nothing is
    // sign-extended.
    {"0x123456789", 0, 0, ~0ull, 0x23456789ull, ""},
    {"FFFFFFFF", 0, 0, ~0ull, 0xFFFFFFFFull, ""},
    // The bounds and the failure value are 64-bit.
    {"10", 0, 0x100000000ull, ~0ull, 0x100000000ull, ""},
    {"zz", 0x1FFFFFFFFull, 0, ~0ull, 0x1FFFFFFFFull, "zz"},
};

TEST(TokenParser, HexLongTokenExReadsThirtyTwoBitsOnly) {
    EXPECT_EQ(LxHexToDWordLongToken("0x123456789", nullptr), 0x123456789ull);
    CheckBounded(kHexLongExRows, sizeof kHexLongExRows / sizeof *kHexLongExRows,
                 LxHexToDWordLongTokenEx);
}

}  // namespace
