/* Entry point of MARLOK.DLL: hands the loader's notifications to the frame. */
#include "kernel_internal.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    (void)reserved;
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        return Kernel_ProcessAttach(instance);
    case DLL_THREAD_ATTACH:
        Kernel_ThreadAttach();
        break;
    case DLL_THREAD_DETACH:
        Kernel_ThreadDetach();
        break;
    case DLL_PROCESS_DETACH:
        Kernel_ProcessDetach();
        break;
    }
    return TRUE;
}
