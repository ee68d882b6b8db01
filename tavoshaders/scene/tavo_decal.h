// Records of the decal material: host materials laid over a base host
// material, each decal a rectangle in the texture space of the state's first
// texture coordinate.
#ifndef TAVO_SCENE_TAVO_DECAL_H
#define TAVO_SCENE_TAVO_DECAL_H

#include "frame/renderer.h"

namespace tavo::decal {

// The decal list arrives as five parallel arrays (index, count, storage).
struct Params {
  miTag material;  // base host material; 0 for none
  miInteger i_decal_materials, n_decal_materials;
  miTag decal_materials[1];  // per decal: its host material, 0 for none
  miInteger i_corner_0_1, n_corner_0_1;
  miVector corner_0_1[1];  // per decal: the corner at decal coordinates (0, 1)
  miInteger i_corner_1_1, n_corner_1_1;
  miVector corner_1_1[1];  // per decal: the fourth corner; only its count is used
  miInteger i_corner_1_0, n_corner_1_0;
  miVector corner_1_0[1];  // per decal: the corner at decal coordinates (1, 0)
  miInteger i_corner_0_0, n_corner_0_0;
  miVector corner_0_0[1];  // per decal: the origin, decal coordinates (0, 0)
};

// Each pointer is the first element of its array in the instance's parameter
// storage, which lives until the instance's exit.
struct InstanceData {
  miTag material;
  miInteger decal_count;
  const miTag *decal_materials;
  const miVector *corner_0_1;
  const miVector *corner_1_1;
  const miVector *corner_1_0;
  const miVector *corner_0_0;
};

}  // namespace tavo::decal

#endif
