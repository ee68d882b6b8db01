// Records of the stone converter.
#ifndef TAVO_MATERIALS_STONE_H
#define TAVO_MATERIALS_STONE_H

#include "frame/renderer.h"

namespace tavo::stone {

struct Params {
  miInteger stone_reserved;  // declared, never read
  miInteger finish;          // 0 glossiest to 3 dullest, read at init
  miBoolean custom_map_on;   // per call
  miTag custom_map;          // per call
  miBoolean map_mode_on;     // read at init
  miScalar feature_size;     // a flag-dependent length, read at init
};

// The ready record, which is also the result.
struct Ready {
  miScalar roughness;         // 0 unless the preset sets it
  miScalar reflectivity;
  miScalar glossiness;
  miScalar preset_a;
  miScalar reflection_curve;  // 5.0 unless the preset sets it
  miInteger preset_switch;    // 0 unless the preset sets it
  miScalar texture_scale;     // 39.37008 / u
  miScalar pattern_scale_u;   // 11.811024 / u
  miScalar pattern_scale_v;   // 11.811024 / u
  miScalar feature_size_a;    // flag-dependent length with 0.381
  miScalar feature_size_b;    // flag-dependent length with 2.54
  miTag custom_map;           // per call
  miInteger map_mode;
};

}  // namespace tavo::stone

#endif
