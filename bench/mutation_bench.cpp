// The mutation run of tests/fileio/mutation_test.cpp for as long as asked:
// each iteration is one mutated input through the readers, counted in
// inputs per second and faults. A crash ends the program; a hang ends it
// too, naming the seed and the input. MARLOK_MUTATION_SEED and
// MARLOK_MUTATION_START pick where a run begins, so that one found can be
// run again; --benchmark_min_time=600 runs millions.
#include <benchmark/benchmark.h>

#include "mutation.h"
#include "watchdog.h"

#include <stdlib.h>

namespace {

ULONGLONG FromEnv(const char *name, ULONGLONG fallback) {
    const char *v = getenv(name);
    return v && *v ? strtoull(v, nullptr, 0) : fallback;
}

std::string ScratchPath() {
    char dir[MAX_PATH], name[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    GetTempFileNameA(dir, "mut", 0, name);
    return name;
}

// files: whether the file readers and repairs run, or only the memory ones.
void RunMutants(benchmark::State &state, bool files) {
    static const std::vector<mutation::Bytes> seeds = mutation::Seeds();
    const ULONGLONG seed = FromEnv("MARLOK_MUTATION_SEED", 0x4D41524C4F4B3031ULL);
    ULONGLONG index = FromEnv("MARLOK_MUTATION_START", 0);
    const std::string path = ScratchPath();
    mutation::Runner runner(path);
    lxtest::Watchdog dog(10000);
    char name[64];
    ULONGLONG faults = 0;
    for (auto _ : state) {
        snprintf(name, sizeof name, "seed 0x%016llX, input %llu", seed, index);
        dog.Enter(name);
        mutation::Rng r(mutation::InputSeed(seed, index));
        const mutation::Bytes input = mutation::Mutate(seeds, r);
        std::string why;
        if (runner.Run(input, files, files, &why)) {
            if (faults++ < 10) fprintf(stderr, "fault: %s: %s\n", name, why.c_str());
        }
        ++index;
    }
    DeleteFileA(path.c_str());
    state.SetItemsProcessed(state.iterations());
    state.counters["faults"] = (double)faults;
    state.counters["next_input"] = (double)index;
}

void BM_MutantsInMemory(benchmark::State &state) { RunMutants(state, false); }
BENCHMARK(BM_MutantsInMemory)->UseRealTime();

void BM_MutantsAllReaders(benchmark::State &state) { RunMutants(state, true); }
BENCHMARK(BM_MutantsAllReaders)->UseRealTime();

}  // namespace
