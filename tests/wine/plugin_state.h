// A look inside the running plugin through the block ZorvCombine hands to cooperating
// plugins: the surface table and its records, read at the record offsets cooperating
// plugins rely on (written down here independently of the plugin's headers), and the
// pixels of a surface, read by locking it.
#pragma once

#include <windows.h>
#include <ddraw.h>
#include <d3d.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "plugin_fixture.h"

namespace wine_tests {

struct Record {
    const uint8_t* bytes = nullptr;

    template <class T>
    T At(size_t offset) const {
        T value;
        std::memcpy(&value, bytes + offset, sizeof value);
        return value;
    }
    IDirectDrawSurface7* Surface() const { return At<IDirectDrawSurface7*>(0); }
    void* Device() const { return At<void*>(4); }
    int32_t Reserved8() const { return At<int32_t>(8); }
    uint8_t AlphaShift() const { return At<uint8_t>(84); }
    uint32_t DescSize() const { return At<uint32_t>(88); }
    int32_t Pitch() const { return At<int32_t>(104); }
    uint32_t BitCount() const { return At<uint32_t>(172); }
    uint32_t RedMask() const { return At<uint32_t>(176); }
    uint32_t AlphaMask() const { return At<uint32_t>(188); }
    uint32_t DescCaps() const { return At<uint32_t>(192); }
    int32_t TransparentOn() const { return At<int32_t>(212); }
    uint32_t TransparentCode() const { return At<uint32_t>(216); }
    int32_t RenderColorOn() const { return At<int32_t>(220); }
    uint16_t RenderColor(int i) const { return At<uint16_t>(224 + 2 * i); }
    int32_t Width() const { return At<int32_t>(232); }
    int32_t Height() const { return At<int32_t>(236); }
    RECT DrawArea() const { return RECT{At<LONG>(240), At<LONG>(244), At<LONG>(248), At<LONG>(252)}; }
    POINT Position() const { return POINT{At<LONG>(256), At<LONG>(260)}; }
    uint32_t WhiteCode() const { return At<uint32_t>(264); }
    int32_t AlphaBlendOn() const { return At<int32_t>(272); }
    int32_t SrcBlend() const { return At<int32_t>(276); }
    int32_t DestBlend() const { return At<int32_t>(280); }
    uint32_t Caps() const { return At<uint32_t>(284); }
    uintptr_t ZBuffer() const { return At<uintptr_t>(288); }
};

struct PluginState {
    const uint8_t* table = nullptr;
    int32_t count = 0;
    const uint8_t* current = nullptr;  // the record currentSurface points at
    void* direct3D = nullptr;
    void* directDraw = nullptr;
    uint8_t screenMode = 0;
    uint8_t flipMode = 0;
    uint8_t renderMode = 0;
    int32_t signature = 0;

    Record At(int32_t index) const { return Record{table + 292 * index}; }
    int32_t CurrentIndex() const {
        return current == nullptr ? -1 : static_cast<int32_t>((current - table) / 292);
    }
};

// Calls ZorvCombine and reads its block.
PluginState ReadState();

// A surface's pixels, one 32-bit value per pixel in the surface's own format.
struct Pixels {
    int32_t width = 0;
    int32_t height = 0;
    uint32_t bits = 0;
    std::vector<uint32_t> values;
    uint32_t At(int32_t x, int32_t y) const { return values[static_cast<size_t>(y) * width + x]; }
    bool ok = false;
};
Pixels ReadPixels(IDirectDrawSurface7* surface);

// Writes a surface (or any pixel array) as a PNG file, for looking at.
bool SavePng(const char* path, const Pixels& pixels);

}  // namespace wine_tests
