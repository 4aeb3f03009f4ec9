// The failure report of the debug build (see debug_report.h).
#include "frame/debug_report.h"

#include <cstdio>

namespace zorv {

uint32_t dxResultStores = 0;

void ReportFailure(const char* name, int32_t a, int32_t b, int32_t c, int32_t d, int32_t status, bool dxStored) {
    // A status below -255 is a DirectDraw result passed through (software drawing).
    const char* text = status < ERR_NOT_SUPPORTED ? DxResultText(status) : StatusText(status);
    char line[1200];
    int length = std::snprintf(line, sizeof line, "ZorvD: %s(0x%08X, 0x%08X, 0x%08X, 0x%08X) = %d %s", name,
                               static_cast<unsigned>(a), static_cast<unsigned>(b), static_cast<unsigned>(c),
                               static_cast<unsigned>(d), static_cast<int>(status), text);
    if (dxStored && length > 0 && length < static_cast<int>(sizeof line)) {
        std::snprintf(line + length, sizeof line - length, ", DirectX 0x%08X %s",
                      static_cast<unsigned>(lastDxResult), DxResultText(lastDxResult));
    }
    OutputDebugStringA(line);
}

}  // namespace zorv
