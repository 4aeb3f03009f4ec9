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
// The last DirectX result (selector -2) and its text (selector -3) at load.
extern int32_t lastDxResultAtLoad;
extern std::string lastDxTextAtLoad;

// The host window buffer given to ZorvInitialize; it lives as long as the program, since
// the plugin keeps the record for its whole life.
extern host::Screen* hostScreen;
// Screen and render mode of this run (--screen-mode=, --render-mode=).
extern int32_t screenMode;
extern int32_t renderMode;
// Where pictures of the tests go (--pictures=, a Windows path); empty: none are written.
extern std::string pictureFolder;

// ZorvInitialize with this run's modes, once; true when the plugin is initialised.
bool EnsureInitialized();

// ZorvGetError(selector) into a fresh string variable, converted to UTF-8.
std::string ErrorText(int32_t selector);
// The last-call name.
inline std::string LastCall() { return ErrorText(-1); }

}  // namespace wine_tests
