// SMPTE values and frame counts: each type's day wrap, drop frame's skipped
// numbers and the fold of its short day, and an unknown type.
#include <gtest/gtest.h>

#include "fileio/smpte.h"

#include <vector>

namespace {

std::vector<DWORD> Fields(const _smpteval &v) { return {v.type, v.hours, v.minutes, v.seconds, v.frames}; }

TEST(SmpteFrameCount, CountToFieldsAtEachTypesEdges) {
    const struct { LONGLONG count; std::vector<DWORD> fields; } rows[] = {
        {2591999, {1, 23, 59, 59, 29}}, {2592000LL * 5 + 61, {1, 0, 0, 2, 1}}, {-5, {1, 0, 0, 0, 0}},
        {2592000, {5, 0, 0, 0, 0}},     {2159999, {3, 23, 59, 59, 24}},       {2160001, {3, 0, 0, 0, 1}},
        {2073599, {4, 23, 59, 59, 23}}, {2073600, {4, 0, 0, 0, 0}},
        // Drop frame skips numbers 0 and 1 at each minute but every tenth; the
        // day wraps at 2,589,407 and its last nominal frames fold to the
        // start, a fold onto a skipped number showing as frame 2.
        {1800, {2, 0, 1, 0, 2}},        {17982, {2, 0, 10, 0, 0}},            {2586817, {2, 0, 0, 0, 0}},
        {2588616, {2, 0, 1, 0, 2}},     {2589408, {2, 0, 0, 0, 1}},           {-1, {2, 0, 0, 0, 0}},
        {1234, {0, 0, 0, 0, 0}},        {1234, {6, 0, 0, 0, 0}}};  // unknown types
    for (const auto &r : rows) {
        _smpteval v = {r.fields[0], 99, 99, 99, 99};
        EXPECT_EQ(r.fields[0] - 1 < 5 ? S_OK : E_INVALIDARG, FrameCountToSMPTE(&v, r.count)) << r.count;
        EXPECT_EQ(r.fields, Fields(v)) << r.count;
    }
    EXPECT_EQ(E_INVALIDARG, FrameCountToSMPTE(nullptr, 10));
}

TEST(SmpteFrameCount, FieldsToCountByType) {
    const struct { _smpteval value; LONGLONG count; } rows[] = {
        {{1, 1, 2, 3, 4}, 111694},        {{5, 1, 2, 3, 4}, 111694}, {{3, 1, 2, 3, 4}, 93079},
        {{4, 1, 2, 3, 4}, 89356},
        {{1, 0, 0, 0, 45}, 45},           // not normalised on the way in
        {{2, 0, 1, 0, 0}, 1800},          // typed as ;00, read as ;02
        {{2, 0, 10, 0, 0}, 17982},        // the tenth minute keeps its frame 0
        {{2, 23, 59, 59, 29}, 2589407},   // the day's last number lies past the wrap
        {{0, 1, 2, 3, 4}, 0},             {{6, 1, 2, 3, 4}, 0}};
    for (const auto &r : rows) EXPECT_EQ(r.count, SMPTEToFrameCount(&r.value)) << r.value.type << r.count;
    EXPECT_EQ(0, SMPTEToFrameCount(nullptr));
}

}  // namespace
