// Exports of GDI drawing that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvBeginDraw)
ZORV_NOT_SUPPORTED_EXPORT(ZorvDrawCircle)
ZORV_NOT_SUPPORTED_EXPORT(ZorvEndDraw)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetPen)
