// Value converters: a boolean into an integer, a colour thresholded into three
// booleans, a scalar with its zero point lifted. No instance data: every
// parameter is read on every call.
#include "utility/value_converters.h"

#include "frame/frame.h"

using namespace tavo::value_converters;

// The boolean's 32 bits, unchanged: a non-zero value other than 1 passes through.
TAVO_EXPORT miBoolean tavo_Utility_bool_to_int(miInteger *result, miState *state, BoolToIntParams *paras) {
  *result = tavo::eval(state, &paras->value);
  return miTRUE;
}

// (o + a) / (o + 1): 0 maps to o / (o + 1) and 1 stays 1. The offset is read
// once for each of its two uses; an offset of -1 divides by zero as floats do.
TAVO_EXPORT miBoolean tavo_Utility_scale_zero_up(miScalar *result, miState *state, ScaleZeroUpParams *paras) {
  const miScalar a = tavo::eval(state, &paras->value);
  const miScalar sum = tavo::eval(state, &paras->offset) + a;
  *result = sum / (tavo::eval(state, &paras->offset) + 1.0f);
  return miTRUE;
}

// Strictly above the threshold, channel by channel; alpha is not compared and
// a NaN channel is never above anything.
TAVO_EXPORT miBoolean tavo_Utility_color_to_bool(ColorToBoolResult *result, miState *state,
                                                 ColorToBoolParams *paras) {
  const miColor c = tavo::eval(state, &paras->color);
  const miScalar t = tavo::eval(state, &paras->threshold);
  result->r = c.r > t ? miTRUE : miFALSE;
  result->g = c.g > t ? miTRUE : miFALSE;
  result->b = c.b > t ? miTRUE : miFALSE;
  return miTRUE;
}
