// Records of the three value converters.
#ifndef TAVO_UTILITY_VALUE_CONVERTERS_H
#define TAVO_UTILITY_VALUE_CONVERTERS_H

#include "frame/renderer.h"

namespace tavo::value_converters {

struct BoolToIntParams {
  miBoolean value;
};

struct ScaleZeroUpParams {
  miScalar value;
  miScalar offset;
};

struct ColorToBoolParams {
  miColor color;
  miScalar threshold;
};

struct ColorToBoolResult {
  miBoolean r;
  miBoolean g;
  miBoolean b;
};

}  // namespace tavo::value_converters

#endif
