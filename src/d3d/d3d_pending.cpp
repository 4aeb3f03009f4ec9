// Exports of Direct3D state that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvGetD3Dcaps)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetRenderColor)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetRenderState)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetTextureStageState)
