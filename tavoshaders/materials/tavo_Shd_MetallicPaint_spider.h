// Records of the metallic paint converter.
#ifndef TAVO_MATERIALS_METALLIC_PAINT_H
#define TAVO_MATERIALS_METALLIC_PAINT_H

#include "frame/renderer.h"

namespace tavo::metallic_paint {

struct Params {
  miInteger finish;         // 0 to 2, read at init
  miBoolean option_on;      // read at init
  miBoolean custom_map_on;  // per call
  miTag custom_map;         // per call
  miBoolean map_mode_on;    // read at init
};

// The ready record, which is also the result.
struct Ready {
  miScalar preset_a;
  miScalar preset_b;
  miInteger preset_switch;
  miScalar option_weight;  // 1.0 with the option on, else 0.0
  miScalar length_1mm;     // u * 0.001: a millimetre in scene units
  miScalar preset_c;       // 0.1 unless the preset sets it
  miTag custom_map;        // per call
  miInteger map_mode;
};

}  // namespace tavo::metallic_paint

#endif
