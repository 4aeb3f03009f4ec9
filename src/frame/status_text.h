// Status codes, their texts, the texts of DirectX results, and the bounded copy of a text
// into a host string buffer. Pure code: the texts are Shift-JIS bytes in every build.
#pragma once

#include <cstdint>

namespace zorv {

// Status text of a code. Codes without a row are formatted as "unknown! %d[0x%04X]" into a
// 256-byte buffer that the next such formatting overwrites.
const char* StatusText(int32_t code);

// Text of a DirectDraw or Direct3D result. Results without a row are formatted as
// "unknown! %d[%04X]" into a 1024-byte buffer that the next such formatting overwrites.
const char* DxResultText(int32_t result);

// Copies text into a host string buffer of 4 * size bytes: at most 4 * size - 1 characters;
// a shorter text is followed by zeros up to that length, a longer one is cut and the
// buffer's last byte keeps its old value. Writes nothing when size is 0 or less.
void CopyTextToHost(char* buffer, int32_t size, const char* text);

// The status codes that the plugin's exports return.
enum Status : int32_t {
    OK = 0,
    ERR_PARAM_TYPE = -1,
    ERR_PARAM_RANGE = -2,
    ERR_ENUM_DEVICES = -3,
    ERR_CREATE_DD1 = -4,
    ERR_GET_DD = -5,
    ERR_GET_DDCAPS = -6,
    ERR_ENUM_MODES = -7,
    ERR_ALREADY_INITIALIZED = -8,
    ERR_SCREEN_TYPE = -9,
    ERR_OUT_OF_MEMORY = -10,
    ERR_COOPERATIVE_LEVEL = -11,
    ERR_MOVE_WINDOW = -12,
    ERR_DISPLAY_MODE = -13,
    ERR_CREATE_PRIMARY = -14,
    ERR_CREATE_CLIPPER = -15,
    ERR_CLIPPER_WINDOW = -16,
    ERR_SET_CLIPPER = -17,
    ERR_CREATE_BACKBUFFER = -18,
    ERR_ATTACH_BACKBUFFER = -19,
    ERR_CREATE_PALETTE = -20,
    ERR_SET_PALETTE = -21,
    ERR_CREATE_D3D = -22,
    ERR_CREATE_D3D_DEVICE = -23,
    ERR_CREATE_VIEWPORT = -24,
    ERR_ADD_VIEWPORT = -25,
    ERR_SET_VIEWPORT = -26,
    ERR_CURRENT_VIEWPORT = -27,
    ERR_NO_PRIMARY = -28,
    ERR_CREATE_SURFACE = -29,
    ERR_BITMAP_TRANSFER = -30,
    ERR_GET_DC = -31,
    ERR_NOT_PALETTE_MODE = -32,
    ERR_SET_PALETTE_ENTRIES = -33,
    ERR_RESTORE = -34,
    ERR_FLIP = -35,
    ERR_COLORFILL = -36,
    ERR_DD_NOT_FOUND = -37,
    ERR_DD_NOT_INITIALIZED = -38,
    ERR_SURFACE_NOT_CREATED = -39,
    ERR_NO_D3D_DEVICE = -40,
    ERR_BEGIN_SCENE = -41,
    ERR_DRAW_POLYGON = -42,
    ERR_GET_D3D = -43,
    ERR_CREATE_MATERIAL = -44,
    ERR_COLOR_MATCH = -45,
    ERR_END_SCENE = -46,
    ERR_RENDER_STATE = -47,
    ERR_TEXTURE_STATE = -48,
    ERR_SET_LIGHT = -49,
    ERR_CLEAR_VIEWPORT = -50,
    ERR_ACTIVE_SURFACE = -51,
    ERR_LOCK = -52,
    ERR_UNLOCK = -53,
    ERR_RELEASE_DC = -54,
    ERR_CLEAR_ZBUFFER = -55,
    ERR_BITMAP_TRANSFER2 = -56,
    ERR_GET_PALETTE = -57,
    ERR_PIXEL_FORMAT = -58,
    ERR_SUBCLASS = -59,
    ERR_UNSUBCLASS = -60,
    ERR_NOT_TEXTURE = -61,
    ERR_NO_RELATIVE_CHARACTER = -62,
    ERR_CHARACTER_VARIABLES = -63,
    ERR_COM_INIT = -64,
    ERR_DD_INIT = -65,
    ERR_NO_DIRECTX = -66,
    ERR_DIRECTX_TOO_OLD = -67,
    ERR_NO_DIRECTDRAWCREATE = -68,
    ERR_CREATE_PEN = -69,
    ERR_NOT_INITIALIZED = -70,
    ERR_PARAM_MISSING = -71,
    ERR_NO_ANIMATION_PATTERN = -72,
    ERR_CHIP_SIZE = -73,
    ERR_NO_3D_MODE = -74,
    ERR_CHIP_NUMBER = -75,
    ERR_NO_SURFACE = -76,
    ERR_SAME_SURFACE = -77,
    ERR_NO_ZBUFFER_FORMAT = -78,
    ERR_CREATE_ZBUFFER = -79,
    ERR_ATTACH_ZBUFFER = -80,
    ERR_NOT_SUPPORTED = -255,
};

}  // namespace zorv
