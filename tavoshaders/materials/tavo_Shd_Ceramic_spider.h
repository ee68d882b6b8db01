// Records of the ceramic converter.
#ifndef TAVO_MATERIALS_CERAMIC_H
#define TAVO_MATERIALS_CERAMIC_H

#include "frame/renderer.h"

namespace tavo::ceramic {

struct Params {
  miInteger type;            // 0 or 1, read at init
  miInteger finish;          // 0 glossiest to 2 dullest, read at init
  miBoolean custom_map_on;   // per call
  miTag custom_map;          // per call
  miBoolean map_mode_on;     // read at init
  miScalar bump_height_mm;   // read at init
  miColor color;             // read at init
};

// The ready record, which is also the result.
struct Ready {
  miScalar roughness;
  miScalar reflectivity;
  miScalar glossiness;
  miScalar reflection_curve;
  miScalar texture_scale;    // 39.37008 / u
  miScalar pattern_scale_u;  // 11.811024 / u
  miScalar pattern_scale_v;  // 11.811024 / u
  miTag custom_map;          // per call
  miInteger map_mode;
  miScalar bump_height;      // bump_height_mm / 1000 * u
  miScalar bump_vector_x;    // bump_height * 3
  miScalar bump_vector_y;
  miScalar bump_vector_z;
  miInteger scene_value;     // the scene record's passthrough_value
  miInteger bump_on;
  miColor tint_color;        // color, saturation * 0.85, value * 0.95
  miColor deep_color;        // color, saturation * 1.4, value * 0.94
};

}  // namespace tavo::ceramic

#endif
