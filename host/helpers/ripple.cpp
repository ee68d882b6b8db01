// tavo_host_ripple: a relief for the layered material's `bump` input. The
// height field h = (sin kx + sin ky + sin kz) / 3 over the state's point, with
// k = 2 pi / wavelength, has the gradient (k / 3)(cos kx, cos ky, cos kz); the
// relief is that gradient scaled axis by axis by the amounts, with its part
// along the normal taken out, so that it tilts the normal and never lengthens it.
#include <cmath>

#include "frame/frame.h"

namespace {

struct RippleParameters {
  miScalar amount_x;
  miScalar amount_y;
  miScalar amount_z;
  miInteger enable;
  miScalar wavelength;
};

}  // namespace

TAVO_EXPORT int tavo_host_ripple_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_ripple(miVector *result, miState *state, RippleParameters *paras) {
  *result = miVector{0, 0, 0};
  const float wavelength = tavo::eval(state, &paras->wavelength);
  if (!tavo::eval(state, &paras->enable) || !(wavelength > 0.0f)) return miTRUE;
  const float k = 6.2831853f / wavelength;
  const miVector p = state->point;
  const miVector g{tavo::eval(state, &paras->amount_x) * k / 3.0f * std::cos(k * p.x),
                   tavo::eval(state, &paras->amount_y) * k / 3.0f * std::cos(k * p.y),
                   tavo::eval(state, &paras->amount_z) * k / 3.0f * std::cos(k * p.z)};
  const miVector n = state->normal;
  const float nn = n.x * n.x + n.y * n.y + n.z * n.z;
  const float along = nn > 0.0f ? (g.x * n.x + g.y * n.y + g.z * n.z) / nn : 0.0f;
  // the normal leans away from where the surface rises
  *result = miVector{-(g.x - along * n.x), -(g.y - along * n.y), -(g.z - along * n.z)};
  return miTRUE;
}
