// Records of the wall paint converter.
#ifndef TAVO_MATERIALS_WALL_PAINT_H
#define TAVO_MATERIALS_WALL_PAINT_H

#include "frame/renderer.h"

namespace tavo::wall_paint {

struct Params {
  miInteger finish;         // 0 to 5, read at init
  miInteger application;    // 0 to 2, read at init
  miBoolean custom_map_on;  // per call
  miTag custom_map;         // per call
  miBoolean map_mode_on;    // read at init
};

// The ready record, which is also the result.
struct Ready {
  miScalar roughness;
  miScalar reflectivity;
  miScalar glossiness;
  miScalar reflection_curve;
  miInteger flat_finish;        // 1 for finish 0
  miScalar application_amount;
  miScalar application_flag;    // a scalar: 1.0 or 0
  miTag custom_map;             // per call
  miInteger map_mode;
  miScalar inch_scale_1;        // 39.37008 / u
  miScalar inch_scale_2;        // 39.37008 / u
  miScalar inch_scale_3;        // 39.37008 / u
  miScalar inch_scale_4;        // 0.19685039 / u
  miScalar inch_scale_5;        // 39.37008 / u
  miScalar inch_scale_6;        // 0.19685039 / u
  miScalar inch_scale_7;        // 39.37008 / u
  miScalar inch_scale_8;        // 13.779528 / u
  miScalar inch_scale_9;        // 13.779528 / u
  miScalar inch_scale_10;       // 39.37008 / u
  miScalar inch_scale_11;       // 29.52756 / u
  miScalar inch_scale_12;       // 29.52756 / u
};

}  // namespace tavo::wall_paint

#endif
