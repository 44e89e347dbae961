// The locale a formatting test runs under. Wine takes the user's locale from
// LANG at process start, so each locale is a separate run of the program
// (MARLOK_EXPECT_LOCALE names the one it was meant to get).
#ifndef FMTLOCALE_H
#define FMTLOCALE_H

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace fmttest {

enum Locale { kEnUS, kDeDE, kEnIN, kSvSE, kLocaleCount };

inline std::string CurrentLocaleName() {
    char name[LOCALE_NAME_MAX_LENGTH] = {0};
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, 0x5C /* LOCALE_SNAME */, name, sizeof name))
        name[0] = 0;
    return name;
}

// -1 for a locale without a column.
inline int CurrentLocale() {
    static const char *const kNames[kLocaleCount] = {"en-US", "de-DE", "en-IN", "sv-SE"};
    for (int i = 0; i < kLocaleCount; i++)
        if (CurrentLocaleName() == kNames[i]) return i;
    return -1;
}

// An expected text written once for all locales: ' is the thousand
// separator, _ the decimal separator and ~ the list separator of `locale`.
// Swedish groups with a no-break space (0xA0 in code page 1252).
inline std::string Spelled(const char *text, int locale) {
    static const char kMarks[] = "'_~";
    static const char *const kSeps[kLocaleCount][3] = {
        {",", ".", ","}, {".", ",", ";"}, {",", ".", ","}, {"\xA0", ",", ";"}};
    std::string out;
    for (; *text; text++) {
        const char *mark = strchr(kMarks, *text);
        out += mark ? std::string(kSeps[locale][mark - kMarks]) : std::string(1, *text);
    }
    return out;
}

// A run registered for one locale fails if it got another.
inline void ExpectLocale() {
    const char *expected = getenv("MARLOK_EXPECT_LOCALE");
    const std::string name = CurrentLocaleName();
    EXPECT_EQ(expected && *expected ? expected : name, name) << "this run did not get its locale";
}

// Skips in a locale without a column.
class LocaleTest : public testing::Test {
protected:
    void SetUp() override {
        ExpectLocale();
        locale_ = CurrentLocale();
        if (locale_ < 0) GTEST_SKIP() << "no expectations for " << CurrentLocaleName();
    }
    std::string Spelled(const char *text) const { return fmttest::Spelled(text, locale_); }
    int locale_ = -1;
};

// Needs the Japanese code page, where 0x81-0x9F and 0xE0-0xFC lead a pair
// whose second byte may be an ASCII letter or a backslash.
class DoubleByteTest : public testing::Test {
protected:
    void SetUp() override {
        ExpectLocale();
        if (GetACP() != 932) GTEST_SKIP() << "needs code page 932, this is " << GetACP();
    }
};

}  // namespace fmttest

#endif
