// Token parsers: digits and the user's thousand separator, modulo 2^32, and
// the Ex forms' failure value and unsigned clamp.
#include <gtest/gtest.h>

#include "kernel/lxtext.h"

#include <string>

namespace {

// The tables write the thousand separator as '\''; each run puts in the
// user's own, so that the rows hold in any locale.
std::string Separator() {
    char text[8] = {0};
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, text, sizeof text)) text[0] = 0;
    return text;
}

std::string Localise(const char *text, const std::string &sep) {
    std::string out;
    for (const char *p = text; *p; p++) {
        if (*p == '\'')
            out += sep;
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
    {"12 34", 12, " 34"},
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
    {"4294967297", 1, ""},
    {"10000000000", 1410065408u, ""},
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

TEST(TokenParser, SeparatorRowsRunInThisLocale) {
    // Without a usable separator the rows above that hold one are skipped.
    if (!SeparatorIsPlain(Separator())) GTEST_SKIP() << "thousand separator unusable here";
    EXPECT_EQ(LxTextToDWordToken(Localise("2'000", Separator()).c_str(), nullptr), 2000u);
}

TEST(TokenParser, NullText) {
    const char *stop = "x";
    EXPECT_EQ(LxTextToDWordToken(nullptr, &stop), 0u);
    EXPECT_EQ(stop, nullptr);
    stop = "x";
    EXPECT_EQ(LxTextToDWordTokenEx(nullptr, 7, 0, 100, &stop), 0u);
    EXPECT_EQ(stop, nullptr);
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

}  // namespace
