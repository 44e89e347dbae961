// The chunk families through MARLOK.DLL's import library: the plain C names
// and the stream family's C++ names resolve, and an image built by one
// family is walked by another across the module boundary.
#include <gtest/gtest.h>

#include "fileio/memstream.h"
#include "fileio/mriff.h"

namespace {

TEST(RiffExports, StreamImageWalkedThroughTheDll) {
    tLXMEMSTREAM m = {};
    ASSERT_EQ(0, ms_WriteFileID(&m, LXRIFF_ID_WAVE, 1234));
    ASSERT_EQ(0, ms_WriteListHeader(&m, LXRIFF_ID_INFO, 4 + 10));
    ASSERT_EQ(0, ms_WriteChunk(&m, LXRIFF_FOURCC('I', 'N', 'A', 'M'), "ab", 2));
    ASSERT_EQ(0, ms_WriteChunkHeader(&m, LXRIFF_ID_DATA, 0));
    const DWORD riffSize = m.used - 8;
    memcpy(m.data + 4, &riffSize, 4);

    tMRIFFSTREAM s;
    ASSERT_EQ(0, mriff_Init(&s, m.data, m.used, m.used));
    char text[8] = {};
    mriff_SeekDataStart(&s);
    EXPECT_EQ(0, mriff_GetInfoString(&s, LXRIFF_FOURCC('I', 'N', 'A', 'M'), text, sizeof text, nullptr));
    EXPECT_STREQ("ab", text);
    EXPECT_EQ(12u, (DWORD)(s.current - s.base));

    HGLOBAL h = GlobalHandle(m.data);
    GlobalUnlock(h);
    GlobalFree(h);
}

}  // namespace
