// Records of the colour-correction shader.
#ifndef TAVO_UTILITY_COLOR_CORRECTION_H
#define TAVO_UTILITY_COLOR_CORRECTION_H

#include "frame/renderer.h"

namespace tavo::color_correction {

struct Params {
  miColor input;                  // per call
  miScalar gamma;                 // gamma to precompute: in init when precompute is on, else per call
  miScalar gain;
  miScalar bias;
  miScalar hue;
  miScalar saturation;
  miScalar value;
  miBoolean invert;
  miScalar highlight;             // highlight to highlight_exponent: always per call
  miScalar highlight_multiplier;
  miScalar highlight_threshold;
  miScalar highlight_exponent;
  miBoolean precompute;           // init
};

// The adjustments of parameters gamma to invert, frozen for the instance.
// Everything after `precompute` is filled only when it is on.
struct InstanceData {
  miBoolean precompute;
  miScalar gamma;
  miScalar gain;
  miScalar bias;
  miScalar hue_factor;         // hue + 1
  miScalar saturation_factor;  // saturation + 1
  miScalar value_factor;       // value + 1
  miBoolean invert;
};

}  // namespace tavo::color_correction

#endif
