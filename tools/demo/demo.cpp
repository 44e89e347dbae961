// The demo host: loads MARLOK.DLL the way the editor does and walks the
// road a host takes, printing what the Kernel answers at each step.
#include <windows.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "dsp/lxconvert.h"
#include "dsp/lxsampletype.h"
#include "fileio/wave.h"
#include "kernel/kernel.h"
#include "kernel/lxlang.h"
#include "kernel/lxmetric.h"
#include "kernel/lxprintf.h"

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

// The embedded sample: half a second of a 440 Hz tone in stereo floats, as
// a render hands it to the writer.
const DWORD kRate = 44100, kFrames = kRate / 2;

WAVEFORMATEX Format(WORD tag, WORD bits) {
    WAVEFORMATEX f = {};
    f.wFormatTag = tag;
    f.nChannels = 2;
    f.nSamplesPerSec = kRate;
    f.wBitsPerSample = bits;
    f.nBlockAlign = (WORD)(f.nChannels * bits / 8);
    f.nAvgBytesPerSec = kRate * f.nBlockAlign;
    return f;
}

void PrintFile(const char *path, const char *what) {
    ULONGLONG frames = 0, offset = 0;
    tWAVEFORMATEX *wfx = ENTRY(LxGetFileWfx)(path, &frames, &offset);
    if (!wfx) {
        printf("  %-17s unreadable\n", what);
        return;
    }
    char attribs[128] = "", count[64] = "";
    ENTRY(LxAudio_GetAttribsText)(wfx, attribs, sizeof attribs);
    ENTRY(LxPrintF)(count, "$I64u", frames);
    printf("  %-17s %s, %s frames, audio at byte %lu\n", what, attribs, count, (unsigned long)offset);
    free(wfx);
}

// The road of a render: convert each block, append it behind the header
// reservation, rewrite the header so that the file is readable at every
// moment; then a cut recording and its repair.
void RenderSample() {
    std::vector<float> tone(kFrames * 2);
    for (DWORD i = 0; i < kFrames; i++)
        tone[2 * i] = tone[2 * i + 1] = (float)(0.5 * sin(2 * 3.14159265358979 * 440.0 * i / kRate));
    WAVEFORMATEX src = Format(WAVE_FORMAT_IEEE_FLOAT, 32), dst = Format(WAVE_FORMAT_PCM, 16);
    std::vector<short> pcm(kFrames * 2);
    HRESULT hr = ENTRY(LxAudio_Copy)(&dst, pcm.data(), &src, tone.data(), (int)kFrames, 1.0f);
    char type[64] = "";
    ENTRY(LxAudio_GetAttribsText)(&dst, type, sizeof type);
    printf("Converted          %lu frames of 32-bit float to %s (0x%08lX)\n", kFrames, type, hr);

    char path[MAX_PATH];
    GetTempPathA(MAX_PATH, path);
    lstrcatA(path, "marlok_demo.wav");
    if (FAILED(ENTRY(LxInitializeWavWithJunk)(path, &dst, CREATE_ALWAYS, 512))) {
        printf("Render             cannot create %s\n", path);
        return;
    }
    HANDLE h = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return;
    const DWORD blockFrames = 4410, blockBytes = blockFrames * dst.nBlockAlign;
    DWORD written = 0, blocks = 0;
    SetFilePointer(h, 0, nullptr, FILE_END);
    for (DWORD f = 0; f + blockFrames <= kFrames; f += blockFrames, blocks++) {
        DWORD n = 0;
        WriteFile(h, pcm.data() + 2 * f, blockBytes, &n, nullptr);
        written += n;
        ENTRY(LxInsertWavHeader)(h, &dst, written, 512);
    }
    CloseHandle(h);
    printf("Render             %lu blocks into %s\n", blocks, path);
    PrintFile(path, "after the render");

    // A recording that dies: two more blocks land, the header never hears.
    auto reopen = [&]() {
        return CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    h = reopen();
    SetFilePointer(h, 0, nullptr, FILE_END);
    for (int i = 0; i < 2; i++) {
        DWORD n = 0;
        WriteFile(h, pcm.data(), blockBytes, &n, nullptr);
    }
    CloseHandle(h);
    PrintFile(path, "cut recording");
    h = reopen();
    hr = ENTRY(LxFixTrashedWav)(h, nullptr, 512);
    CloseHandle(h);
    PrintFile(path, "repaired");
    DeleteFileA(path);
}

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

    // Formatted numbers in the user's locale, and a text of the Kernel's own.
    char line[256];
    ENTRY(LxPrintF)(line, "$d frames, $.2z seconds, $(SMPTE.Label.Drop)", 1234567, 123456);
    printf("Formatted          %s\n", line);
    HLXLANG lang = nullptr;
    if (SUCCEEDED(ENTRY(LxLang_Open)(&lang, g_kernel, 0, 0))) {
        char text[256] = "";
        ENTRY(LxLoadString)(lang, 4016, text, sizeof text);
        const char *t = text;
        while (*t == '\n') t++;
        printf("Kernel string 4016 %s\n", t);
        ENTRY(LxLang_Close)(lang);
    }

    RenderSample();
    ENTRY(MloKrnTerminate)(0);
    FreeLibrary(g_kernel);
    printf("Kernel terminated\n");
    return 0;
}
