// Hit areas of characters and the tests between them: axis-aligned rectangles, and turned
// quadrilaterals with quick distance tests, an aligned shortcut and exact corner and edge tests.
// Integer arithmetic wraps in 32 bits; only the edge crossing uses floating point.
#pragma once

#include <cstdint>

#include "chip/chip.h"
#include "chip/quad_math.h"

namespace zorv {

// The hit rectangle's edges relative to the effective position, scaled when DRAW_SCALE is set.
struct HitExtents {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};
HitExtents HitExtentsOf(const ChipRecord& chip, int32_t drawFlags, int32_t scaleX, int32_t scaleY);

// A character's hit area for the quadrilateral test.
struct HitQuad {
    IntPoint centre;     // the effective position
    IntPoint corner[4];  // (L, T), (R, T), (R, B), (L, B), turned when DRAW_ROTATE is set
    int32_t reach;       // w + h
    int32_t core;        // min(w, h) >> 1
};
HitQuad HitQuadOf(const HitExtents& e, IntPoint centre, int32_t drawFlags, int32_t angle);

// The axis-aligned test: strict on all sides, so rectangles sharing an edge do not hit.
bool RectsHit(const HitExtents& s, IntPoint sCentre, const HitExtents& c, IntPoint cCentre);

// Test mode bits of ZorvHitTest2 (low 8 bits of the mode).
constexpr int32_t HIT_CORNERS_OF_TESTED = 1, HIT_CORNERS_OF_CANDIDATE = 2, HIT_EDGES = 4;
// Whether candidate c hits the tested character s.
bool QuadsHit(const HitQuad& s, const HitQuad& c, int32_t mode);

// x in the triangle (a, b, c): a point on an edge is inside when the triangle's own value for
// that edge is zero or positive.
bool PointInTriangle(IntPoint x, IntPoint a, IntPoint b, IntPoint c);
// Whether the segments p0-p1 and q0-q1 meet.
bool SegmentsCross(IntPoint p0, IntPoint p1, IntPoint q0, IntPoint q1);

// The candidate loop of ZorvHitTest (quads false) and ZorvHitTest2 (quads true, mode): hit is set
// to the first c of start ... end - 1 whose Attribute shares a bit with mask and whose hit area
// meets the tested character s's, and left as it is when none does. 0, or -75 when s or a
// candidate that passes the mask has a ChipNo outside chips[0 ... chipCount - 1].
int32_t FirstHit(int32_t s, int32_t mask, int32_t start, int32_t end, bool quads, int32_t mode, const ChipRecord* chips,
                 int32_t chipCount, int32_t& hit);

}  // namespace zorv
