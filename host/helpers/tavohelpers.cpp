// The reference host's helper shaders (declared in tavohelpers.mi), written
// on the library's shader frame so that they read their parameters,
// connections included, the way every shader of the library does.
#include <cmath>

#include "frame/frame.h"
#include "host_operations.h"

namespace {

struct ConstantParameters {
  miColor color;
};

struct CheckerParameters {
  miVector coord;
  miColor color_a;
  miColor color_b;
  miScalar frequency;
};

struct CoordParameters {
  miInteger space;
  miVector scale;
  miVector offset;
  miBoolean remap;
};

struct TextureParameters {
  miTag texture;
  miVector coord;
  miColor color;
};

struct MaterialParameters {
  miColor color;
  miBoolean lit;
  miScalar reflect;
};

}  // namespace

TAVO_EXPORT int tavo_host_constant_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_constant(miColor *result, miState *state, ConstantParameters *paras) {
  *result = tavo::eval(state, &paras->color);
  return miTRUE;
}

TAVO_EXPORT int tavo_host_checker_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_checker(miColor *result, miState *state, CheckerParameters *paras) {
  const miVector coord = tavo::eval(state, &paras->coord);
  const double frequency = tavo::eval(state, &paras->frequency);
  const double cells = std::floor(coord.x * frequency) + std::floor(coord.y * frequency);
  const bool odd = std::isfinite(cells) && std::fmod(std::abs(cells), 2.0) == 1.0;
  *result = odd ? tavo::eval(state, &paras->color_b) : tavo::eval(state, &paras->color_a);
  return miTRUE;
}

TAVO_EXPORT int tavo_host_coord_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_coord(miVector *result, miState *state, CoordParameters *paras, void *argument) {
  miVector in;
  if (tavo::eval(state, &paras->remap) && argument) {
    in = *static_cast<const miVector *>(argument);
  } else {
    miInteger spaces = 0;
    mi_query(miQ_NUM_TEXTURES, state, miNULLTAG, &spaces);
    const miInteger space = tavo::eval(state, &paras->space);
    if (space < 0 || space >= spaces) {
      *result = miVector{0, 0, 0};
      return miFALSE;
    }
    in = state->tex_list[space];
  }
  const miVector scale = tavo::eval(state, &paras->scale);
  const miVector offset = tavo::eval(state, &paras->offset);
  *result = miVector{in.x * scale.x + offset.x, in.y * scale.y + offset.y, in.z * scale.z + offset.z};
  return miTRUE;
}

TAVO_EXPORT int tavo_host_texture_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_texture(miColor *result, miState *state, TextureParameters *paras) {
  const miTag texture = tavo::eval(state, &paras->texture);
  miVector coord = tavo::eval(state, &paras->coord);
  if (texture && mi_lookup_color_texture(result, state, texture, &coord)) return miTRUE;
  *result = tavo::eval(state, &paras->color);
  return miFALSE;
}

TAVO_EXPORT int tavo_host_material_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_material(miColor *result, miState *state, MaterialParameters *paras) {
  miColor color = tavo::eval(state, &paras->color);
  if (tavo::eval(state, &paras->lit)) {
    miColor light;
    tavo_host_direct_light(&light, state);
    color.r *= light.r, color.g *= light.g, color.b *= light.b;
  }
  const miScalar reflect = tavo::eval(state, &paras->reflect);
  if (reflect > 0.0f) {
    const miVector &d = state->dir, &n = state->normal;
    const miScalar twice = 2.0f * (d.x * n.x + d.y * n.y + d.z * n.z);
    miVector mirrored{d.x - twice * n.x, d.y - twice * n.y, d.z - twice * n.z};
    miColor seen;
    if (mi_trace_reflection(&seen, state, &mirrored)) {
      color.r = color.r * (1.0f - reflect) + seen.r * reflect;
      color.g = color.g * (1.0f - reflect) + seen.g * reflect;
      color.b = color.b * (1.0f - reflect) + seen.b * reflect;
    }
  }
  *result = color;
  return miTRUE;
}
