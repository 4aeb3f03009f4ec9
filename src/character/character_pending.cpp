// Exports of characters that are not built yet: each records its name and returns -255.
#include "frame/frame.h"

ZORV_NOT_SUPPORTED_EXPORT(ZorvDrawString)
ZORV_NOT_SUPPORTED_EXPORT(ZorvSetStringChip)
