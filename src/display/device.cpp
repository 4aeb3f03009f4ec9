// DirectDraw devices: enumeration, display modes, capabilities, the DirectDraw object, and
// the start of the plugin (ZorvInitialize).
#include <cstddef>
#include <cstring>

#include "display/display.h"

namespace zorv {

HostScreen* hostScreen = nullptr;
uint8_t screenMode = SCREEN_WINDOW;
uint8_t renderMode = RENDER_NO_3D;
BOOL savedScreenSaverRunning = FALSE;
int32_t screenSaverBlocked = 0;
IDirectDraw7* directDraw = nullptr;

namespace {

using EnumerateExA = HRESULT(WINAPI*)(LPDDENUMCALLBACKEXA, LPVOID, DWORD);
using CreateEx = HRESULT(WINAPI*)(GUID*, LPVOID*, REFIID, IUnknown*);

// Every device, secondary and non-display ones included.
constexpr DWORD DEVICE_ENUM_FLAGS =
    DDENUM_ATTACHEDSECONDARYDEVICES | DDENUM_DETACHEDSECONDARYDEVICES | DDENUM_NONDISPLAYDEVICES;
// Every mode at every refresh rate, the standard VGA modes included.
constexpr DWORD MODE_ENUM_FLAGS = DDEDM_REFRESHRATES | DDEDM_STANDARDVGAMODES;

// One callback serves counting, finding a device's identifier and copying its description.
struct DeviceSearch {
    int32_t count = 0;
    int32_t wanted = -1;       // set to -1 once found, so no later device matches
    bool found = false;
    bool primary = false;      // the found device has no identifier (the primary driver)
    GUID guid = {};
    HostVariable* description = nullptr;
};

BOOL WINAPI DeviceCallback(GUID* guid, LPSTR description, LPSTR, LPVOID context, HMONITOR) {
    DeviceSearch* search = static_cast<DeviceSearch*>(context);
    if (search->count == search->wanted) {
        search->found = true;
        search->primary = guid == nullptr;
        if (guid != nullptr) search->guid = *guid;
        if (search->description != nullptr && description != nullptr) {
            // A zero-terminated copy that never passes the variable's 4 * size bytes.
            HostVariable* var = search->description;
            size_t room = static_cast<size_t>(var->size) * 4;
            if (room > 0) {
                char* dst = static_cast<char*>(var->data);
                size_t length = std::strlen(description);
                if (length > room - 1) length = room - 1;
                std::memcpy(dst, description, length);
                dst[length] = '\0';
            }
        }
        search->wanted = -1;
    }
    ++search->count;
    return DDENUMRET_OK;
}

int32_t EnumerateDevices(DeviceSearch* search) {
    auto enumerate = reinterpret_cast<EnumerateExA>(reinterpret_cast<void*>(directDrawEnumerateExA));
    HRESULT hr = enumerate(DeviceCallback, search, DEVICE_ENUM_FLAGS);
    if (FAILED(hr)) return DxFail(hr, ERR_ENUM_DEVICES);
    return OK;
}

// Mode counting, or writing four integers per mode into a bounded destination.
struct ModeList {
    int32_t count = 0;
    int32_t* destination = nullptr;
    int32_t capacity = 0;  // elements
};

HRESULT WINAPI ModeCallback(LPDDSURFACEDESC2 desc, LPVOID context) {
    ModeList* list = static_cast<ModeList*>(context);
    if (list->destination != nullptr) {
        // Modes past the end of the script's array are left out.
        int64_t at = static_cast<int64_t>(list->count) * 4;
        if (at + 4 <= list->capacity) {
            int32_t* record = list->destination + at;
            record[0] = static_cast<int32_t>(desc->dwWidth);
            record[1] = static_cast<int32_t>(desc->dwHeight);
            record[2] = static_cast<int32_t>(desc->ddpfPixelFormat.dwRGBBitCount);
            record[3] = static_cast<int32_t>(desc->dwRefreshRate);
        }
    }
    ++list->count;
    return DDENUMRET_OK;
}

// Byte offset in DDCAPS_DX7 of each selector's field; array fields are marked separately.
struct CapsField {
    int16_t offset;   // -1: no field
    bool isArray;
};
#define CAPS(field) {static_cast<int16_t>(offsetof(DDCAPS_DX7, field)), false}
#define CAPS_ARRAY(field) {static_cast<int16_t>(offsetof(DDCAPS_DX7, field)), true}
const CapsField CAPS_FIELDS[56] = {
    CAPS(dwSize), CAPS(dwCaps), CAPS(dwCaps2), CAPS(dwCKeyCaps), CAPS(dwFXCaps), CAPS(dwFXAlphaCaps),
    CAPS(dwPalCaps), CAPS(dwSVCaps), CAPS(dwAlphaBltConstBitDepths), CAPS(dwAlphaBltPixelBitDepths),
    CAPS(dwAlphaBltSurfaceBitDepths), CAPS(dwAlphaOverlayConstBitDepths), CAPS(dwAlphaOverlayPixelBitDepths),
    CAPS(dwAlphaOverlaySurfaceBitDepths), CAPS(dwZBufferBitDepths), CAPS(dwVidMemTotal), CAPS(dwVidMemFree),
    CAPS(dwMaxVisibleOverlays), CAPS(dwCurrVisibleOverlays), CAPS(dwNumFourCCCodes), CAPS(dwAlignBoundarySrc),
    CAPS(dwAlignSizeSrc), CAPS(dwAlignBoundaryDest), CAPS(dwAlignSizeDest), CAPS(dwAlignStrideAlign),
    CAPS_ARRAY(dwRops), {-1, false}, CAPS(dwMinOverlayStretch), CAPS(dwMaxOverlayStretch),
    CAPS(dwMinLiveVideoStretch), CAPS(dwMaxLiveVideoStretch), CAPS(dwMinHwCodecStretch),
    CAPS(dwMaxHwCodecStretch), CAPS(dwReserved1), CAPS(dwReserved2), CAPS(dwReserved3), CAPS(dwSVBCaps),
    CAPS(dwSVBCKeyCaps), CAPS(dwSVBFXCaps), CAPS_ARRAY(dwSVBRops), CAPS(dwVSBCaps), CAPS(dwVSBCKeyCaps),
    CAPS(dwVSBFXCaps), CAPS_ARRAY(dwVSBRops), CAPS(dwSSBCaps), CAPS(dwSSBCKeyCaps), CAPS(dwSSBFXCaps),
    CAPS_ARRAY(dwSSBRops), CAPS(dwMaxVideoPorts), CAPS(dwCurrVideoPorts), CAPS(dwSVBCaps2), CAPS(dwNLVBCaps),
    CAPS(dwNLVBCaps2), CAPS(dwNLVBCKeyCaps), CAPS(dwNLVBFXCaps), CAPS_ARRAY(dwNLVBRops),
};
#undef CAPS
#undef CAPS_ARRAY
static_assert(sizeof(DDCAPS_DX7) == 380, "the DirectX 7 capability layout");

}  // namespace

int32_t CheckDirectDrawEntryPoints() {
    if (ddrawModule == nullptr) return ERR_NO_DIRECTX;
    if (directDrawEnumerateExA == nullptr) return ERR_DIRECTX_TOO_OLD;
    if (directDrawCreateEx == nullptr) return ERR_NO_DIRECTDRAWCREATE;
    return OK;
}

int32_t CreateDirectDrawFor(int32_t choice, IDirectDraw7** out) {
    int32_t status = CheckDirectDrawEntryPoints();
    if (status != OK) return status;
    *out = nullptr;

    GUID* guid;
    DeviceSearch search;
    if (choice == DEVICE_HARDWARE_ONLY) {
        guid = reinterpret_cast<GUID*>(DDCREATE_HARDWAREONLY);
    } else if (choice == DEVICE_EMULATION_ONLY) {
        guid = reinterpret_cast<GUID*>(DDCREATE_EMULATIONONLY);
    } else {
        // The enumeration always runs to its end, also for a negative choice.
        search.wanted = choice;
        status = EnumerateDevices(&search);
        if (status != OK) return status;
        if (!search.found || choice < 0) return ERR_DD_NOT_FOUND;
        guid = search.primary ? nullptr : &search.guid;
    }

    auto create = reinterpret_cast<CreateEx>(reinterpret_cast<void*>(directDrawCreateEx));
    HRESULT hr = create(guid, reinterpret_cast<void**>(out), IID_IDirectDraw7, nullptr);
    if (FAILED(hr)) {
        *out = nullptr;
        return DxFail(hr, ERR_CREATE_DD1);
    }
    return OK;
}

}  // namespace zorv

using namespace zorv;

ZORV_API ZorvEnumDDdevice(HostVariable* var, int32_t, int32_t, int32_t) {
    EnterExport("ZorvEnumDDdevice");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    if (ddrawModule == nullptr) return ERR_NO_DIRECTX;
    if (directDrawEnumerateExA == nullptr) return ERR_DIRECTX_TOO_OLD;
    DeviceSearch search;  // wants no device: only counts
    int32_t status = EnumerateDevices(&search);
    if (status != OK) return status;
    WriteInt(var, search.count);
    return OK;
}

ZORV_API ZorvGetDDdeviceName(HostVariable* var, int32_t index, int32_t, int32_t) {
    EnterExport("ZorvGetDDdeviceName");
    if (!IsStringVar(var)) return ERR_PARAM_TYPE;
    if (ddrawModule == nullptr) return ERR_NO_DIRECTX;
    if (directDrawEnumerateExA == nullptr) return ERR_DIRECTX_TOO_OLD;
    DeviceSearch search;
    // A negative index matches no device: the variable stays as it was.
    search.wanted = index < 0 ? INT32_MIN : index;
    if (var->data != nullptr && var->size > 0) search.description = var;
    return EnumerateDevices(&search);
}

ZORV_API ZorvEnumDisplayMode(HostVariable* var, int32_t choice, int32_t listSwitch, int32_t) {
    EnterExport("ZorvEnumDisplayMode");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    IDirectDraw7* dd = nullptr;
    int32_t status = CreateDirectDrawFor(choice, &dd);
    if (status != OK) return status;

    ModeList list;
    if (listSwitch != 0) {
        list.destination = static_cast<int32_t*>(var->data);
        list.capacity = IntCapacity(var);
    }
    HRESULT hr = dd->EnumDisplayModes(MODE_ENUM_FLAGS, nullptr, &list, ModeCallback);
    dd->Release();
    if (FAILED(hr)) return DxFail(hr, ERR_ENUM_MODES);
    if (listSwitch == 0) WriteInt(var, list.count);
    return OK;
}

// A selector of 0 or more reads the driver's capabilities, a negative one the emulation
// layer's, with the selector's absolute value picking the field.
ZORV_API ZorvGetDDcaps(HostVariable* var, int32_t choice, int32_t selector, int32_t index) {
    EnterExport("ZorvGetDDcaps");
    if (!IsIntVar(var)) return ERR_PARAM_TYPE;
    IDirectDraw7* dd = nullptr;
    int32_t status = CreateDirectDrawFor(choice, &dd);
    if (status != OK) return status;

    DDCAPS_DX7 caps;
    std::memset(&caps, 0, sizeof caps);
    caps.dwSize = sizeof caps;
    HRESULT hr = selector >= 0 ? dd->GetCaps(reinterpret_cast<DDCAPS*>(&caps), nullptr)
                               : dd->GetCaps(nullptr, reinterpret_cast<DDCAPS*>(&caps));
    dd->Release();
    if (FAILED(hr)) return DxFail(hr, ERR_GET_DDCAPS);

    int64_t field = selector < 0 ? -static_cast<int64_t>(selector) : selector;
    if (field > 55 || CAPS_FIELDS[field].offset < 0) return ERR_PARAM_RANGE;
    const CapsField& pick = CAPS_FIELDS[field];
    int32_t element = 0;
    if (pick.isArray) {
        if (index < 0 || index > 7) return ERR_PARAM_RANGE;
        element = index;
    }
    DWORD value;
    std::memcpy(&value, reinterpret_cast<const uint8_t*>(&caps) + pick.offset + element * 4, sizeof value);
    WriteInt(var, static_cast<int32_t>(value));
    return OK;
}

// A DirectDraw object that already exists is released before it is replaced, so that it is
// not lost. While a screen exists its surfaces belong to the object, so it is kept: -8.
ZORV_API ZorvCreateDD(int32_t choice, int32_t, int32_t, int32_t) {
    EnterExport("ZorvCreateDD");
    if (primarySurface != nullptr) return ERR_ALREADY_INITIALIZED;
    // The object is made in place of the kept one, which is released first: a choice that
    // fails leaves no object, so a later screen gets -38 rather than the old device.
    if (directDraw != nullptr) directDraw->Release();
    directDraw = nullptr;
    return CreateDirectDrawFor(choice, &directDraw);
}

ZORV_API ZorvInitialize(HostScreen* screen, int32_t mode, int32_t render, int32_t) {
    EnterExport("ZorvInitialize");
    if (hostScreen != nullptr) return ERR_ALREADY_INITIALIZED;
    if (screen == nullptr || screen->screenType < 2 || screen->screenType > 6) return ERR_SCREEN_TYPE;
    if (mode < SCREEN_FULL || mode > SCREEN_WINDOW || render < RENDER_NO_3D || render > RENDER_D3D_HAL) {
        return ERR_PARAM_RANGE;
    }
    if (ddrawModule == nullptr) return ERR_NO_DIRECTX;
    if (directDrawEnumerateExA == nullptr) return ERR_DIRECTX_TOO_OLD;

    screenMode = static_cast<uint8_t>(mode);
    renderMode = static_cast<uint8_t>(render);
    hostScreen = screen;
    screenSaverBlocked = 0;
    // Switch the screen-saver-running flag off to learn its value, then put it back.
    SystemParametersInfoA(SPI_SETSCREENSAVERRUNNING, FALSE, &savedScreenSaverRunning, 0);
    BOOL scratch = FALSE;
    SystemParametersInfoA(SPI_SETSCREENSAVERRUNNING, static_cast<UINT>(savedScreenSaverRunning), &scratch, 0);
    return OK;
}
