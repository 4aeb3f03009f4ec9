// Exports of colour codes, palettes and host images that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvFadePalette)
ZORV_NOT_SUPPORTED_EXPORT(ZorvGetColorCode)
ZORV_NOT_SUPPORTED_EXPORT(ZorvGetPointColor)
ZORV_NOT_SUPPORTED_EXPORT(ZorvGetRGBFromColorCode)
ZORV_NOT_SUPPORTED_EXPORT(ZorvPaletteCopy)

// ZorvSetPalette is known to scripts as "ZorvGetSetPalette" in the last-call record.
ZORV_API ZorvSetPalette(int32_t, int32_t, int32_t, int32_t) { return zorv::NotSupported("ZorvGetSetPalette"); }
