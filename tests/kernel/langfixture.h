// The language fixture as the white-box tests see it: the resource-only
// module langhost.dll (English) and its translation langhost.LNG (German)
// beside the test program, and a language block on that module with the
// kernel attached, so that the kernel's own block exists beside it.
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
    void German() { ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, kGerman, 0)); }
    void English() { ASSERT_TRUE(LxLang_UpdateKernelLCID(lang_, 1033, 0)); }
    // The translation as this block holds it, active or not.
    HMODULE LangFile() { return GetModuleHandleA(LangFilePath().c_str()); }

    HMODULE module_ = nullptr;
    HLXLANG lang_ = nullptr;
};

}  // namespace langtest

#endif
