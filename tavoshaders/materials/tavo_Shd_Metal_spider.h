// Records of the metal converter.
#ifndef TAVO_MATERIALS_METAL_H
#define TAVO_MATERIALS_METAL_H

#include "frame/renderer.h"

namespace tavo::metal {

struct Params {
  miInteger type;           // 0 to 7, read at init
  miColor user_color;       // the colour of type 1, read at init for that type only
  miScalar patina;          // 0 to 1, read at init for types 3 and 5 only
  miInteger finish;         // 0 to 3, read at init (types 1 and 7 ignore it)
  miInteger pattern;        // 0 to 4, read at init
  miBoolean custom_map_on;  // per call
  miTag custom_map;         // per call
  miBoolean map_mode_on;    // read at init
  miScalar feature_size;    // a flag-dependent length, read at init
};

// The ready record, which is also the result.
struct Ready {
  miScalar metal_a;
  miScalar metal_b;
  miScalar patina_bias;
  miScalar metal_c;
  miScalar finish_gloss;
  miInteger fixed_mode;  // always 1
  miScalar metal_d;
  miScalar metal_e;
  miScalar finish_detail;
  miInteger reserved_1;  // never written
  miInteger reserved_2;
  miInteger mode_1;
  miInteger pattern_kind;
  miInteger mode_2;
  miInteger mode_3;
  miScalar metal_f;
  miColor metal_color;
  miColor patina_color;
  miColor tint_color;
  miScalar metal_g;
  miColor second_color;
  miScalar finish_amount_1;
  miInteger reserved_3;  // never written
  miInteger reserved_4;
  miInteger reserved_5;
  miInteger reserved_6;
  miScalar finish_amount_2;
  miTag custom_map;      // per call
  miInteger map_mode;
  miScalar texture_scale_1;  // 39.37008 / u
  miScalar fine_scale_1;     // 3.937008 / u
  miScalar fine_scale_2;
  miScalar texture_scale_2;  // 39.37008 / u
  miScalar texture_scale_3;
  miScalar texture_scale_4;
  miScalar texture_scale_5;
  miScalar mid_scale_1;      // 9.84252 / u
  miScalar mid_scale_2;
  miScalar length_5in;       // u * 0.127
  miScalar length_half_in;   // u * 0.0127
  miInteger patina_on;
  miScalar patina_fade;
  miScalar patina_gloss;
  miScalar patina_weight;
  miScalar patina_fade_2;
  miScalar patina_square;
  miScalar feature_size;
  miScalar feature_size_10;
};

}  // namespace tavo::metal

#endif
