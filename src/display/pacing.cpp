// Frame pacing, rate arithmetic and rate texts of the screen update. Pure code.
#include "display/pacing.h"

#include <cstdio>
#include <cstring>

namespace zorv {

// ---- Frame pacing -----------------------------------------------------------------------

PacingStep ComputePacing(uint32_t now, uint32_t frameClock, uint32_t frameRemainder, uint32_t interval) {
    PacingStep step = {};
    // Only the fraction of a millisecond is carried from the last frame; the whole
    // milliseconds of the sum are this frame's slot.
    step.remainder = (frameRemainder & 0xFFFFu) + interval;
    step.slotLength = step.remainder >> 16;
    step.since = now - frameClock;

    if (step.since >= step.slotLength) {
        // Late or exactly on time: start the next slot now; lost time is not made up.
        step.late = true;
        step.wait = 0;
        step.sleepMs = 0;
        step.frameClock = now;
        return step;
    }

    step.late = false;
    step.wait = step.slotLength - step.since;
    step.sleepMs = step.wait >= MIN_SLEEP_WAIT_MS ? step.wait - SLEEP_MARGIN_MS : 0;
    // Advancing by the slot rather than setting the clock to now keeps the schedule free
    // of drift.
    step.frameClock = frameClock + step.slotLength;
    return step;
}

// ---- Rates ------------------------------------------------------------------------------

uint32_t FrameRateFrom(uint32_t frameCount, uint32_t elapsed) {
    if (elapsed == 0) return 0xFFFFFFFFu;
    return frameCount * 256000u / elapsed;
}

uint32_t PolygonRateFrom(uint32_t polygonCount, uint32_t elapsed) {
    if (elapsed == 0) return 0xFFFFFFFFu;
    return polygonCount * 1000u / elapsed;
}

// ---- Rate texts -------------------------------------------------------------------------

namespace {

// Room for the longest text any of the formats below can make (a 32-bit number with sign
// or eight digits before two decimals, and the suffix), so that the length can be checked
// before anything reaches the display's buffer.
constexpr size_t SCRATCH_SIZE = 32;

// Copies a formatted text into the display's buffer when it fits; returns its length, or
// -1 when it does not fit (the buffer is then left alone).
int32_t StoreIfFits(int formatted, const char* scratch, char (&text)[RATE_TEXT_SIZE]) {
    if (formatted < 0 || static_cast<size_t>(formatted) > RATE_TEXT_MAX_LENGTH) return -1;
    std::memcpy(text, scratch, static_cast<size_t>(formatted) + 1);
    return formatted;
}

}  // namespace

int32_t FormatFrameRate(uint32_t frameRate, char (&text)[RATE_TEXT_SIZE]) {
    double perSecond = static_cast<double>(frameRate) / 256.0;
    char scratch[SCRATCH_SIZE] = {};

    // The usual text, then fewer decimals for very high rates. The length is checked after
    // formatting because rounding can add a digit (9999.996 becomes "10000.00").
    int formatted = std::snprintf(scratch, sizeof scratch, "%6.2f FPS", perSecond);
    int32_t length = StoreIfFits(formatted, scratch, text);
    if (length >= 0) return length;

    formatted = std::snprintf(scratch, sizeof scratch, "%.1f FPS", perSecond);
    length = StoreIfFits(formatted, scratch, text);
    if (length >= 0) return length;

    formatted = std::snprintf(scratch, sizeof scratch, "%.0f FPS", perSecond);
    length = StoreIfFits(formatted, scratch, text);
    if (length >= 0) return length;

    // Eight digits or more: the largest number that fits.
    return SetRateText("9999999 FPS", text);
}

int32_t FormatPolygonRate(int32_t polygonRate, char (&text)[RATE_TEXT_SIZE]) {
    char scratch[SCRATCH_SIZE] = {};
    int formatted = std::snprintf(scratch, sizeof scratch, "%6d TPS", static_cast<int>(polygonRate));
    int32_t length = StoreIfFits(formatted, scratch, text);
    if (length >= 0) return length;

    // Seven characters for the number: saturate on the number's own side.
    return SetRateText(polygonRate < 0 ? "-999999 TPS" : "9999999 TPS", text);
}

int32_t SetRateText(const char* source, char (&text)[RATE_TEXT_SIZE]) {
    size_t length = 0;
    while (length < RATE_TEXT_MAX_LENGTH && source[length] != '\0') ++length;
    std::memcpy(text, source, length);
    text[length] = '\0';
    return static_cast<int32_t>(length);
}

}  // namespace zorv
