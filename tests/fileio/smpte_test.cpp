// SMPTE values and frame counts: the day wraps of each type, drop frame's
// skipped numbers, and the fold of the short drop-frame day.
#include <gtest/gtest.h>

#include "fileio/smpte.h"

#include <cstdio>

namespace {

struct Fields { DWORD hours, minutes, seconds, frames; };

std::string Show(const _smpteval &v) {
    char text[64];
    snprintf(text, sizeof text, "type %lu %02lu:%02lu:%02lu:%02lu", v.type, v.hours, v.minutes, v.seconds,
             v.frames);
    return text;
}

bool Same(const _smpteval &v, Fields f) {
    return v.hours == f.hours && v.minutes == f.minutes && v.seconds == f.seconds && v.frames == f.frames;
}

TEST(SmpteFrameCount, CountToFieldsByType) {
    const struct { DWORD type; LONGLONG count; Fields expect; } rows[] = {
        {1, 111694, {1, 2, 3, 4}}, {1, 2591999, {23, 59, 59, 29}}, {1, 2592000LL * 5 + 61, {0, 0, 2, 1}},
        {1, -5, {0, 0, 0, 0}},     {5, 2591999, {23, 59, 59, 29}}, {5, 2592000, {0, 0, 0, 0}},
        {3, 93079, {1, 2, 3, 4}},  {3, 2159999, {23, 59, 59, 24}}, {3, 2160001, {0, 0, 0, 1}},
        {4, 89356, {1, 2, 3, 4}},  {4, 2073599, {23, 59, 59, 23}}, {4, 2073600, {0, 0, 0, 0}},
        // Drop frame skips numbers 0 and 1 at each minute but every tenth; the
        // day wraps at 2,589,407 and its last nominal frames fold to the start,
        // a fold onto a skipped number showing as frame 2.
        {2, 1800, {0, 1, 0, 2}},   {2, 17982, {0, 10, 0, 0}},      {2, 2586817, {0, 0, 0, 0}},
        {2, 2588616, {0, 1, 0, 2}}, {2, 2589408, {0, 0, 0, 1}},    {2, -1, {0, 0, 0, 0}},
    };
    for (const auto &row : rows) {
        _smpteval v = {row.type, 99, 99, 99, 99};
        EXPECT_EQ(S_OK, FrameCountToSMPTE(&v, row.count));
        EXPECT_TRUE(Same(v, row.expect)) << "count " << row.count << " gives " << Show(v);
        EXPECT_EQ(row.type, v.type);
    }
}

TEST(SmpteFrameCount, FieldsToCountByType) {
    const struct { _smpteval value; LONGLONG count; } rows[] = {
        {{1, 1, 2, 3, 4}, 111694}, {{5, 1, 2, 3, 4}, 111694}, {{3, 1, 2, 3, 4}, 93079}, {{4, 1, 2, 3, 4}, 89356},
        {{1, 0, 0, 0, 45}, 45},          // fields are not normalised on the way in
        {{2, 0, 1, 0, 0}, 1800},         // typed as ;00, read as ;02
        {{2, 0, 1, 0, 1}, 1800},
        {{2, 23, 59, 59, 29}, 2589407},  // the day's last number lies past the wrap
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(Show(row.value));
        EXPECT_EQ(row.count, SMPTEToFrameCount(&row.value));
    }
}

TEST(SmpteFrameCount, UnknownTypeOrNullGivesZero) {
    for (DWORD type : {0u, 6u, 0xFFFFFFFFu}) {
        _smpteval v = {type, 1, 2, 3, 4};
        EXPECT_EQ(0, SMPTEToFrameCount(&v));
        EXPECT_EQ(E_INVALIDARG, FrameCountToSMPTE(&v, 1234));
        EXPECT_TRUE(Same(v, {0, 0, 0, 0})) << Show(v);
    }
    EXPECT_EQ(0, SMPTEToFrameCount(nullptr));
    EXPECT_EQ(E_INVALIDARG, FrameCountToSMPTE(nullptr, 10));
}

// Drop frame against the usual closed form (ten-minute blocks of 17,982
// frames, 1,798 to each dropping minute), which doesn't iterate: every count
// maps to the same time, and those short of the fold come back.
TEST(SmpteFrameCount, DropFrameMatchesClosedFormOverTheDay) {
    const LONGLONG wrap = 2589407, firstFolded = 2586817;
    int failures = 0;
    for (LONGLONG c = 0; c < wrap && failures < 5; c++) {
        LONGLONG blocks = c / 17982, rest = c % 17982;
        LONGLONG n = c + 18 * blocks + (rest >= 2 ? 2 * ((rest - 2) / 1798) : 0);
        if (n >= wrap) n -= wrap;
        Fields f = {(DWORD)(n / 108000), (DWORD)(n % 108000 / 1800), (DWORD)(n % 1800 / 30),
                    (DWORD)(n % 30)};
        if (f.frames < 2 && f.seconds == 0 && f.minutes % 10) f.frames = 2;
        _smpteval v = {2, 0, 0, 0, 0};
        FrameCountToSMPTE(&v, c);
        if (!Same(v, f) || (c < firstFolded && SMPTEToFrameCount(&v) != c)) {
            ADD_FAILURE() << "count " << c << " gives " << Show(v);
            failures++;
        }
    }
}

}  // namespace
