// Records of the solid glass converter.
#ifndef TAVO_MATERIALS_SOLID_GLASS_H
#define TAVO_MATERIALS_SOLID_GLASS_H

#include "frame/renderer.h"

namespace tavo::solid_glass {

struct Params {
  miInteger glass_color;       // 0 to 5 a preset tint, 6 custom_color; read at init
  miColor custom_color;        // at init for glass_color 6, and per call while refreshing
  miScalar front_reflectance;  // at init, and per call while refreshing
  miScalar falloff_distance;   // scene units, read at init
  miScalar roughness;          // read at init
  miBoolean custom_map_on;     // per call
  miTag custom_map;            // per call
};

// The ready record, which is also the result.
struct Ready {
  miColor reflection_color;          // reflectance colour over its largest channel; alpha 1
  miScalar brdf_0_degree;            // reflectance at normal incidence
  miColor refraction_color;          // always white
  miScalar falloff_distance;         // the parameter, or 2 m in scene units with the scene flag
  miColor refraction_falloff_color;  // the glass colour times the unreflected share squared; alpha 1
  miScalar glossiness;               // 1 - roughness
  miInteger reserved;                // always 0
  miTag custom_map;                  // per call
  miScalar texture_scale;            // 39.37008 / u
  miScalar pattern_scale_u;          // 11.811024 / u
  miScalar pattern_scale_v;
  miScalar inch_scale_1;             // 39.37008 / u
  miScalar inch_scale_2;
  miScalar inch_scale_3;
  miBoolean refresh_per_call;        // derive the colours again on every call
};

}  // namespace tavo::solid_glass

#endif
