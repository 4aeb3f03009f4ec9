#include "misc/trig.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zorv {
namespace {

class Trig : public testing::Test {
protected:
    static void SetUpTestSuite() { BuildTrigTables(); }
};

TEST_F(Trig, SineRows) {
    struct Row { int i, value; } rows[] = {
        {0, 0},        {1, 402},      {64, 25079},    {128, 46340},   {192, 60546}, {256, 65534},
        {320, 60546},  {511, 401},    {512, 0},       {640, -46340},  {768, -65534}, {896, -46339},
        {1023, -401},
    };
    for (const Row& r : rows) EXPECT_EQ(r.value, SinTable[r.i]) << "SinTable[" << r.i << "]";
}

TEST_F(Trig, CosineRows) {
    struct Row { int i, value; } rows[] = {
        {0, 65535}, {1, 65533}, {128, 46340}, {256, 0}, {512, -65534}, {767, -401}, {768, 0},
    };
    for (const Row& r : rows) EXPECT_EQ(r.value, CosTable[r.i]) << "CosTable[" << r.i << "]";
}

TEST_F(Trig, AtanRows) {
    for (int i = 0; i <= 6; ++i) EXPECT_EQ(0, AtanTable[i]) << i;
    struct Row { int i, value; } rows[] = {
        {7, 1}, {100, 15}, {256, 39}, {512, 75}, {768, 104}, {1000, 126}, {1023, 127},
    };
    for (const Row& r : rows) EXPECT_EQ(r.value, AtanTable[r.i]) << "AtanTable[" << r.i << "]";
    for (int i = 1; i < ANGLE_STEPS; ++i) ASSERT_GE(AtanTable[i], AtanTable[i - 1]) << i;
}

TEST_F(Trig, ScaledSinShiftsTowardMinusInfinityAndWraps) {
    EXPECT_EQ(99, ScaledSin(256, 100));
    EXPECT_EQ(-100, ScaledSin(768, 100));
    EXPECT_EQ(0, ScaledSin(256, 1));
    EXPECT_EQ(-1, ScaledSin(768, 1));
    EXPECT_EQ(70, ScaledSin(128, 100));
    EXPECT_EQ(99, ScaledCos(0, 100));
    EXPECT_EQ(-100, ScaledCos(512, 100));
    EXPECT_EQ(32767, ScaledCos(0, 32768));
    EXPECT_EQ(-32768, ScaledCos(0, 32769));
    EXPECT_EQ(1, ScaledCos(0, -65536));  // 65535 * -65536 keeps only its low 32 bits: 0x10000
}

TEST_F(Trig, NormalizeAngle) {
    struct Row { int in, out; } rows[] = {
        {-1, 1023}, {-1024, 0}, {-2048, 0}, {1024, 0}, {1500, 476}, {0, 0}, {1023, 1023}, {-1025, 1023},
        {INT32_MIN, 0}, {INT32_MAX, 1023},
    };
    for (const Row& r : rows) EXPECT_EQ(r.out, NormalizeAngle(r.in)) << r.in;
}

TEST_F(Trig, AngleOfVectorAxesAndDiagonals) {
    struct Row { int x, y, angle; } rows[] = {
        {0, 0, 768}, {1, 0, 0}, {0, 1, 256}, {-1, 0, 512}, {0, -1, 768},
        {5, 5, 128}, {-5, 5, 384}, {-5, -5, 640}, {5, -5, 896},
        {1000, 1, 0}, {1000, -1, 1023}, {1024, 512, 75}, {512, 1024, 181},
    };
    for (const Row& r : rows) EXPECT_EQ(r.angle, AngleOfVector(r.x, r.y)) << r.x << "," << r.y;
}

TEST_F(Trig, AngleOfVectorEachOctant) {
    // k = 512 gives T[k] = 75 in every octant.
    struct Row { int x, y, angle; } rows[] = {
        {1024, 512, 75},    {512, 1024, 181},   {-512, 1024, 331},  {-1024, 512, 437},
        {-1024, -512, 587}, {-512, -1024, 693}, {512, -1024, 843},  {1024, -512, 948},
    };
    for (const Row& r : rows) EXPECT_EQ(r.angle, AngleOfVector(r.x, r.y)) << r.x << "," << r.y;
}

TEST_F(Trig, AngleOfVectorFollowsTheCircle) {
    // Vectors of length 1e6 at every step come back within two steps of their angle
    // (the table is coarse near 45 degrees, and pi is taken slightly large).
    for (int a = 0; a < ANGLE_STEPS; ++a) {
        double radians = a * 2.0 * M_PI / ANGLE_STEPS;
        int x = static_cast<int>(std::lround(std::cos(radians) * 1e6));
        int y = static_cast<int>(std::lround(std::sin(radians) * 1e6));
        int diff = (AngleOfVector(x, y) - a + 1536) % 1024 - 512;
        EXPECT_LE(std::abs(diff), 2) << "angle " << a;
    }
}

TEST_F(Trig, AngleOfVectorLargeComponentsStayInRange) {
    for (int x : {INT32_MIN, -2097151, -3, 3, 2097151, INT32_MAX}) {
        for (int y : {INT32_MIN, -2097151, -7, 0, 7, 2097151, INT32_MAX}) {
            int angle = AngleOfVector(x, y);
            EXPECT_GE(angle, 0);
            EXPECT_LT(angle, 1024);
        }
    }
}

}  // namespace
}  // namespace zorv
