// Records of the masonry and concrete block converter.
#ifndef TAVO_MATERIALS_MASONRY_CMU_H
#define TAVO_MATERIALS_MASONRY_CMU_H

#include "frame/renderer.h"

namespace tavo::masonry_cmu {

struct Params {
  miInteger type;           // 0 or 1, read at init
  miInteger finish;         // 0 glossiest to 2 dullest, read at init
  miBoolean custom_map_on;  // per call
  miTag custom_map;         // per call
  miBoolean map_mode_on;    // read at init
};

// The ready record, which is also the result.
struct Ready {
  miScalar roughness;
  miScalar reflectivity;
  miScalar glossiness;
  miScalar preset_a;          // 0.1 unless the preset sets it
  miScalar reflection_curve;  // 5.0 unless the preset sets it
  miInteger preset_switch;    // 0, or 1 for the dullest finish
  miScalar texture_scale;     // 39.37008 / u
  miScalar pattern_scale_u;   // 11.811024 / u
  miScalar pattern_scale_v;   // 11.811024 / u
  miTag custom_map;           // per call
  miInteger map_mode;
};

}  // namespace tavo::masonry_cmu

#endif
