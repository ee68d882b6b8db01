// Record of the environment switch.
#ifndef TAVO_SCENE_TAVO_ENVIRONMENT_H
#define TAVO_SCENE_TAVO_ENVIRONMENT_H

#include "frame/renderer.h"

namespace tavo::environment {

struct Params {
  miTag environment_shader;        // the environment shader to call; null for none
  miInteger use_background_color;  // 1: what the camera sees directly gets background_color
  miColor background_color;
};

}  // namespace tavo::environment

#endif
