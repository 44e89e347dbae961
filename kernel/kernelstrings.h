/*
 * Built-in texts of the Kernel's own string table. A language file may
 * replace any of them; these are what stands when it doesn't.
 */
#ifndef KERNELSTRINGS_H
#define KERNELSTRINGS_H

#define LXKERNEL_STRINGS_FIRST 4000
#define LXKERNEL_STRINGS_COUNT 434

/* Index is id - LXKERNEL_STRINGS_FIRST; null where an id has no text. */
extern const char *const g_KernelStringDefaults[LXKERNEL_STRINGS_COUNT];

#endif
