// The clock through MARLOK.DLL: attach has moved it off the tick count and
// started its zero, and the late stage leaves the performance counter.
#include "devices/lxtimer.h"

#include <gtest/gtest.h>

namespace {

ULONGLONG FileTimeMs(const FILETIME &ft) {
    ULARGE_INTEGER u;
    u.LowPart = ft.dwLowDateTime;
    u.HighPart = ft.dwHighDateTime;
    return u.QuadPart / 10000u;
}

TEST(LxTimerDll, AttachStartsTheClockOnTheCounter) {
    // The zero is the library's attach, which came after the process began.
    FILETIME created, exited, kernel, user, now;
    ASSERT_TRUE(GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user));
    DWORD ms = LxGetMillisec();
    GetSystemTimeAsFileTime(&now);
    EXPECT_LE(ms, FileTimeMs(now) - FileTimeMs(created) + 1000u);

    // On the tick count every microsecond reading would be a whole
    // millisecond; on a counter of 1 MHz or more few of them are.
    int whole = 0;
    for (int i = 0; i < 50; i++) {
        DWORD u = LxGetMicrosec();
        if (u % 1000u == 0) whole++;
        for (volatile int spin = 0; spin < 20000; spin++) {
        }
    }
    EXPECT_LT(whole, 10);
    // Attach gives level 4, which never arms the time-stamp calibration.
    EXPECT_EQ(0u, LxTimer_LateInitialize());
}

TEST(LxTimerDll, DeltaTwiceGivesTheTimeBetween) {
    LONGLONG stamp = 0;
    LxDeltaMillisecEx(&stamp);
    EXPECT_NE(0, stamp);
    Sleep(60);
    DWORD d = LxDeltaMillisecEx(&stamp);
    EXPECT_GE(d, 30u);
    EXPECT_LT(d, 5000u);
    DWORD again = LxGetMillisecEx(&stamp);
    EXPECT_LT(again, 1000u) << "the stamp moved to the second call";
    EXPECT_EQ(0u, LxDeltaMicrosecEx(nullptr));
}

}  // namespace
