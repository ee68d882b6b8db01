// Records of the subsurface scattering converter.
#ifndef TAVO_MATERIALS_SSS_H
#define TAVO_MATERIALS_SSS_H

#include "frame/renderer.h"

namespace tavo::sss {

// Every parameter is read at init.
struct Params {
  miScalar length_1_mm;
  miScalar length_2_mm;
  miScalar length_3_mm;
  miScalar length_4_mm;
};

// The ready record, which is also the result.
struct Ready {
  miScalar length_1;       // length_1_mm / 1000 * u
  miScalar length_2;
  miScalar length_3;
  miScalar length_4;
  miInteger scene_value;   // the scene record's passthrough_value
};

}  // namespace tavo::sss

#endif
