// The demo host: loads MARLOK.DLL the way the editor does and walks the
// road a host takes, printing what the Kernel answers at each step.
#include <windows.h>

#include <cstdio>

#include "kernel/kernel.h"
#include "kernel/lxmetric.h"

namespace {

HMODULE g_kernel;

template <typename T>
T Entry(const char *name) {
    FARPROC p = GetProcAddress(g_kernel, name);
    if (!p) {
        fprintf(stderr, "demo: MARLOK.DLL lacks %s\n", name);
        ExitProcess(3);
    }
    return (T)(void *)p;
}

#define ENTRY(name) Entry<decltype(&name)>(#name)

}  // namespace

int main() {
    g_kernel = LoadLibraryA("MARLOK.DLL");
    if (!g_kernel) {
        fprintf(stderr, "demo: cannot load MARLOK.DLL (error %lu)\n", GetLastError());
        return 1;
    }
    if (ENTRY(LxKernel_CheckVersion)(nullptr, "Demo host", LXKERNEL_VERSION, 2, 0) != S_OK) {
        fprintf(stderr, "demo: the Kernel refused this host\n");
        return 1;
    }
    if (!ENTRY(MloKrnInitialize)(0, nullptr, 0, nullptr, 0, 0)) {
        fprintf(stderr, "demo: MloKrnInitialize failed\n");
        return 1;
    }
    DWORD v = ENTRY(LxKernel_GetVersion)();
    printf("Kernel version     %lu.%lu build %lu (0x%08lX)\n", v >> 24, (v >> 16) & 0xFF,
           v & 0xFFFF, v);

    char os[64] = "";
    ENTRY(LxGetOS)(os, sizeof os);
    printf("Operating system   %s%s\n", os, ENTRY(LxIsWin95)() ? " (95 family)" : "");

    DWORD cpu = ENTRY(LxGetCPUSupport)(0);
    printf("Processor          level %lu, word 0x%04lX:%s%s%s%s%s%s\n", cpu & LXCPU_LEVELMASK, cpu,
           cpu & LXCPU_TSC ? " TSC" : "", cpu & LXCPU_CMOV ? " CMOV" : "",
           cpu & LXCPU_CMOVFPU ? " CMOV+FPU" : "", cpu & LXCPU_MMX ? " MMX" : "",
           cpu & LXCPU_SSE ? " SSE" : "", cpu & LXCPU_SSE2 ? " SSE2" : "");
    printf("Display            %s\n", ENTRY(LxIsHighColor)() ? "high colour" : "256 colours or fewer");

    printf("Plug-in libraries\n");
    DWORD *cursor = nullptr;
    if (ENTRY(Marlo_GetPluginLibNameStart)(&cursor) == S_OK) {
        char name[MAX_PATH];
        DWORD builtIn = 0;
        while (ENTRY(Marlo_GetPluginLibName)(cursor, name, sizeof name, &builtIn) == S_OK)
            printf("  %-16s %s\n", name, builtIn ? "built in" : "MARLO.INI");
        ENTRY(Marlo_GetPluginLibNameStop)(cursor);
    }

    HLXMETRIC metric = nullptr;
    ENTRY(LxMetric_Open)(&metric, "Marlo", LXKERNEL_VERSION, "Demo");
    DWORD runs = ENTRY(LxGetMetricEx)(metric, 1, 0, 0, 0) + 1;
    ENTRY(LxSetMetric)(metric, 1, runs);
    ENTRY(LxSetMetricString)(metric, 2, "written by the demo host");
    char text[64] = "";
    ENTRY(LxGetMetricStringEx)(metric, 2, text, sizeof text, "", FALSE);
    printf("Setting            runs = %lu, text = \"%s\"\n", ENTRY(LxGetMetric)(metric, 1), text);
    printf("                   HKCU\\Software\\Velmora\\Marlo\\6.0\\Metrics\\Demo\n");
    ENTRY(LxMetric_Close)(metric);

    ENTRY(MloKrnTerminate)(0);
    FreeLibrary(g_kernel);
    printf("Kernel terminated\n");
    return 0;
}
