// Seeded mutation over WAVE, Wave64, AIFF and RIFF images, bounded for CI:
// a fixed seed and number of inputs, every reader run over each. A crash
// fails the run, a watchdog names a hang's input, and statuses outside a
// call's set or broken invariants are counted, the first few shown.
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
    unsigned faults = 0;
    char name[64];
    for (unsigned i = 0; i < kInputs; ++i) {
        snprintf(name, sizeof name, "seed 0x%016llX, input %u", kSeed, i);
        dog.Enter(name);
        mutation::Rng r(mutation::InputSeed(kSeed, i));
        const mutation::Bytes input = mutation::Mutate(seeds, r);
        std::string why;
        if (runner.Run(input, true, true, &why) && faults++ < 10)
            ADD_FAILURE() << name << " (" << input.size() << " bytes): " << why;
    }
    EXPECT_EQ(0u, faults) << "of " << kInputs << " inputs";
    RecordProperty("inputs", (int)kInputs);
}

// The seeds are sound before they are broken (the wave and AIFF ones read
// as audio files), and the mutants of one seed and index repeat.
TEST(WaveMutation, SeedsReadCleanAndMutantsRepeat) {
    wavetest::ScratchPath p("seed");
    mutation::Runner runner(p.path());
    const std::vector<mutation::Bytes> seeds = mutation::Seeds();
    ASSERT_EQ(8u, seeds.size());
    for (size_t i = 0; i < seeds.size(); ++i) {
        std::string why;
        EXPECT_EQ(0, runner.Run(seeds[i], true, false, &why)) << i << ": " << why;
        wavetest::WriteFileBytes(p.path(), seeds[i]);
        tWAVEFORMATEX *f = LxGetFileWfx(p.c_str(), nullptr, nullptr);
        EXPECT_EQ(i < 7, f != nullptr) << i;
        free(f);
    }
    mutation::Rng a(mutation::InputSeed(kSeed, 1)), b(mutation::InputSeed(kSeed, 1));
    EXPECT_EQ(mutation::Mutate(seeds, a), mutation::Mutate(seeds, b));
    EXPECT_NE(mutation::InputSeed(kSeed, 1), mutation::InputSeed(kSeed, 2));
}

}  // namespace
