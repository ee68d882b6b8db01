// Records of the plastic and vinyl converter.
#ifndef TAVO_MATERIALS_PLASTIC_VINYL_H
#define TAVO_MATERIALS_PLASTIC_VINYL_H

#include "frame/renderer.h"

namespace tavo::plastic_vinyl {

struct Params {
  miInteger type;           // 0 to 2, read at init
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
  miScalar preset_a;
  miScalar reflection_curve;
  miScalar preset_b;         // type 1 only
  miScalar preset_c;         // type 1 only
  miInteger preset_switch;   // type 1 only
  miScalar preset_d;         // type 1 only
  miTag custom_map;          // per call
  miInteger map_mode;
};

}  // namespace tavo::plastic_vinyl

#endif
