// The table of DirectDraw and Direct3D result codes that the plugin can describe in words.
// Pure data: no Win32 here, so the native unit tests read the same table.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zorv {

struct DxResultRow {
    uint32_t value;    // the full 32-bit HRESULT, compared as a whole
    const char* name;  // the DirectX constant's name, ASCII (for tests and debug traces)
    const char* text;  // description in Japanese, Shift-JIS (code page 932) in the built binary
};

// 196 rows: DD_OK, five general COM results under their DirectDraw names, 112 DirectDraw
// results and 78 Direct3D results (0x88760000 plus the code number).
extern const DxResultRow dxResultTexts[];
extern const size_t dxResultTextCount;

}  // namespace zorv
