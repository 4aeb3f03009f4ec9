// The plugin palette's pending work: entries changed since the last screen update and the
// fade that the update advances one step per presented frame. ApplyPaletteWork, which runs
// it, is declared with the screen update in display/display.h.
#pragma once

#include <windows.h>
#include <ddraw.h>

#include <cstdint>

namespace zorv {

extern uint8_t paletteChanges[256];    // indices changed by ZorvSetPalette, in call order
extern int32_t paletteChangeCount;     // entries in the list; PALETTE_CHANGES_ALL: every entry
extern uint8_t fadeTarget[256][3];     // red, green, blue the fade runs towards
extern int32_t fadeSteps;              // 0: no fade; -1: show paletteTable again; N > 0: N steps
extern int32_t fadeStep;               // fade steps shown so far

// The colour code that (red, green, blue) has on the surface: the nearest palette entry in
// palette mode, else the pixel value GDI writes for it (found through pixel (0, 0), which is
// put back afterwards). 0 with the code in *result, or the status of the failing step.
int32_t ColorMatchChecked(IDirectDrawSurface7* surface, int32_t red, int32_t green, int32_t blue,
                          uint32_t* result);

}  // namespace zorv
