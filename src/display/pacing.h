// Arithmetic of the screen update: frame pacing on the millisecond clock, the once-a-second
// frame and polygon rates, and their on-screen texts. Pure code: the update itself makes the
// timeGetTime and Sleep calls and hands the numbers to these functions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zorv {

// ---- Frame pacing -----------------------------------------------------------------------

// Polling takes over for the last few milliseconds, since Sleep may oversleep by about that.
constexpr uint32_t SLEEP_MARGIN_MS = 3;
// Waits shorter than this are polled entirely.
constexpr uint32_t MIN_SLEEP_WAIT_MS = SLEEP_MARGIN_MS + 1;

// What one pacing step decides. The caller sleeps sleepMs (when non-zero), stores remainder
// and frameClock, and unless the frame was late polls the clock until ClockReached(now,
// frameClock).
struct PacingStep {
    uint32_t remainder;   // the new frameRemainder: low 16 bits carry the fraction onwards
    uint32_t slotLength;  // this frame's slot in whole milliseconds
    uint32_t since;       // milliseconds from the slot's start to now
    bool late;            // since >= slotLength: the schedule restarts from now, no waiting
    uint32_t wait;        // slotLength - since when on time, else 0
    uint32_t sleepMs;     // wait - 3 when wait >= 4, else 0
    uint32_t frameClock;  // the new frameClock: now when late, else the old one + slotLength
};

// interval is the frame length in 1/65536 millisecond (1092267 for 60 frames per second,
// 0 for no waiting). Only the low 16 bits of frameRemainder are carried; all arithmetic is
// unsigned 32-bit, so the clock may wrap.
PacingStep ComputePacing(uint32_t now, uint32_t frameClock, uint32_t frameRemainder, uint32_t interval);

// Whether the clock has come to target. Compared as a signed difference so that a clock
// that wraps past 0xFFFFFFFF between two readings does not look like a far-off target.
inline bool ClockReached(uint32_t now, uint32_t target) {
    return static_cast<int32_t>(now - target) >= 0;
}

// ---- Rates ------------------------------------------------------------------------------

// Rates are measured over about a second; a measurement is due once the clock has reached
// nextRateUpdate (plain unsigned comparison).
inline bool RateUpdateDue(uint32_t now, uint32_t nextRateUpdate) { return nextRateUpdate <= now; }

// Milliseconds that the measurement covers: the second it was due after plus how late it is.
inline uint32_t RateElapsed(uint32_t now, uint32_t nextRateUpdate) { return now - nextRateUpdate + 1000u; }

// Frames per second * 256: frameCount * 256000 / elapsed in unsigned 32-bit arithmetic (the
// product wraps like the counter does); 0xFFFFFFFF when elapsed is 0.
uint32_t FrameRateFrom(uint32_t frameCount, uint32_t elapsed);

// Polygons per second: polygonCount * 1000 / elapsed in unsigned 32-bit arithmetic. The
// caller does not measure when elapsed is 0; this then answers 0xFFFFFFFF.
uint32_t PolygonRateFrom(uint32_t polygonCount, uint32_t elapsed);

// ---- Rate texts -------------------------------------------------------------------------

// A rate text buffer: at most 11 characters and the terminating zero.
constexpr size_t RATE_TEXT_SIZE = 12;
constexpr size_t RATE_TEXT_MAX_LENGTH = RATE_TEXT_SIZE - 1;

// The texts before the first measurement, and the polygon text when the measurement covered
// no time at all.
constexpr const char* FPS_TEXT_START = "0 FPS";
constexpr const char* TPS_TEXT_START = "0 TPS";
constexpr const char* TPS_TEXT_NO_TIME = "9999999 TPS";

// Formats frameRate / 256 as "%6.2f FPS" and returns the text's length. A rate of 10000
// frames per second or more does not fit in 11 characters; it then keeps as many decimals
// as fit ("12345.7 FPS", then "1234567 FPS"), and a rate of 10000000 or more shows the
// largest number that fits, "9999999 FPS". Never writes past the 12 bytes.
int32_t FormatFrameRate(uint32_t frameRate, char (&text)[RATE_TEXT_SIZE]);

// Formats the polygon rate as "%6d TPS" and returns the text's length. Rates that do not fit
// in 11 characters are shown as the largest number that fits on their side: "9999999 TPS"
// for 10000000 and above, "-999999 TPS" for -1000000 and below. Never writes past the 12
// bytes.
int32_t FormatPolygonRate(int32_t polygonRate, char (&text)[RATE_TEXT_SIZE]);

// Copies one of the fixed texts above (at most 11 characters, longer ones are cut) and
// returns its length.
int32_t SetRateText(const char* source, char (&text)[RATE_TEXT_SIZE]);

}  // namespace zorv
