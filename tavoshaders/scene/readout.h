// The scene readouts: one number fixed per instance in init and handed back
// unchanged on every call.
#ifndef TAVO_SCENE_READOUT_H
#define TAVO_SCENE_READOUT_H

#include "frame/frame.h"

namespace tavo::readout {

struct SamplesParams {
  miInteger samples;
};

struct IntegerReadout {
  miInteger readout;
};

struct ScalarReadout {
  miScalar readout;
};

// ceilf(samples * m) truncated to an integer when the scene record has a
// multiplier m above 0 (the product in single precision), else samples.
miInteger scaled_samples(miInteger samples, const SceneData *scene, miScalar SceneData::*multiplier);

// The readout of a shader's instance record.
template <typename Record, typename Result>
inline miBoolean hand_out(Result *result, miState *state) {
  *result = tavo::instance_record<Record>(state)->readout;
  return miTRUE;
}

}  // namespace tavo::readout

// A shader whose readout is `samples` scaled by one multiplier of the scene
// record; its source file is named after it.
#define TAVO_SCALED_SAMPLES_SHADER(name, multiplier)                                               \
  TAVO_SHADER_ENTRIES(name, miInteger, tavo::readout::SamplesParams);                              \
  void name##_init(miState *state, tavo::readout::SamplesParams *paras, miBoolean *init_req) {     \
    if (tavo::shader_level_init(paras, init_req)) return;                                          \
    auto *record = tavo::create_instance_record<tavo::readout::IntegerReadout>(state, #name, __LINE__); \
    const SceneData *scene = GetSceneData(state);                                                  \
    record->readout = tavo::readout::scaled_samples(tavo::eval(state, &paras->samples), scene, multiplier); \
  }                                                                                                \
  miBoolean name(miInteger *result, miState *state, tavo::readout::SamplesParams *) {              \
    return tavo::readout::hand_out<tavo::readout::IntegerReadout>(result, state);                  \
  }                                                                                                \
  void name##_exit(miState *state, tavo::readout::SamplesParams *paras) { tavo::exit_full(state, paras, #name); }

#endif
