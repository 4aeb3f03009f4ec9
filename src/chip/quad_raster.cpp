// The software quad rasterizer's pixel loops.
//
// The target quad is swept by spans running from its left edge (corner 0 to corner 3) to its
// right edge (corner 1 to corner 2). Both edges and every span are Bresenham walks; the longer
// edge (the master) steps once per span, the other follows with its own accumulator. Source
// rows and columns are picked with accumulators that start at -major, which rounds at the
// half. A diagonal span move plots one extra pixel between the major and the minor move, so
// spans are 4-connected staircases and leave no holes between neighbouring spans.
//
// Coordinates live in 16 bits: corners, edge points and span differences wrap like signed
// 16-bit values, and every pixel is tested or placed by its wrapped position.
//
// Speed. The loops are templates on the pixel size, the colour key and clipping, sixteen
// instantiations picked once per call, so no inner loop branches on format or key state. Every
// path writes exactly the pixels of the walk above, in an order that gives the same result:
//  - a chip turned by a multiple of 90 degrees (scaled or mirrored) is a rectangle whose
//    pixels are each written once: rows are run copies, columns are drawn in tiles;
//  - any other span replays a recorded walk of the same difference vector (a turned chip's
//    spans share one or two), which leaves no dependency chain from pixel to pixel;
//  - spans too long to record are walked step by step with masks instead of branches;
//  - on the clipped path a span is cut to the index interval that can land, so its per-pixel
//    work is that of the unclipped path and a far-reaching span costs only its visible part.
#include "chip/quad_raster.h"

#include <cstddef>
#include <cstring>

namespace zorv {
namespace {

// ---- Pixel sizes ----------------------------------------------------------------------------

struct Pixel8 {
    using Value = uint8_t;
    static constexpr int32_t BYTES = 1;
    static Value Load(const uint8_t* p) { return *p; }
    static void Store(uint8_t* p, Value v) { *p = v; }
    static bool IsKey(Value v, uint32_t keyCode) { return v == static_cast<uint8_t>(keyCode); }
};

struct Pixel16 {
    using Value = uint16_t;
    static constexpr int32_t BYTES = 2;
    static Value Load(const uint8_t* p) {
        Value v = 0;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    static void Store(uint8_t* p, Value v) { std::memcpy(p, &v, sizeof v); }
    static bool IsKey(Value v, uint32_t keyCode) { return v == static_cast<uint16_t>(keyCode); }
};

// Three packed bytes, b0 + (b1 << 8) + (b2 << 16) in memory order.
struct Pixel24 {
    using Value = uint32_t;
    static constexpr int32_t BYTES = 3;
    static Value Load(const uint8_t* p) {
        return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16);
    }
    static void Store(uint8_t* p, Value v) {
        p[0] = static_cast<uint8_t>(v);
        p[1] = static_cast<uint8_t>(v >> 8);
        p[2] = static_cast<uint8_t>(v >> 16);
    }
    // The whole 32-bit code is compared, not its low 24 bits: a key code with any of bits
    // 24 ... 31 set matches no pixel, so such a key draws every pixel.
    static bool IsKey(Value v, uint32_t keyCode) { return v == keyCode; }
};

struct Pixel32 {
    using Value = uint32_t;
    static constexpr int32_t BYTES = 4;
    static Value Load(const uint8_t* p) {
        Value v = 0;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    static void Store(uint8_t* p, Value v) { std::memcpy(p, &v, sizeof v); }
    static bool IsKey(Value v, uint32_t keyCode) { return v == keyCode; }
};

// ---- 16-bit coordinates and Bresenham walks -------------------------------------------------

constexpr int32_t COORD_MIN = -32768;
constexpr int32_t COORD_MAX = 32767;
constexpr int64_t COORD_TURN = 65536;  // a 16-bit coordinate that passes its range comes back this far away

// The signed 16-bit value of v's low 16 bits.
inline int32_t Wrap16(uint32_t v) { return static_cast<int32_t>((v + 32768u) & 0xFFFFu) - 32768; }

// Direction of one walk from A to B. The differences are taken on their low 16 bits.
struct Line {
    int32_t major;  // the larger magnitude, 0 ... 32768
    int32_t minor;  // the smaller one
    bool xMajor;    // a tie walks y-major
    int32_t sx;     // -1 or +1
    int32_t sy;
};

inline Line SetUpLine(int32_t ax, int32_t ay, int32_t bx, int32_t by) {
    const int32_t dx = Wrap16(static_cast<uint32_t>(bx) - static_cast<uint32_t>(ax));
    const int32_t dy = Wrap16(static_cast<uint32_t>(by) - static_cast<uint32_t>(ay));
    const int32_t adx = dx < 0 ? -dx : dx;
    const int32_t ady = dy < 0 ? -dy : dy;
    const bool xMajor = adx > ady;
    return Line{xMajor ? adx : ady, xMajor ? ady : adx, xMajor, dx < 0 ? -1 : 1, dy < 0 ? -1 : 1};
}

// An edge walk: one step per call of StepEdge.
struct EdgeWalker {
    int32_t x;  // current point, wrapped to 16 bits
    int32_t y;
    Line line;
    int32_t e;
};

inline EdgeWalker StartEdge(int32_t ax, int32_t ay, int32_t bx, int32_t by) {
    const Line line = SetUpLine(ax, ay, bx, by);
    return EdgeWalker{Wrap16(static_cast<uint32_t>(ax)), Wrap16(static_cast<uint32_t>(ay)), line, -line.major};
}

inline void StepEdge(EdgeWalker& w) {
    if (w.line.xMajor) {
        w.x = Wrap16(static_cast<uint32_t>(w.x + w.line.sx));
    } else {
        w.y = Wrap16(static_cast<uint32_t>(w.y + w.line.sy));
    }
    w.e += 2 * w.line.minor;
    if (w.e > 0) {
        if (w.line.xMajor) {
            w.y = Wrap16(static_cast<uint32_t>(w.y + w.line.sy));
        } else {
            w.x = Wrap16(static_cast<uint32_t>(w.x + w.line.sx));
        }
        w.e -= 2 * w.line.major;
    }
}

// ---- Nearest-sample stepping ----------------------------------------------------------------

// Picks source rows per span and columns per pixel: each output adds 2 x last to an
// accumulator that starts at -major, and while it is at least 1 subtracts 2 x major and moves
// one sample on (never when major is 0). Split once into whole samples per output plus a
// remainder, so that each output costs one compare however much the chip is shrunk.
struct SampleStepper {
    int32_t acc;          // in (-2 x major, 0] between outputs
    int32_t rem;          // (2 x last) mod (2 x major)
    int32_t twoMajor;
    ptrdiff_t wholeBytes;  // (2 x last) / (2 x major) samples, in bytes
    ptrdiff_t oneBytes;    // one sample, in bytes
};

// last: the last sample (0 ... 2^30 - 1); major: outputs - 1 (0 ... 32768).
inline SampleStepper StartStepper(int32_t last, int32_t major, ptrdiff_t sampleBytes) {
    SampleStepper s{-major, 0, 2 * major, 0, sampleBytes};
    if (major == 0) return s;
    const int32_t twoLast = 2 * last;
    // Enlarged, same size or shrunk at most by half, the common cases, need no division.
    if (twoLast < s.twoMajor) {
        s.rem = twoLast;
    } else if (twoLast - s.twoMajor < s.twoMajor) {
        s.rem = twoLast - s.twoMajor;
        s.wholeBytes = sampleBytes;
    } else {
        s.rem = twoLast % s.twoMajor;
        s.wholeBytes = static_cast<ptrdiff_t>(twoLast / s.twoMajor) * sampleBytes;
    }
    return s;
}

// The byte step to the next output's sample.
inline ptrdiff_t Advance(SampleStepper& s) {
    s.acc += s.rem;
    const int32_t move = -static_cast<int32_t>(s.acc > 0);
    s.acc -= s.twoMajor & move;
    return s.wholeBytes + (s.oneBytes & move);
}

// Samples moved (and the accumulator) after i outputs of a walk with the given last and
// major: ceil((2 i last - major) / (2 major)) when positive. The Bresenham minor moves follow
// the same rule with last = minor.
struct StepCount {
    int64_t moves;
    int32_t acc;
};

inline StepCount StepsAfter(int64_t i, int32_t last, int32_t major) {
    const int64_t n = 2 * i * last - major;
    const int64_t twoMajor = 2 * static_cast<int64_t>(major);
    const int64_t moves = n > 0 ? (n + twoMajor - 1) / twoMajor : 0;
    return StepCount{moves, static_cast<int32_t>(n - twoMajor * moves)};
}

// The first output index after which at least t minor moves have been made; past the walk
// when t exceeds minor.
inline int64_t FirstWithMoves(int64_t t, int32_t minor, int32_t major) {
    if (t <= 0) return 0;
    if (t > minor) return static_cast<int64_t>(major) + 1;
    const int64_t twoMajor = 2 * static_cast<int64_t>(major);
    return (twoMajor * (t - 1) + major) / (2 * static_cast<int64_t>(minor)) + 1;
}

// ---- Per call ------------------------------------------------------------------------------

// Everything the loops read.
struct QuadSetup {
    uint8_t* target;         // address of pixel (originX, originY)
    ptrdiff_t pitch;
    int32_t originX;
    int32_t originY;
    int32_t left;            // bounds of the clipped loops, inclusive, inside the surface
    int32_t top;
    int32_t right;
    int32_t bottom;
    const uint8_t* source;   // the source rectangle's top-left sample
    ptrdiff_t sourcePitch;
    int32_t lastColumn;      // source rectangle width - 1
    int32_t lastRow;         // source rectangle height - 1
    uint32_t keyCode;
    bool shapesFit;          // span shapes' offsets fit in 32 bits
    int32_t x[4];            // corners
    int32_t y[4];
};

template <class Pixel>
inline ptrdiff_t TargetOffset(const QuadSetup& q, int64_t x, int64_t y) {
    return static_cast<ptrdiff_t>(y - q.originY) * q.pitch + static_cast<ptrdiff_t>(x - q.originX) * Pixel::BYTES;
}

// Stores v at p unless the key applies.
template <class Pixel, bool Keyed>
inline void Plot(uint8_t* p, typename Pixel::Value v, uint32_t keyCode) {
    if (!Keyed || !Pixel::IsKey(v, keyCode)) Pixel::Store(p, v);
}

// count pixels from src, one source column each, to dst, dstStep bytes apart.
template <class Pixel, bool Keyed>
void CopyRun(uint8_t* dst, ptrdiff_t dstStep, const uint8_t* src, int32_t count, uint32_t keyCode) {
    constexpr int32_t B = Pixel::BYTES;
    if (dstStep == B) {
        if (!Keyed) {
            std::memmove(dst, src, static_cast<size_t>(count) * B);
            return;
        }
        // A keyed pixel is skipped without touching the target: the target is locked
        // write-only, so reading it back (to store it unchanged) is not allowed. The pixels
        // between keyed ones are copied as whole runs.
        int32_t k = 0;
        while (k < count) {
            while (k < count && Pixel::IsKey(Pixel::Load(src + k * B), keyCode)) ++k;
            const int32_t from = k;
            while (k < count && !Pixel::IsKey(Pixel::Load(src + k * B), keyCode)) ++k;
            if (k > from) std::memcpy(dst + from * B, src + from * B, static_cast<size_t>(k - from) * B);
        }
        return;
    }
    for (int32_t k = 0; k < count; ++k) {
        Plot<Pixel, Keyed>(dst, Pixel::Load(src + k * B), keyCode);
        dst += dstStep;
    }
}

// count pixels from row, its columns picked by columns starting at sample, to dst.
template <class Pixel, bool Keyed>
void CopySampled(uint8_t* dst, ptrdiff_t dstStep, const uint8_t* row, ptrdiff_t sample, SampleStepper columns,
                 int32_t count, uint32_t keyCode) {
    for (int32_t k = 0; k < count; ++k) {
        Plot<Pixel, Keyed>(dst, Pixel::Load(row + sample), keyCode);
        dst += dstStep;
        sample += Advance(columns);
    }
}

// ---- Span shapes ---------------------------------------------------------------------------

// A span's plots and samples, relative to its start and its source row, depend only on its
// difference vector (the chip's width being fixed per call). The spans of a turned chip take
// one or two distinct differences, so a walk is recorded once and replayed for every span of
// the same shape: the replay is loads and stores with no chain from one pixel to the next.
constexpr int32_t SHAPE_PIXELS = 512;  // longer spans are walked directly
constexpr int32_t SHAPE_SLOTS = 2;

struct ShapePixel {
    int32_t first;   // target offset of the pixel's first plot from the span's start
    int32_t second;  // of its second plot; the first again when its move is straight
    int32_t sample;  // source offset of its sample from the row's start
};

struct SpanShape {
    int32_t major;   // -1: slot unused
    int32_t minor;
    ptrdiff_t majorStep;
    ptrdiff_t minorStep;
    ShapePixel pixels[SHAPE_PIXELS];
};

// Lives on the stack for one call. Only the keys are initialised: the pixels of a slot are
// written before they are read, and clearing them would cost more than drawing a small chip.
struct ShapeCache {
    SpanShape slots[SHAPE_SLOTS];
    int32_t nextSlot;
};

inline void ResetShapes(ShapeCache& cache) {
    for (SpanShape& slot : cache.slots) slot.major = -1;
    cache.nextSlot = 0;
}

// Constants of one span, in target bytes.
struct SpanSteps {
    ptrdiff_t majorStep;
    ptrdiff_t minorStep;
    int32_t twoMajor;
    int32_t twoMinor;
};

// The recorded walk of a span of this line, or null for a span too long to record.
template <class Pixel>
const SpanShape* FindShape(ShapeCache& cache, const QuadSetup& q, const Line& line, const SpanSteps& steps) {
    if (!q.shapesFit || line.major >= SHAPE_PIXELS) return nullptr;
    for (const SpanShape& slot : cache.slots) {
        if (slot.major == line.major && slot.minor == line.minor && slot.majorStep == steps.majorStep &&
            slot.minorStep == steps.minorStep) {
            return &slot;
        }
    }
    SpanShape& shape = cache.slots[cache.nextSlot];
    cache.nextSlot = (cache.nextSlot + 1) % SHAPE_SLOTS;
    shape.major = line.major;
    shape.minor = line.minor;
    shape.majorStep = steps.majorStep;
    shape.minorStep = steps.minorStep;
    ptrdiff_t offset = 0;
    ptrdiff_t sample = 0;
    int32_t e = -line.major;
    SampleStepper columns = StartStepper(q.lastColumn, line.major, Pixel::BYTES);
    for (int32_t i = 0; i <= line.major; ++i) {
        ShapePixel& p = shape.pixels[i];
        p.first = static_cast<int32_t>(offset);
        p.sample = static_cast<int32_t>(sample);
        offset += steps.majorStep;
        e += steps.twoMinor;
        const ptrdiff_t diagonal = -static_cast<ptrdiff_t>(e > 0);
        p.second = static_cast<int32_t>(diagonal != 0 ? offset : p.first);
        offset += steps.minorStep & diagonal;
        e -= steps.twoMajor & static_cast<int32_t>(diagonal);
        sample += Advance(columns);
    }
    return &shape;
}

// Pixels from .. from + count - 1 of a recorded span starting at target offset base, every
// plot inside the target.
template <class Pixel, bool Keyed>
void DrawShape(const QuadSetup& q, const SpanShape& shape, ptrdiff_t base, ptrdiff_t sourceRow, int32_t from,
               int32_t count) {
    uint8_t* const target = q.target + base;
    const uint8_t* const row = q.source + sourceRow;
    const uint32_t keyCode = q.keyCode;
    const ShapePixel* p = shape.pixels + from;
    for (const ShapePixel* end = p + count; p != end; ++p) {
        const typename Pixel::Value v = Pixel::Load(row + p->sample);
        if (!Keyed || !Pixel::IsKey(v, keyCode)) {
            Pixel::Store(target + p->first, v);
            Pixel::Store(target + p->second, v);
        }
    }
}

// ---- Spans walked step by step -------------------------------------------------------------

// Where a span walk stands.
struct SpanCursor {
    ptrdiff_t offset;  // target byte offset of the current position from QuadSetup::target
    ptrdiff_t sample;  // source byte offset of the current sample from QuadSetup::source
    int32_t e;         // Bresenham error
    SampleStepper columns;
};

// One pixel of a span's count: plot the current position, make the major move, plot there
// too when the move is diagonal, make the minor move, step the source column. FirstOk and
// SecondOk leave out a plot that a clipped span knows to be outside the bounds.
template <class Pixel, bool Keyed, bool FirstOk, bool SecondOk>
inline void SpanPixel(SpanCursor& c, const SpanSteps& s, const QuadSetup& q) {
    const typename Pixel::Value v = Pixel::Load(q.source + c.sample);
    uint8_t* const first = q.target + c.offset;
    c.offset += s.majorStep;
    c.e += s.twoMinor;
    const bool diagonal = c.e > 0;
    if (FirstOk) Plot<Pixel, Keyed>(first, v, q.keyCode);
    if (SecondOk && diagonal) Plot<Pixel, Keyed>(q.target + c.offset, v, q.keyCode);
    if (diagonal) {
        c.offset += s.minorStep;
        c.e -= s.twoMajor;
    }
    c.sample += Advance(c.columns);
}

// count pixels of a span too long to record, every plot inside the target (the extra pixel of
// the last one when it is diagonal included). The walk state is held in locals: the target is
// written through byte pointers, which could alias anything held in memory.
template <class Pixel, bool Keyed>
void DrawSegment(SpanCursor& c, const SpanSteps& s, int32_t count, const QuadSetup& q) {
    uint8_t* const target = q.target;
    const uint8_t* const source = q.source;
    const uint32_t keyCode = q.keyCode;
    ptrdiff_t offset = c.offset;
    ptrdiff_t sample = c.sample;
    int32_t e = c.e;
    SampleStepper columns = c.columns;
    for (int32_t n = 0; n < count; ++n) {
        const typename Pixel::Value v = Pixel::Load(source + sample);
        uint8_t* const here = target + offset;
        offset += s.majorStep;
        e += s.twoMinor;
        // All ones on a diagonal move: a mask rather than a branch, whose pattern would mispredict.
        const ptrdiff_t diagonal = -static_cast<ptrdiff_t>(e > 0);
        if (!Keyed || !Pixel::IsKey(v, keyCode)) {
            Pixel::Store(here, v);
            Pixel::Store(here + (s.majorStep & diagonal), v);  // after a straight move: here again
        }
        offset += s.minorStep & diagonal;
        e -= s.twoMajor & static_cast<int32_t>(diagonal);
        sample += Advance(columns);
    }
    c.offset = offset;
    c.sample = sample;
    c.e = e;
    c.columns = columns;
}

// The cursor of a span from (lx, ly) at pixel i, placed as if its coordinates had been
// shifted back by shiftA and shiftB (whole turns of 16 bits) on the major and minor axes.
template <class Pixel>
SpanCursor CursorAt(const QuadSetup& q, const Line& line, int32_t lx, int32_t ly, ptrdiff_t sourceRow, int64_t i,
                    int64_t shiftA, int64_t shiftB) {
    const StepCount minorMoves = StepsAfter(i, line.minor, line.major);
    const StepCount columnMoves = StepsAfter(i, q.lastColumn, line.major);
    int64_t x = lx;
    int64_t y = ly;
    if (line.xMajor) {
        x += i * line.sx - shiftA;
        y += minorMoves.moves * line.sy - shiftB;
    } else {
        y += i * line.sy - shiftA;
        x += minorMoves.moves * line.sx - shiftB;
    }
    SpanCursor c{};
    c.offset = TargetOffset<Pixel>(q, x, y);
    c.sample = sourceRow + static_cast<ptrdiff_t>(columnMoves.moves) * Pixel::BYTES;
    c.e = minorMoves.acc;
    c.columns = StartStepper(q.lastColumn, line.major, Pixel::BYTES);
    c.columns.acc = columnMoves.acc;
    return c;
}

// ---- Spans ---------------------------------------------------------------------------------

// A span that may leave the bounds. Pixel i's first plot is at (a0 + i da, b0 + m(i) db) in
// major/minor coordinates, its second (when diagonal) at (a0 + (i + 1) da, b0 + m(i) db),
// where m(i) counts the minor moves so far. The pixels whose plots can land form index
// intervals; only those pixels are walked, so a long span that crosses the target costs its
// visible part. Within an interval neither coordinate wraps, and only its first and last
// pixel can have a plot outside the major bounds.
//
// Wrapping: a walk that passes -32768 comes back from +32767 and may reach the bounds that way
// (a difference of -32768 walks 32768 steps), so the bounds are also tried one 16-bit turn
// down. A walk that passes +32767 cannot come back to 0: positive differences are at most
// 32767, and 32767 + 32768 steps (the extra pixel included) wrap to -1 at most.
template <class Pixel, bool Keyed>
void DrawClippedSpan(const QuadSetup& q, ShapeCache& shapes, const Line& line, const SpanSteps& steps, int32_t lx,
                     int32_t ly, ptrdiff_t sourceRow) {
    const int32_t a0 = line.xMajor ? lx : ly;
    const int32_t b0 = line.xMajor ? ly : lx;
    const int32_t da = line.xMajor ? line.sx : line.sy;
    const int32_t db = line.xMajor ? line.sy : line.sx;
    const int32_t aLo = line.xMajor ? q.left : q.top;
    const int32_t aHi = line.xMajor ? q.right : q.bottom;
    const int32_t bLo = line.xMajor ? q.top : q.left;
    const int32_t bHi = line.xMajor ? q.bottom : q.right;
    const int32_t major = line.major;
    const int32_t aTurns = a0 + static_cast<int64_t>(da) * (major + 1) < COORD_MIN ? -1 : 0;
    const int32_t bTurns = b0 + static_cast<int64_t>(db) * line.minor < COORD_MIN ? -1 : 0;
    const SpanShape* shape = nullptr;
    bool shapeLooked = false;

    for (int32_t ta = aTurns; ta <= 0; ++ta) {
        const int64_t shiftA = COORD_TURN * ta;
        // Pixels whose first plot lies within the major bounds: fLo ... fHi.
        const int64_t fLo = da > 0 ? aLo + shiftA - a0 : a0 - shiftA - aHi;
        const int64_t fHi = da > 0 ? aHi + shiftA - a0 : a0 - shiftA - aLo;
        // One pixel earlier, only the second plot lands.
        const int64_t lo = fLo - 1 > 0 ? fLo - 1 : 0;
        const int64_t hi = fHi < major ? fHi : major;
        if (lo > hi) continue;
        for (int32_t tb = bTurns; tb <= 0; ++tb) {
            const int64_t shiftB = COORD_TURN * tb;
            // Minor move counts that keep the minor coordinate within its bounds.
            int64_t tLo = db > 0 ? bLo + shiftB - b0 : b0 - shiftB - bHi;
            int64_t tHi = db > 0 ? bHi + shiftB - b0 : b0 - shiftB - bLo;
            if (tLo < 0) tLo = 0;
            if (tHi > line.minor) tHi = line.minor;
            if (tLo > tHi) continue;
            const int64_t firstLo = FirstWithMoves(tLo, line.minor, major);
            const int64_t firstHi = FirstWithMoves(tHi + 1, line.minor, major) - 1;
            int64_t i = lo > firstLo ? lo : firstLo;
            const int64_t last = hi < firstHi ? hi : firstHi;
            if (i > last) continue;
            const int64_t coreLast = last < fHi - 1 ? last : fHi - 1;  // both plots inside up to here

            if (!shapeLooked) {
                shape = FindShape<Pixel>(shapes, q, line, steps);
                shapeLooked = true;
            }
            if (shape != nullptr) {
                // Offsets from the span's start, shifted back by the turns.
                const ptrdiff_t base = line.xMajor ? TargetOffset<Pixel>(q, lx - shiftA, ly - shiftB)
                                                   : TargetOffset<Pixel>(q, lx - shiftB, ly - shiftA);
                const uint8_t* const row = q.source + sourceRow;
                if (i < fLo) {
                    const ShapePixel& p = shape->pixels[i];
                    if (p.second != p.first) Plot<Pixel, Keyed>(q.target + base + p.second, Pixel::Load(row + p.sample), q.keyCode);
                    ++i;
                }
                if (i <= coreLast) {
                    DrawShape<Pixel, Keyed>(q, *shape, base, sourceRow, static_cast<int32_t>(i), static_cast<int32_t>(coreLast - i + 1));
                    i = coreLast + 1;
                }
                if (i <= last) {
                    const ShapePixel& p = shape->pixels[i];
                    Plot<Pixel, Keyed>(q.target + base + p.first, Pixel::Load(row + p.sample), q.keyCode);
                }
                continue;
            }
            SpanCursor c = CursorAt<Pixel>(q, line, lx, ly, sourceRow, i, shiftA, shiftB);
            if (i < fLo) {
                SpanPixel<Pixel, Keyed, false, true>(c, steps, q);
                ++i;
            }
            if (i <= coreLast) {
                DrawSegment<Pixel, Keyed>(c, steps, static_cast<int32_t>(coreLast - i + 1), q);
                i = coreLast + 1;
            }
            if (i <= last) SpanPixel<Pixel, Keyed, true, false>(c, steps, q);
        }
    }
}

// Whether every position the span can plot, its extra pixel included, lies within the bounds.
inline bool SpanInside(const QuadSetup& q, const Line& line, int32_t lx, int32_t ly) {
    const int32_t xReach = line.xMajor ? line.major + 1 : line.minor;
    const int32_t yReach = line.xMajor ? line.minor : line.major + 1;
    const int32_t xEnd = lx + line.sx * xReach;
    const int32_t yEnd = ly + line.sy * yReach;
    const int32_t xMin = lx < xEnd ? lx : xEnd;
    const int32_t xMax = lx < xEnd ? xEnd : lx;
    const int32_t yMin = ly < yEnd ? ly : yEnd;
    const int32_t yMax = ly < yEnd ? yEnd : ly;
    return xMin >= q.left && xMax <= q.right && yMin >= q.top && yMax <= q.bottom;
}

// One span from the left edge's point to the right edge's point, reading source row sourceRow.
template <class Pixel, bool Keyed, bool Clipped>
void DrawSpan(const QuadSetup& q, ShapeCache& shapes, int32_t lx, int32_t ly, int32_t rx, int32_t ry,
              ptrdiff_t sourceRow) {
    constexpr int32_t B = Pixel::BYTES;
    const Line line = SetUpLine(lx, ly, rx, ry);
    const ptrdiff_t xStep = line.sx * B;
    const ptrdiff_t yStep = line.sy * q.pitch;
    const SpanSteps steps{line.xMajor ? xStep : yStep, line.xMajor ? yStep : xStep, 2 * line.major, 2 * line.minor};
    if (Clipped && !SpanInside(q, line, lx, ly)) {
        DrawClippedSpan<Pixel, Keyed>(q, shapes, line, steps, lx, ly, sourceRow);
        return;
    }
    const ptrdiff_t offset = TargetOffset<Pixel>(q, lx, ly);
    if (line.minor == 0 && line.major == q.lastColumn) {
        // Straight, one source column per pixel: a run copy.
        CopyRun<Pixel, Keyed>(q.target + offset, steps.majorStep, q.source + sourceRow, line.major + 1, q.keyCode);
        return;
    }
    if (const SpanShape* shape = FindShape<Pixel>(shapes, q, line, steps)) {
        DrawShape<Pixel, Keyed>(q, *shape, offset, sourceRow, 0, line.major + 1);
        return;
    }
    SpanCursor c{offset, sourceRow, -line.major, StartStepper(q.lastColumn, line.major, B)};
    DrawSegment<Pixel, Keyed>(c, steps, line.major + 1, q);
}

// ---- Axis-aligned quads --------------------------------------------------------------------

// The pixel indexes 0 ... last whose coordinate start + dir x index lies in lo ... hi.
inline bool IndexRange(int32_t start, int32_t dir, int32_t last, int32_t lo, int32_t hi, int32_t* from, int32_t* to) {
    const int64_t a = dir > 0 ? static_cast<int64_t>(lo) - start : static_cast<int64_t>(start) - hi;
    const int64_t b = dir > 0 ? static_cast<int64_t>(hi) - start : static_cast<int64_t>(start) - lo;
    *from = static_cast<int32_t>(a > 0 ? a : 0);
    *to = static_cast<int32_t>(b < last ? b : last);
    return *from <= *to;
}

constexpr int32_t TILE = 32;  // spans drawn together when they are columns

// One target row of a tile of column spans: n pixels Dir pixels apart, read down the source
// from src, pitch apart, or at the offsets rows[t] from src when rows is given.
template <class Pixel, bool Keyed, int Dir>
inline void DrawTileRow(uint8_t* dst, const uint8_t* src, ptrdiff_t pitch, const ptrdiff_t* rows, int32_t n,
                        uint32_t keyCode) {
    constexpr ptrdiff_t STEP = Dir * Pixel::BYTES;
    if (rows == nullptr) {
#pragma GCC unroll 8
        for (int32_t t = 0; t < n; ++t) Plot<Pixel, Keyed>(dst + t * STEP, Pixel::Load(src + t * pitch), keyCode);
        return;
    }
    for (int32_t t = 0; t < n; ++t) Plot<Pixel, Keyed>(dst + t * STEP, Pixel::Load(src + rows[t]), keyCode);
}

// A chip turned by a multiple of 90 degrees, scaled or mirrored: both edges straight, of equal
// length and direction, and straight spans across them. Then each span is a row or a column of
// its own and no pixel is written twice, so the pixels may be visited in any order: rows are
// run copies, and column spans are drawn a tile of columns at a time, row by row, so that
// neither the target nor the source is walked across its rows. Returns false for any other quad.
template <class Pixel, bool Keyed, bool Clipped>
bool DrawAxisAligned(const QuadSetup& q, const EdgeWalker& left, const EdgeWalker& right) {
    constexpr int32_t B = Pixel::BYTES;
    const Line& edge = left.line;
    if (edge.major == 0 || edge.minor != 0 || right.line.minor != 0 || right.line.major != edge.major ||
        right.line.xMajor != edge.xMajor || right.line.sx != edge.sx || right.line.sy != edge.sy) {
        return false;
    }
    const Line span = SetUpLine(left.x, left.y, right.x, right.y);
    if (span.minor != 0 || span.xMajor == edge.xMajor) return false;
    // With equal majors both edges step on every span: span j runs from corner 0 + j edge steps.
    const int32_t spanLast = span.major;
    const int32_t edgeLast = edge.major;
    const int32_t edgeDir = edge.xMajor ? edge.sx : edge.sy;
    const int32_t spanDir = span.xMajor ? span.sx : span.sy;
    const int32_t x0 = left.x;
    const int32_t y0 = left.y;
    const int32_t xEnd = x0 + (edge.xMajor ? edgeDir * edgeLast : spanDir * spanLast);
    const int32_t yEnd = y0 + (edge.xMajor ? spanDir * spanLast : edgeDir * edgeLast);
    if (xEnd < COORD_MIN || xEnd > COORD_MAX || yEnd < COORD_MIN || yEnd > COORD_MAX) return false;  // wraps

    int32_t jFrom = 0, jTo = edgeLast, kFrom = 0, kTo = spanLast;  // j: span, k: pixel in span
    if (Clipped) {
        const bool inX = edge.xMajor ? IndexRange(x0, edgeDir, edgeLast, q.left, q.right, &jFrom, &jTo)
                                     : IndexRange(x0, spanDir, spanLast, q.left, q.right, &kFrom, &kTo);
        const bool inY = edge.xMajor ? IndexRange(y0, spanDir, spanLast, q.top, q.bottom, &kFrom, &kTo)
                                     : IndexRange(y0, edgeDir, edgeLast, q.top, q.bottom, &jFrom, &jTo);
        if (!inX || !inY) return true;
    }
    const StepCount firstRow = StepsAfter(jFrom, q.lastRow, edgeLast);
    SampleStepper rows = StartStepper(q.lastRow, edgeLast, q.sourcePitch);
    rows.acc = firstRow.acc;
    ptrdiff_t rowOffset = static_cast<ptrdiff_t>(firstRow.moves) * q.sourcePitch;
    const StepCount firstColumn = StepsAfter(kFrom, q.lastColumn, spanLast);
    SampleStepper columns = StartStepper(q.lastColumn, spanLast, B);
    columns.acc = firstColumn.acc;
    const ptrdiff_t columnOffset = static_cast<ptrdiff_t>(firstColumn.moves) * B;
    const int32_t count = kTo - kFrom + 1;

    if (span.xMajor) {  // spans are rows
        const bool unitColumns = spanLast == q.lastColumn;
        for (int32_t j = jFrom; j <= jTo; ++j) {
            uint8_t* const dst = q.target + TargetOffset<Pixel>(q, x0 + spanDir * kFrom, y0 + edgeDir * j);
            if (unitColumns) {
                CopyRun<Pixel, Keyed>(dst, spanDir * B, q.source + rowOffset + columnOffset, count, q.keyCode);
            } else {
                CopySampled<Pixel, Keyed>(dst, spanDir * B, q.source + rowOffset, columnOffset, columns, count, q.keyCode);
            }
            rowOffset += Advance(rows);
        }
        return true;
    }
    // Spans are columns: target row k holds sample column k of every span's row.
    const bool unitRows = edgeLast == q.lastRow;  // one source row per span: plain strides
    ptrdiff_t tileRows[TILE] = {};
    for (int32_t j = jFrom; j <= jTo; j += TILE) {
        const int32_t n = jTo - j + 1 < TILE ? jTo - j + 1 : TILE;
        const ptrdiff_t tileRow = rowOffset;  // the tile's first span's source row
        for (int32_t t = 0; t < n; ++t) {
            tileRows[t] = rowOffset - tileRow;
            rowOffset += Advance(rows);
        }
        SampleStepper tileColumns = columns;
        const uint8_t* src = q.source + tileRow + columnOffset;
        uint8_t* dst = q.target + TargetOffset<Pixel>(q, x0 + edgeDir * j, y0 + spanDir * kFrom);
        for (int32_t k = kFrom; k <= kTo; ++k) {
            if (edgeDir > 0) {
                DrawTileRow<Pixel, Keyed, 1>(dst, src, q.sourcePitch, unitRows ? nullptr : tileRows, n, q.keyCode);
            } else {
                DrawTileRow<Pixel, Keyed, -1>(dst, src, q.sourcePitch, unitRows ? nullptr : tileRows, n, q.keyCode);
            }
            src += Advance(tileColumns);
            dst += spanDir * q.pitch;
        }
    }
    return true;
}

// ---- The quad ------------------------------------------------------------------------------

// Sweeps the quad: one span per master edge step, the slave edge and the source row
// following their accumulators.
template <class Pixel, bool Keyed, bool Clipped>
void WalkSpans(const QuadSetup& q) {
    EdgeWalker left = StartEdge(q.x[0], q.y[0], q.x[3], q.y[3]);
    EdgeWalker right = StartEdge(q.x[1], q.y[1], q.x[2], q.y[2]);
    if (DrawAxisAligned<Pixel, Keyed, Clipped>(q, left, right)) return;
    const bool leftIsMaster = left.line.major > right.line.major;  // a tie makes the right edge master
    EdgeWalker& master = leftIsMaster ? left : right;
    EdgeWalker& slave = leftIsMaster ? right : left;
    const int32_t masterMajor = master.line.major;
    const int32_t twoSlaveMajor = 2 * slave.line.major;
    SampleStepper rows = StartStepper(q.lastRow, masterMajor, q.sourcePitch);
    int32_t slaveAcc = -masterMajor;
    ptrdiff_t sourceRow = 0;
    ShapeCache shapes;  // keys set just below; slot pixels are filled before use
    ResetShapes(shapes);
    // The count is held in 16 bits; with majors of at most 32768 it never wraps.
    const uint32_t spanCount = static_cast<uint16_t>(masterMajor + 1);
    for (uint32_t j = 0; j < spanCount; ++j) {
        DrawSpan<Pixel, Keyed, Clipped>(q, shapes, left.x, left.y, right.x, right.y, sourceRow);
        StepEdge(master);
        sourceRow += Advance(rows);
        slaveAcc += twoSlaveMajor;
        if (slaveAcc > 0) {
            slaveAcc -= 2 * masterMajor;
            StepEdge(slave);
        }
    }
}

using WalkFunction = void (*)(const QuadSetup&);

// The sixteen loops, [bytes per pixel - 1][keyed][clipped]; 3 bytes is the packed 24-bit pixel.
constexpr WalkFunction WALKS[4][2][2] = {
    {{&WalkSpans<Pixel8, false, false>, &WalkSpans<Pixel8, false, true>},
     {&WalkSpans<Pixel8, true, false>, &WalkSpans<Pixel8, true, true>}},
    {{&WalkSpans<Pixel16, false, false>, &WalkSpans<Pixel16, false, true>},
     {&WalkSpans<Pixel16, true, false>, &WalkSpans<Pixel16, true, true>}},
    {{&WalkSpans<Pixel24, false, false>, &WalkSpans<Pixel24, false, true>},
     {&WalkSpans<Pixel24, true, false>, &WalkSpans<Pixel24, true, true>}},
    {{&WalkSpans<Pixel32, false, false>, &WalkSpans<Pixel32, false, true>},
     {&WalkSpans<Pixel32, true, false>, &WalkSpans<Pixel32, true, true>}},
};

// No source surface comes near this size; it keeps 2 x last inside 32 bits.
constexpr int64_t MAX_SOURCE_SIDE = int64_t{1} << 30;

inline int32_t Min32(int32_t a, int32_t b) { return a < b ? a : b; }
inline int32_t Max32(int32_t a, int32_t b) { return a < b ? b : a; }

}  // namespace

bool QuadLockRect(const RasterQuad& quad, int32_t width, int32_t height, RasterRect* lockRect) {
    int32_t minX = quad.x[0];
    int32_t maxX = quad.x[0];
    int32_t minY = quad.y[0];
    int32_t maxY = quad.y[0];
    for (int i = 1; i < 4; ++i) {
        minX = Min32(minX, quad.x[i]);
        maxX = Max32(maxX, quad.x[i]);
        minY = Min32(minY, quad.y[i]);
        maxY = Max32(maxY, quad.y[i]);
    }
    minX = Max32(minX, 0);
    minY = Max32(minY, 0);
    maxX = Min32(maxX, width);
    maxY = Min32(maxY, height);
    if (minX > maxX || minY > maxY) return false;
    *lockRect = RasterRect{minX, minY, maxX, maxY};
    return true;
}

int32_t RasterizeQuad(const RasterSurface& target, const RasterClip& clip, const RasterQuad& quad,
                      const RasterSource& source, const RasterRect& srcRect) {
    const int32_t bits = source.bitsPerPixel;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32) return 0;
    // Target and source of different pixel sizes draw nothing. Addressing the target with the
    // source's size would write past it (a 32-bit chip on a 16-bit target), and the colours
    // could not be converted meaningfully anyway: the script author gets no garbage and no crash.
    if (target.bitsPerPixel != bits) return 0;
    if (target.pixels == nullptr || source.pixels == nullptr) return 0;
    RasterRect lockRect{};
    if (!QuadLockRect(quad, target.width, target.height, &lockRect)) return 0;
    if (target.width <= 0 || target.height <= 0) return 0;
    const int64_t lastColumn = static_cast<int64_t>(srcRect.right) - srcRect.left - 1;
    const int64_t lastRow = static_cast<int64_t>(srcRect.bottom) - srcRect.top - 1;
    // An empty source rectangle has no sample to read (chips are at least 1 x 1).
    if (lastColumn < 0 || lastRow < 0 || lastColumn >= MAX_SOURCE_SIDE || lastRow >= MAX_SOURCE_SIDE) return 0;

    // Positions are 16-bit, so no pixel past 32767 is reachable.
    const int32_t surfaceRight = Min32(target.width, COORD_MAX + 1) - 1;
    const int32_t surfaceBottom = Min32(target.height, COORD_MAX + 1) - 1;
    bool cornersInDrawArea = true;
    bool cornersWellInside = true;  // a pixel's margin to every surface edge
    for (int i = 0; i < 4; ++i) {
        const int32_t x = quad.x[i];
        const int32_t y = quad.y[i];
        cornersInDrawArea = cornersInDrawArea && x >= clip.left && x <= clip.right && y >= clip.top && y <= clip.bottom;
        cornersWellInside = cornersWellInside && x >= 1 && x < surfaceRight && y >= 1 && y < surfaceBottom;
    }

    QuadSetup q{};
    bool clipped = true;
    if (cornersInDrawArea) {
        // The unclipped path tests no pixel against the draw area, yet the extra end pixel of
        // a diagonal span reaches one pixel past the corners and a draw area may cover the
        // whole surface or more. Away from the surface's edges nothing is tested; near them
        // the clipped loops keep to the surface alone.
        clipped = !cornersWellInside;
        q.left = 0;
        q.top = 0;
        q.right = surfaceRight;
        q.bottom = surfaceBottom;
    } else {
        q.left = Max32(clip.left, 0);
        q.top = Max32(clip.top, 0);
        q.right = Min32(clip.right, surfaceRight);
        q.bottom = Min32(clip.bottom, surfaceBottom);
        if (q.left > q.right || q.top > q.bottom) return 0;
    }
    q.target = target.pixels;
    q.pitch = target.pitch;
    q.originX = target.originX;
    q.originY = target.originY;
    q.source = source.pixels;
    q.sourcePitch = source.pitch;
    q.lastColumn = static_cast<int32_t>(lastColumn);
    q.lastRow = static_cast<int32_t>(lastRow);
    q.keyCode = source.keyCode;
    // Recorded span offsets are 32-bit: a span of SHAPE_PIXELS moves at most a row and a
    // pixel per pixel, and reads at most the chip's last column.
    const int64_t stepBytes = (target.pitch < 0 ? -static_cast<int64_t>(target.pitch) : target.pitch) + bits / 8;
    q.shapesFit = (SHAPE_PIXELS + 1) * stepBytes <= INT32_MAX && (lastColumn + 1) * (bits / 8) <= INT32_MAX;
    for (int i = 0; i < 4; ++i) {
        q.x[i] = quad.x[i];
        q.y[i] = quad.y[i];
    }
    WALKS[bits / 8 - 1][source.keyed ? 1 : 0][clipped ? 1 : 0](q);
    return 1;
}

}  // namespace zorv
