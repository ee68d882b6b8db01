// Light-map switcher: forwards the renderer's light-map calls to another
// light-map shader when enabled for the instance, or does nothing. In the mesh
// phase the callee gets a copy of the renderer's mesh record, never the
// caller's own.
#include "utility/tavo_Utility_LightmapSwitcher.h"

#include "frame/frame.h"

using tavo::lightmap_switcher::InstanceData;
using tavo::lightmap_switcher::MeshRecord;
using tavo::lightmap_switcher::Params;

namespace {

const char kFile[] = "tavo_Utility_LightmapSwitcher";

}  // namespace

// Light-map shaders take a fourth argument: the mesh record in the mesh
// phase, otherwise whatever the renderer passes (not read).
TAVO_EXPORT miBoolean tavo_Utility_LightmapSwitcher(void *result, miState *state, Params *paras, MeshRecord *mesh);
TAVO_EXPORT void tavo_Utility_LightmapSwitcher_init(miState *state, Params *paras, miBoolean *init_req);
TAVO_EXPORT void tavo_Utility_LightmapSwitcher_exit(miState *state, Params *paras);

void tavo_Utility_LightmapSwitcher_init(miState *state, Params *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::create_instance_record<InstanceData>(state, kFile, __LINE__);
  data->enable = tavo::eval(state, &paras->enable);
}

// The result pointer goes to the callee as it is; the switcher writes nothing
// through it.
miBoolean tavo_Utility_LightmapSwitcher(void *result, miState *state, Params *paras, MeshRecord *mesh) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  const miTag lightmap = tavo::eval(state, &paras->lightmap);
  if (data->enable == miFALSE || lightmap == miNULLTAG) return miTRUE;
  MeshRecord copy;
  void *argument = nullptr;
  if (state->type == miRAY_LM_MESH) {
    if (mesh == nullptr) {
      mi_error("lightmap->switcher->4th arg pointer is empty !!");
      return miFALSE;
    }
    copy = *mesh;
    argument = &copy;
  }
  mi_call_shader_x(static_cast<miColor *>(result), miSHADER_LIGHTMAP, state, lightmap, argument);
  return miTRUE;
}

void tavo_Utility_LightmapSwitcher_exit(miState *state, Params *paras) { tavo::exit_plain(state, paras, kFile); }
