// Records of the mirror converter, which keeps no ready record.
#ifndef TAVO_MATERIALS_MIRROR_H
#define TAVO_MATERIALS_MIRROR_H

#include "frame/renderer.h"

namespace tavo::mirror {

struct Params {
  miBoolean custom_map_on;  // per call
  miTag custom_map;         // per call
};

struct Result {
  miTag custom_map;
};

}  // namespace tavo::mirror

#endif
