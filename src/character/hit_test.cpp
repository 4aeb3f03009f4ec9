// Hit areas and the rectangle, triangle, segment and quadrilateral tests between them.
#include "character/hit_test.h"

#include <algorithm>

#include "character/character.h"
#include "misc/trig.h"

namespace zorv {

namespace {

// Truncating division that wraps INT32_MIN / -1 instead of trapping; b is never 0 here.
int32_t Div(int32_t a, int32_t b) { return b == -1 ? WrapSub(0, a) : a / b; }

int32_t Cross(IntPoint from, IntPoint u, IntPoint v) {
    return WrapSub(WrapMul(WrapSub(u.x, from.x), WrapSub(v.y, from.y)),
                   WrapMul(WrapSub(u.y, from.y), WrapSub(v.x, from.x)));
}

// Corners P0 ... P3 form an axis-aligned rectangle, upright or a quarter turned.
bool Aligned(const IntPoint* p) {
    return (p[0].x == p[3].x && p[1].x == p[2].x && p[0].y == p[1].y && p[2].y == p[3].y) ||
           (p[0].x == p[1].x && p[2].x == p[3].x && p[0].y == p[3].y && p[1].y == p[2].y);
}

struct Span {
    int32_t lo;
    int32_t hi;
};
Span SpanOf(const IntPoint* p, int32_t IntPoint::*axis) {
    Span s{p[0].*axis, p[0].*axis};
    for (int i = 1; i < 4; ++i) s = Span{std::min(s.lo, p[i].*axis), std::max(s.hi, p[i].*axis)};
    return s;
}
bool OpenOverlap(Span a, Span b) { return a.lo < b.hi && b.lo < a.hi; }

// One of the corners lies in the quadrilateral q, split along its diagonal q0-q2.
bool CornerInside(const IntPoint* corners, const IntPoint* q) {
    for (int i = 0; i < 4; ++i)
        if (PointInTriangle(corners[i], q[0], q[1], q[2]) || PointInTriangle(corners[i], q[0], q[3], q[2])) return true;
    return false;
}

int32_t Distance(int32_t a, int32_t b) {
    const int32_t d = WrapSub(a, b);
    return d < 0 ? WrapSub(0, d) : d;
}

// The distance of the quick test, summed over both axes, and a hit area's reach, w + h.
int32_t CentreDistance(IntPoint s, IntPoint c) { return WrapAdd(Distance(c.x, s.x), Distance(c.y, s.y)); }
int32_t ReachOf(const HitExtents& e) { return WrapAdd(WrapSub(e.right, e.left), WrapSub(e.bottom, e.top)); }

}  // namespace

HitExtents HitExtentsOf(const ChipRecord& chip, int32_t drawFlags, int32_t scaleX, int32_t scaleY) {
    if ((drawFlags & DRAW_SCALE) == 0)
        return HitExtents{WrapSub(chip.hitLeft, chip.offsetX), WrapSub(chip.hitTop, chip.offsetY),
                          WrapSub(chip.hitRight, chip.offsetX), WrapSub(chip.hitBottom, chip.offsetY)};
    // Each term is scaled and shifted on its own before the subtraction.
    auto scaled = [](int32_t v, int32_t s) { return WrapMul(v, s) >> 8; };
    const int32_t ox = scaled(chip.offsetX, scaleX), oy = scaled(chip.offsetY, scaleY);
    return HitExtents{WrapSub(scaled(chip.hitLeft, scaleX), ox), WrapSub(scaled(chip.hitTop, scaleY), oy),
                      WrapSub(scaled(chip.hitRight, scaleX), ox), WrapSub(scaled(chip.hitBottom, scaleY), oy)};
}

HitQuad HitQuadOf(const HitExtents& e, IntPoint centre, int32_t drawFlags, int32_t angle) {
    HitQuad q;
    q.centre = centre;
    const int32_t u[4] = {e.left, e.right, e.right, e.left}, v[4] = {e.top, e.top, e.bottom, e.bottom};
    const bool turned = (drawFlags & DRAW_ROTATE) != 0 && angle != 0;
    for (int i = 0; i < 4; ++i)
        q.corner[i] = turned ? RotatedCorner(centre.x, centre.y, u[i], v[i], NormalizeAngle(angle))
                             : IntPoint{WrapAdd(centre.x, u[i]), WrapAdd(centre.y, v[i])};
    q.reach = ReachOf(e);
    q.core = std::min(WrapSub(e.right, e.left), WrapSub(e.bottom, e.top)) >> 1;
    return q;
}

bool RectsHit(const HitExtents& s, IntPoint sc, const HitExtents& c, IntPoint cc) {
    return WrapAdd(sc.x, s.left) < WrapAdd(cc.x, c.right) && WrapAdd(cc.x, c.left) < WrapAdd(sc.x, s.right) &&
           WrapAdd(sc.y, s.top) < WrapAdd(cc.y, c.bottom) && WrapAdd(cc.y, c.top) < WrapAdd(sc.y, s.bottom);
}

bool PointInTriangle(IntPoint x, IntPoint a, IntPoint b, IntPoint c) {
    const IntPoint edge[3][3] = {{a, b, c}, {b, c, a}, {c, a, b}};  // from, to, the third corner
    for (const auto& e : edge)
        if ((Cross(e[0], e[1], e[2]) < 0) != (Cross(e[0], e[1], x) < 0)) return false;
    return true;
}

bool SegmentsCross(IntPoint p0, IntPoint p1, IntPoint q0, IntPoint q1) {
    const int32_t x0 = p0.x, y0 = p0.y, x1 = p1.x, y1 = p1.y, x2 = q0.x, y2 = q0.y, x3 = q1.x, y3 = q1.y;
    auto within = [](int32_t v, int32_t a, int32_t b) { return std::min(a, b) <= v && v <= std::max(a, b); };
    if (x0 == x1) {
        if (!within(x0, x2, x3)) return false;
        if (x2 != x3) {
            const int32_t y = WrapAdd(Div(WrapMul(WrapSub(x0, x2), WrapSub(y3, y2)), WrapSub(x3, x2)), y2);
            return within(y, y0, y1) && within(y, y2, y3);
        }
        return x0 == x2 && std::min(y0, y1) <= std::max(y2, y3) && std::min(y2, y3) <= std::max(y0, y1);
    }
    if (x2 == x3) {
        const int32_t y = WrapAdd(Div(WrapMul(WrapSub(x2, x0), WrapSub(y1, y0)), WrapSub(x1, x0)), y0);
        return within(y, y2, y3) && within(x2, x0, x1);
    }
    if (!(std::min(x0, x1) < std::max(x2, x3) && std::min(x2, x3) < std::max(x0, x1) &&
          std::min(y0, y1) < std::max(y2, y3) && std::min(y2, y3) < std::max(y0, y1)))
        return false;
    const int32_t dx1 = WrapSub(x1, x0), dy1 = WrapSub(y1, y0), dx2 = WrapSub(x3, x2), dy2 = WrapSub(y3, y2);
    const double k = double(dy1) / dx1 - double(dy2) / dx2;
    if (k == 0) return WrapAdd(Div(WrapMul(WrapSub(x2, x0), dy1), dx1), y0) == y2;
    const double crossing =
        (double(WrapMul(dy1, x0)) / dx1 + WrapSub(y2, y0) - double(WrapMul(dy2, x2)) / dx2) / k;
    // Rounded to single precision, then compared exactly against the integer ends.
    const double x = static_cast<float>(crossing);
    return std::min(x0, x1) <= x && x <= std::max(x0, x1) && std::min(x2, x3) <= x &&
           x <= std::max(x2, x3);
}

bool QuadsHit(const HitQuad& s, const HitQuad& c, int32_t mode) {
    const int32_t d = CentreDistance(s.centre, c.centre);
    if (d > std::max(s.reach, c.reach)) return false;
    if (d < std::min(s.core, c.reach)) return true;
    if (Aligned(s.corner) && Aligned(c.corner) &&
        OpenOverlap(SpanOf(s.corner, &IntPoint::x), SpanOf(c.corner, &IntPoint::x)) &&
        OpenOverlap(SpanOf(s.corner, &IntPoint::y), SpanOf(c.corner, &IntPoint::y)))
        return true;
    if ((mode & HIT_CORNERS_OF_TESTED) && CornerInside(s.corner, c.corner)) return true;
    if ((mode & HIT_CORNERS_OF_CANDIDATE) && CornerInside(c.corner, s.corner)) return true;
    if (mode & HIT_EDGES) {
        const int edge[4][2] = {{0, 1}, {1, 2}, {3, 2}, {0, 3}};
        for (const auto& a : edge)
            for (const auto& b : edge)
                if (SegmentsCross(s.corner[a[0]], s.corner[a[1]], c.corner[b[0]], c.corner[b[1]])) return true;
    }
    return false;
}

}  // namespace zorv

namespace zorv {

namespace {

// Hit extents and effective position of character n; its ChipNo is valid.
struct CharacterArea {
    HitExtents extents;
    IntPoint centre;
    int32_t drawFlags;
};
CharacterArea AreaOf(int32_t n, const ChipRecord* chips) {
    const int32_t flags = Col(COL_DRAW_FLAGS, n) & 0xFF;
    const IntPair at = EffectivePosition(n);
    return CharacterArea{HitExtentsOf(chips[Col(COL_CHIP_NO, n)], flags, Col(COL_SCALE_X, n), Col(COL_SCALE_Y, n)),
                         IntPoint{at.x, at.y}, flags};
}

}  // namespace

int32_t FirstHit(int32_t s, int32_t mask, int32_t start, int32_t end, bool quads, int32_t mode, const ChipRecord* chips,
                 int32_t chipCount, int32_t& hit) {
    auto valid = [&](int32_t n) { return Col(COL_CHIP_NO, n) >= 0 && Col(COL_CHIP_NO, n) < chipCount; };
    if (!valid(s)) return -75;
    const CharacterArea a = AreaOf(s, chips);
    const HitQuad aq = HitQuadOf(a.extents, a.centre, a.drawFlags, Col(COL_ANGLE, s));
    for (int32_t c = start; c < end; ++c) {
        if ((Col(COL_ATTRIBUTE, c) & mask) == 0) continue;
        if (!valid(c)) return -75;
        const CharacterArea b = AreaOf(c, chips);
        // Most candidates of a frame are far away: passed over before their corners are turned.
        if (quads && CentreDistance(aq.centre, b.centre) > std::max(aq.reach, ReachOf(b.extents))) continue;
        if (quads ? QuadsHit(aq, HitQuadOf(b.extents, b.centre, b.drawFlags, Col(COL_ANGLE, c)), mode)
                  : RectsHit(a.extents, a.centre, b.extents, b.centre)) {
            hit = c;
            return 0;
        }
    }
    return 0;
}

}  // namespace zorv
