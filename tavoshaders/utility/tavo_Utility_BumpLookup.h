// Records of the bump lookup.
#ifndef TAVO_UTILITY_TAVO_UTILITY_BUMPLOOKUP_H
#define TAVO_UTILITY_TAVO_UTILITY_BUMPLOOKUP_H

#include "frame/renderer.h"
#include "utility/filter_guard.h"

namespace tavo::bump_lookup {

struct Params {
  miVector coord;  // per call, texture method
  miBoolean filter;
  miScalar disc_r;
  miScalar eccmax;
  miScalar max_minor;
  miScalar circle_radius;
  miBoolean bilinear;
  miInteger space;
  miTag remap;     // coordinate shader for the projected points, per call
  miVector u;      // where the x difference pushes the normal
  miVector v;      // where the y difference pushes the normal
  miVector step;   // texture method: x and y shifts (read at init); probe method: x is the offset (per call)
  miScalar factor;
  miInteger index;
  miBoolean use_probe;
  // Eight slots: textures for the texture method, colours (the height signal) for the probe method.
  miTag tex_0, tex_1, tex_2, tex_3, tex_4, tex_5, tex_6, tex_7;
  miColor color_0, color_1, color_2, color_3, color_4, color_5, color_6, color_7;
};

struct InstanceData {
  filtering::FilterRecord filtering;  // plain_only, filter, disc_r, eccmax, max_minor, circle_radius, bilinear, space
  miVector step;
  miInteger index;
  miBoolean use_probe;  // 0 when ray tracing is off
};

static_assert(sizeof(InstanceData) == 13 * 4, "thirteen 32-bit fields");

// Texture vectors the probe method saves and restores; spaces past these are left alone.
inline constexpr miInteger kSavedTextureSpaces = 64;

}  // namespace tavo::bump_lookup

#endif
