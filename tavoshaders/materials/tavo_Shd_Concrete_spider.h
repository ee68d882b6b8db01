// Records of the concrete converter.
#ifndef TAVO_MATERIALS_CONCRETE_H
#define TAVO_MATERIALS_CONCRETE_H

#include "frame/renderer.h"

namespace tavo::concrete {

struct Params {
  miInteger type;           // 0 to 4, read at init
  miInteger finish;         // 0 to 2, read at init
  miInteger coating;        // 0 to 2, read at init
  miBoolean custom_map_on;  // per call
  miTag custom_map;         // per call
  miBoolean map_mode_on;    // read at init
  miScalar user_amount;     // preset_g of type 4, read at init
  miScalar feature_size;    // a flag-dependent length, read at init
};

// The ready record, which is also the result. The preset colours are greys
// whose alpha stays 0.
struct Ready {
  miScalar coating_weight;
  miInteger coating_kind;
  miScalar preset_a;
  miColor preset_color_1;
  miColor preset_color_2;
  miScalar preset_b;
  miInteger preset_switch;
  miColor preset_color_3;
  miColor preset_color_4;
  miScalar preset_c;
  miScalar preset_d;
  miScalar preset_e;
  miScalar preset_f;
  miScalar preset_g;
  miInteger type;            // the parameter, copied
  miTag custom_map;          // per call
  miInteger map_mode;
  miScalar pattern_scale_1;  // 7.874016 / u, all nine
  miScalar pattern_scale_2;
  miScalar pattern_scale_3;
  miScalar pattern_scale_4;
  miScalar pattern_scale_5;
  miScalar pattern_scale_6;
  miScalar pattern_scale_7;
  miScalar pattern_scale_8;
  miScalar pattern_scale_9;
  miScalar texture_scale_1;  // 39.37008 / u, all six
  miScalar texture_scale_2;
  miScalar texture_scale_3;
  miScalar texture_scale_4;
  miScalar texture_scale_5;
  miScalar texture_scale_6;
  miScalar length_14in;      // u * 0.3556
  miScalar length_6in;       // u * 0.1524
  miScalar length_24in;      // u * 0.6096
  miScalar feature_size;
};

}  // namespace tavo::concrete

#endif
