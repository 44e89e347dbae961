// Ends the process, naming the case, when no case has started for a while:
// a hang in a reader then fails a run at once and says where. No test
// framework, so that benchmarks can use it too.
#ifndef WATCHDOG_H
#define WATCHDOG_H

#include <windows.h>

#include <cstdio>
#include <string>

namespace lxtest {

class Watchdog {
public:
    explicit Watchdog(DWORD stallMs) : stallMs_(stallMs) {
        InitializeCriticalSection(&lock_);
        stop_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        thread_ = CreateThread(nullptr, 0, Run, this, 0, nullptr);
    }
    ~Watchdog() {
        SetEvent(stop_);
        WaitForSingleObject(thread_, INFINITE);
        CloseHandle(thread_);
        CloseHandle(stop_);
        DeleteCriticalSection(&lock_);
    }
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    void Enter(const std::string &name) {
        EnterCriticalSection(&lock_);
        name_ = name;
        ++ticks_;
        LeaveCriticalSection(&lock_);
    }

private:
    // Wakes every stall period: no case entered since the last wake is a hang.
    static DWORD WINAPI Run(void *self) {
        Watchdog *w = (Watchdog *)self;
        for (unsigned long seen = ~0ul; WaitForSingleObject(w->stop_, w->stallMs_) == WAIT_TIMEOUT;) {
            EnterCriticalSection(&w->lock_);
            if (w->ticks_ == seen) {
                std::fprintf(stderr, "hang in case: %s\n", w->name_.c_str());
                std::fflush(stderr);
                TerminateProcess(GetCurrentProcess(), 3);
            }
            seen = w->ticks_;
            LeaveCriticalSection(&w->lock_);
        }
        return 0;
    }
    DWORD stallMs_;
    CRITICAL_SECTION lock_;
    HANDLE stop_, thread_;
    std::string name_;
    unsigned long ticks_ = 0;
};

}  // namespace lxtest

#endif
