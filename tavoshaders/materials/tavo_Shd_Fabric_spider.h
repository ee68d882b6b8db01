// Records of the fabric converter.
#ifndef TAVO_MATERIALS_FABRIC_H
#define TAVO_MATERIALS_FABRIC_H

#include "frame/renderer.h"

namespace tavo::fabric {

// Every parameter is read at init.
struct Params {
  miInteger type;       // 0 or 1
  miInteger finish;     // 0 or 1
  miScalar size_1_mm;
  miScalar size_2_mm;
};

// The ready record, which is also the result.
struct Ready {
  miScalar finish_a;
  miScalar finish_b;
  miScalar finish_c;
  miScalar finish_d;
  miScalar type_a;
  miScalar type_b;
  miScalar size_1;  // size_1_mm / 1000 * u
  miScalar size_2;  // size_2_mm / 1000 * u
};

}  // namespace tavo::fabric

#endif
