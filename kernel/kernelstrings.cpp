/*
 * The defaults array, spread out from the sparse list in kernelstrings.inc
 * at compile time, so that it is constant data and ready before any
 * constructor or DllMain runs.
 */
#include "kernelstrings.h"

namespace {

constexpr const char *TextFor(int id) {
#define LXSTR(n, text) \
    if (id == (n)) return text;
#include "kernelstrings.inc"
#undef LXSTR
    return nullptr;
}

/* A duplicate or stray id would be silently shadowed here but not in the
   resource, so refuse it at build time. */
constexpr bool IdsAscendWithinTable() {
    const int ids[] = {
#define LXSTR(n, text) n,
#include "kernelstrings.inc"
#undef LXSTR
    };
    int previous = LXKERNEL_STRINGS_FIRST - 1;
    for (int id : ids) {
        if (id <= previous || id >= LXKERNEL_STRINGS_FIRST + LXKERNEL_STRINGS_COUNT) return false;
        previous = id;
    }
    return true;
}
static_assert(IdsAscendWithinTable(), "kernelstrings.inc: ids must ascend within 4000..4433");

} // namespace

#define LXK1(id) TextFor(id)
#define LXK10(id)                                                                        \
    LXK1(id), LXK1(id + 1), LXK1(id + 2), LXK1(id + 3), LXK1(id + 4), LXK1(id + 5),      \
        LXK1(id + 6), LXK1(id + 7), LXK1(id + 8), LXK1(id + 9)
#define LXK100(id)                                                                       \
    LXK10(id), LXK10(id + 10), LXK10(id + 20), LXK10(id + 30), LXK10(id + 40),           \
        LXK10(id + 50), LXK10(id + 60), LXK10(id + 70), LXK10(id + 80), LXK10(id + 90)

static_assert(LXKERNEL_STRINGS_FIRST == 4000 && LXKERNEL_STRINGS_COUNT == 434,
              "the initialiser below spells out 4000..4433");

const char *const g_KernelStringDefaults[LXKERNEL_STRINGS_COUNT] = {
    LXK100(4000), LXK100(4100), LXK100(4200), LXK100(4300),
    LXK10(4400),  LXK10(4410),  LXK10(4420),  LXK1(4430),
    LXK1(4431),   LXK1(4432),   LXK1(4433),
};

#undef LXK100
#undef LXK10
#undef LXK1
