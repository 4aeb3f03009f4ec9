// Exports of chips that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvPutChip)
ZORV_NOT_SUPPORTED_EXPORT(ZorvPutChip2)
ZORV_NOT_SUPPORTED_EXPORT(ZorvPutChip3)
ZORV_NOT_SUPPORTED_EXPORT(ZorvPutChip4)
