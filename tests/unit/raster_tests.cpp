// The software quad rasterizer against a slow model that walks the quad pixel by pixel as the
// drawing is defined: 16-bit positions, Bresenham walkers, rounding accumulators by repeated
// subtraction, every plot tested. Seeded random cases cover every pixel size, keyed and plain
// copies, clipping, wrapped coordinates, long spans and corners anywhere in 32 bits; every
// target sits in guard bytes.
#include "chip/quad_raster.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace zorv {
namespace {

constexpr uint8_t GUARD = 0xA5;
constexpr int32_t GUARD_BYTES = 64;  // before the first row and after the last

// Pixels of 1 ... 4 bytes, rows padded inside the pitch. A target has guard bytes around it; a
// chip (padding 3) ends right after its last pixel, so that AddressSanitizer sees any read past it.
struct Image {
    int32_t w, h, bytes, pitch, guard;
    std::vector<uint8_t> mem;
    Image(int32_t width, int32_t height, int32_t b, int32_t padding = 7)
        : w(width), h(height), bytes(b), pitch(width * b + padding), guard(padding == 3 ? 0 : GUARD_BYTES),
          mem(static_cast<size_t>(2 * guard + height * pitch - (guard ? 0 : padding)), GUARD) {
        for (int32_t y = 0; y < h; ++y) std::memset(At(0, y), 0, static_cast<size_t>(w * bytes));
    }
    uint8_t* At(int32_t x, int32_t y) { return mem.data() + guard + y * pitch + x * bytes; }
    uint32_t Get(int32_t x, int32_t y) const {
        uint32_t v = 0;
        for (int32_t k = 0; k < bytes; ++k) v |= uint32_t{const_cast<Image*>(this)->At(x, y)[k]} << (8 * k);
        return v;
    }
    void Set(int32_t x, int32_t y, uint32_t v) { for (int32_t k = 0; k < bytes; ++k) At(x, y)[k] = uint8_t(v >> (8 * k)); }
    bool GuardsIntact() const {
        for (size_t i = 0; i < mem.size(); ++i) {
            const int64_t rel = static_cast<int64_t>(i) - GUARD_BYTES;  // from the first pixel
            if (mem[i] != GUARD && !(rel >= 0 && rel < int64_t{h} * pitch && rel % pitch < w * bytes)) return false;
        }
        return true;
    }
    RasterSurface Target(int32_t left = 0, int32_t top = 0) { return {At(left, top), pitch, bytes * 8, left, top, w, h}; }
    RasterSource Source(bool keyed = false, uint32_t key = 0) const { return {mem.data() + guard, pitch, bytes * 8, keyed, key}; }
    RasterRect Rect() const { return RasterRect{100, 40, 100 + w, 40 + h}; }  // only its size counts
};

// ---- The model -----------------------------------------------------------------------------

int32_t Wrap16(int64_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v & 0xFFFF)); }

struct Walker { int32_t x, y, sx, sy, major, minor, e; bool xMajor; };
Walker Start(int64_t ax, int64_t ay, int64_t bx, int64_t by) {
    const int32_t dx = Wrap16(bx - ax), dy = Wrap16(by - ay);
    const bool xMajor = std::abs(dx) > std::abs(dy);
    const int32_t major = std::max(std::abs(dx), std::abs(dy)), minor = std::min(std::abs(dx), std::abs(dy));
    return Walker{Wrap16(ax), Wrap16(ay), dx < 0 ? -1 : 1, dy < 0 ? -1 : 1, major, minor, -major, xMajor};
}
void MajorMove(Walker& w) { (w.xMajor ? w.x : w.y) = Wrap16(w.xMajor ? w.x + w.sx : w.y + w.sy); }
void MinorMove(Walker& w) { (w.xMajor ? w.y : w.x) = Wrap16(w.xMajor ? w.y + w.sy : w.x + w.sx); }
void Step(Walker& w) {
    MajorMove(w);
    w.e += 2 * w.minor;
    if (w.e > 0) {
        MinorMove(w);
        w.e -= 2 * w.major;
    }
}
// Moves a sample index on while the accumulator is positive (never when major is 0).
void Pick(int64_t& acc, int64_t& index, int64_t last, int64_t major) {
    for (acc += 2 * last; major > 0 && acc >= 1; ++index) acc -= 2 * major;
}

// Returns what RasterizeQuad must return; draws onto out (addressed by position only).
int32_t Model(Image& out, const RasterClip& clip, const RasterQuad& q, const Image& chip, bool keyed, uint32_t key) {
    if (chip.bytes != out.bytes) return 0;
    if (std::max(*std::min_element(q.x, q.x + 4), 0) > std::min(*std::max_element(q.x, q.x + 4), out.w) ||
        std::max(*std::min_element(q.y, q.y + 4), 0) > std::min(*std::max_element(q.y, q.y + 4), out.h)) return 0;
    auto inClip = [&](int32_t x, int32_t y) { return clip.left <= x && x <= clip.right && clip.top <= y && y <= clip.bottom; };
    bool unclipped = true;
    for (int i = 0; i < 4; ++i) unclipped = unclipped && inClip(q.x[i], q.y[i]);
    if (!unclipped && (std::max(clip.left, 0) > std::min(clip.right, out.w - 1) ||
                       std::max(clip.top, 0) > std::min(clip.bottom, out.h - 1))) return 0;
    const uint32_t keyValue = chip.bytes == 1 ? key & 0xFFu : chip.bytes == 2 ? key & 0xFFFFu : key;
    auto plot = [&](int32_t x, int32_t y, int64_t column, int64_t row) {
        if (column >= chip.w || row >= chip.h) ADD_FAILURE() << "model reads outside the chip";
        if (!unclipped && !inClip(x, y)) return;
        if (x < 0 || x >= out.w || y < 0 || y >= out.h) return;  // never outside the surface
        const uint32_t v = chip.Get(static_cast<int32_t>(column), static_cast<int32_t>(row));
        if (!keyed || v != keyValue) out.Set(x, y, v);
    };
    Walker left = Start(q.x[0], q.y[0], q.x[3], q.y[3]), right = Start(q.x[1], q.y[1], q.x[2], q.y[2]);
    Walker& master = left.major > right.major ? left : right;
    Walker& slave = left.major > right.major ? right : left;
    int64_t slaveAcc = -master.major, rowAcc = -master.major, row = 0;
    for (uint32_t j = 0; j < static_cast<uint16_t>(master.major + 1); ++j) {
        Walker span = Start(left.x, left.y, right.x, right.y);
        int64_t columnAcc = -span.major, column = 0;
        for (uint32_t k = 0; k < static_cast<uint16_t>(span.major + 1); ++k) {
            plot(span.x, span.y, column, row);
            MajorMove(span);
            span.e += 2 * span.minor;
            if (span.e > 0) {
                plot(span.x, span.y, column, row);
                MinorMove(span);
                span.e -= 2 * span.major;
            }
            Pick(columnAcc, column, chip.w - 1, span.major);
        }
        Step(master);
        Pick(rowAcc, row, chip.h - 1, master.major);
        slaveAcc += 2 * slave.major;
        if (slaveAcc > 0) {
            slaveAcc -= 2 * master.major;
            Step(slave);
        }
    }
    return 1;
}

RasterQuad Quad(int32_t x0, int32_t y0, int32_t x1, int32_t y1, int32_t x2, int32_t y2, int32_t x3, int32_t y3) {
    return RasterQuad{{x0, x1, x2, x3}, {y0, y1, y2, y3}};
}
RasterQuad Box(int32_t l, int32_t t, int32_t r, int32_t b) { return Quad(l, t, r, t, r, b, l, b); }

// Draws with the model and the rasterizer (addressed from the lock rectangle when locked),
// expects the same bytes, result and intact guards, and returns the rasterizer's image.
Image Both(const Image& canvas, const RasterClip& clip, const RasterQuad& q, const Image& chip, bool keyed = false,
           uint32_t key = 0, bool locked = false) {
    Image want = canvas, got = canvas;
    RasterRect lock{};
    const bool useLock = locked && QuadLockRect(q, got.w, got.h, &lock);
    EXPECT_EQ(Model(want, clip, q, chip, keyed, key), RasterizeQuad(useLock ? got.Target(lock.left, lock.top) : got.Target(),
                                                                    clip, q, chip.Source(keyed, key), chip.Rect()));
    EXPECT_TRUE(want.mem == got.mem) << "pixels differ from the model";
    EXPECT_TRUE(got.GuardsIntact()) << "written outside the target";
    return got;
}

Image Pattern(int32_t w, int32_t h, int32_t bytes) {  // a distinct value per pixel where the size allows
    Image chip(w, h, bytes, 3);
    for (int32_t i = 0; i < w * h; ++i) chip.Set(i % w, i / w, bytes == 1 ? (i * 7) % 254 + 1 : 0x8000u | i);
    return chip;
}

// ---- The documented cases, drawn by both: they pin the model down ----------------------------

TEST(QuadRaster, DocumentedCases) {
    for (int32_t bytes = 1; bytes <= 4; ++bytes) {  // one sample per pixel, in every size
        const Image chip = Pattern(32, 32, bytes), copy = Both(Image(40, 40, bytes), {0, 0, 39, 39}, Box(4, 4, 35, 35), chip);
        for (int32_t i = 0, x = 0, y = 0; i < 1600; ++i, x = i % 40, y = i / 40) {
            ASSERT_EQ(x >= 4 && x < 36 && y >= 4 && y < 36 ? chip.Get(x - 4, y - 4) : 0, copy.Get(x, y)) << x << ", " << y;
        }
    }
    // Samples are picked rounding at the half: twice as large reads 0, 0, 1, 1, ... 31, 31,
    // and 16 pixels over 64 columns read the columns below.
    const Image half = Pattern(32, 32, 4), twice = Both(Image(70, 70, 4), {0, 0, 69, 69}, Box(0, 0, 63, 63), half);
    for (int32_t x = 0; x < 64; ++x) EXPECT_EQ(half.Get(x / 2, x / 2), twice.Get(x, x)) << x;
    const Image chip = Pattern(64, 32, 4), shrunk = Both(Image(20, 8, 4), {0, 0, 19, 7}, Box(2, 1, 17, 1), chip);
    const int32_t columns[16] = {0, 4, 8, 13, 17, 21, 25, 29, 34, 38, 42, 46, 50, 55, 59, 63};
    for (int32_t i = 0; i < 16; ++i) EXPECT_EQ(chip.Get(columns[i], 0), shrunk.Get(2 + i, 1)) << i;
    // A 45-degree span is a staircase of 10 pixels, one past its end at (14, 15).
    const Image five = Pattern(5, 1, 4), stairs = Both(Image(24, 24, 4), {0, 0, 23, 23}, Quad(10, 10, 14, 14, 14, 14, 10, 10), five);
    EXPECT_EQ(10, std::count_if(stairs.mem.begin(), stairs.mem.end(), [](uint8_t b) { return b == 0x80; }));  // byte 1 of each
    for (int32_t i = 0; i < 10; ++i) EXPECT_EQ(five.Get(i / 2, 0), stairs.Get(10 + i / 2, 10 + (i + 1) / 2)) << i;
    // The draw area is inclusive: x = 99 is written, x = 100 is not.
    const Image clipped = Both(Image(120, 120, 4), {0, 0, 99, 99}, Box(90, 90, 109, 109), chip);
    EXPECT_TRUE(clipped.Get(99, 99) != 0 && clipped.Get(100, 99) == 0);
}

// ---- Seeded random cases against the model ----------------------------------------------------

int32_t Uniform(std::mt19937& r, int32_t lo, int32_t hi) { return lo + static_cast<int32_t>(r() % uint32_t(hi - lo + 1)); }

// Each case draws one quad with both, then one with corners anywhere in 32 bits, far past the
// model's reach, of which only the guards are checked. A target whose pixel size differs from
// the chip's is never touched and the call answers 0.
TEST(QuadRaster, RandomQuadsMatchTheModelAndStayInTheTarget) {
    const int32_t wild[] = {INT32_MIN, -65537, -65536, -40000, -32769, -32768, -32767, -1, 0, 1, 31, 32,
                            33, 32766, 32767, 32768, 40000, 65535, 65536, 65567, INT32_MAX};
    int32_t drew = 0, wildDrew = 0;
    constexpr int32_t CASES = 5000;
    for (uint32_t seed = 0; seed < CASES && !HasFailure(); ++seed) {
        std::mt19937 r(seed);
        const int32_t bytes = Uniform(r, 1, 4), targetBytes = r() % 12 == 0 ? Uniform(r, 1, 4) : bytes;  // sometimes another size
        int32_t w = Uniform(r, 8, 64), h = Uniform(r, 8, 64);
        const int32_t cw = Uniform(r, 1, 40), ch = Uniform(r, 1, 40);
        const uint32_t kind = r() % 25;
        RasterQuad q{};
        auto near = [&](int32_t k, int32_t margin) { q.x[k] = Uniform(r, -margin, w + margin), q.y[k] = Uniform(r, -margin, h + margin); };
        if (kind < 4) {  // a chip turned and scaled as the transformed drawing does
            const double a = (r() % 1024) * M_PI / 512.0, s = 0.25 + (r() % 1000) / 400.0;
            const double cx = Uniform(r, -10, w + 10), cy = Uniform(r, -10, h + 10);
            for (int k = 0; k < 4; ++k) {
                const double u = (k % 3 ? 1 : -1) * cw * s / 2, v = (k < 2 ? -1 : 1) * ch * s / 2;  // signs: --, +-, ++, -+
                q.x[k] = static_cast<int32_t>(std::lround(cx + u * std::cos(a) - v * std::sin(a)));
                q.y[k] = static_cast<int32_t>(std::lround(cy + u * std::sin(a) + v * std::cos(a)));
            }
        } else if (kind < 10) {  // any four points near the surface
            for (int k = 0; k < 4; ++k) near(k, 20);
        } else if (kind < 12) {  // degenerate: two points repeated
            near(0, 3), near(1, 3);
            for (int k = 2; k < 4; ++k) q.x[k] = q.x[r() % 2], q.y[k] = q.y[r() % 2];
        } else if (kind < 13) {  // far larger than the surface
            for (int k = 0; k < 4; ++k) q.x[k] = Uniform(r, -400, 400), q.y[k] = Uniform(r, -400, 400);
        } else if (kind < 17) {  // a rectangle, turned by quarters or mirrored, often the chip's own size
            const int32_t l = Uniform(r, -12, w + 4), t = Uniform(r, -12, h + 4), turned = r() % 2;
            const bool own = r() % 2;
            const RasterQuad b = Box(l, t, l + (own ? (turned ? ch : cw) - 1 : Uniform(r, 0, w + 8)),
                                     t + (own ? (turned ? cw : ch) - 1 : Uniform(r, 0, h + 8)));
            const int32_t from = Uniform(r, 0, 3), dir = r() % 2 ? 1 : 3;
            for (int k = 0; k < 4; ++k) q.x[k] = b.x[(from + dir * k) % 4], q.y[k] = b.y[(from + dir * k) % 4];
        } else if (kind < 19) {  // shifted by whole 16-bit turns, or straddling -32768 / 32767
            const bool shift = r() % 2;
            for (int k = 0; k < 4; ++k) {
                near(k, 10);
                q.x[k] += shift ? 65536 * Uniform(r, -2, 2) : 32768 - w / 2;
                q.y[k] += shift ? 65536 * Uniform(r, -2, 2) : (r() % 2) * (32768 - h / 2);
            }
        } else if (kind < 21) {  // one thin edge near -32768: spans walk through the wrap back in
            const uint32_t axes = r() % 3, farRight = r() % 4 == 0;
            const int32_t far0 = farRight ? 1 : 0, far1 = farRight ? 2 : 3, near0 = farRight ? 0 : 1, near1 = farRight ? 3 : 2;
            q.x[far0] = axes != 1 ? Uniform(r, -32768, -32700) : Uniform(r, -2, w);
            q.y[far0] = axes != 0 ? Uniform(r, -32768, -32700) : Uniform(r, -2, h);
            q.x[near0] = Uniform(r, -2, w + 40), q.y[near0] = Uniform(r, -2, h + 40);
            q.x[far1] = q.x[far0] + Uniform(r, -3, 3), q.y[far1] = q.y[far0] + Uniform(r, 0, 6);
            q.x[near1] = q.x[near0] + Uniform(r, -3, 3), q.y[near1] = q.y[near0] + Uniform(r, 0, 6);
        } else if (kind < 23) {  // spans longer than the recorded shapes, on a wide surface
            w = 1100, h = 48;
            const int32_t x0 = Uniform(r, 2, 40), len = Uniform(r, 520, 1020), rise = Uniform(r, 0, 30),
                          depth = Uniform(r, 1, 12);
            q = Quad(x0, 2, x0 + len, 2 + rise, x0 + len - 1, 2 + rise + depth, x0, 2 + depth);
        } else if (kind == 24) {  // two axis-aligned edges of one length, each in any direction
            const int32_t len = Uniform(r, 1, 20), gap = Uniform(r, -20, 20), row = r() % 2, a = r() % 4, b = r() % 4;
            const int32_t step[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
            q.x[0] = Uniform(r, 0, w), q.y[0] = Uniform(r, 0, h), q.x[1] = q.x[0] + row * gap, q.y[1] = q.y[0] + (1 - row) * gap;
            q.x[3] = q.x[0] + step[a][0] * len, q.y[3] = q.y[0] + step[a][1] * len;
            q.x[2] = q.x[1] + step[b][0] * len, q.y[2] = q.y[1] + step[b][1] * len;
        } else {  // near x = -32766, walking left past -32768 onto the far columns of a very wide surface
            w = 32767 + r() % 3, h = 12;  // wider than 32768: columns past 32767 stay unreachable
            q = r() % 2 ? Quad(-32764, 0, -32772, 1, 32764, 6, -32764, 5) : Quad(-32766, 0, 32766, 8, 32766, 9, -32766, 1);
            q.y[2] += Uniform(r, 0, 2);
        }
        // The surface, the screen's draw area (one past the surface), a large one, all of 32 bits or any.
        const int32_t how = r() % 6, l = Uniform(r, -5, w), t = Uniform(r, -5, h), cr = Uniform(r, -2, w), cb = Uniform(r, -2, h);
        const RasterClip clip = how == 1 ? RasterClip{0, 0, w, h} : how == 2 ? RasterClip{-50, -50, 5000, 5000}
                                : how == 3 ? RasterClip{l, t, l + cr, t + cb}
                                : how == 4 ? RasterClip{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX} : RasterClip{0, 0, w - 1, h - 1};
        const uint32_t mask = bytes == 4 ? ~0u : (1u << (8 * bytes)) - 1, keyValue = r() & mask;
        Image chip(cw, ch, bytes, 3), canvas(w, h, targetBytes);
        for (int32_t i = 0; i < cw * ch; ++i) chip.Set(i % cw, i / cw, r() % 4 == 0 ? keyValue : r() & mask);
        for (int32_t i = 0; i < w * h; ++i) canvas.Set(i % w, i / w, r());
        // The bits above the pixel's count for 24 and 32 bits only.
        const uint32_t key = bytes == 3 && r() % 2 ? keyValue : keyValue | (r() & ~mask);
        const bool keyed = r() % 2, locked = r() % 2;
        const Image got = Both(canvas, clip, q, chip, keyed, key, locked);
        drew += got.mem != canvas.mem;
        for (int k = 0; k < 8; ++k) {
            const uint32_t pick = r() % 4;
            (k < 4 ? q.x[k] : q.y[k - 4]) = pick == 0 ? wild[r() % std::size(wild)] : pick == 1 ? static_cast<int32_t>(r())
                                                                                            : Uniform(r, -80, w + 80);
        }
        Image far = canvas;
        const int32_t result = RasterizeQuad(far.Target(), clip, q, chip.Source(keyed, key), chip.Rect());
        EXPECT_TRUE(far.GuardsIntact()) << "written outside the target";
        EXPECT_TRUE(targetBytes == bytes || (result == 0 && far.mem == canvas.mem)) << "drawn across pixel sizes";
        wildDrew += far.mem != canvas.mem;
        if (HasFailure()) ADD_FAILURE() << "seed " << seed;
    }
    EXPECT_GT(drew, CASES / 2);  // most cases put pixels on the surface
    EXPECT_GT(wildDrew, CASES / 4);  // and so do many wild ones, next to the guards
}

// The target is locked write-only: a keyed pixel must be neither read nor written. Every pixel of
// the chip is the key and the target's memory is read-only, so any store faults.
void DrawAllKeyChips(uint8_t* readOnly) {
    for (int32_t bytes = 1; bytes <= 4; ++bytes) {
        Image chip(16, 16, bytes, 3);
        for (int32_t i = 0; i < 16 * 16; ++i) chip.Set(i % 16, i / 16, 0x00C0FFEE);
        const RasterSurface target{readOnly, 64 * bytes, bytes * 8, 0, 0, 64, 64};
        for (const RasterQuad& q : {Box(4, 4, 19, 19), Box(0, 0, 40, 9), Box(50, 50, 70, 70),
                                    Quad(30, 2, 50, 20, 32, 40, 12, 22), Quad(20, 20, 21, 20, 21, 40, 20, 40)}) {
            for (const RasterClip& clip : {RasterClip{0, 0, 63, 63}, RasterClip{10, 10, 40, 40}}) {
                if (RasterizeQuad(target, clip, q, chip.Source(true, 0x00C0FFEE), chip.Rect()) != 1) std::exit(2);
            }
        }
    }
    std::exit(0);
}

TEST(QuadRaster, AllKeyChipLeavesAReadOnlyTargetAlone) {
    const size_t size = 64 * 64 * 4;  // mmap and mprotect round it up to whole pages
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    std::memset(memory, 0x33, size);
    ASSERT_EQ(0, mprotect(memory, size, PROT_READ));
    EXPECT_EXIT(DrawAllKeyChips(static_cast<uint8_t*>(memory)), testing::ExitedWithCode(0), "");
    munmap(memory, size);
}

}  // namespace
}  // namespace zorv
