// The host application's shader-support library: the scene record and host
// materials, answered from the reference renderer.
#include "renderer_core.h"

using tavo::host::Renderer;

extern "C" SceneData *GetSceneData(miState *) { return Renderer::get().scene(); }

// Shades a host material (or a bare shader instance) at the caller's state,
// as it stands: a caller that moved the state's point or texture vectors
// gets the material's colour there.
extern "C" miBoolean CallMaterial(miColor *result, miState *state, miTag material, int) {
  if (!result || !state) return miFALSE;
  return Renderer::get().shade_material(material, result, *state);
}
