// Seeded mutation over WAVE, Wave64, AIFF and RIFF images, bounded for CI:
// a fixed seed and a fixed number of inputs, every reader run over each.
// A crash ends the program (and so fails the test); a hang is caught by a
// watchdog that names the seed and the input; any status outside a call's
// own set or a broken invariant is counted and the first few are shown.
// bench/mutation_bench.cpp runs the same engine for as long as asked.
#include "mutation.h"
#include "wavetest.h"

namespace {

const ULONGLONG kSeed = 0x4D41524C4F4B3031ULL;
const unsigned kInputs = 20000;

TEST(WaveMutation, BoundedRunFindsNoFault) {
    lxtest::Watchdog dog(10000);
    wavetest::ScratchPath p("mutant");
    mutation::Runner runner(p.path());
    const std::vector<mutation::Bytes> seeds = mutation::Seeds();
    unsigned faults = 0, shown = 0;
    char name[64];
    for (unsigned i = 0; i < kInputs; ++i) {
        snprintf(name, sizeof name, "seed 0x%016llX, input %u", kSeed, i);
        dog.Enter(name);
        mutation::Rng r(mutation::InputSeed(kSeed, i));
        const mutation::Bytes input = mutation::Mutate(seeds, r);
        std::string why;
        const int found = runner.Run(input, true, true, &why);
        if (found) {
            ++faults;
            if (shown++ < 10) ADD_FAILURE() << name << " (" << input.size() << " bytes): " << why;
        }
    }
    EXPECT_EQ(0u, faults) << "of " << kInputs << " inputs";
    RecordProperty("inputs", (int)kInputs);
}

// The seeds are sound before they are broken, and the mutants differ.
TEST(WaveMutation, SeedsReadCleanAndMutantsVary) {
    wavetest::ScratchPath p("seed");
    mutation::Runner runner(p.path());
    const std::vector<mutation::Bytes> seeds = mutation::Seeds();
    for (size_t i = 0; i < seeds.size(); ++i) {
        SCOPED_TRACE(i);
        std::string why;
        EXPECT_EQ(0, runner.Run(seeds[i], true, false, &why)) << why;
    }
    // The wave seeds are read as wave files, the AIFF ones as AIFF.
    const int wave[] = {0, 1, 2, 3, 4, 5, 6};
    for (int i : wave) {
        SCOPED_TRACE(i);
        wavetest::WriteFileBytes(p.path(), seeds[i]);
        tWAVEFORMATEX *f = LxGetFileWfx(p.c_str(), nullptr, nullptr);
        EXPECT_NE(nullptr, f);
        free(f);
    }
    mutation::Rng a(mutation::InputSeed(kSeed, 1)), b(mutation::InputSeed(kSeed, 1)), c(mutation::InputSeed(kSeed, 2));
    EXPECT_EQ(mutation::Mutate(seeds, a), mutation::Mutate(seeds, b));
    EXPECT_NE(mutation::InputSeed(kSeed, 1), mutation::InputSeed(kSeed, 2));
}

}  // namespace
