// Helpers shared by the tests: paths beside the test program, unique names
// for registry keys and files, so that tests can run side by side.
#ifndef TESTSUPPORT_H
#define TESTSUPPORT_H

#include <windows.h>
#include <string>

namespace lxtest {

// Directory of the running test program, with a trailing backslash.
std::string ExeDir();
// A name unique to this process and call: "<prefix>_<pid>_<n>".
std::string UniqueName(const char *prefix);
// Deletes HKCU/HKLM "Software\Velmora\<product>" trees left by a test.
void DeleteProductKeys(const std::string &product);

}  // namespace lxtest

#endif
