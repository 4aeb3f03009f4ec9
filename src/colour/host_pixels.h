// Pixel work of the host image copy: where the host's 8-bit components land in a surface
// pixel, the alpha rules, and the row loop from a host buffer (rows bottom-up) into locked
// surface memory. Pure code: built into the plugin and natively for tests and benchmarks.
#pragma once

#include <cstdint>

namespace zorv {

// Where an 8-bit component goes in a pixel: shifted by `shift` (left when positive, right
// when negative), then cut to the mask.
struct ComponentPlace {
    int32_t shift;
    uint32_t mask;
};

// For a mask with z zero bits below its lowest set bit and n set bits from there, the shift
// is z + n - 8, so the component's top bits meet the mask's top bits. An empty mask takes
// nothing.
ComponentPlace AnalyseMask(uint32_t mask);

inline uint32_t Place(const ComponentPlace& place, uint32_t component) {
    const uint32_t moved = place.shift >= 0 ? component << place.shift : component >> -place.shift;
    return moved & place.mask;
}

// A surface's four masks, analysed once per copy.
struct PixelPacking {
    ComponentPlace red, green, blue, alpha;
};
PixelPacking AnalysePacking(uint32_t redMask, uint32_t greenMask, uint32_t blueMask, uint32_t alphaMask);

// The colour placed into the pixel; the alpha bits the pixel had stay.
inline uint32_t PackColour(const PixelPacking& p, uint32_t red, uint32_t green, uint32_t blue, uint32_t old) {
    return Place(p.red, red) | Place(p.green, green) | Place(p.blue, blue) | (old & p.alpha.mask);
}

// A 24-bit mask image onto a 16-bit surface: the alpha field takes NOT (blue + 256 x green),
// that is the inverted top bits of green for the usual fields at the top of the word; the
// colour bits stay.
inline uint32_t AlphaFromGreen16(const PixelPacking& p, uint32_t blue, uint32_t green, uint32_t old) {
    return (~(blue + 256 * green) & p.alpha.mask) | (old & ~p.alpha.mask);
}

// Inverted 8-bit value placed into the alpha field like a colour component (its top bits at
// the top of the field); the colour bits stay.
inline uint32_t AlphaFromInverted(const PixelPacking& p, uint32_t value, uint32_t old) {
    return Place(p.alpha, ~value & 0xFF) | (old & ~p.alpha.mask);
}

// Luminance 0 ... 255 of a colour: weights 19595, 38470 and 7471 out of 65536.
inline uint32_t Luminance(uint32_t red, uint32_t green, uint32_t blue) {
    return (red * 0x4C8B + green * 0x9646 + blue * 0x1D2F) >> 16;
}

// What a copy does for a buffer kind, mode and surface bit count.
enum HostConversion : uint8_t {
    HOST_NOTHING,          // the pairing is not supported: the surface is left alone
    HOST_PACK,             // colour packing, alpha bits kept
    HOST_ALPHA_GREEN16,    // 24-bit mask onto 16 bits
    HOST_ALPHA_GREEN32,    // 24-bit mask onto 32 bits
    HOST_NEAREST,          // 8-bit buffer onto an 8-bit surface: index of the nearest colour
    HOST_ALPHA_LUMINANCE,  // 8-bit mask onto 16 or 32 bits
};
HostConversion ChooseHostConversion(bool palettised, bool alphaMode, uint32_t bitCount);

// The part of the host buffer a copy reads: rows of exactly width x 3 bytes (blue, green,
// red) or width bytes (palette indices) stored bottom-up; the colour table holds 256 entries
// of 4 bytes (blue, green, red, unused).
struct HostBlock {
    const uint8_t* bits;
    const uint8_t* colourTable;
    bool palettised;
    uint32_t width, height;  // the buffer's, as unsigned 16-bit numbers
    uint32_t x, y;           // the block's top left corner in image rows
    int32_t w, h;
};

// Fills the block from the record's fields when a w x h block at the position fits into the
// buffer. Width, height and position y count as unsigned 16-bit numbers; position x as an
// unsigned 32-bit number, so a negative one never fits.
bool FitHostBlock(int32_t width, int32_t height, int32_t posX, int32_t posY, int32_t w, int32_t h, HostBlock* block);

// Locked surface memory: the block's top left pixel, the pitch, the bits per pixel.
struct BlockTarget {
    uint8_t* bits;
    int32_t pitch;
    uint32_t bitCount;
};

// Converts every pixel of the block into the target. `nearest` maps host palette indices to
// surface indices (HOST_NEAREST only). Reads only the block's pixels and the colour table's
// entries; writes only w pixels of h rows of the target.
void CopyHostBlock(const HostBlock& block, HostConversion kind, const PixelPacking& packing, const uint8_t* nearest,
                   const BlockTarget& target);

}  // namespace zorv
