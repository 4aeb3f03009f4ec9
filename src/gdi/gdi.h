// GDI drawing's hand-over of a surface's device context to the host (ZorvBeginDraw).
#pragma once

#include <ddraw.h>

namespace zorv {

// Called before a surface is released: when its device context is lent to the host, the
// context is given back and the host's own HDC put back into its record, so that neither
// is lost with the surface.
void TakeBackLentDc(IDirectDrawSurface7* surface);

}  // namespace zorv
