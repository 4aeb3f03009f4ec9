// Argument and state checks of the exports as rows of one table, run by one loop against
// Wine's real DirectDraw. A row names the state to start from, the call, the status it must
// return and what it must leave: a refused call changes nothing (the script's variables and
// the guard bytes around them, the surface table, the host screen record, the last DirectX
// result) and leaves its own name as the last call, or none for ZorvGetError and the maths
// and timer exports.
#include "wine_tests.h"

#include <mmsystem.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>

#include "expected_texts.h"

using namespace wine_tests;

namespace {

// States a row starts from, each reached from no DirectDraw object at all. AFTER goes on
// from where the row before left off.
enum State {
    PRE,       // the plugin not initialised yet (the program's first test)
    NO_DDRAW,  // ddraw.dll switched off
    BARE,      // no DirectDraw object, no current surface
    DD,        // a DirectDraw object
    TABLE,     // and a surface table of 4
    SCREEN,    // and a windowed 640 x 480 screen (3D where the render mode has Direct3D)
    SURFACE,   // and surface 1 (32 x 32, 8-8-8-8) current; chip 1 is its 8 x 8 corner, chip 0 uncreated
    RELEASED,  // SURFACE with the screen released: record 0 current without a surface
    CHARS,     // SURFACE with a character table of 8, the 26 arrays registered and zeroed
    AFTER,
    STATES = 15,
};
// Render modes a row is for (none: every one).
constexpr int R0 = 1 << 4, R1 = 1 << 5, R2 = 1 << 6, R3 = 1 << 7, R013 = R0 | R1 | R3, R13 = R1 | R3;
// Desktops a row is for (none: both the 24-bit and the 8-bit one the table runs on): P8 an 8-bit
// desktop, whose screen has a palette; TC a true-colour one. A screen made on an 8-bit desktop
// leaves palette mode on after its release.
constexpr int P8 = 1 << 8, TC = 1 << 9;

// What a row checks besides the status: KEEP everything unchanged also on success; WRITES
// element `at` of the first variable holds `value`; FIELD the current record's 32-bit field
// at byte `at` holds `value` (with BITS: has every bit of it); DX a new DirectX result is
// kept; MOVES the refusal may change the plugin's state; CELL element n of character array c
// holds `value` (`at` = 100 c + n).
enum Check { NONE = 0, KEEP = 1, WRITES = 2, FIELD = 4, DX = 8, MOVES = 16, BITS = 32, CELL = 64 };

// Placeholders for arguments: fresh variables (integer or string, n elements of 4 bytes, filled
// with 0x5A, or eight integers holding the corners of a quadrilateral), the host screen record
// with a screen type, this desktop's bit count.
constexpr int32_t I0 = 0x7E000000, I1 = 0x7E000001, I2 = 0x7E000002, I4 = 0x7E000004, I6 = 0x7E000006, I8 = 0x7E000008;
constexpr int32_t I5 = 0x7E000005, Q8 = 0x7E010008, H2 = 0x7E020002;  // H2: tested character 5, mode 7
constexpr int32_t G2 = 0x7E040002, AB = 0x7E140002;  // G2: chip numbers 1, 1; AB: the text "AB"
constexpr int32_t S1 = 0x7E100001, S2 = 0x7E100002, S4 = 0x7E100004;
constexpr int32_t HS = 0x7E200000, DESK = 0x7E300000;

struct Row {
    int when;  // State | render modes
    const char* call;
    int32_t a, b, c, d;
    int32_t status;
    int check = NONE;
    int32_t at = 0, value = 0;
    const char* named = nullptr;  // the last-call name when another export names itself
};

const Row ROWS[] = {
    // Before ZorvInitialize: screen type 2 to 6 first, then the modes.
    {PRE, "ZorvGetError", I1, -2, 0, 0, 0, WRITES, 0, 0},  // no DirectX result yet
    {PRE, "ZorvInitialize", HS + 7, 2, 0, 0, -9},
    {PRE, "ZorvInitialize", 0, 2, 0, 0, -9},
    {PRE, "ZorvInitialize", HS + 6, 3, 0, 0, -2},
    {PRE, "ZorvInitialize", HS + 6, 2, 5, 0, -2},
    {PRE, "ZorvExit", 0, 0, 0, 0, -76, NONE, 0, 0, "ZorvReleaseDD"},
    {PRE, "ZorvDrawCircle", 50, 0, 256, 0, -70},
    {PRE, "ZorvBeginDraw", 0, 0, 0, 0, -70},
    {PRE, "ZorvEndDraw", 0, 0, 0, 0, -70},
    // Without ddraw.dll the plugin loads and answers.
    {NO_DDRAW, "ZorvGetVersion", I1, 0, 0, 0, 0, WRITES, 0, 101},
    {NO_DDRAW, "ZorvmiscSin", I1, 256, 100, 0, 0, WRITES, 0, 99},
    {NO_DDRAW, "ZorvEnumDDdevice", S1, 0, 0, 0, -1},
    {NO_DDRAW, "ZorvEnumDDdevice", I1, 0, 0, 0, -66},
    {NO_DDRAW, "ZorvEnumDisplayMode", I1, 0, 0, 0, -66},
    {NO_DDRAW, "ZorvCreateDD", 0, 0, 0, 0, -66},
    {NO_DDRAW, "ZorvInitialize", 0, 2, 0, 0, -9},
    {NO_DDRAW, "ZorvInitialize", HS + 2, 2, 0, 0, -66},
    {NO_DDRAW, "ZorvInitialize", 0, 0, 0, 0, -9},  // not -8: it never got initialised
    // The call frame and variable kinds.
    {BARE, "ZorvInitialize", HS + 2, 2, 0, 0, -8},
    {BARE, "ZorvInitialize", 0, 9, 9, 0, -8},
    {BARE, "ZorvGetVersion", I1, 0, 0, 0, 0, WRITES, 0, 101},
    {BARE, "ZorvGetVersion", S4, 0, 0, 0, -1},
    {BARE, "ZorvGetVersion", 0, 0, 0, 0, -1},
    {BARE, "ZorvGetError", S4, -2, 0, 0, -1},
    {BARE, "ZorvGetError", I4, 0, 0, 0, -1},
    {BARE, "ZorvGetError", 0, 0, 0, 0, -1},
    // The maths and timer exports: the argument order of each, through the plugin.
    {BARE, "ZorvmiscSin", I1, 768, 100, 0, 0, WRITES, 0, -100},
    {BARE, "ZorvmiscCos", I1, 0, 32769, 0, 0, WRITES, 0, -32768},  // the 32-bit product wraps
    {BARE, "ZorvmiscSin2", I1, -1, 1000, 0, 0, WRITES, 0, -7},
    {BARE, "ZorvmiscCos2", I1, 1024 * 5 + 512, 1000, 0, 0, WRITES, 0, -1000},
    {BARE, "ZorvmiscAtan", I1, -1024, 512, 0, 0, WRITES, 0, 437},
    {BARE, "ZorvmiscAtan", I1, 512, -1024, 0, 0, WRITES, 0, 843},
    {BARE, "ZorvmiscRand", I1, 7, 1, 0, 0, WRITES, 0, 7},
    {BARE, "ZorvmiscGetRDTSC", I1, 0, 0, 0, 0, WRITES, 0, 0},  // no clock measured yet: 0, not a division
    {BARE, "ZorvmiscSystemParameter", I1, 0, 0x7FFF, 0, -1},
    // A variable with no room gets nothing; one too small gets what fits (the mouse
    // thresholds are three values, 6, 10, 1).
    {BARE, "ZorvmiscSin", I0, 256, 100, 0, 0, KEEP},
    {BARE, "ZorvCombine", I0, 0, 0, 0, 0, KEEP},
    {BARE, "ZorvmiscSystemParameter", I1, 0, SPI_GETMOUSE, 0, 0, WRITES, 0, 6},
    // Devices, modes and capabilities need only ddraw.dll and not the render mode; each query
    // makes a DirectDraw object of its own (a quarter of a second under Wine): one mode runs them.
    {BARE | R0, "ZorvEnumDDdevice", S1, 0, 0, 0, -1},
    {BARE | R0, "ZorvGetDDdeviceName", I1, 0, 0, 0, -1},
    {BARE | R0, "ZorvGetDDdeviceName", S1, 99, 0, 0, 0, KEEP},
    {BARE | R0, "ZorvGetDDdeviceName", S1, -1, 0, 0, 0, KEEP},
    {BARE | R0, "ZorvEnumDDdevice", I1, 0, 0, 0, 0, WRITES, 0, 2},  // Wine's two devices
    {BARE | R0, "ZorvGetDDdeviceName", S1, 0, 0, 0, 0, WRITES, 0, 0x00726944},  // "Dir", cut and terminated
    {BARE | R0, "ZorvEnumDisplayMode", I6, 0, 1, 0, 0, WRITES, 4, 0x5A5A5A5A},  // whole records only
    {BARE | R0, "ZorvEnumDisplayMode", S4, 0, 0, 0, -1},
    {BARE | R0, "ZorvEnumDisplayMode", I1, INT32_MIN, 0, 0, -37},
    {BARE | R0, "ZorvGetDDcaps", S1, 0, 0, 0, -1},
    {BARE | R0, "ZorvGetDDcaps", I1, 99, 0, 0, -37},
    {BARE | R0, "ZorvGetDDcaps", I1, -3, 0, 0, -37},
    {BARE | R0, "ZorvGetDDcaps", I1, 0, 0, 0, 0, WRITES, 0, 380},
    {BARE | R0, "ZorvGetDDcaps", I1, -1, 0, 0, 0, WRITES, 0, 380},  // the emulation-only object
    {BARE | R0, "ZorvGetDDcaps", I1, 0, 26, 0, -2},
    {BARE | R0, "ZorvGetDDcaps", I1, 0, 56, 0, -2},
    {BARE | R0, "ZorvGetDDcaps", I1, 0, 25, 8, -2},
    {BARE | R0, "ZorvCreateDD", 99, 0, 0, 0, -37},
    {BARE, "ZorvCreatePrimarySurface", 640, 480, 32, 0, -38},
    {BARE, "ZorvReleaseDD", 0, 0, 0, 0, -76},
    {BARE, "ZorvExit", 0, 0, 0, 0, -76, NONE, 0, 0, "ZorvReleaseDD"},
    // Nothing current: every operation on the current surface gives -76 after its argument checks.
    {BARE, "ZorvUpdateScreen", 0, 0, 0, 0, -28},
    {BARE, "ZorvSetDrawArea", 0, 0, 1, 1, -76},
    {BARE, "ZorvClearSurface", 0, 1, 0, 0, -76},
    {BARE, "ZorvBoxFill", 1, 1, 0, 0, -76},
    {BARE, "ZorvSetPosition", 1, 1, 0, 0, -76},
    {BARE, "ZorvSetTransparentColor", 4, 0, 0, 0, -2},
    {BARE, "ZorvSetTransparentColor", 1, 0, 0, 0, -76},
    {BARE, "ZorvGetD3Dcaps", S2, 0, 0, 0, -1},
    {BARE, "ZorvGetD3Dcaps", I1, 0, 0, 0, -76},
    {BARE, "ZorvSetRenderColor", 65536, 0, 0, 1, -2},
    {BARE, "ZorvSetRenderColor", 256, 0, 0, 2, -2},
    {BARE | R013, "ZorvSetRenderColor", 256, 0, 0, 1, -76},
    {BARE | R2, "ZorvSetRenderState", 8, 2, 0, 0, 0},  // ignored by the software mode
    {BARE | R2, "ZorvSetRenderState", 8, 2, 19, 5, -76},
    {BARE | R013, "ZorvSetRenderState", 8, 2, 0, 0, -76},
    {BARE | R013, "ZorvSetTextureStageState", 0, 1, 4, 0, -76},
    {BARE | R013, "ZorvSetTextureStageState", 0, 4, 25, 0, -2},  // no such alpha operation: Wine faults on drawing
    {BARE, "ZorvInitializeChip", 0, 0, 0, 0, -2},
    {BARE, "ZorvInitializeChip", 0x7FFFFFFF, 0, 0, 0, -10, MOVES},
    {BARE, "ZorvInitializeChip", 4, 0, 0, 0, 0},
    {AFTER, "ZorvCreateChip", 0, 8, 8, 0, -76},
    {BARE, "ZorvGetFrameRate", S4, 0, 0, 0, -1},
    {BARE, "ZorvGetPolygonRate", S4, 0, 0, 0, -1},
    {BARE, "ZorvShowFrameRate", S4, 3, 0, 0, -1},
    // Host images and GDI drawing with nothing current: sizes, then the surface, then the block.
    {BARE, "ZorvHSPToSurface", HS + 2, -1, 5, 0, -2},
    {BARE, "ZorvHSPToSurface", HS + 2, 0, 0, 0, 0},  // nothing to copy: not even the surface is looked at
    {BARE, "ZorvHSPToSurface", 0, 1, 1, 0, -76},
    {BARE, "ZorvSurfaceToHSP", HS + 2, 641, 1, 0, -2},
    {BARE, "ZorvSurfaceToHSP", HS + 2, 1, 1, 0, -76},
    {BARE, "ZorvBeginDraw", 0, 0, 0, 0, -76},
    {BARE, "ZorvEndDraw", 0, 0, 0, 0, -76},
    {BARE, "ZorvSetPen", HS + 2, 0, 0, 13, -2},  // the pen stays (the host record is compared)
    {BARE, "ZorvSetPen", HS + 2, 0, 32768, 13, -2},  // wider than 16-bit coordinates
    {BARE, "ZorvDrawCircle", -1, 0, 256, 0, -2},  // no negative radius
    {BARE, "ZorvDrawCircle", 1 << 15, 0, 256, 1, -2},  // nor a box beyond 16-bit coordinates
    // Characters before a table: nothing to work on.
    {BARE, "ZorvInitializeCharacter", 0, 0, 0, 0, -2},
    {BARE, "ZorvInitializeCharacter", 32768, 0, 0, 0, -2},
    {BARE, "ZorvSetCharacterVariable", S1, 0, 0, 0, -1},
    {BARE, "ZorvSetCharacterVariable", I1, 26, 0, 0, -2},
    {BARE, "ZorvSetCharacterVariable", I1, -1, 0, 0, -2},
    {BARE, "ZorvCreateCharacter", 0, 0, 0, 0, -2},
    {BARE, "ZorvCopyCharacter", 0, 1, 0, 0, -2},
    {BARE, "ZorvFindCharacter", I1, 0, 0, 0, -2},
    // A DirectDraw object without a table; a failed choice leaves no object behind.
    {DD, "ZorvCreatePrimarySurface", 640, 480, 32, 0, -76},
    {DD, "ZorvInitializeSurface", 1, 0, 0, 0, -2},
    {DD, "ZorvCreateDD", 99, 0, 0, 0, -37, MOVES},
    {AFTER, "ZorvInitializeSurface", 4, 0, 0, 0, 0},
    {AFTER, "ZorvCreatePrimarySurface", 640, 480, 32, 0, -38},
    // Screen arguments.
    {TABLE, "ZorvCreatePrimarySurface", 1601, 480, 32, 0, -2},
    {TABLE, "ZorvCreatePrimarySurface", 640, -1, 32, 0, -2},
    {TABLE, "ZorvCreatePrimarySurface", 640, 480, 3, 0, -2},
    {TABLE, "ZorvCreatePrimarySurface", 640, 480, 33, 0, -2},
    {TABLE, "ZorvCreatePrimarySurface", 640, 480, 32, 33, -2},
    {TABLE, "ZorvCreateOffscreenSurface", 1, 320, 240, 0, -28},
    // With the screen: no second one, no new table or object under it.
    {SCREEN, "ZorvCreatePrimarySurface", 640, 480, DESK, 0, -8},
    {SCREEN, "ZorvInitializeSurface", 4, 0, 0, 0, -8},
    {SCREEN, "ZorvCreateDD", 0, 0, 0, 0, -8},
    {SCREEN, "ZorvCreateOffscreenSurface", 0, 320, 240, 0, -2},
    {SCREEN, "ZorvCreateOffscreenSurface", 4, 320, 240, 0, -2},
    {SCREEN, "ZorvCreateOffscreenSurface", 1, 16385, 16, 0, -2},  // Wine would make it, then crash
    {SCREEN, "ZorvCreateOffscreenSurface", 1, 16, -1, 0, -2},
    {SCREEN, "ZorvSelectSurface", 4, 0, 0, 0, -2},
    {SCREEN, "ZorvSelectSurface", -1, 0, 0, 0, -2},
    {SCREEN, "ZorvSelectSurface", 3, 0, 0, 0, -39},
    {SCREEN, "ZorvReleaseOffscreenSurface", 0, 0, 0, 0, -2},
    {SCREEN, "ZorvReleaseOffscreenSurface", 3, 0, 0, 0, -39},
    {SCREEN, "ZorvSetTransparentColor", -1, 0, 0, 0, -2},
    {SCREEN, "ZorvSetTransparentColor", 1, 0, 0, 0, 0, FIELD, 212, 1},
    {SCREEN | R0, "ZorvSetRenderState", 27, 1, 0, 0, -40, FIELD | MOVES, 272, 1},  // kept before the device is asked
    {SCREEN | R1 | R2 | R3, "ZorvSetRenderState", 27, 1, 0, 0, 0, FIELD, 272, 1},
    {SCREEN | R2, "ZorvSetRenderState", 19, 5, 20, 6, 0, FIELD, 280, 6},
    {SCREEN | R2, "ZorvSetRenderColor", 255, 0, 128, 1, 0, FIELD, 220, 0},  // the software mode keeps nothing
    {SCREEN | R013, "ZorvSetRenderColor", 255, 0, 128, 1, 0, FIELD, 228, 129},  // factor c + 1
    {AFTER | R013, "ZorvSetRenderColor", 65535, 1, 1, 0, 0, FIELD, 228, 129},  // off: factors kept
    {SCREEN, "ZorvSetDrawArea", 100, 50, 10, 5, 0, FIELD, 240, 10},  // corners in any order
    {SCREEN, "ZorvSetDrawArea", 100, 50, 10, 5, 0, FIELD, 244, 5},
    {SCREEN, "ZorvSetDrawArea", -5, -5, 10000, 10000, 0, FIELD, 248, WIDTH - 1},  // cut to the surface
    {SCREEN, "ZorvSetDrawArea", -5, -5, 10000, 10000, 0, FIELD, 252, HEIGHT - 1},
    {AFTER, "ZorvClearSurface", 0, 2, 0, 0, 0, FIELD, 248, WIDTH},  // the screen's area is exclusive
    {SCREEN, "ZorvUpdateScreen", 0, 0, 0, 0, UPDATED},
    {SCREEN, "ZorvUpdateScreen", 0, 0, 0, 1, 0},
    {SCREEN, "ZorvSetPosition", 630, 470, 0, 0, 0},
    {AFTER, "ZorvBoxFill", 30, 12, 0, 0, -36, DX},  // not clipped: DirectDraw refuses it
    // 3D surfaces by render mode: none without Direct3D, no Z buffer in the software mode; the
    // refused entry stays unused (checked by the fault loop's reference count).
    {SCREEN | R0, "ZorvCreateOffscreenSurface", 1, 64, 64, 0x008, -74, MOVES},
    {SCREEN | R0, "ZorvCreateOffscreenSurface", 1, 64, 64, 0x018, -78, MOVES},
    {SCREEN | R2, "ZorvCreateOffscreenSurface", 1, 64, 64, 0x018, -78, MOVES},
    {SCREEN | R2, "ZorvCreateOffscreenSurface", 1, 64, 64, 0x008, 0},
    // Pixel formats: 0x040 then 0x100 makes 8-8-8-8 (the last wins), 0x040 1-5-5-5, 0x080 4-4-4-4.
    {SCREEN, "ZorvCreateOffscreenSurface", 1, 16, 16, 0x140, 0, FIELD, 188, static_cast<int32_t>(0xFF000000)},
    {AFTER, "ZorvCreateOffscreenSurface", 2, 16, 16, 0x040, 0, FIELD, 84, 7},
    {AFTER, "ZorvCreateOffscreenSurface", 3, 16, 16, 0x080, 0, FIELD, 176, 0x0F00},
    {AFTER, "ZorvCreateOffscreenSurface", 3, 16, 16, 0, -8},
    {SCREEN, "ZorvCreateOffscreenSurface", 1, 16, 16, 0x002, 0, FIELD | BITS, 284, DDSCAPS_SYSTEMMEMORY},
    {AFTER, "ZorvCreateOffscreenSurface", 1, 16, 16, 0x020, -8},
    // Surface 1 current, chips on it.
    {SURFACE, "ZorvReleaseOffscreenSurface", 1, 0, 0, 0, -51},
    {SURFACE, "ZorvSurfaceToSurface", 4, 10, 10, 0, -2},
    {SURFACE, "ZorvCreateChip", 2, 8, 8, 0, -2},
    {SURFACE, "ZorvCreateChip", -1, 8, 8, 0, -2},
    {SURFACE, "ZorvCreateChip", 0, 0, 8, 0, -2},
    {SURFACE, "ZorvCreateChip", 0, 8, 0, 0, -2},
    {SURFACE, "ZorvSetChipOffset", 2, 0, 0, 0, -2},
    // Host image blocks from the host record's position (0, 0) to surface 1's (0, 0).
    {SURFACE, "ZorvHSPToSurface", HS + 2, 641, 1, 0, -2},
    {SURFACE, "ZorvHSPToSurface", 0, 1, 1, 0, -2},
    {SURFACE, "ZorvHSPToSurface", HS + 2, 33, 1, 0, -52, DX},  // leaves the surface: the Lock is refused
    {SURFACE, "ZorvHSPToSurface", HS + 2, 32, 32, 1, 0},
    {SURFACE, "ZorvHSPToSurface", HS + 2, 0, 5, 0, 0},  // an empty block: Wine locks the empty rectangle
    {SURFACE, "ZorvSurfaceToHSP", HS + 2, 1, 481, 0, -2},
    {SURFACE, "ZorvSurfaceToHSP", HS + 2, -1, 1, 0, -2},
    {SURFACE | TC, "ZorvSurfaceToHSP", HS + 2, 32, 32, 0, 0},
    // With a palette the copy ends as ZorvPaletteCopy into the buffer given, here none (-71).
    {SURFACE | P8, "ZorvSurfaceToHSP", HS + 2, 32, 32, 0, -71, NONE, 0, 0, "ZorvPaletteCopy"},
    {SURFACE, "ZorvBeginDraw", 0, 0, 0, 0, 0},
    {AFTER, "ZorvBeginDraw", 0, 0, 0, 0, -31},  // one DC at a time; DirectDraw is not asked
    {AFTER, "ZorvEndDraw", 0, 0, 0, 0, 0},
    {AFTER, "ZorvEndDraw", 0, 0, 0, 0, -54, DX},  // nothing lent
    {SURFACE, "ZorvSetChipHitArea", I4, 1, 0, 0, 0},
    {SURFACE, "ZorvSetChipHitArea", I4, 2, 0, 0, -2},
    {SURFACE, "ZorvSetChipHitArea", I2, 1, 0, 0, -71},  // too short for four values
    {SURFACE, "ZorvPutChip", 2, 0, 0, 0, -2},
    {SURFACE, "ZorvPutChip2", 2, 256, 0, 0, -2},
    {SURFACE, "ZorvPutChip4", -1, 256, 256, 0, -2},
    {SURFACE, "ZorvPutChip3", S2, 1, 0, 0, -1},
    {SURFACE, "ZorvPutChip3", I8, 2, 0, 0, -2},
    {SURFACE, "ZorvPutChip2", 0, 0, 0, 0, 0},  // scales below 1 draw nothing, before the size is looked at
    {SURFACE, "ZorvPutChip4", 0, 0, 256, 0, 0},
    {SURFACE, "ZorvPutChip", 0, 10, 10, 0, -73},  // allocated, never created
    {SURFACE, "ZorvPutChip2", 0, 256, 0, 0, -73},
    {SURFACE, "ZorvPutChip4", 0, 256, 256, 0, -73},
    {SURFACE, "ZorvPutChip3", I8, 0, 0, 0, -73},
    {SURFACE, "ZorvPutChip3", I6, 1, 0, 0, -71},  // too short for eight corners
    {SURFACE | R0, "ZorvPutChip2", 1, 256, 100, 0, -40},
    {SURFACE | R0, "ZorvPutChip3", Q8, 1, 0, 0, -40},
    {SURFACE, "ZorvGetD3Dcaps", I1, 0, 0, 0, -40},
    {SURFACE | R013, "ZorvSetTextureStageState", 0, 1, 4, 0, -40},
    {SURFACE | R0, "ZorvSetRenderState", 8, 2, 0, 0, -40},
    {SURFACE | R2, "ZorvClearSurface", 0, 4, 0, 0, 0},  // Direct3D clears: skipped by the software mode
    {SURFACE | R013, "ZorvClearSurface", 0, 4, 0, 0, -40},
    {SURFACE | R013, "ZorvClearSurface", 0, 8, 0, 0, -40},
    {SURFACE | R13, "ZorvSelectSurface", 0, 0, 0, 0, 0},  // the 3D screen draws from textures only
    {AFTER | R13, "ZorvPutChip2", 1, 256, 0, 0, -61},
    {AFTER | R13, "ZorvPutChip3", Q8, 1, 0, 0, -61},
    {AFTER | R13, "ZorvGetD3Dcaps", I1, 32, 0, 0, -2, KEEP},
    {AFTER | R13, "ZorvGetD3Dcaps", I1, 1, 14, 0, -2, KEEP},
    {SURFACE, "ZorvCreateOffscreenSurface", 2, 16, 16, 0x020, 0},  // a texture cannot be blitted
    {AFTER, "ZorvCreateChip", 0, 8, 8, 0, 0},
    {AFTER, "ZorvSelectSurface", 1, 0, 0, 0, 0},
    {AFTER, "ZorvPutChip4", 0, 512, 256, 0, -81},
    // Characters: 8 of them on surface 1 (32 x 32); chip 1 is 8 x 8, chip 0 never created.
    {SURFACE, "ZorvInitializeCharacter", 32767, 0, 0, 0, 0},  // the largest table
    {SURFACE, "ZorvInitializeCharacter", 8, 0, 0, 0, 0},
    {AFTER, "ZorvCreateCharacter", 0, 1, 0, 0, -63},  // the arrays went with the new table
    {CHARS, "ZorvCreateCharacter", 8, 1, 0, 0, -2},
    {CHARS, "ZorvCreateCharacter", -1, 1, 0, 0, -2},
    {CHARS, "ZorvCreateCharacter", 0, 2, 0, 0, -2},  // chip number = chip count
    {CHARS, "ZorvCreateCharacter", 5, 1, 100, 50, 0, CELL, 0 * 100 + 5, 2},  // Attribute: chip + 1
    {CHARS, "ZorvCreateCharacter", 5, 1, 100, 50, 0, CELL, 3 * 100 + 5, -8},  // limits: one chip outside
    {CHARS, "ZorvCreateCharacter", 5, 1, 100, 50, 0, CELL, 6 * 100 + 5, 32 + 8},
    {CHARS, "ZorvCreateCharacter", 5, 1, 100, 50, 0, CELL, 8 * 100 + 5, 16},  // MOVE_LIMIT
    {CHARS, "ZorvCreateCharacter", 5, 1, 100, 50, 0, CELL, 21 * 100 + 5, 256},
    {AFTER, "ZorvFindCharacter", I1, 2, 0, 8, 0, WRITES, 0, 5},  // Attribute shares the mask's bit
    {AFTER, "ZorvFindCharacter", I1, 0, 5, 1, 0, WRITES, 0, -1},  // no free slot in 5 ... 5
    {AFTER, "ZorvCopyCharacter", 5, 6, 7, 9, 0, CELL, 1 * 100 + 6, 7},
    {AFTER, "ZorvCopyCharacter", 0, 6, 7, 9, 0, CELL, 0 * 100 + 6, 0},  // a free source frees the copy
    {CHARS, "ZorvFindCharacter", I1, 0, 0, 8, 0, WRITES, 0, 0},
    {CHARS, "ZorvFindCharacter", S1, 0, 0, 8, -1},
    {CHARS, "ZorvFindCharacter", I1, 0, 0, 9, -2},
    {CHARS, "ZorvFindCharacter", I1, 0, 8, 0, -2},
    {CHARS, "ZorvFindCharacter", I1, 0, 2, -3, -2},
    {CHARS, "ZorvCopyCharacter", 3, 3, 0, 0, -77},
    {CHARS, "ZorvCopyCharacter", 8, 0, 0, 0, -2},
    {CHARS, "ZorvCopyCharacter", 0, -1, 0, 0, -2},
    // Motion: aimed at a point to the right at 512/256 pixel a frame, moved twice.
    {CHARS, "ZorvMoveCharacter", 8, 0, 1, 0, -2},
    {CHARS, "ZorvMoveCharacter", 0, 9, 1, 0, -2},
    {CHARS, "ZorvMoveCharacter", 2, -3, 1, 0, -2},
    {CHARS, "ZorvSetCharacterAim", 8, 0, 0, 256, -2},
    {CHARS, "ZorvSetCharacterAim2", 0, 8, 256, 0, -2},
    {CHARS, "ZorvSetRelativeCharacter", 0, 8, 0, 0, -2},
    {CHARS, "ZorvSetRelativeCharacter", 0, 1, 0, 0, -62},  // a free target
    {CHARS, "ZorvCreateCharacter", 5, 1, 10, 10, 0},
    {AFTER, "ZorvCreateCharacter", 6, 1, 20, 20, 0},
    {AFTER, "ZorvSetCharacterAim2", 5, 6, 256, 0, 0, CELL, 13 * 100 + 5, 181},  // down and right, 45 degrees
    {AFTER, "ZorvSetCharacterAim", 5, 30, 10, 512, 0, CELL, 12 * 100 + 5, 511},
    {AFTER, "ZorvMoveCharacter", 0, 8, 2, 0, 0, CELL, 1 * 100 + 5, 13},  // 511 + 511 = 3 pixels and 254
    {AFTER, "ZorvSetRelativeCharacter", 6, 5, 0, 0, 0, CELL, 1 * 100 + 6, 0},  // the position becomes the offset
    {SURFACE, "ZorvInitializeCharacter", 8, 0, 0, 0, 0},
    {AFTER, "ZorvMoveCharacter", 0, 8, 1, 0, -63},
    // Hit tests of character 5 (8 x 8 at (10, 10); its hit area is the middle half) against 6 ... 7.
    {CHARS, "ZorvHitTest", S1, 1, 0, 8, -1},
    {CHARS, "ZorvHitTest2", I1, 1, 0, 8, -71},
    {CHARS, "ZorvHitTest", I1, 1, 0, 8, -2},  // the tested character 0x5A5A5A5A
    {CHARS, "ZorvHitTest", H2, 1, 0, 9, -2},
    {CHARS, "ZorvHitTest2", H2, 1, 8, 0, -2},
    {CHARS, "ZorvHitTest", H2, 1, 0, 8, 0, WRITES, 0, 5},  // no character passes the mask: left as it was
    {CHARS, "ZorvCreateCharacter", 5, 1, 10, 10, 0},
    {AFTER, "ZorvCreateCharacter", 6, 1, 13, 13, 0},
    {AFTER, "ZorvHitTest", H2, 2, 6, 2, 0, WRITES, 0, 6},
    {AFTER, "ZorvHitTest2", H2, 2, 6, 2, 0, WRITES, 0, 6},
    {AFTER, "ZorvCreateCharacter", 6, 1, 14, 14, 0},  // areas 8 ... 11 and 12 ... 15: apart as rectangles
    {AFTER, "ZorvHitTest", H2, 2, 6, 2, 0, WRITES, 0, 5},
    {AFTER, "ZorvCreateCharacter", 6, 1, 30, 30, 0},  // far apart
    {AFTER, "ZorvHitTest", H2, 2, 6, 2, 0, WRITES, 0, 5},
    {AFTER, "ZorvHitTest2", H2, 2, 6, 2, 0, WRITES, 0, 5},
    // Drawing: a range is drawn and moved one frame; an invisible character moves all the same.
    {CHARS, "ZorvSetCharacterVariable", I4, 3, 0, 0, -71},  // 4 elements for 8 characters
    {AFTER, "ZorvPutCharacter", 0, 8, 0, 0, 0},              // the registered array stays
    {CHARS, "ZorvPutCharacter", 8, 0, 0, 0, -2},
    {CHARS, "ZorvPutCharacter", 0, 9, 0, 0, -2},
    {CHARS, "ZorvPutCharacterYSort", 0, -1, 0, 0, -2},  // only this one refuses a negative count
    {CHARS, "ZorvPutCharacterYSort", 2, 7, 0, 0, -2},
    {CHARS, "ZorvPutCharacter", 2, -3, 0, 0, -2},
    {CHARS, "ZorvPutCharacter", 0, 8, 0, 0, 0},  // every slot free
    {AFTER, "ZorvPutCharacterYSort", 7, 0, 0, 0, 0},  // nothing to draw
    {AFTER, "ZorvPutCharacter", 0, 0, 0, 0, 0},
    {CHARS, "ZorvCreateCharacter", 5, 1, 10, 10, 0},
    {AFTER, "ZorvCreateCharacter", 4, 0, 10, 10, 0},  // chip 0 never created: drawn as nothing
    {AFTER, "ZorvSetCharacterAim", 5, 30, 10, 512, 0},
    {AFTER, "ZorvPutCharacter", 0, 8, 5, 5, 0, CELL, 1 * 100 + 5, 11},
    {AFTER, "ZorvPutCharacterYSort", 0, 8, 0, 0, 0, CELL, 1 * 100 + 5, 13},
    {SURFACE, "ZorvInitializeCharacter", 8, 0, 0, 0, 0},
    {AFTER, "ZorvPutCharacter", 0, 8, 0, 0, -63},
    // A character whose chip is gone (the chip table shrank under it): -75 wherever it is met.
    {CHARS, "ZorvCreateCharacter", 5, 1, 10, 10, 0},
    {AFTER, "ZorvInitializeChip", 1, 0, 0, 0, 0},
    {AFTER, "ZorvMoveCharacter", 0, 8, 1, 0, -75},
    {AFTER, "ZorvPutCharacter", 0, 8, 0, 0, -75},
    {AFTER, "ZorvPutCharacterYSort", 0, 8, 0, 0, -75},
    {AFTER, "ZorvHitTest", H2, 2, 0, 8, -75},
    // String chips: "AB" as two glyph characters of chip 1 (8 x 8) from surface 1's position (0, 0).
    {BARE, "ZorvSetStringChip", S1, 65, 1, 0, -1},
    {BARE, "ZorvSetStringChip", I1, 0, 1, 0, -2},
    {BARE, "ZorvSetStringChip", I1, 200, 57, 0, -2},
    {BARE, "ZorvSetStringChip", I1, 65, 0, 0, -2},
    {CHARS, "ZorvSetStringChip", I1, 65, 2, 0, -71},
    {CHARS, "ZorvSetStringChip", I2, 65, 2, 0, -2},  // chip 0x5A5A does not exist
    {CHARS, "ZorvDrawString", I1, 0, 1, 0, -1},
    {CHARS, "ZorvDrawString", AB, 8, 1, 0, -2},
    {CHARS, "ZorvDrawString", AB, 0, 1, 65536, -2},
    {CHARS, "ZorvSetStringChip", G2, 65, 2, 0, 0},
    {AFTER, "ZorvDrawString", AB, 3, 9, 0, 0, CELL, 1 * 100 + 4, 8},  // the second glyph one width on
    {AFTER, "ZorvDrawString", AB, 3, 9, 0, 0, CELL, 2 * 100 + 3, -8},  // anchored one height up
    {AFTER, "ZorvDrawString", AB, 3, 9, 0, 0, CELL, 0 * 100 + 4, 9},  // the attribute given
    {AFTER, "ZorvDrawString", AB, 3, 9, 65535, 0, CELL, 9 * 100 + 3, 1 | 16},  // DRAW_TRANSPARENCY
    {AFTER, "ZorvDrawString", AB, 7, 9, 0, -2, MOVES},  // "A" made at 7, no room for "B"
    {AFTER, "ZorvInitializeChip", 1, 0, 0, 0, 0},
    {AFTER, "ZorvDrawString", AB, 0, 1, 0, -75},  // the glyph chip 1 is gone
    // Animation patterns.
    {CHARS, "ZorvSetAnimationPattern", I6, 0, 3, 0, -2},  // no pattern table
    {CHARS, "ZorvInitializeAnimationPattern", -1, 0, 0, 0, -2},
    {CHARS, "ZorvInitializeAnimationPattern", 65536, 0, 0, 0, -2},
    {CHARS, "ZorvInitializeAnimationPattern", 2, 0, 0, 0, 0},
    {AFTER, "ZorvSetAnimationPattern", I5, 0, 3, 0, -71},  // three pairs need six elements
    {AFTER, "ZorvSetAnimationPattern", I6, 0, 0, 0, -2},
    {AFTER, "ZorvSetAnimationPattern", I6, 2, 3, 0, -2},
    {AFTER, "ZorvSetCharacterAnimation", 5, 0, 0, 0, -2},  // not set yet: no steps
    {AFTER, "ZorvSetAnimationPattern", I6, 0, 3, 0, 0},
    {AFTER, "ZorvSetCharacterAnimation", 5, 0, 3, 0, -2},
    {AFTER, "ZorvSetCharacterAnimation", 5, 2, 0, 0, -2},
    {AFTER, "ZorvSetCharacterAnimation", 5, 0, 2, 0, 0, CELL, 7 * 100 + 5, 0x5A5A},  // chip: low 16 bits
    // The screen released: record 0 stays current without a surface.
    {RELEASED, "ZorvBoxFill", 1, 1, 0, 0, -76},
    {RELEASED, "ZorvHSPToSurface", HS + 2, 1, 1, 0, -76},
    {RELEASED, "ZorvClearSurface", 0, 1, 0, 0, -76},
    {RELEASED, "ZorvSetTransparentColor", 1, 0, 0, 0, -76},
    {RELEASED, "ZorvSurfaceToSurface", 1, 8, 8, 0, -76},
    {RELEASED, "ZorvPutChip", 1, 10, 10, 0, -76},
    {RELEASED, "ZorvPutChip2", 1, 256, 100, 0, -76},
    {RELEASED, "ZorvPutChip3", Q8, 1, 0, 0, -76},
    {RELEASED, "ZorvPutChip4", 1, 512, 256, 0, -76},
    {RELEASED, "ZorvUpdateScreen", 0, 0, 0, 0, -28},
    {RELEASED, "ZorvReleasePrimarySurface", 0, 0, 0, 0, 0},  // nothing left to undo
    // Colour codes and palettes. Without a screen: argument checks, then -28 or -76.
    {BARE, "ZorvGetRGBFromColorCode", S4, 0, 0, 0, -1},
    {BARE, "ZorvGetRGBFromColorCode", I2, 0, 0, 0, -71},  // no room for blue
    {BARE | TC, "ZorvGetRGBFromColorCode", I4, 0, 0, 0, -28},
    {BARE, "ZorvGetColorCode", S1, 0, 0, 0, -1},
    {BARE | TC, "ZorvGetColorCode", I1, 255, 255, 255, -28},
    {BARE, "ZorvGetPointColor", S1, 0, 0, 0, -1},
    {BARE, "ZorvGetPointColor", I1, 0, 0, 0, -76},
    {RELEASED, "ZorvGetPointColor", I1, 0, 0, 0, -76},
    {RELEASED | TC, "ZorvGetRGBFromColorCode", I4, 0, 0, 0, -28},
    {RELEASED, "ZorvPaletteCopy", 0, 0, 0, 0, -32},  // no screen palette any more
    {BARE, "ZorvFadePalette", I4, 0x7FFFFFFF, 0, 0, -2},
    {BARE, "ZorvFadePalette", S1, -1, 0, 0, -2},
    {BARE, "ZorvFadePalette", S1, 0, 0, 0, 0, KEEP},  // the variable is not looked at
    {BARE, "ZorvFadePalette", S1, 30, 0, 0, -1},
    {BARE, "ZorvFadePalette", I8, 30, 0, 0, -71},  // 768 colours needed
    {BARE, "ZorvPaletteCopy", 0, 0, 0, 0, -32},
    {BARE | TC, "ZorvSetPalette", 256, 0, 0, 0, 0, NONE, 0, 0, "ZorvGetSetPalette"},
    // A true-colour screen (8-8-8): no palette; a pixel outside the surface cannot be locked.
    {SCREEN | TC, "ZorvGetColorCode", I1, 0x112, 0x34, 0x56, 0, WRITES, 0, 0x123456},  // low 8 bits of each
    {SCREEN | TC, "ZorvPaletteCopy", 0, 2, 0, 0, -32},
    {SCREEN, "ZorvGetPointColor", I1, WIDTH, 0, 0, -52, DX},
    // An 8-bit screen: codes are palette indices.
    {SCREEN | P8, "ZorvGetRGBFromColorCode", I4, 256, 0, 0, -2},
    {SCREEN | P8, "ZorvSetPalette", 256, 1, 2, 3, -2, NONE, 0, 0, "ZorvGetSetPalette"},
    {SCREEN | P8, "ZorvSetPalette", 100, 0x301, 2, 3, 0, NONE, 0, 0, "ZorvGetSetPalette"},
    {AFTER, "ZorvGetRGBFromColorCode", I4, 100, 0, 0, 0, WRITES, 0, 1},  // low 8 bits of each
    {AFTER, "ZorvGetColorCode", I1, 1, 2, 3, 0, WRITES, 0, 100},  // the nearest entry
    {SCREEN | P8, "ZorvPaletteCopy", 0, 2, 0, 0, -2},
    {SCREEN | P8, "ZorvPaletteCopy", 0, 1, 0, 0, -71},  // no buffer
    // The stop: everything goes, the host record stays, so the plugin cannot start again.
    {SURFACE, "ZorvExit", 0, 0, 0, 0, 0, NONE, 0, 0, "ZorvReleaseDD"},
    {AFTER, "ZorvExit", 0, 0, 0, 0, -76, NONE, 0, 0, "ZorvReleaseDD"},
    {AFTER, "ZorvReleaseDD", 0, 0, 0, 0, -76},
    {AFTER, "ZorvInitialize", HS + 2, 2, 0, 0, -8},
};

// The script's 26 character arrays of 8 elements.
std::vector<host::Variable>& Columns() {
    static std::vector<host::Variable> columns;
    while (columns.size() < 26) columns.push_back(host::Variable::Int(8));
    return columns;
}

int32_t Must(const char* name, int32_t a = 0, int32_t b = 0, int32_t c = 0, int32_t d = 0, int32_t want = 0) {
    int32_t status = plugin->Call(name, a, b, c, d);
    EXPECT_EQ(want, status) << "reaching the state: " << name;
    return status;
}

// From whatever the last row left to the state. Making a DirectDraw object costs Wine a
// quarter of a second, so a kept object is reused: its screen and surfaces are released and a
// new table made. Only BARE and DD start without one.
void Reach(int state) {
    if (state == PRE || state == NO_DDRAW) return;
    ASSERT_TRUE(EnsureInitialized());
    const PluginState s = ReadState();
    if (s.directDraw && state > DD) {
        plugin->Call("ZorvSelectSurface", 0);
        for (int32_t i = 1; i < s.count; ++i) plugin->Call("ZorvReleaseOffscreenSurface", i);
        plugin->Call("ZorvReleasePrimarySurface");
    } else if (s.directDraw || s.table) {
        if (plugin->Call("ZorvReleaseDD") == -76) plugin->Call("ZorvInitializeSurface", 2), Must("ZorvReleaseDD");
    }
    if (state >= DD && !ReadState().directDraw) Must("ZorvCreateDD", 0);
    if (state >= TABLE) Must("ZorvInitializeSurface", 4);
    host::PumpMessages();
    if (state >= SCREEN) {
        ShowWindow(hostScreen->Window(), SW_SHOW);
        const bool d3d = renderMode == 1 || renderMode == 3;
        Must("ZorvCreatePrimarySurface", WIDTH, HEIGHT, DesktopBits(), d3d ? 0x008 : 0, SCREEN_CREATED);
    }
    if (state >= SURFACE) {
        Must("ZorvCreateOffscreenSurface", 1, 32, 32, 0x100);
        Must("ZorvInitializeChip", 2);
        Must("ZorvCreateChip", 1, 8, 8);
    }
    if (state == RELEASED) Must("ZorvSelectSurface", 0), Must("ZorvReleasePrimarySurface");
    if (state == CHARS) {
        Must("ZorvInitializeCharacter", 8);
        for (int32_t c = 0; c < 26; ++c) Columns()[c].Fill(0), Must("ZorvSetCharacterVariable", Columns()[c].Arg(), c);
    }
}

// The bytes a refused call must not change: the surface table, which record is current, the
// character arrays.
std::string TableBytes() {
    PluginState s = ReadState();
    std::string bytes(reinterpret_cast<const char*>(&s.current), sizeof s.current);
    if (s.table) bytes.append(reinterpret_cast<const char*>(s.table), RECORD_BYTES * s.count);
    for (host::Variable& column : Columns()) bytes.append(column.Text(), column.DataBytes());
    return bytes;
}

// The debug build reports each failing call through OutputDebugStringA, which raises
// DBG_PRINTEXCEPTION_C: a vectored handler sees the text before anything else does.
std::string debugReports;
LONG CALLBACK CatchDebugString(EXCEPTION_POINTERS* e) {
    const EXCEPTION_RECORD* r = e->ExceptionRecord;
    if (r->ExceptionCode == DBG_PRINTEXCEPTION_C && r->NumberParameters >= 2) {
        debugReports += reinterpret_cast<const char*>(r->ExceptionInformation[1]);
        debugReports += '\n';
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

// What ZorvD.hpi must report for a call: nothing on success; else the export, its arguments,
// the status and its text, and the DirectX result when the call kept a new one. Zorv.hpi
// reports nothing.
std::string ExpectedReport(const char* call, const int32_t (&args)[4], int32_t status, bool dxKept) {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(plugin->Module(), path, MAX_PATH);
    if (status >= 0 || !std::strstr(path, "ZorvD.hpi")) return "";
    std::string text = ErrorText(-status);
    for (const expected::StatusRow& row : expected::STATUS_TEXTS) text = row.code == status ? row.text : text;
    char line[200];
    std::snprintf(line, sizeof line, "ZorvD: %s(0x%08X, 0x%08X, 0x%08X, 0x%08X) = %d ", call, args[0], args[1],
                  args[2], args[3], status);
    std::string report = line + text;
    if (dxKept) std::snprintf(line, sizeof line, ", DirectX 0x%08X ", LastDxResult()), report += line + ErrorText(-3);
    return report + "\n";
}

void RunRow(const Row& row) {
    std::vector<std::unique_ptr<host::Variable>> vars;
    std::vector<std::vector<uint8_t>> before;
    int32_t args[4] = {row.a, row.b, row.c, row.d};
    for (int32_t& arg : args) {
        if ((arg & 0xFFE00000) == 0x7E000000) {
            const int32_t n = arg & 0xFFFF;
            vars.push_back(std::make_unique<host::Variable>(arg & 0x100000 ? host::Variable::String(n) : host::Variable::Int(n)));
            vars.back()->Fill(0x5A);
            const int32_t corners[8] = {100, 100, 180, 120, 170, 190, 90, 170};
            if (arg & 0x10000) std::memcpy(vars.back()->Data(), corners, sizeof corners);
            if (arg & 0x20000) vars.back()->Ints()[0] = 5, vars.back()->Ints()[1] = 7;
            if ((arg & 0x140000) == 0x40000) vars.back()->Ints()[0] = vars.back()->Ints()[1] = 1;
            if ((arg & 0x140000) == 0x140000) std::memcpy(vars.back()->Data(), "AB", 3);
            before.emplace_back(vars.back()->Data(), vars.back()->Data() + vars.back()->DataBytes());
            arg = vars.back()->Arg();
        } else if (arg == DESK) {
            arg = DesktopBits();
        } else if ((arg & 0xFFF00000) == HS) {
            hostScreen->SetField(host::Screen::SCREEN_TYPE, arg - HS);
            arg = hostScreen->Arg();
        }
    }
    const std::string table = TableBytes(), name = ErrorText(-1);
    const int32_t dx = LastDxResult();
    debugReports.clear();
    auto hostRecord = [] { std::vector<int32_t> f; for (size_t at = 0; at < 256; at += 4) f.push_back(hostScreen->Field(at)); return f; };
    const std::vector<int32_t> hostBefore = hostRecord();
    void* handler = AddVectoredExceptionHandler(1, CatchDebugString);
    const int32_t status = plugin->Call(row.call, args[0], args[1], args[2], args[3]);
    RemoveVectoredExceptionHandler(handler);
    const std::vector<int32_t> hostAfter = hostRecord();
    hostScreen->SetField(host::Screen::SCREEN_TYPE, 2);
    std::ostringstream where;
    where << row.call << "(" << row.a << ", " << row.b << ", " << row.c << ", " << row.d << ")";
    SCOPED_TRACE(where.str());
    EXPECT_EQ(row.status, status);
    const bool quiet = std::strncmp(row.call, "Zorvmisc", 8) == 0 || std::strcmp(row.call, "ZorvGetError") == 0;
    EXPECT_EQ(row.named ? row.named : quiet ? name : row.call, ErrorText(-1));
    if (row.check & WRITES) {
        ASSERT_FALSE(vars.empty());
        EXPECT_EQ(row.value, vars[0]->Ints()[row.at]);
        EXPECT_TRUE(vars[0]->GuardsIntact());
    }
    if (row.check & FIELD) {
        PluginState s = ReadState();
        ASSERT_NE(nullptr, s.current);
        const int32_t field = Record{s.current}.At<int32_t>(row.at);
        EXPECT_EQ(row.value, row.check & BITS ? field & row.value : field);
    }
    const int32_t cell = Columns()[row.at / 100 % 26].Ints()[row.at % 100];
    EXPECT_TRUE(!(row.check & CELL) || row.value == cell) << "the character array holds " << cell;
    EXPECT_EQ((row.check & DX) != 0, dx != LastDxResult()) << "the last DirectX result";
    EXPECT_EQ(ExpectedReport(row.call, args, status, dx != LastDxResult()), host::Cp932ToUtf8(debugReports.c_str()));
    if (row.status >= 0 && !(row.check & KEEP)) return;
    for (size_t i = 0; i < vars.size(); ++i) {
        EXPECT_TRUE(std::equal(before[i].begin(), before[i].end(), vars[i]->Data()) && vars[i]->GuardsIntact() &&
                    vars[i]->DescriptorIntact()) << "a variable was written";
    }
    EXPECT_TRUE((row.check & MOVES) || table == TableBytes()) << "the surface table changed";
    EXPECT_TRUE((row.check & MOVES) || hostBefore == hostAfter) << "the host screen record changed";
}

// Runs the rows of the given states that are for this render mode; a state is reached again
// after any row that may have changed it.
void RunRows(int first, int last) {
    int state = -1, reached = -1;
    bool ran = false;  // the row before ran: its AFTER rows follow it
    for (const Row& row : ROWS) {
        const int rowState = row.when & STATES, modes = row.when & (R0 | R1 | R2 | R3), desk = row.when & (P8 | TC);
        if (rowState != AFTER) state = rowState;
        const bool fits = state >= first && state <= last && (!modes || (modes >> 4 >> renderMode & 1)) &&
                          (!desk || (desk == P8) == (DesktopBits() == 8));
        ran = fits && (rowState != AFTER || ran);
        if (!ran) continue;
        if (rowState != AFTER && reached != state) Reach(state);
        RunRow(row);
        reached = row.status < 0 && !(row.check & MOVES) && rowState != AFTER ? state : -1;
        if (testing::Test::HasFatalFailure()) return;
    }
}

}  // namespace

// The first test of its own process: the plugin is not initialised yet.
TEST(Checks, BeforeInitialize) { RunRows(PRE, PRE); }
TEST(Checks, WithoutDirectDraw) {
    EXPECT_EQ(nullptr, GetModuleHandleA("ddraw.dll"));
    RunRows(NO_DDRAW, NO_DDRAW);
}

TEST(Checks, Table) { RunRows(BARE, CHARS); }

// The timers through the plugin, against the system's own clocks.
TEST(Checks, Timers) {
    auto misc = [](const char* name) {
        host::Variable v = host::Variable::Int(1);
        EXPECT_EQ(0, plugin->Call(name, v.Arg()));
        return v.Ints()[0];
    };
    const DWORD before = timeGetTime();
    const DWORD timer = static_cast<DWORD>(misc("ZorvmiscGetMMtimer"));
    EXPECT_LE(timer - before, timeGetTime() - before);
    misc("ZorvmiscGetMMtickTime");
    Sleep(60);
    const int32_t tick = misc("ZorvmiscGetMMtickTime");
    EXPECT_TRUE(tick >= 55 && tick < 5000) << tick;
    EXPECT_GT(static_cast<uint32_t>(misc("ZorvmiscGetClock")), 10000000u);  // any processor of this century
    misc("ZorvmiscGetRDTSCtickTime");
    Sleep(30);
    const int32_t slept = misc("ZorvmiscGetRDTSCtickTime");
    EXPECT_TRUE(slept > 10000 && slept < 2000000) << slept;  // microseconds, on a busy machine too
}

// Every status text as the script reads it: Shift-JIS in the DLL, copied into a string
// variable of 4 x size bytes with the last byte never written. (The export names are checked
// against src/exports.table by the CTest exports.plugins.)
TEST(Checks, Texts) {
    EXPECT_EQ("無し", lastCallAtLoad);
    for (const expected::StatusRow& row : expected::STATUS_TEXTS) EXPECT_EQ(row.text, ErrorText(-row.code));
    EXPECT_EQ("unknown! -2147483648[0x80000000]", ErrorText(INT32_MIN));
    EXPECT_EQ("unknown! 4[0x0004]", ErrorText(-4));
    const std::string full = host::Utf8ToCp932("パラメータが範囲外");
    for (int32_t size : {0, 1, 2, 8}) {
        host::Variable text = host::Variable::String(size);
        text.Fill(0x7F);
        ASSERT_EQ(0, plugin->Call("ZorvGetError", text.Arg(), 2));
        const size_t room = size > 0 ? 4 * size - 1 : 0, copied = std::min(room, full.size());
        EXPECT_EQ(full.substr(0, copied), std::string(text.Text(), copied)) << size;
        for (size_t i = copied; i < room; ++i) EXPECT_EQ(0, text.Data()[i]) << size;
        EXPECT_TRUE(size == 0 || text.Data()[room] == 0x7F) << size;
        EXPECT_TRUE(text.GuardsIntact()) << size;
    }
}
