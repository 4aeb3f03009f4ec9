// Chips as textured Direct3D quads: one pre-transformed strip of two triangles per chip,
// textured with the chip's source surface, in one scene of its own.
#include <cmath>

#include "chip/chip_draw.h"
#include "chip/quad_math.h"
#include "display/display.h"

namespace zorv {

namespace {

struct TlVertex {
    float x, y, z, rhw;
    DWORD colour;
    DWORD specular;
    float u, v;
};
static_assert(sizeof(TlVertex) == 32, "the D3DFVF_TLVERTEX layout");

TlVertex Vertex(float x, float y, float z, float rhw, DWORD colour, float u, float v) {
    return TlVertex{x, y, z, rhw, colour, 0, u, v};
}

// Texture coordinates of the chip on its surface.
struct ChipUv {
    float left, top, right, bottom;
};
ChipUv UvOf(const SurfaceRecord& source, const RECT& src) {
    const float w = static_cast<float>(source.width);
    const float h = static_cast<float>(source.height);
    return ChipUv{src.left / w, src.top / h, src.right / w, src.bottom / h};
}

// Binds the chip's surface as the texture of stage 0 unless it already counts as bound.
int32_t BindTexture(SurfaceRecord* target, SurfaceRecord* source) {
    if (target->boundTexture == source) return OK;
    if (!(source->desc.ddsCaps.dwCaps & DDSCAPS_TEXTURE)) return ERR_NOT_TEXTURE;
    HRESULT hr = target->device->SetTexture(0, source->surface);
    if (FAILED(hr)) return DxFail(hr, ERR_BEGIN_SCENE);
    return OK;
}

// One scene with one strip of four vertices; the scene is ended also after a failed draw.
int32_t DrawStrip(IDirect3DDevice7* device, TlVertex (&vertices)[4], DWORD flags, int32_t polygons) {
    HRESULT hr = device->BeginScene();
    if (FAILED(hr)) return DxFail(hr, ERR_BEGIN_SCENE);
    hr = device->DrawPrimitive(D3DPT_TRIANGLESTRIP, D3DFVF_TLVERTEX, vertices, 4, flags);
    device->EndScene();
    if (FAILED(hr)) return DxFail(hr, ERR_DRAW_POLYGON);
    polygonCount += polygons;
    return OK;
}

}  // namespace

int32_t DrawChipQuadD3D(const FloatPoint corners[4], int32_t transparency, SurfaceRecord* source,
                        const RECT& srcRect) {
    SurfaceRecord* target = currentSurface;
    int32_t status = BindTexture(target, source);
    if (status != OK) return status;
    const DWORD colour = ChipVertexColour(transparency, target->renderColorOn != 0, target->renderColorR,
                                          target->renderColorG, target->renderColorB);
    const ChipUv uv = UvOf(*source, srcRect);
    const FloatPoint& tl = corners[0];
    const FloatPoint& tr = corners[1];
    const FloatPoint& br = corners[2];
    const FloatPoint& bl = corners[3];
    TlVertex vertices[4] = {
        Vertex(tr.x, tr.y, tr.z, 2.0f, colour, uv.right, uv.top),
        Vertex(br.x, br.y, br.z, 2.0f, colour, uv.right, uv.bottom),
        Vertex(tl.x, tl.y, tl.z, 2.0f, colour, uv.left, uv.top),
        Vertex(bl.x, bl.y, bl.z, 2.0f, colour, uv.left, uv.bottom),
    };
    return DrawStrip(target->device, vertices, 0, 2);
}

// Depth by distance from the diagonals' crossing: corners nearer the centre get a smaller
// rhw, like the far corners of a plane seen in perspective.
int32_t DrawChipQuadPoints3D(const int32_t p[8], const ChipRecord& chip, int32_t transparency) {
    SurfaceRecord* target = currentSurface;
    if (target->device == nullptr) return ERR_NO_D3D_DEVICE;
    const QuadCentre centre = DiagonalCrossing(p);
    if (!centre.drawn) return OK;
    const float diagonal = std::sqrt(static_cast<float>(chip.width * chip.width + chip.height * chip.height));
    float depth[4];
    for (int i = 0; i < 4; ++i) {
        const int32_t dx = p[2 * i] - centre.x;
        const int32_t dy = p[2 * i + 1] - centre.y;
        depth[i] = diagonal / std::sqrt(static_cast<float>(dx * dx + dy * dy));
    }
    if (surfaceTable == nullptr || chip.surfaceIndex >= surfaceCount) return ERR_SURFACE_NOT_CREATED;
    SurfaceRecord* source = &surfaceTable[chip.surfaceIndex];
    if (source->surface == nullptr) return ERR_SURFACE_NOT_CREATED;
    const DWORD colour = ChipVertexColour(transparency, false, 0, 0, 0);
    const RECT src = {chip.srcLeft, chip.srcTop, chip.srcRight, chip.srcBottom};
    const ChipUv uv = UvOf(*source, src);
    auto corner = [&](int i, float u, float v) {
        return Vertex(static_cast<float>(p[2 * i]), static_cast<float>(p[2 * i + 1]), depth[i], 1.0f / depth[i],
                      colour, u, v);
    };
    TlVertex vertices[4] = {corner(0, uv.left, uv.top), corner(1, uv.right, uv.top), corner(3, uv.left, uv.bottom),
                            corner(2, uv.right, uv.bottom)};
    int32_t status = BindTexture(target, source);
    if (status != OK) return status;
    return DrawStrip(target->device, vertices, D3DDP_DONOTCLIP, 4);
}

}  // namespace zorv
