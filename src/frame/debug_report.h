// The debug build, ZorvD.hpi, exports every function through a wrapper that calls it and,
// when the status is negative, reports the call through OutputDebugStringA: the export, its
// four arguments, the status with its text, and the DirectX result when the call stored one.
// The wrappers are generated from src/exports.table (cmake/exports.cmake) into the debug
// build only; Zorv.hpi exports the functions themselves and reports nothing.
#pragma once

#include "frame/frame.h"

namespace zorv {

void ReportFailure(const char* name, int32_t a, int32_t b, int32_t c, int32_t d, int32_t status, bool dxStored);

}  // namespace zorv

// The exports are defined with other parameter types in their own files; every one takes four
// 32-bit values on the stack, so the wrapper passes them on as integers.
#define ZORV_DEBUG_WRAPPER(name)                                                              \
    ZORV_API name(int32_t, int32_t, int32_t, int32_t);                                        \
    ZORV_API ZorvDebug_##name(int32_t a, int32_t b, int32_t c, int32_t d) {                   \
        const uint32_t stores = zorv::dxResultStores;                                         \
        const int32_t dxBefore = zorv::lastDxResult;                                          \
        const int32_t status = name(a, b, c, d);                                              \
        if (status < 0) {                                                                     \
            const bool dxStored = zorv::dxResultStores != stores || zorv::lastDxResult != dxBefore; \
            zorv::ReportFailure(#name, a, b, c, d, status, dxStored);                         \
        }                                                                                     \
        return status;                                                                        \
    }
