// The plugin under test, loaded once per test program as the host loads it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host_emulator.h"

namespace wine_tests {

// Set by main from --plugin= (Zorv.hpi or ZorvD.hpi).
extern host::Plugin* plugin;
// The last-call name reported before any export of the Zorv family was called.
extern std::string lastCallAtLoad;

// ZorvGetError(selector) into a fresh string variable, converted to UTF-8.
std::string ErrorText(int32_t selector);
// The last-call name.
inline std::string LastCall() { return ErrorText(-1); }

}  // namespace wine_tests
