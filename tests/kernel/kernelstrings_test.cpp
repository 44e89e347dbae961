// The Kernel's own string table: the defaults array and the STRINGTABLE
// resource are built from one list and must agree, id for id.
#include "kernel/kernelstrings.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// Resource text of an id in this program, "" when missing or empty.
std::string LoadResourceText(UINT id, int *length) {
    static char buffer[2048];
    memset(buffer, 0, sizeof buffer);
    *length = LoadStringA(GetModuleHandleA(NULL), id, buffer, sizeof buffer);
    return std::string(buffer, *length > 0 ? *length : 0);
}

const char *DefaultText(int id) { return g_KernelStringDefaults[id - LXKERNEL_STRINGS_FIRST]; }

struct Sample {
    int id;
    const char *text;
};

const Sample kSamples[] = {
    {4000, "\n\nThe reason for the error could not be determined."},
    {4002, "\n\nAn invalid argument was specifed."},
    {4007, "\n\nA necessary COM interface was not available.  You may need to reboot your computer."},
    {4027, "\n\nThe file '%s' is in use by another operation."},
    {4052, "\n\nAn error occurred when loading a DirectX plug-in or plug-ins.  The plug-in preset(s) could not be loaded."},
    {4054, "\n\nOne or more media files could not be located."},
    {4058, "One or more effects in the package failed to load.\n\nDo you want to try to load the loadable effects from the chain?"},
    {4062, "\n\nNo compatible video codec was found."},
    {4066, "\n\nNo template was specified."},
    {4083, "\n\nThe application can't read data fast enough to keep up with the operation."},
    {4097, "\n\nAn incorrect number of audio input channels were specified\n\n(for example, must be 2 if stereo music is selected)."},
    {4102, "\n\n%s file type is unsupported in this version of $(AppName)."},
    {4104, "\n\nYou need to be logged on with adminstrator privileges to complete this operation."},
    {4107, "\n\nThe TWAIN manager could not be initialized. TWAIN_32.dll missing or corrupt."},
    {4109, "An error occurred during the current operation."},
    {4110, "An error occurred while processing the undo buffer. You should save your work immediately using a new project filename and restart $(AppName)."},
    {4112, "An error occurred in the effect chain '%s'.\n"},
    {4121, "The plug-in %s could not be run.  One or more components required to run this plug-in may be missing."},
    {4139, "A error occurred accessing project media %s."},
    {4151, "An error occurred while initializing the tutor component.\n\nAll tutor functionality will be disabled."},
    {4153, "An error occurred while extracting audio from CD."},
    {4154, "PCM"},
    {4158, "PCM (big endian)"},
    {4159, "PCM (unknown)"},
    {4160, "Unknown"},
    {4163, "%d Channel"},
    {4164, "$d Hz$, %d Bit$, %s"},
    {4165, "$d Hz$, %d Bit (IEEE Float)$, %s"},
    {4299, "Plug-in: '%s' failed to load.  Please make sure the plug-in is properly installed."},
    {4302, "The user preset for Plug-in '%s' could not be loaded.  The default settings have been restored."},
    {4305, "hr%smn%ssc%sfr"},
    {4306, "hours%sminutes%sseconds%sframes"},
    {4307, "ms%sbt%stk"},
    {4308, "measures%sbeats%sticks"},
    {4309, "OK"},
    {4310, "Cancel"},
    {4311, "&Abort"},
    {4312, "&Retry"},
    {4313, "&Ignore"},
    {4314, "&Yes"},
    {4315, "&No"},
    {4316, "Yes to &All"},
    {4317, "N&o to All"},
    {4318, "D&elete"},
    {4319, "&Details >>"},
    {4320, "Do no&t show this message again."},
    {4321, "No &Details"},
    {4328, "Error 0x%08x (message missing)"},
    {4329, "Warning: "},
    {4385, "$.1f MB"},
    {4390, "Scanning for audio plug-ins..."},
    {4391, "Unknown plug-in"},
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

TEST(KernelStrings, TableBounds) {
    EXPECT_EQ(4000, LXKERNEL_STRINGS_FIRST);
    EXPECT_EQ(434, LXKERNEL_STRINGS_COUNT);
    EXPECT_EQ(434u, sizeof g_KernelStringDefaults / sizeof g_KernelStringDefaults[0]);
}

TEST(KernelStrings, SampleDefaultsAreExact) {
    for (const auto &s : kSamples) {
        SCOPED_TRACE(s.id);
        ASSERT_NE(nullptr, DefaultText(s.id));
        EXPECT_STREQ(s.text, DefaultText(s.id));
    }
}

TEST(KernelStrings, SampleResourcesAreExact) {
    for (const auto &s : kSamples) {
        SCOPED_TRACE(s.id);
        int length = -1;
        std::string text = LoadResourceText(s.id, &length);
        EXPECT_EQ(static_cast<int>(strlen(s.text)), length);
        EXPECT_EQ(std::string(s.text), text);
    }
}

TEST(KernelStrings, LineEndsAreRealLineFeeds) {
    int length = -1;
    std::string text = LoadResourceText(4000, &length);
    ASSERT_GE(length, 3);
    EXPECT_EQ('\n', text[0]);
    EXPECT_EQ('\n', text[1]);
    EXPECT_EQ('T', text[2]);
    text = LoadResourceText(4112, &length);
    ASSERT_GT(length, 0);
    EXPECT_EQ('\n', text.back());
    EXPECT_EQ('.', text[length - 2]);
}

TEST(KernelStrings, EmptyIdsHaveNoText) {
    const int ids[] = {4053, 4063, 4064, 4065, 4108, 4166, 4200, 4298, 4300, 4301,
                       4303, 4304, 4322, 4327, 4330, 4384, 4386, 4389, 4393, 4433};
    for (int id : ids) {
        SCOPED_TRACE(id);
        EXPECT_EQ(nullptr, DefaultText(id));
        int length = -1;
        LoadResourceText(id, &length);
        EXPECT_EQ(0, length);
    }
}

TEST(KernelStrings, TextsExactlyWhereExpected) {
    int withText = 0, highest = 0;
    for (int id = 4000; id <= 4433; ++id) {
        SCOPED_TRACE(id);
        const char *text = DefaultText(id);
        EXPECT_EQ(ExpectedEmpty(id), text == nullptr);
        if (text) {
            EXPECT_NE('\0', text[0]);
            ++withText;
            highest = id;
        }
    }
    EXPECT_EQ(186, withText);
    EXPECT_EQ(4392, highest);
}

TEST(KernelStrings, ResourceMatchesDefaultsForEveryId) {
    for (int id = LXKERNEL_STRINGS_FIRST; id < LXKERNEL_STRINGS_FIRST + LXKERNEL_STRINGS_COUNT; ++id) {
        SCOPED_TRACE(id);
        int length = -1;
        std::string text = LoadResourceText(id, &length);
        const char *def = DefaultText(id);
        if (def == nullptr) {
            EXPECT_EQ(0, length);
        } else {
            EXPECT_EQ(static_cast<int>(strlen(def)), length);
            EXPECT_EQ(std::string(def), text);
        }
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

} // namespace
