#include "scene/readout.h"

#include <math.h>

namespace tavo::readout {

miInteger scaled_samples(miInteger samples, const SceneData *scene, miScalar SceneData::*multiplier) {
  if (scene == nullptr || !(scene->*multiplier > 0.0f)) return samples;
  return static_cast<miInteger>(ceilf(static_cast<miScalar>(samples) * (scene->*multiplier)));
}

}  // namespace tavo::readout
