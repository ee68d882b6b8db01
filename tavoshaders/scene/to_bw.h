// Record of the black-and-white lens.
#ifndef TAVO_SCENE_TO_BW_H
#define TAVO_SCENE_TO_BW_H

#include "frame/renderer.h"

namespace tavo::to_bw {

struct Params {
  miVector weights;  // of red, green and blue; read as stored, never evaluated
};

}  // namespace tavo::to_bw

#endif
