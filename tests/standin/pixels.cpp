// Pixel memory of the stand-in's surfaces and the pixel-format arithmetic that blits,
// fills and clears need.
#include <cstring>
#include <new>

#include "standin_private.h"

namespace standin {

namespace {

bool IsPaletteFormat(const DDPIXELFORMAT& f) {
    return (f.dwFlags & (DDPF_PALETTEINDEXED1 | DDPF_PALETTEINDEXED2 | DDPF_PALETTEINDEXED4 |
                         DDPF_PALETTEINDEXED8)) != 0;
}

int Shift(DWORD mask) {
    if (mask == 0) return 0;
    int shift = 0;
    while ((mask & 1u) == 0) {
        mask >>= 1;
        ++shift;
    }
    return shift;
}

int Width(DWORD mask) {
    mask >>= Shift(mask);
    int bits = 0;
    while (mask & 1u) {
        mask >>= 1;
        ++bits;
    }
    return bits;
}

// One channel of a pixel scaled to 0..255; `absent` when the format has no such channel.
DWORD Unpack(DWORD value, DWORD mask, DWORD absent) {
    if (mask == 0) return absent;
    int bits = Width(mask);
    DWORD raw = (value & mask) >> Shift(mask);
    DWORD top = (bits >= 32) ? 0xFFFFFFFFu : ((1u << bits) - 1);
    return static_cast<DWORD>((static_cast<uint64_t>(raw) * 255 + top / 2) / top);
}

DWORD Pack(DWORD channel, DWORD mask) {
    if (mask == 0) return 0;
    int bits = Width(mask);
    DWORD top = (bits >= 32) ? 0xFFFFFFFFu : ((1u << bits) - 1);
    DWORD raw = static_cast<DWORD>((static_cast<uint64_t>(channel) * top + 127) / 255);
    return (raw << Shift(mask)) & mask;
}

}  // namespace

DWORD FormatBits(const DDPIXELFORMAT& format) { return format.dwRGBBitCount; }

bool FormatAccepted(const DDPIXELFORMAT& f) {
    if (f.dwSize != sizeof(DDPIXELFORMAT)) return false;
    if (f.dwFlags & DDPF_ZBUFFER) return f.dwZBufferBitDepth >= 8 && f.dwZBufferBitDepth <= 32;
    if (f.dwFlags & DDPF_PALETTEINDEXED8) return f.dwRGBBitCount == 8;
    if (f.dwFlags & DDPF_PALETTEINDEXED4) return f.dwRGBBitCount == 4;
    if (f.dwFlags & DDPF_PALETTEINDEXED2) return f.dwRGBBitCount == 2;
    if (f.dwFlags & DDPF_PALETTEINDEXED1) return f.dwRGBBitCount == 1;
    if (f.dwFlags & DDPF_RGB) {
        DWORD bits = f.dwRGBBitCount;
        return bits == 8 || bits == 16 || bits == 24 || bits == 32;
    }
    return false;
}

bool SameColourLayout(const DDPIXELFORMAT& a, const DDPIXELFORMAT& b) {
    if (a.dwRGBBitCount != b.dwRGBBitCount) return false;
    if (IsPaletteFormat(a) || IsPaletteFormat(b)) return IsPaletteFormat(a) == IsPaletteFormat(b);
    return a.dwRBitMask == b.dwRBitMask && a.dwGBitMask == b.dwGBitMask && a.dwBBitMask == b.dwBBitMask;
}

bool BothRgb(const DDPIXELFORMAT& a, const DDPIXELFORMAT& b) {
    auto rgb = [](const DDPIXELFORMAT& f) {
        return (f.dwFlags & DDPF_RGB) != 0 && !IsPaletteFormat(f) && (f.dwFlags & DDPF_ZBUFFER) == 0;
    };
    return rgb(a) && rgb(b);
}

DWORD ConvertPixel(DWORD value, const DDPIXELFORMAT& from, const DDPIXELFORMAT& to) {
    DWORD r = Unpack(value, from.dwRBitMask, 0);
    DWORD g = Unpack(value, from.dwGBitMask, 0);
    DWORD b = Unpack(value, from.dwBBitMask, 0);
    DWORD a = (from.dwFlags & DDPF_ALPHAPIXELS) ? Unpack(value, from.dwRGBAlphaBitMask, 255) : 255;
    DWORD out = Pack(r, to.dwRBitMask) | Pack(g, to.dwGBitMask) | Pack(b, to.dwBBitMask);
    if (to.dwFlags & DDPF_ALPHAPIXELS) out |= Pack(a, to.dwRGBAlphaBitMask);
    return out;
}

DWORD PackColour(D3DCOLOR colour, const DDPIXELFORMAT& format) {
    if (IsPaletteFormat(format)) return colour & 0xFF;
    DDPIXELFORMAT argb = {};
    argb.dwSize = sizeof argb;
    argb.dwFlags = DDPF_RGB | DDPF_ALPHAPIXELS;
    argb.dwRGBBitCount = 32;
    argb.dwRBitMask = 0x00FF0000;
    argb.dwGBitMask = 0x0000FF00;
    argb.dwBBitMask = 0x000000FF;
    argb.dwRGBAlphaBitMask = 0xFF000000;
    return ConvertPixel(colour, argb, format);
}

// ---- PixelMemory ----

bool PixelMemory::Create(int w, int h, const DDPIXELFORMAT& format) {
    Free();
    width = w;
    height = h;
    bpp = static_cast<int>(FormatBits(format));
    const bool depth = (format.dwFlags & DDPF_ZBUFFER) != 0;
    // GDI draws on 1, 4, 8, 16, 24 and 32 bits per pixel.
    const bool gdi = !depth && (bpp == 1 || bpp == 4 || bpp == 8 || bpp == 16 || bpp == 24 || bpp == 32);
    if (gdi) {
        struct {
            BITMAPINFOHEADER header;
            DWORD masks[256];  // three bit masks, or the colour table
        } info;
        std::memset(&info, 0, sizeof info);
        info.header.biSize = sizeof(BITMAPINFOHEADER);
        info.header.biWidth = w;
        info.header.biHeight = -h;  // top-down, as DirectDraw hands out its memory
        info.header.biPlanes = 1;
        info.header.biBitCount = static_cast<WORD>(bpp);
        info.header.biCompression = BI_RGB;
        if ((bpp == 16 || bpp == 32) && (format.dwFlags & DDPF_RGB) && format.dwRBitMask != 0) {
            info.header.biCompression = BI_BITFIELDS;
            info.masks[0] = format.dwRBitMask;
            info.masks[1] = format.dwGBitMask;
            info.masks[2] = format.dwBBitMask;
        } else if (bpp <= 8) {
            int count = 1 << bpp;
            info.header.biClrUsed = static_cast<DWORD>(count);
            for (int i = 0; i < count; ++i) {
                BYTE grey = static_cast<BYTE>(i * 255 / (count - 1));
                info.masks[i] = RGB(grey, grey, grey);
            }
        }
        void* memory = nullptr;
        dib = CreateDIBSection(nullptr, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS, &memory, nullptr, 0);
        if (dib != nullptr && memory != nullptr) {
            bits = static_cast<uint8_t*>(memory);
            pitch = static_cast<LONG>(((static_cast<LONG>(w) * bpp + 31) / 32) * 4);
            Clear();
            return true;
        }
        if (dib != nullptr) DeleteObject(dib);
        dib = nullptr;
    }
    // Plain memory: Z buffers, and formats GDI cannot draw on (no device context for them).
    pitch = static_cast<LONG>(((static_cast<LONG>(w) * bpp + 31) / 32) * 4);
    size_t size = static_cast<size_t>(pitch) * static_cast<size_t>(h);
    plain = new (std::nothrow) uint8_t[size > 0 ? size : 1];
    if (plain == nullptr) return false;
    bits = plain;
    Clear();
    return true;
}

void PixelMemory::Free() {
    if (dib != nullptr) DeleteObject(dib);
    delete[] plain;
    dib = nullptr;
    plain = nullptr;
    bits = nullptr;
}

void PixelMemory::Clear() {
    if (bits != nullptr) std::memset(bits, 0, static_cast<size_t>(pitch) * static_cast<size_t>(height));
}

DWORD PixelMemory::Read(int x, int y) const {
    const uint8_t* row = Row(y);
    switch (bpp) {
    case 32: { DWORD v; std::memcpy(&v, row + x * 4, 4); return v; }
    case 24: return row[x * 3] | (row[x * 3 + 1] << 8) | (static_cast<DWORD>(row[x * 3 + 2]) << 16);
    case 16: return row[x * 2] | (row[x * 2 + 1] << 8);
    case 8: return row[x];
    default: {
        // 1, 2 and 4 bits: the leftmost pixel in the byte's high bits, as in a DIB.
        int bit = x * bpp;
        int shift = 8 - bpp - (bit % 8);
        return (row[bit / 8] >> shift) & ((1u << bpp) - 1);
    }
    }
}

void PixelMemory::Write(int x, int y, DWORD value) {
    uint8_t* row = Row(y);
    switch (bpp) {
    case 32: std::memcpy(row + x * 4, &value, 4); break;
    case 24:
        row[x * 3] = static_cast<uint8_t>(value);
        row[x * 3 + 1] = static_cast<uint8_t>(value >> 8);
        row[x * 3 + 2] = static_cast<uint8_t>(value >> 16);
        break;
    case 16:
        row[x * 2] = static_cast<uint8_t>(value);
        row[x * 2 + 1] = static_cast<uint8_t>(value >> 8);
        break;
    case 8: row[x] = static_cast<uint8_t>(value); break;
    default: {
        int bit = x * bpp;
        int shift = 8 - bpp - (bit % 8);
        uint8_t mask = static_cast<uint8_t>(((1u << bpp) - 1) << shift);
        row[bit / 8] = static_cast<uint8_t>((row[bit / 8] & ~mask) | ((value << shift) & mask));
        break;
    }
    }
}

void PixelMemory::Fill(const RECT& rect, DWORD value) {
    if (bpp < 32) value &= (1u << bpp) - 1;
    for (LONG y = rect.top; y < rect.bottom; ++y) {
        if (bpp == 8) {
            std::memset(Row(y) + rect.left, static_cast<int>(value), static_cast<size_t>(rect.right - rect.left));
            continue;
        }
        for (LONG x = rect.left; x < rect.right; ++x) Write(x, y, value);
    }
}

}  // namespace standin
