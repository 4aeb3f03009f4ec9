// Exports of surfaces that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvBoxFill)
ZORV_NOT_SUPPORTED_EXPORT(ZorvClearSurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvCreateOffscreenSurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvInitializeSurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvReleaseOffscreenSurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSelectSurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetDrawArea)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetTransparentColor)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSurfaceToSurface)
