// Records of the three unit-scaling shaders.
#ifndef TAVO_SCENE_UNIT_SCALING_H
#define TAVO_SCENE_UNIT_SCALING_H

#include "frame/renderer.h"

namespace tavo::unit_scaling {

struct Params {
  miScalar value;  // the length or number to convert, read per call
};

struct InstanceData {
  miScalar factor;  // fixed at init
};

}  // namespace tavo::unit_scaling

#endif
