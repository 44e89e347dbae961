// The locale a formatting test runs under. Wine takes the user's locale from
// LANG at process start, so each locale is a separate run of the program;
// a test reads which one it got and picks its column of expected texts.
// A run registered for one locale sets MARLOK_EXPECT_LOCALE, and a run that
// didn't get that locale fails instead of quietly checking another one.
#ifndef FMTLOCALE_H
#define FMTLOCALE_H

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace fmttest {

// Columns of the expectation tables.
enum Locale { kEnUS, kDeDE, kEnIN, kSvSE, kLocaleCount };

// Swedish groups with a no-break space (0xA0 in code page 1252); glued to
// its neighbours by literal concatenation so that no hex escape runs on.
#define FMT_NBSP "\xA0"

inline const char *LocaleName(int locale) {
    static const char *const kNames[kLocaleCount] = {"en-US", "de-DE", "en-IN", "sv-SE"};
    return kNames[locale];
}

inline std::string CurrentLocaleName() {
    char name[LOCALE_NAME_MAX_LENGTH] = {0};
    if (!GetLocaleInfoA(LOCALE_USER_DEFAULT, 0x5C /* LOCALE_SNAME */, name, sizeof name))
        name[0] = 0;
    return name;
}

// -1 for a locale without a column.
inline int CurrentLocale() {
    std::string name = CurrentLocaleName();
    for (int i = 0; i < kLocaleCount; i++)
        if (name == LocaleName(i)) return i;
    return -1;
}

// Base of the locale suites: skips in a locale without a column, and fails
// if the run was meant for another locale than the one it got.
class LocaleTest : public testing::Test {
protected:
    void SetUp() override {
        const char *expected = getenv("MARLOK_EXPECT_LOCALE");
        std::string name = CurrentLocaleName();
        if (expected && *expected) {
            ASSERT_EQ(std::string(expected), name) << "this run did not get its locale";
        }
        locale_ = CurrentLocale();
        if (locale_ < 0) GTEST_SKIP() << "no expectations for locale \"" << name << "\"";
    }
    int locale_ = -1;
};

// Base of the double-byte suites: they need the Japanese ANSI code page,
// where 0x81 to 0x9F and 0xE0 to 0xFC lead a pair whose second byte may be
// an ASCII letter or a backslash.
class DoubleByteTest : public testing::Test {
protected:
    void SetUp() override {
        const char *expected = getenv("MARLOK_EXPECT_LOCALE");
        if (expected && *expected) {
            ASSERT_EQ(std::string(expected), CurrentLocaleName()) << "this run did not get its locale";
        }
        if (GetACP() != 932) GTEST_SKIP() << "needs code page 932, this is " << GetACP();
    }
};

}  // namespace fmttest

#endif
