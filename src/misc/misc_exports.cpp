// The Zorvmisc exports: trigonometry, random numbers, timers and the processor clock.
// They leave the last-call record alone, check none of their arguments and, but for
// ZorvmiscSystemParameter, always return 0. A missing variable, or one without room for a
// value, is skipped, not written.
#include <windows.h>
#include <mmsystem.h>
#include <x86intrin.h>

#include <algorithm>
#include <cstring>

#include "frame/frame.h"
#include "misc/clock_math.h"
#include "misc/random.h"
#include "misc/trig.h"

namespace zorv {

uint32_t ClockHz = 0;

namespace {
// Static initialisation seeds the random state from the millisecond timer, before the
// library's entry point runs.
const bool randomSeeded = (RandomState = timeGetTime(), true);

bool tickStarted = false;
DWORD LastTickTime = 0;
uint32_t LastRdtscMicros = 0;

// The misc exports trust the variable's kind; they only refuse to write through nothing.
// The kind of variable is not checked here, but its size is: nothing is written into a
// variable without room for one 32-bit value.
void Put(HostVariable* var, int32_t value) {
    if (var != nullptr && var->data != nullptr && var->size >= 1) static_cast<int32_t*>(var->data)[0] = value;
}

// Busy-waits until the millisecond timer reaches the given time (unsigned comparison).
void WaitUntil(DWORD time) {
    while (timeGetTime() < time) {
    }
}
}  // namespace

}  // namespace zorv

using namespace zorv;

ZORV_API ZorvmiscRand(HostVariable* var, int32_t base, int32_t range, int32_t) {
    Put(var, RandomInRange(NextRandom(), base, range));
    return OK;
}

// Sin2 and Cos2 reduce the angle to 0 ... 1023; Sin and Cos expect it there and reduce an
// angle outside the same way, so each pair is one function.
ZORV_API ZorvmiscSin2(HostVariable* var, int32_t angle, int32_t value, int32_t) {
    Put(var, ScaledSin(NormalizeAngle(angle), value));
    return OK;
}

ZORV_API ZorvmiscSin(HostVariable* var, int32_t angle, int32_t value, int32_t) { return ZorvmiscSin2(var, angle, value, 0); }

ZORV_API ZorvmiscCos2(HostVariable* var, int32_t angle, int32_t value, int32_t) {
    Put(var, ScaledCos(NormalizeAngle(angle), value));
    return OK;
}

ZORV_API ZorvmiscCos(HostVariable* var, int32_t angle, int32_t value, int32_t) { return ZorvmiscCos2(var, angle, value, 0); }

ZORV_API ZorvmiscAtan(HostVariable* var, int32_t x, int32_t y, int32_t) {
    Put(var, AngleOfVector(x, y));
    return OK;
}

ZORV_API ZorvmiscGetMMtimer(HostVariable* var, int32_t, int32_t, int32_t) {
    Put(var, static_cast<int32_t>(timeGetTime()));
    return OK;
}

ZORV_API ZorvmiscGetMMtickTime(HostVariable* var, int32_t, int32_t, int32_t) {
    if (!tickStarted) {
        LastTickTime = timeGetTime();
        tickStarted = true;
    }
    Put(var, static_cast<int32_t>(timeGetTime() - LastTickTime));
    LastTickTime = timeGetTime();
    return OK;
}

// Counts time-stamp cycles over 100 ms of the millisecond timer, at real-time priority so
// that nothing else runs in between. Keeps the thread busy for about 110 ms.
ZORV_API ZorvmiscGetClock(HostVariable* var, int32_t, int32_t, int32_t) {
    HANDLE process = GetCurrentProcess();
    HANDLE thread = GetCurrentThread();
    DWORD oldClass = GetPriorityClass(process);
    int oldPriority = GetThreadPriority(thread);
    SetPriorityClass(process, REALTIME_PRIORITY_CLASS);
    SetThreadPriority(thread, THREAD_PRIORITY_TIME_CRITICAL);

    DWORD t0 = timeGetTime();
    WaitUntil(t0 + 10);
    uint64_t c0 = __rdtsc();
    WaitUntil(t0 + 110);
    uint64_t c1 = __rdtsc();

    SetPriorityClass(process, oldClass);
    SetThreadPriority(thread, oldPriority);

    ClockHz = ClockHzFromCycles(c1 - c0);
    Put(var, static_cast<int32_t>(ClockHz));
    return OK;
}

// Before ZorvmiscGetClock has measured the clock these write 0 (no division by zero).
ZORV_API ZorvmiscGetRDTSC(HostVariable* var, int32_t, int32_t, int32_t) {
    Put(var, static_cast<int32_t>(MicrosFromTicks(__rdtsc(), ClockHz)));
    return OK;
}

ZORV_API ZorvmiscGetRDTSCtickTime(HostVariable* var, int32_t, int32_t, int32_t) {
    uint32_t micros = MicrosFromTicks(__rdtsc(), ClockHz);
    Put(var, static_cast<int32_t>(micros - LastRdtscMicros));
    LastRdtscMicros = micros;
    return OK;
}

// Action 48 (the work area) answers its width, or its height when the selector is non-zero.
// Any other action gets the variable's first element as its number and the variable's
// contents as its buffer. The system is given a zeroed copy of 4 KB, larger than any record
// an action fills, and only as many bytes as the variable holds are copied back: an action
// that writes more than the script's variable can take cannot write past it.
ZORV_API ZorvmiscSystemParameter(HostVariable* var, int32_t winIniFlags, int32_t action, int32_t selector) {
    if (var == nullptr || var->data == nullptr) return -1;
    BOOL done;
    if (action == SPI_GETWORKAREA) {
        RECT area = {0, 0, 0, 0};
        done = SystemParametersInfoA(SPI_GETWORKAREA, 0, &area, static_cast<UINT>(winIniFlags));
        Put(var, selector != 0 ? area.bottom - area.top : area.right - area.left);
    } else {
        static int32_t scratch[1024];
        const size_t bytes = var->size < 1 ? 0 : std::min<size_t>(sizeof scratch, 4 * static_cast<size_t>(var->size));
        std::memset(scratch, 0, sizeof scratch);
        std::memcpy(scratch, var->data, bytes);
        done = SystemParametersInfoA(static_cast<UINT>(action), static_cast<UINT>(scratch[0]), scratch,
                                     static_cast<UINT>(winIniFlags));
        std::memcpy(var->data, scratch, bytes);
    }
    return done ? 0 : -1;
}
