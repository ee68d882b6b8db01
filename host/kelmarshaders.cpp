// The host application's shader-support library: the scene record and host
// materials, answered from the reference renderer.
#include "renderer_core.h"

using tavo::host::Renderer;

extern "C" SceneData *GetSceneData(miState *) { return Renderer::get().scene(); }

extern "C" miBoolean CallMaterial(miColor *result, miState *state, miTag material, int) {
  if (!result || !state || !Renderer::get().instance(material)) return miFALSE;
  return Renderer::get().call(material, result, *state);
}
