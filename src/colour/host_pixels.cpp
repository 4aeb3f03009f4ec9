// Pixel work of the host image copy (see host_pixels.h).
#include "colour/host_pixels.h"

#include <cstddef>
#include <cstring>

namespace zorv {

ComponentPlace AnalyseMask(uint32_t mask) {
    if (mask == 0) return ComponentPlace{0, 0};
    int32_t zeros = 0;
    while (((mask >> zeros) & 1) == 0) ++zeros;
    int32_t ones = 0;
    while (zeros + ones < 32 && ((mask >> (zeros + ones)) & 1) != 0) ++ones;
    return ComponentPlace{zeros + ones - 8, mask};
}

PixelPacking AnalysePacking(uint32_t redMask, uint32_t greenMask, uint32_t blueMask, uint32_t alphaMask) {
    return PixelPacking{AnalyseMask(redMask), AnalyseMask(greenMask), AnalyseMask(blueMask), AnalyseMask(alphaMask)};
}

HostConversion ChooseHostConversion(bool palettised, bool alphaMode, uint32_t bitCount) {
    if (bitCount == 8) return palettised && !alphaMode ? HOST_NEAREST : HOST_NOTHING;
    if (bitCount != 16 && bitCount != 32) return HOST_NOTHING;
    if (!alphaMode) return HOST_PACK;
    if (palettised) return HOST_ALPHA_LUMINANCE;
    return bitCount == 16 ? HOST_ALPHA_GREEN16 : HOST_ALPHA_GREEN32;
}

bool FitHostBlock(int32_t width, int32_t height, int32_t posX, int32_t posY, int32_t w, int32_t h, HostBlock* block) {
    const uint32_t width16 = static_cast<uint16_t>(width), height16 = static_cast<uint16_t>(height);
    const uint32_t x = static_cast<uint32_t>(posX), y16 = static_cast<uint16_t>(posY);
    if (w < 0 || h < 0) return false;
    if (uint64_t{x} + static_cast<uint32_t>(w) > width16 || uint64_t{y16} + static_cast<uint32_t>(h) > height16) return false;
    block->width = width16;
    block->height = height16;
    block->x = x;
    block->y = y16;
    block->w = w;
    block->h = h;
    return true;
}

namespace {

// One surface pixel of 1, 2 or 4 bytes, read and written without alignment assumptions.
template <class Pixel>
uint32_t Load(const uint8_t* at) {
    Pixel value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
template <class Pixel>
void Store(uint8_t* at, uint32_t value) {
    const Pixel narrow = static_cast<Pixel>(value);
    std::memcpy(at, &narrow, sizeof narrow);
}

// Runs convert(host pixel bytes, old surface pixel) over the block. Image row r of the buffer
// is memory row height - 1 - r; the block fits, so every row index is inside the buffer.
template <class Pixel, class Convert>
void EachPixel(const HostBlock& b, const BlockTarget& t, Convert convert) {
    const uint32_t hostBytes = b.palettised ? 1 : 3;
    const size_t stride = static_cast<size_t>(b.width) * hostBytes;
    for (int32_t y = 0; y < b.h; ++y) {
        const uint8_t* in = b.bits + (b.height - 1 - (b.y + y)) * stride + static_cast<size_t>(b.x) * hostBytes;
        uint8_t* out = t.bits + static_cast<ptrdiff_t>(y) * t.pitch;
        for (int32_t x = 0; x < b.w; ++x, in += hostBytes, out += sizeof(Pixel)) {
            Store<Pixel>(out, convert(in, Load<Pixel>(out)));
        }
    }
}

template <class Pixel>
void CopyAs(const HostBlock& b, HostConversion kind, const PixelPacking& p, const uint8_t* nearest,
            const BlockTarget& t) {
    const uint8_t* table = b.colourTable;
    switch (kind) {
    case HOST_PACK:
        if (b.palettised) {
            EachPixel<Pixel>(b, t, [&](const uint8_t* in, uint32_t old) {
                const uint8_t* e = table + 4 * in[0];
                return PackColour(p, e[2], e[1], e[0], old);
            });
        } else {
            EachPixel<Pixel>(b, t, [&](const uint8_t* in, uint32_t old) { return PackColour(p, in[2], in[1], in[0], old); });
        }
        break;
    case HOST_ALPHA_GREEN16:
        EachPixel<Pixel>(b, t, [&](const uint8_t* in, uint32_t old) { return AlphaFromGreen16(p, in[0], in[1], old); });
        break;
    case HOST_ALPHA_GREEN32:
        // The green byte of the pixel, as the 16-bit rule uses it: nothing past the pixel's
        // own three bytes is read, so the buffer's last pixel stays inside the buffer.
        EachPixel<Pixel>(b, t, [&](const uint8_t* in, uint32_t old) { return AlphaFromInverted(p, in[1], old); });
        break;
    case HOST_ALPHA_LUMINANCE:
        // The inverted luminance scaled into the alpha field: its top bits at the top of the
        // field, so that every alpha bit follows the image (a 1-bit field is set below 128).
        EachPixel<Pixel>(b, t, [&](const uint8_t* in, uint32_t old) {
            const uint8_t* e = table + 4 * in[0];
            return AlphaFromInverted(p, Luminance(e[2], e[1], e[0]), old);
        });
        break;
    case HOST_NEAREST:
        EachPixel<Pixel>(b, t, [&](const uint8_t* in, uint32_t) { return uint32_t{nearest[in[0]]}; });
        break;
    case HOST_NOTHING:
        break;
    }
}

}  // namespace

void CopyHostBlock(const HostBlock& block, HostConversion kind, const PixelPacking& packing, const uint8_t* nearest,
                   const BlockTarget& target) {
    switch (target.bitCount) {
    case 8:
        if (kind == HOST_NEAREST) CopyAs<uint8_t>(block, kind, packing, nearest, target);
        break;
    case 16:
        if (kind != HOST_NEAREST) CopyAs<uint16_t>(block, kind, packing, nearest, target);
        break;
    case 32:
        if (kind != HOST_NEAREST) CopyAs<uint32_t>(block, kind, packing, nearest, target);
        break;
    default:
        break;
    }
}

}  // namespace zorv
