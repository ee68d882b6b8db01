// Records of the hardwood converter.
#ifndef TAVO_MATERIALS_HARDWOOD_H
#define TAVO_MATERIALS_HARDWOOD_H

#include "frame/renderer.h"

namespace tavo::hardwood {

struct Params {
  miInteger choice_a;       // 0 or 1, read at init
  miInteger finish;         // 0 glossiest to 3 dullest, read at init
  miInteger choice_b;       // 0 or 1, read at init
  miBoolean custom_map_on;  // per call
  miTag custom_map;         // per call
  miBoolean map_mode_on;    // read at init
};

// The ready record, which is also the result.
struct Ready {
  miScalar choice_a_value;
  miScalar choice_b_value;
  miScalar finish_extra;
  miScalar finish_weight;
  miInteger finish_flag;
  miScalar finish_gloss;
  miScalar finish_c;
  miScalar finish_b;
  miScalar finish_curve;
  miInteger finish_switch;
  miScalar length_14in;  // u * 0.3556
  miScalar length_6in;   // u * 0.1524
  miScalar length_24in;  // u * 0.6096
  miTag custom_map;      // per call
  miInteger map_mode;
};

}  // namespace tavo::hardwood

#endif
