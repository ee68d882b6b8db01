// Records of the glazing converter.
#ifndef TAVO_MATERIALS_GLAZING_H
#define TAVO_MATERIALS_GLAZING_H

#include "frame/renderer.h"

namespace tavo::glazing {

struct Params {
  miInteger layer_count;       // at init; per call with a custom colour
  miInteger glass_color;       // 0 to 5 a preset tint, 6 custom_color; read at init
  miColor custom_color;        // at init and per call, only for glass_color 6
  miScalar front_reflectance;  // read at init
};

// The ready record, which is also the result.
struct Ready {
  miColor layer_transmittance;      // tint ^ (1 / layer_count); alpha 0
  miColor reflectance_color;        // front reflectance in r, g, b; alpha 0
  miColor layer_reflectance_color;  // front reflectance / layer_count; alpha 0
  miScalar brdf_0_degree;           // reflectance at normal incidence
  miInteger glass_color;            // the parameter, copied
};

}  // namespace tavo::glazing

#endif
