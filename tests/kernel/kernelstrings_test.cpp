// The Kernel's own string table: the defaults array and the STRINGTABLE
// resource are built from one list and must agree, id for id.
#include "kernel/kernelstrings.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// Resource text of an id in this program; length -1 if LoadStringA fails.
std::string LoadResourceText(UINT id, int *length) {
    char buffer[2048] = {0};
    *length = LoadStringA(GetModuleHandleA(NULL), id, buffer, sizeof buffer);
    return std::string(buffer, *length > 0 ? *length : 0);
}

const char *DefaultText(int id) { return g_KernelStringDefaults[id - LXKERNEL_STRINGS_FIRST]; }

// Edges of the ranges, quirks of spelling and line ends, and the texts
// other code formats.
const struct { int id; const char *text; } kSamples[] = {
    {4000, "\n\nThe reason for the error could not be determined."},
    {4002, "\n\nAn invalid argument was specifed."},
    {4058, "One or more effects in the package failed to load.\n\nDo you want to try to load the loadable effects from the chain?"},
    {4097, "\n\nAn incorrect number of audio input channels were specified\n\n(for example, must be 2 if stereo music is selected)."},
    {4104, "\n\nYou need to be logged on with adminstrator privileges to complete this operation."},
    {4109, "An error occurred during the current operation."},
    {4112, "An error occurred in the effect chain '%s'.\n"},
    {4139, "A error occurred accessing project media %s."}, {4154, "PCM"},
    {4164, "$d Hz$, %d Bit$, %s"}, {4165, "$d Hz$, %d Bit (IEEE Float)$, %s"},
    {4305, "hr%smn%ssc%sfr"}, {4306, "hours%sminutes%sseconds%sframes"}, {4307, "ms%sbt%stk"},
    {4308, "measures%sbeats%sticks"}, {4309, "OK"}, {4316, "Yes to &All"}, {4317, "N&o to All"},
    {4321, "No &Details"}, {4328, "Error 0x%08x (message missing)"}, {4329, "Warning: "},
    {4385, "$.1f MB"},
    {4392, "Plug-In enumeration crashed the last time it was attempted. Do you want to try again?"},
};

// Every id without a text, as closed ranges.
const int kEmptyRanges[][2] = {
    {4053, 4053}, {4063, 4065}, {4108, 4108}, {4166, 4298}, {4300, 4301}, {4303, 4304},
    {4322, 4327}, {4330, 4384}, {4386, 4389}, {4393, 4433},
};

bool ExpectedEmpty(int id) {
    for (const auto &r : kEmptyRanges)
        if (id >= r[0] && id <= r[1]) return true;
    return false;
}

TEST(KernelStrings, SampleDefaultsAreExact) {
    EXPECT_EQ(4000, LXKERNEL_STRINGS_FIRST);
    EXPECT_EQ(434, LXKERNEL_STRINGS_COUNT);
    for (const auto &s : kSamples) {
        SCOPED_TRACE(s.id);
        ASSERT_NE(nullptr, DefaultText(s.id));
        EXPECT_STREQ(s.text, DefaultText(s.id));
    }
}

// The resource then holds the samples too, line ends and all.
TEST(KernelStrings, TextsExactlyWhereExpectedAndTheResourceAgrees) {
    for (int id = 4000; id < 4434; ++id) {
        SCOPED_TRACE(id);
        const char *text = DefaultText(id);
        EXPECT_EQ(ExpectedEmpty(id), text == nullptr);
        EXPECT_TRUE(!text || *text) << "an empty default";
        int length = -1;
        EXPECT_EQ(text ? text : "", LoadResourceText(id, &length));
        EXPECT_EQ(text ? (int)strlen(text) : 0, length);
    }
}

TEST(KernelStrings, NeighbouringTablesUntouched) {
    int length = -1;
    EXPECT_EQ("The version of the Velmora Kernel is too old.", LoadResourceText(3902, &length));
    LoadResourceText(3999, &length);
    EXPECT_EQ(0, length);
    LoadResourceText(4434, &length);
    EXPECT_EQ(0, length);
}

}  // namespace
