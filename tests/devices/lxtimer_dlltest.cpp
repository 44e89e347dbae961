// The clock through MARLOK.DLL: attach has moved it to the counter and started its zero.
#include "devices/lxtimer.h"

#include <gtest/gtest.h>

namespace {

ULONGLONG Ms(const FILETIME &f) {
    return ((ULONGLONG)f.dwHighDateTime << 32 | f.dwLowDateTime) / 10000u;
}

TEST(LxTimerDll, AttachStartsTheClockOnTheCounter) {
    // The zero is the library's attach, after the process began.
    FILETIME created, exited, kernel, user, now;
    ASSERT_TRUE(GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user));
    const DWORD ms = LxGetMillisec();
    GetSystemTimeAsFileTime(&now);
    EXPECT_LE(ms, Ms(now) - Ms(created) + 1000u);
    // On the tick count every microsecond reading would be a whole millisecond.
    int whole = 0;
    for (int i = 0; i < 50; i++) {
        whole += LxGetMicrosec() % 1000u == 0;
        for (volatile int spin = 0; spin < 20000; spin++) {
        }
    }
    EXPECT_LT(whole, 10);
    EXPECT_EQ(0u, LxTimer_LateInitialize());  // attach's level 4 never arms the calibration
}

TEST(LxTimerDll, DeltaTwiceGivesTheTimeBetween) {
    LONGLONG stamp = 0;
    LxDeltaMillisecEx(&stamp);
    EXPECT_NE(0, stamp);
    Sleep(60);
    const DWORD d = LxDeltaMillisecEx(&stamp);
    EXPECT_GE(d, 30u);
    EXPECT_LT(d, 5000u);
    EXPECT_LT(LxGetMillisecEx(&stamp), 1000u) << "the stamp moved to the second call";
    EXPECT_EQ(0u, LxDeltaMicrosecEx(nullptr));
}

}  // namespace
