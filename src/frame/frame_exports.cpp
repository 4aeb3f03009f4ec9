// ZorvGetVersion and ZorvGetError.
#include "frame/frame.h"

using namespace zorv;

namespace {
constexpr int32_t PLUGIN_VERSION = 101;
}

ZORV_API ZorvGetVersion(HostVariable* var, int32_t, int32_t, int32_t) {
    EnterExport("ZorvGetVersion");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    WriteInt(var, PLUGIN_VERSION);
    return OK;
}

// Selector -3: text of the last DirectX result; -2: the result itself; -1: the last-call
// name; any other n: the status text of code -n. Leaves the last-call record alone, so it
// reports the call before it.
ZORV_API ZorvGetError(HostVariable* var, int32_t selector, int32_t, int32_t) {
    if (selector == -2) {
        if (!IsIntVar(var)) return ERR_PARAM_TYPE;
        WriteInt(var, lastDxResult);
        return OK;
    }
    if (!IsStringVar(var)) return ERR_PARAM_TYPE;
    const char* text;
    if (selector == -3) {
        text = DxResultText(lastDxResult);
    } else if (selector == -1) {
        text = lastCall;
    } else {
        // Negating INT_MIN wraps to itself, which formats as an unknown code.
        text = StatusText(static_cast<int32_t>(0u - static_cast<uint32_t>(selector)));
    }
    CopyTextToHost(static_cast<char*>(var->data), var->size, text);
    return OK;
}
