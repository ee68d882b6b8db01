// Records of the water converter.
#ifndef TAVO_MATERIALS_WATER_H
#define TAVO_MATERIALS_WATER_H

#include "frame/renderer.h"

namespace tavo::water {

struct Params {
  miInteger water_type;  // 0 to 4, read at init
  miInteger color_type;  // 0 to 6 a preset, 7 custom, read at init
  miColor custom_color;  // read at init
  miScalar wave_height;  // millimetres, read at init
};

// The ready record, which is also the result. The three colours keep alpha 0;
// the lengths are in scene units.
struct Ready {
  miColor tint_color;
  miScalar tint_weight;
  miBoolean falloff_enable;
  miScalar falloff_distance;
  miBoolean falloff_color_enable;
  miColor falloff_color;
  miColor body_color;
  miScalar wave_factor_1;
  miScalar wave_factor_2;
  miScalar wave_offset;
  miScalar wave_length_max;
  miScalar wave_length_min;
  miInteger wave_count;
  miScalar wave_extra_length;  // no preset sets it
  miScalar wave_height;
};

}  // namespace tavo::water

#endif
