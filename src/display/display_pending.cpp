// Exports of the display (devices, start and stop, screen, update, window hook) that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvCreatePrimarySurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvGetFrameRate)
ZORV_NOT_SUPPORTED_EXPORT(ZorvGetPolygonRate)
ZORV_NOT_SUPPORTED_EXPORT(ZorvLimitSystemBehavior)
ZORV_NOT_SUPPORTED_EXPORT(ZorvReleaseDD)
ZORV_NOT_SUPPORTED_EXPORT(ZorvReleasePrimarySurface)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetPosition)
ZORV_NOT_SUPPORTED_EXPORT(ZorvShowFrameRate)
ZORV_NOT_SUPPORTED_EXPORT(ZorvShowPolygonRate)
ZORV_NOT_SUPPORTED_EXPORT(ZorvUpdateScreen)

// ZorvExit names itself and then runs ZorvReleaseDD, whose name stays in the record.
ZORV_API ZorvExit(int32_t, int32_t, int32_t, int32_t) {
    zorv::EnterExport("ZorvExit");
    return zorv::NotSupported("ZorvReleaseDD");
}
