/*
 * The RunDLL32 entry of the plug-in scan. The child process reads the
 * progress dialog, the option word and the name of the parent's event from
 * its command line, scans, and signals the event; only the registry carries
 * results back.
 */
#include "../kernel/kernel_internal.h"

#include <cstdlib>
#include <cstring>

extern "C" void __stdcall LxPlugIn_Grovel(HWND hwnd, HINSTANCE instance, char *commandLine,
                                          int show) {
    (void)hwnd;
    (void)instance;
    (void)show;
    if (!commandLine) return;
    char *p = commandLine;
    long dialog = strtol(p, &p, 10);
    unsigned long options = strtoul(p, &p, 10);
    (void)dialog;
    (void)options;
    while (*p == ' ' || *p == '\t') p++;
    HANDLE event = *p ? CreateEventA(nullptr, TRUE, FALSE, p) : nullptr;
    HRESULT com = CoInitialize(nullptr);
    /* The scan itself arrives with the plug-in list. */
    if (event) {
        SetEvent(event);
        CloseHandle(event);
    }
    if (SUCCEEDED(com)) CoUninitialize();
}
