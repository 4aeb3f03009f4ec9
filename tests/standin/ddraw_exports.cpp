// The stand-in's ddraw.dll entry points: the DLL entry, DirectDrawEnumerateExA and
// DirectDrawCreateEx. The .def files choose which of them a build exports.
#include "standin_private.h"

using namespace standin;

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) StartUp();
    if (reason == DLL_PROCESS_DETACH) ShutDown();
    return TRUE;
}

namespace {

constexpr DWORD DEVICE_ENUM_FLAGS =
    DDENUM_ATTACHEDSECONDARYDEVICES | DDENUM_DETACHEDSECONDARYDEVICES | DDENUM_NONDISPLAYDEVICES;

// Reports the configured devices until the callback returns 0. Devices after the first
// are secondary monitors: only reported when asked for.
HRESULT EnumerateDevices(LPDDENUMCALLBACKEXA callback, LPVOID context, DWORD flags) {
    if (callback == nullptr || (flags & ~DEVICE_ENUM_FLAGS) != 0) return DDERR_INVALIDPARAMS;
    Device devices[MAX_DEVICES];
    int count = Devices(devices);
    if ((flags & DDENUM_ATTACHEDSECONDARYDEVICES) == 0 && count > 1) count = 1;
    for (int i = 0; i < count; ++i) {
        Device& device = devices[i];
        GUID* guid = device.hasGuid ? &device.guid : nullptr;
        if (!callback(guid, device.description, device.driverName, context, nullptr)) break;
    }
    return DD_OK;
}

HRESULT CreateDirectDraw(GUID* guid, LPVOID* out, REFIID iid, IUnknown* outer) {
    if (out == nullptr) return DDERR_INVALIDPARAMS;
    *out = nullptr;
    if (!IsEqualGUID(iid, IID_IDirectDraw7)) return DDERR_INVALIDPARAMS;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    int device = DeviceIndex(guid);
    if (device < 0) return DDERR_INVALIDDIRECTDRAWGUID;
    IDirectDraw7* dd = NewDirectDraw7(device);
    if (dd == nullptr) return DDERR_OUTOFMEMORY;
    *out = dd;
    return DD_OK;
}

}  // namespace

extern "C" HRESULT WINAPI DirectDrawEnumerateExA(LPDDENUMCALLBACKEXA callback, LPVOID context, DWORD flags) {
    std::string args = "callback=" + FunctionPointer(callback) + ", context=" + Pointer(context) +
                       ", flags=" + Hex(flags);
    HRESULT hr;
    if (!Injected("DirectDrawEnumerateExA", &hr)) hr = EnumerateDevices(callback, context, flags);
    return Finish("DirectDrawEnumerateExA", args, hr);
}

extern "C" HRESULT WINAPI DirectDrawCreateEx(GUID* guid, LPVOID* out, REFIID iid, IUnknown* outer) {
    std::string args = "guid=" + DeviceGuidText(guid) + ", out=" + Pointer(out) + ", iid=" + IidText(iid) +
                       ", outer=" + Pointer(outer);
    HRESULT hr;
    if (!Injected("DirectDrawCreateEx", &hr)) hr = CreateDirectDraw(guid, out, iid, outer);
    return Finish("DirectDrawCreateEx", args, hr);
}
