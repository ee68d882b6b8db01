// Records of the eight-slot texture lookup.
#ifndef TAVO_UTILITY_TAVO_UTILITY_TEXLOOKUP_H
#define TAVO_UTILITY_TAVO_UTILITY_TEXLOOKUP_H

#include "frame/renderer.h"
#include "utility/filter_guard.h"

namespace tavo::tex_lookup {

struct Params {
  miVector coord;  // per call, texture paths only
  miBoolean filter;
  miScalar disc_r;
  miScalar eccmax;
  miScalar max_minor;
  miScalar circle_radius;
  miBoolean bilinear;
  miInteger space;
  miTag remap;  // coordinate shader for the projected points, per call; none: no filtering
  miScalar gamma;
  miInteger index;
  miBoolean use_color;
  // Eight slots of a texture and a colour: plain fields, only the selected pair is read.
  miTag tex_0, tex_1, tex_2, tex_3, tex_4, tex_5, tex_6, tex_7;
  miColor color_0, color_1, color_2, color_3, color_4, color_5, color_6, color_7;
};

struct InstanceData {
  filtering::FilterRecord filtering;  // plain_only, filter, disc_r, eccmax, max_minor, circle_radius, bilinear, space
  miScalar gamma;                     // 0 stored as 0.0001
  miInteger index;
  miBoolean use_color;
};

static_assert(sizeof(InstanceData) == 11 * 4, "eleven 32-bit fields");

}  // namespace tavo::tex_lookup

#endif
