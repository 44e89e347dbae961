// SMPTE values and frame counts: the day wraps of each type, drop frame's
// skipped numbers, the fold of the short drop-frame day, and round trips.
#include <gtest/gtest.h>

#include "fileio/smpte.h"

#include <cstdio>

namespace {

struct Fields {
    DWORD hours, minutes, seconds, frames;
};

std::string Show(const _smpteval &v) {
    char text[64];
    snprintf(text, sizeof text, "type %lu %02lu:%02lu:%02lu:%02lu", v.type, v.hours, v.minutes,
             v.seconds, v.frames);
    return text;
}

_smpteval Make(DWORD type, Fields f) { return _smpteval{type, f.hours, f.minutes, f.seconds, f.frames}; }

void ExpectFields(const _smpteval &v, DWORD type, Fields f) {
    EXPECT_EQ(v.type, type);
    EXPECT_EQ(v.hours, f.hours);
    EXPECT_EQ(v.minutes, f.minutes);
    EXPECT_EQ(v.seconds, f.seconds);
    EXPECT_EQ(v.frames, f.frames);
}

struct CountRow {
    DWORD type;
    LONGLONG count;
    Fields expect;
};

const CountRow kCountRows[] = {
    // 30 frames: the day is 2,592,000 frames.
    {1, 0, {0, 0, 0, 0}},
    {1, 29, {0, 0, 0, 29}},
    {1, 30, {0, 0, 1, 0}},
    {1, 1800, {0, 1, 0, 0}},
    {1, 108000, {1, 0, 0, 0}},
    {1, 111694, {1, 2, 3, 4}},
    {1, 2591999, {23, 59, 59, 29}},
    {1, 2592000, {0, 0, 0, 0}},
    {1, 2592000LL * 5 + 61, {0, 0, 2, 1}},
    {1, -5, {0, 0, 0, 0}},
    // 30 non-drop counts like 30.
    {5, 1800, {0, 1, 0, 0}},
    {5, 2591999, {23, 59, 59, 29}},
    {5, 2592000, {0, 0, 0, 0}},
    // 25 frames: 2,160,000 a day.
    {3, 24, {0, 0, 0, 24}},
    {3, 25, {0, 0, 1, 0}},
    {3, 1500, {0, 1, 0, 0}},
    {3, 93079, {1, 2, 3, 4}},
    {3, 2159999, {23, 59, 59, 24}},
    {3, 2160000, {0, 0, 0, 0}},
    {3, 2160001, {0, 0, 0, 1}},
    // 24 frames: 2,073,600 a day.
    {4, 23, {0, 0, 0, 23}},
    {4, 1440, {0, 1, 0, 0}},
    {4, 89356, {1, 2, 3, 4}},
    {4, 2073599, {23, 59, 59, 23}},
    {4, 2073600, {0, 0, 0, 0}},
    // Drop frame: numbers 0 and 1 are skipped at each minute but every tenth.
    {2, 1799, {0, 0, 59, 29}},
    {2, 1800, {0, 1, 0, 2}},
    {2, 1801, {0, 1, 0, 3}},
    {2, 17981, {0, 9, 59, 29}},
    {2, 17982, {0, 10, 0, 0}},
    {2, 17983, {0, 10, 0, 1}},
    {2, 17984, {0, 10, 0, 2}},
    {2, 19782, {0, 11, 0, 2}},
    {2, 107891, {0, 59, 59, 29}},
    {2, 107892, {1, 0, 0, 0}},
    {2, -1, {0, 0, 0, 0}},
    // The day wraps at 2,589,407; the last nominal frames fold to the start,
    // and a fold onto a skipped number shows as frame 2.
    {2, 2586816, {23, 58, 33, 16}},
    {2, 2586817, {0, 0, 0, 0}},
    {2, 2588615, {0, 1, 0, 2}},
    {2, 2588616, {0, 1, 0, 2}},
    {2, 2588617, {0, 1, 0, 2}},
    {2, 2589406, {0, 1, 26, 11}},
    {2, 2589407, {0, 0, 0, 0}},
    {2, 2589408, {0, 0, 0, 1}},
};

TEST(SmpteFrameCount, CountToFieldsByType) {
    for (const CountRow &row : kCountRows) {
        SCOPED_TRACE(testing::Message() << "type " << row.type << " count " << row.count);
        _smpteval v = {row.type, 99, 99, 99, 99};
        EXPECT_EQ(FrameCountToSMPTE(&v, row.count), S_OK);
        ExpectFields(v, row.type, row.expect);
    }
}

struct FieldsRow {
    DWORD type;
    Fields time;
    LONGLONG count;
};

const FieldsRow kFieldsRows[] = {
    {1, {1, 2, 3, 4}, 111694},
    {5, {1, 2, 3, 4}, 111694},
    {3, {1, 2, 3, 4}, 93079},
    {4, {1, 2, 3, 4}, 89356},
    {1, {0, 0, 0, 45}, 45}, // fields are not normalised on the way in
    {2, {0, 0, 0, 0}, 0},
    {2, {0, 0, 0, 1}, 1},          // minute 0 keeps its frames 0 and 1
    {2, {0, 1, 0, 0}, 1800},       // typed as ;00, read as ;02
    {2, {0, 1, 0, 1}, 1800},
    {2, {0, 1, 0, 2}, 1800},
    {2, {0, 1, 0, 3}, 1801},
    {2, {0, 1, 1, 0}, 1828},       // only second 0 has skipped numbers
    {2, {0, 10, 0, 0}, 17982},     // minute 10 keeps frames 0 and 1
    {2, {0, 10, 0, 1}, 17983},
    {2, {0, 11, 0, 0}, 19782},
    {2, {1, 0, 0, 0}, 107892},
    {2, {23, 59, 59, 29}, 2589407},
};

TEST(SmpteFrameCount, FieldsToCountByType) {
    for (const FieldsRow &row : kFieldsRows) {
        _smpteval v = Make(row.type, row.time);
        SCOPED_TRACE(Show(v));
        EXPECT_EQ(SMPTEToFrameCount(&v), row.count);
    }
}

TEST(SmpteFrameCount, UnknownTypeGivesZero) {
    for (DWORD type : {0u, 6u, 9999u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        _smpteval v = {type, 1, 2, 3, 4};
        EXPECT_EQ(SMPTEToFrameCount(&v), 0);
        EXPECT_EQ(FrameCountToSMPTE(&v, 1234), E_INVALIDARG);
        ExpectFields(v, type, {0, 0, 0, 0});
    }
}

TEST(SmpteFrameCount, NullValue) {
    EXPECT_EQ(SMPTEToFrameCount(nullptr), 0);
    EXPECT_EQ(FrameCountToSMPTE(nullptr, 10), E_INVALIDARG);
}

// Non-drop types: every count of the day comes back, with fields in range.
TEST(SmpteFrameCount, RoundTripEveryCountOfNonDropDays) {
    const struct {
        DWORD type;
        DWORD rate;
        LONGLONG wrap;
    } types[] = {{1, 30, 2592000}, {5, 30, 2592000}, {3, 25, 2160000}, {4, 24, 2073600}};
    for (const auto &t : types) {
        SCOPED_TRACE(testing::Message() << "type " << t.type);
        int failures = 0;
        for (LONGLONG c = 0; c < t.wrap && failures < 5; c++) {
            _smpteval v = {t.type, 0, 0, 0, 0};
            FrameCountToSMPTE(&v, c);
            bool inRange = v.hours < 24 && v.minutes < 60 && v.seconds < 60 && v.frames < t.rate;
            if (!inRange || SMPTEToFrameCount(&v) != c) {
                ADD_FAILURE() << "count " << c << " gives " << Show(v);
                failures++;
            }
        }
    }
}

// Drop frame against the usual closed form (ten-minute blocks of 17,982
// frames, 1,798 to each dropping minute), which doesn't iterate: every count
// up to the fold maps to the same time and comes back.
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
        bool same = v.hours == f.hours && v.minutes == f.minutes && v.seconds == f.seconds &&
                    v.frames == f.frames;
        bool back = c >= firstFolded || SMPTEToFrameCount(&v) == c;
        if (!same || !back) {
            ADD_FAILURE() << "count " << c << " gives " << Show(v);
            failures++;
        }
    }
}

// Folded counts land in the first minutes and read back as early counts.
TEST(SmpteFrameCount, DropFrameFoldReadsBackAsEarlyCounts) {
    const struct {
        LONGLONG count, back;
    } rows[] = {{2586817, 0}, {2586818, 1}, {2588615, 1800}, {2589406, 2589}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << "count " << row.count);
        _smpteval v = {2, 0, 0, 0, 0};
        FrameCountToSMPTE(&v, row.count);
        EXPECT_EQ(SMPTEToFrameCount(&v), row.back);
    }
}

}  // namespace
