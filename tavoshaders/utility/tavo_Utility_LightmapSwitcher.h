// Records of the light-map switcher, and the renderer's light-map mesh record
// that its mesh-phase calls receive.
#ifndef TAVO_UTILITY_LIGHTMAP_SWITCHER_H
#define TAVO_UTILITY_LIGHTMAP_SWITCHER_H

#include "frame/renderer.h"

namespace tavo::lightmap_switcher {

struct Params {
  miTag lightmap;    // per call: the light-map shader to forward to; 0: none
  miBoolean enable;  // init
};

struct InstanceData {
  miBoolean enable;
};

// The mesh record the renderer hands a light-map shader as its fourth
// argument in the mesh phase. The switcher never reads the fields: it copies
// the record whole.
struct MeshRecord {
  void *vertex_data;
  miInteger vertex_count;
  void *triangles;
  miInteger triangle_count;
};

}  // namespace tavo::lightmap_switcher

#endif
