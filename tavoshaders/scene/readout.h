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

struct ImageParams {
  miTag image;          // an image (texture) tag; the null tag for none
  miScalar multiplier;
};

// An image's aspect ratio (height per width, or width per height) times the
// multiplier, the quotient formed first; the multiplier alone when there is
// no image or its width or height is 0.
miScalar aspect_ratio(miState *state, ImageParams *paras, bool height_per_width);

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

// A shader whose readout is an image's aspect ratio times a multiplier; its
// source file is named after it.
#define TAVO_ASPECT_RATIO_SHADER(name, height_per_width)                                           \
  TAVO_SHADER_ENTRIES(name, miScalar, tavo::readout::ImageParams);                                 \
  void name##_init(miState *state, tavo::readout::ImageParams *paras, miBoolean *init_req) {       \
    if (tavo::shader_level_init(paras, init_req)) return;                                          \
    auto *record = tavo::create_instance_record<tavo::readout::ScalarReadout>(state, #name, __LINE__); \
    record->readout = tavo::readout::aspect_ratio(state, paras, height_per_width);                 \
  }                                                                                                \
  miBoolean name(miScalar *result, miState *state, tavo::readout::ImageParams *) {                 \
    return tavo::readout::hand_out<tavo::readout::ScalarReadout>(result, state);                   \
  }                                                                                                \
  void name##_exit(miState *state, tavo::readout::ImageParams *paras) { tavo::exit_full(state, paras, #name); }

#endif
