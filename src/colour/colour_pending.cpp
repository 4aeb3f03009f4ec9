// Exports of colour codes, palettes and host images that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvHSPToSurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSurfaceToHSP)
