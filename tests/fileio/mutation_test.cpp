// The mutation engine's runner over bounded sets of inputs: hostile words and cuts of small
// valid images, and seeded mutants (bench/mutation_bench.cpp runs these for as long as asked).
// A crash fails the run, a watchdog names a hang's input, and faults are counted, a few shown.
#include "riffimage.h"
#include "watchdog.h"

namespace {

using Inputs = std::vector<std::pair<std::string, rifftest::Bytes>>;

void ExpectNoFault(const Inputs &inputs) {
    lxtest::Watchdog dog(10000);
    const std::string path = lxtest::ExeDir() + lxtest::UniqueName("mutant") + ".tmp";
    mutation::Runner runner(path);
    unsigned faults = 0;
    for (const auto &in : inputs) {
        dog.Enter(in.first);
        std::string why;
        if (runner.Run(in.second, true, true, &why) && faults++ < 10)
            ADD_FAILURE() << in.first << " (" << in.second.size() << " bytes): " << why;
    }
    DeleteFileA(path.c_str());
    EXPECT_EQ(0u, faults) << "of " << inputs.size() << " inputs";
}

// Each word of width bytes, at every width / 2, set to values that break walkers (0, 1, odd,
// one off the truth, the extremes of its width), then the image cut at every length.
void AddHostile(Inputs *out, const std::string &name, const rifftest::Bytes &img, size_t width) {
    const ULONGLONG top = width == 8 ? ~0ULL : 0xFFFFFFFF;
    for (size_t at = 0; at + width <= img.size(); at += width / 2) {
        ULONGLONG truth = 0;
        memcpy(&truth, &img[at], width);
        std::vector<ULONGLONG> values = {0, 1, 3, truth - 1, truth + 1, top / 2, top / 2 + 1, top - 7, top};
        if (width == 8) values.insert(values.end(), {0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, truth + (1ULL << 32)});
        for (ULONGLONG v : values) {
            out->push_back({name + ", word at " + std::to_string(at) + " = " + std::to_string(v), img});
            memcpy(&out->back().second[at], &v, width);
        }
    }
    for (size_t len = 0; len <= img.size(); ++len)
        out->push_back({name + " cut to " + std::to_string(len), {img.begin(), img.begin() + len}});
}

TEST(RiffHostile, EveryWordAndEveryCut) {
    const std::vector<rifftest::Bytes> seeds = mutation::Seeds();
    Inputs inputs;
    AddHostile(&inputs, "wave-like", rifftest::WaveLike(), 4);
    AddHostile(&inputs, "nested lists", seeds[7], 4);
    AddHostile(&inputs, "Wave64 with a list", seeds[4], 8);
    ExpectNoFault(inputs);
}

// The benchmark's default seed, so that MARLOK_MUTATION_START=index runs a case found here again.
void ExpectNoFaultInMutants(unsigned from, unsigned to) {
    const std::vector<rifftest::Bytes> seeds = mutation::Seeds();
    Inputs inputs;
    for (unsigned i = from; i < to; ++i) {
        mutation::Rng r(mutation::InputSeed(0x4D41524C4F4B3031ULL, i));
        inputs.push_back({"mutant " + std::to_string(i), mutation::Mutate(seeds, r)});
    }
    ExpectNoFault(inputs);
}

TEST(WaveMutation, FirstHalfFindsNoFault) { ExpectNoFaultInMutants(0, 10000); }
TEST(WaveMutation, SecondHalfFindsNoFault) { ExpectNoFaultInMutants(10000, 20000); }

}  // namespace
