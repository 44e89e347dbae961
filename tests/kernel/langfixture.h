// The resource-only module langhost.dll (English) and its translation
// langhost.LNG (German) beside the test program, and a block on that module
// with the kernel attached, so that the kernel's own block exists too.
#ifndef LANGFIXTURE_H
#define LANGFIXTURE_H

#include "kernel/kernel_internal.h"
#include "kernel/lxmenu.h"
#include "testsupport.h"
#include "tools/fixtures/langfile/langids.h"

#include <gtest/gtest.h>

#include <string>

namespace langtest {

const LCID kGerman = 0x0407;

// A wide text as the ANSI code page spells it.
inline std::string Acp(const wchar_t *text) {
    char out[512] = {0};
    WideCharToMultiByte(CP_ACP, 0, text, -1, out, sizeof out, nullptr, nullptr);
    return out;
}

// What a call left in out, marked if the call's result isn't its length.
inline std::string Text(const char *out, int n) {
    std::string text(out);
    return n == (int)text.size() ? text : text + " <returned " + std::to_string(n) + ">";
}

inline std::string ModulePath() { return lxtest::ExeDir() + "langhost.dll"; }
inline std::string LangFilePath() { return lxtest::ExeDir() + "langhost.LNG"; }

class LangFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Kernel_ProcessAttach(GetModuleHandleA(nullptr)));
        module_ = LoadLibraryA(ModulePath().c_str());
        ASSERT_NE(nullptr, module_) << ModulePath();
        ASSERT_EQ(S_OK, LxLang_Open(&lang_, module_, 0, 0));
    }
    void TearDown() override {
        LxLang_Close(lang_);
        if (module_) FreeLibrary(module_);
        Kernel_ProcessDetach();
    }
    // 0 leaves the language as it is (never set, in a fresh block).
    void Use(LCID lcid) { EXPECT_TRUE(!lcid || LxLang_UpdateKernelLCID(lang_, lcid, 0)); }
    void German() { Use(kGerman); }
    void English() { Use(1033); }
    // The translation as this block holds it, active or not.
    HMODULE LangFile() { return GetModuleHandleA(LangFilePath().c_str()); }

    HMODULE module_ = nullptr;
    HLXLANG lang_ = nullptr;
};

}  // namespace langtest

#endif
