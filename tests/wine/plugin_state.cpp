// Reading the plugin's state and surface pixels for the tests.
#include "plugin_state.h"


namespace wine_tests {

PluginState ReadState() {
    host::Variable v = host::Variable::Int(1);
    PluginState state;
    if (plugin->Call("ZorvCombine", v.Arg()) != 0) return state;
    const uint8_t* block = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(static_cast<uint32_t>(v.Ints()[0])));
    auto read32 = [block](size_t offset) {
        uint32_t value;
        std::memcpy(&value, block + offset, sizeof value);
        return value;
    };
    const uint8_t* const* currentAddress = reinterpret_cast<const uint8_t* const*>(read32(4));
    state.current = *currentAddress;
    state.table = reinterpret_cast<const uint8_t*>(read32(8));
    state.count = static_cast<int32_t>(read32(12));
    state.direct3D = reinterpret_cast<void*>(read32(24));
    state.directDraw = reinterpret_cast<void*>(read32(28));
    state.screenMode = block[32];
    state.flipMode = block[33];
    state.renderMode = block[34];
    state.signature = static_cast<int32_t>(read32(36));
    return state;
}

Pixels ReadPixels(IDirectDrawSurface7* surface) {
    Pixels out;
    if (surface == nullptr) return out;
    DDSURFACEDESC2 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    if (FAILED(surface->Lock(nullptr, &desc, DDLOCK_WAIT | DDLOCK_READONLY, nullptr))) return out;
    out.width = static_cast<int32_t>(desc.dwWidth);
    out.height = static_cast<int32_t>(desc.dwHeight);
    out.bits = desc.ddpfPixelFormat.dwRGBBitCount;
    const uint32_t bytes = (out.bits + 7) / 8;
    out.values.resize(static_cast<size_t>(out.width) * out.height);
    for (int32_t y = 0; y < out.height; ++y) {
        const uint8_t* row = static_cast<const uint8_t*>(desc.lpSurface) + static_cast<ptrdiff_t>(y) * desc.lPitch;
        for (int32_t x = 0; x < out.width; ++x) {
            uint32_t value = 0;
            std::memcpy(&value, row + x * bytes, bytes);
            out.values[static_cast<size_t>(y) * out.width + x] = value;
        }
    }
    surface->Unlock(nullptr);
    out.ok = true;
    return out;
}

bool SavePng(const char* path, const Pixels& pixels) {
    std::vector<uint32_t> rgb(pixels.values.size());
    for (size_t i = 0; i < pixels.values.size(); ++i) {
        uint32_t v = pixels.values[i];
        if (pixels.bits == 16) {
            v = (((v >> 11) & 31) * 255 / 31) << 16 | (((v >> 5) & 63) * 255 / 63) << 8 | ((v & 31) * 255 / 31);
        } else if (pixels.bits == 8) {
            v = v * 0x010101u;
        }
        rgb[i] = v & 0x00FFFFFFu;
    }
    return host::SavePng(path, rgb, pixels.width, pixels.height);
}

}  // namespace wine_tests
