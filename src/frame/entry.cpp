// The library's entry point and the frame's globals.
#include <windows.h>

#include "frame/frame.h"
#include "misc/trig.h"

namespace zorv {

const char* lastCall = "無し";
int32_t lastDxResult = 0;

HMODULE ddrawModule = nullptr;
FARPROC directDrawEnumerateExA = nullptr;
FARPROC directDrawCreateEx = nullptr;

}  // namespace zorv

// Attach builds the trigonometric tables and looks up DirectDraw. The library loads even
// when ddraw.dll or its entry points are missing: the DirectDraw exports report that later.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    using namespace zorv;
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        BuildTrigTables();
        ddrawModule = LoadLibraryA("ddraw.dll");
        if (ddrawModule != nullptr) {
            directDrawEnumerateExA = GetProcAddress(ddrawModule, "DirectDrawEnumerateExA");
            if (directDrawEnumerateExA != nullptr) {
                directDrawCreateEx = GetProcAddress(ddrawModule, "DirectDrawCreateEx");
            }
        }
        DisableThreadLibraryCalls(instance);
        break;
    case DLL_PROCESS_DETACH:
        // Only ddraw.dll is given back here; DirectDraw objects and memory belong to ZorvExit.
        if (ddrawModule != nullptr) FreeLibrary(ddrawModule);
        break;
    default:
        break;
    }
    return TRUE;
}
