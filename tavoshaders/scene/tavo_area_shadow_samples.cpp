// The host's area-light shadow sample count, 0 without a scene record.
#include "scene/readout.h"

using tavo::readout::IntegerReadout;

namespace {
const char kFile[] = "tavo_area_shadow_samples";
}

TAVO_SHADER_ENTRIES(tavo_area_shadow_samples, miInteger, void);

void tavo_area_shadow_samples_init(miState *state, void *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  IntegerReadout *record = tavo::create_instance_record<IntegerReadout>(state, kFile, __LINE__);
  const SceneData *scene = GetSceneData(state);
  record->readout = scene != nullptr ? scene->area_shadow_samples : 0;
}

miBoolean tavo_area_shadow_samples(miInteger *result, miState *state, void *) {
  return tavo::readout::hand_out<IntegerReadout>(result, state);
}

void tavo_area_shadow_samples_exit(miState *state, void *paras) { tavo::exit_full(state, paras, kFile); }
