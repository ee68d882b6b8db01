// Helper shaders that report the extra argument of the call they are in, for
// tests of shaders that call other shaders: a layer that reports the request
// record a layer mixer hands it, and a light-map shader that reports the mesh
// record it is given. Both read the argument by its layout alone, not through
// the library's own records, so that a disagreement shows.
#include <cstdio>

#include "frame/frame.h"
#include "host_operations.h"

extern "C" void mi_info(const char *format, ...);

namespace {

struct LayerParameters {
  miColor color;
  miInteger label;
  miBoolean fail;
  miBoolean show_normal;
  miBoolean move_pri;
};

struct LightmapParameters {
  miInteger value;
  miInteger label;
  miBoolean fail;
};

using tavo::host::MeshRecord;

// Where a layer that moves the state's primitive leaves it.
int g_moved_pri;

}  // namespace

// Logs "layer LABEL: request MODE A B" (the three integers of the request
// record) or "layer LABEL: no request", then returns `color`, or the state's
// normal as it finds it with `show_normal` on. `move_pri` leaves the state's
// `pri` changed, as a shader that traces may; `fail` returns false after
// writing the result.
TAVO_EXPORT int tavo_host_layer_request_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_layer_request(miColor *result, miState *state, LayerParameters *paras,
                                              void *argument) {
  const miInteger label = tavo::eval(state, &paras->label);
  if (argument) {
    const auto *words = static_cast<const miInteger *>(argument);
    mi_info("layer %d: request %d %d %d", label, words[0], words[1], words[2]);
  } else {
    mi_info("layer %d: no request", label);
  }
  if (tavo::eval(state, &paras->show_normal)) {
    const miColor color = tavo::eval(state, &paras->color);
    *result = miColor{state->normal.x, state->normal.y, state->normal.z, color.a};
  } else {
    *result = tavo::eval(state, &paras->color);
  }
  if (tavo::eval(state, &paras->move_pri)) state->pri = &g_moved_pri;
  return tavo::eval(state, &paras->fail) ? miFALSE : miTRUE;
}

// Logs "lightmap LABEL: ray TYPE, mesh {VERTICES, N, TRIANGLES, M} at ADDRESS"
// for a mesh record handed as the argument, or "lightmap LABEL: ray TYPE, no
// mesh"; writes `value` to its integer result and returns true unless `fail`.
TAVO_EXPORT int tavo_host_lightmap_probe_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_lightmap_probe(miInteger *result, miState *state, LightmapParameters *paras,
                                               void *argument) {
  const miInteger label = tavo::eval(state, &paras->label);
  if (argument) {
    const auto *mesh = static_cast<const MeshRecord *>(argument);
    mi_info("lightmap %d: ray %d, mesh {%p, %d, %p, %d} at %p", label, state->type, mesh->vertex_data,
            mesh->vertex_count, mesh->triangles, mesh->triangle_count, argument);
  } else {
    mi_info("lightmap %d: ray %d, no mesh", label, state->type);
  }
  *result = tavo::eval(state, &paras->value);
  return tavo::eval(state, &paras->fail) ? miFALSE : miTRUE;
}
