// One frame of a character's motion: integer fixed point only, no allocation, no division.
#include "character/character.h"
#include "chip/chip.h"
#include "misc/trig.h"

namespace zorv {

void CarryFraction(int32_t& column, int32_t& remainder, int32_t delta) {
    const int32_t r = WrapAdd(remainder, delta);
    if (r > 255) {
        column = WrapAdd(column, r >> 8);
        remainder = r & 255;
    } else if (r < -255) {
        // The magnitude is taken unsigned, so a remainder of INT32_MIN carries 2^23 whole
        // units downward (its true value) instead of overflowing the negation.
        const uint32_t magnitude = 0u - static_cast<uint32_t>(r);
        column = WrapSub(column, static_cast<int32_t>(magnitude >> 8));
        remainder = -static_cast<int32_t>(magnitude & 255);
    } else {
        remainder = r;
    }
}

namespace {

// A character number from a column or a plugin-side entry that names no slot (a HomingTarget
// outside the table) is treated like a free slot: the tie to it ends.
bool Exists(int32_t n) { return n >= 0 && n < characterCapacity && Col(COL_ATTRIBUTE, n) != 0; }

void MoveByVelocity(int32_t n) {
    Col(COL_VELOCITY_X, n) = WrapAdd(Col(COL_VELOCITY_X, n), Col(COL_ACCEL_X, n));
    CarryFraction(Col(COL_POS_X, n), subPixel[n].x, Col(COL_VELOCITY_X, n));
    Col(COL_VELOCITY_Y, n) = WrapAdd(Col(COL_VELOCITY_Y, n), Col(COL_ACCEL_Y, n));
    CarryFraction(Col(COL_POS_Y, n), subPixel[n].y, Col(COL_VELOCITY_Y, n));
}

void MoveByTurning(int32_t n) {
    if (Col(COL_TURN_ACCEL, n) != 0) CarryFraction(Col(COL_TURN_SPEED, n), turnFraction[n], Col(COL_TURN_ACCEL, n));
    if (Col(COL_TURN_SPEED, n) != 0) {
        CarryFraction(Col(COL_ANGLE, n), angleFraction[n], Col(COL_TURN_SPEED, n));
        Col(COL_ANGLE, n) = NormalizeAngle(Col(COL_ANGLE, n));
    }
    // An Angle outside 0 ... 1023 left by the script (TurnSpeed 0) reads the tables at the
    // angle modulo 1024, the direction the script would mean.
    const int32_t angle = Col(COL_ANGLE, n), speed = Col(COL_SPEED, n);
    headingVelocity[n].x = ScaledCos(angle, speed);
    headingVelocity[n].y = ScaledSin(angle, WrapSub(0, speed));  // screen y points down
    if (headingVelocity[n].x != 0) CarryFraction(Col(COL_POS_X, n), subPixel[n].x, headingVelocity[n].x);
    if (headingVelocity[n].y != 0) CarryFraction(Col(COL_POS_Y, n), subPixel[n].y, headingVelocity[n].y);
}

// A tied character keeps the distance it had from its target when the tie was made and moves
// with the target: the offset becomes that distance plus the target's position, and the
// character's own position is its motion on top of it. So the frame after the tie the
// character stands where it stood before, and from then on follows every move of the target.
void PlaceRelative(int32_t n) {
    const int32_t t = relativeTarget[n];
    if (Exists(t)) {
        relativeOffset[n].x = WrapAdd(relativeDistance[n].x, Col(COL_POS_X, t));
        relativeOffset[n].y = WrapAdd(relativeDistance[n].y, Col(COL_POS_Y, t));
        return;
    }
    // The target is gone: the offset moves into the position, so nothing jumps.
    Col(COL_MOVE_FLAGS, n) &= ~MOVE_RELATIVE;
    Col(COL_POS_X, n) = WrapAdd(Col(COL_POS_X, n), relativeOffset[n].x);
    Col(COL_POS_Y, n) = WrapAdd(Col(COL_POS_Y, n), relativeOffset[n].y);
    relativeOffset[n] = IntPair{0, 0};
    relativeDistance[n] = IntPair{0, 0};
}

// Pushes the acceleration one HomingAccel toward the target on each axis where they differ.
void Home(int32_t n) {
    const int32_t t = Col(COL_HOMING_TARGET, n);
    if (!Exists(t)) {
        Col(COL_MOVE_FLAGS, n) &= ~MOVE_HOMING;
        return;
    }
    const int32_t push = Col(COL_HOMING_ACCEL, n);
    for (int32_t axis = 0; axis < 2; ++axis) {
        const int32_t own = Col(COL_POS_X + axis, n), target = Col(COL_POS_X + axis, t);
        int32_t& accel = Col(COL_ACCEL_X + axis, n);
        if (own > target) accel = WrapSub(accel, push);
        if (own < target) accel = WrapAdd(accel, push);
    }
}

bool OutsideLimits(int32_t n) {
    const int32_t x = Col(COL_POS_X, n), y = Col(COL_POS_Y, n);
    return x < Col(COL_LIMIT_LEFT, n) || y < Col(COL_LIMIT_TOP, n) || x > Col(COL_LIMIT_RIGHT, n) ||
           y > Col(COL_LIMIT_BOTTOM, n);
}

}  // namespace

void UpdateCharacter(int32_t n) {
    int32_t& life = Col(COL_LIFE, n);
    if (life != 0) {
        life = WrapSub(life, 1);
        if (life == 0) {
            Col(COL_ATTRIBUTE, n) = 0;
            return;
        }
    }
    // Read once: flags the steps below clear take effect from the next frame.
    const int32_t flags = Col(COL_MOVE_FLAGS, n) & 0xFF;
    if (flags & MOVE_VELOCITY) MoveByVelocity(n);
    if (flags & MOVE_TURN) MoveByTurning(n);
    if (flags & MOVE_RELATIVE) PlaceRelative(n);
    if (flags & MOVE_HOMING) Home(n);
    if ((flags & MOVE_LIMIT) && OutsideLimits(n)) {
        Col(COL_ATTRIBUTE, n) = 0;
        return;
    }
    if (Col(COL_DRAW_FLAGS, n) & DRAW_ANIMATE) AnimateCharacter(n);
}

}  // namespace zorv
