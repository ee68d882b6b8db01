// Unit scaling: lengths between metres and the scene's own unit, whose length
// in metres the host gives as the scene record's `unit_scale`.
#include "scene/unit_scaling.h"

#include "frame/frame.h"

using tavo::unit_scaling::InstanceData;
using tavo::unit_scaling::Params;

namespace {

const char kFile[] = "unit_scaling";

// 1 / unit_scale, or unit_scale itself; 1.0 when there is no usable scale
// (no record, or a scale that is zero, negative or not a number).
void init_factor(miState *state, Params *paras, miBoolean *init_req, bool metres_to_scene) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::create_instance_record<InstanceData>(state, kFile, __LINE__);
  const SceneData *scene = GetSceneData(state);
  data->factor = 1.0f;
  if (scene != nullptr && scene->unit_scale > 0.0f)
    data->factor = metres_to_scene ? 1.0f / scene->unit_scale : scene->unit_scale;
}

miBoolean scale(miScalar *result, miState *state, Params *paras) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  *result = data->factor * tavo::eval(state, &paras->value);
  return miTRUE;
}

}  // namespace

TAVO_SHADER_ENTRIES(tavo_scale_meters_to_internal, miScalar, Params);
TAVO_SHADER_ENTRIES(tavo_scale_internal_to_meters, miScalar, Params);
TAVO_SHADER_ENTRIES(tavo_scale_meters_to_internal_inverse, miScalar, Params);

void tavo_scale_meters_to_internal_init(miState *state, Params *paras, miBoolean *init_req) {
  init_factor(state, paras, init_req, true);
}
miBoolean tavo_scale_meters_to_internal(miScalar *result, miState *state, Params *paras) {
  return scale(result, state, paras);
}
void tavo_scale_meters_to_internal_exit(miState *state, Params *paras) { tavo::exit_full(state, paras, kFile); }

void tavo_scale_internal_to_meters_init(miState *state, Params *paras, miBoolean *init_req) {
  init_factor(state, paras, init_req, false);
}
miBoolean tavo_scale_internal_to_meters(miScalar *result, miState *state, Params *paras) {
  return scale(result, state, paras);
}
void tavo_scale_internal_to_meters_exit(miState *state, Params *paras) { tavo::exit_full(state, paras, kFile); }

void tavo_scale_meters_to_internal_inverse_init(miState *state, Params *paras, miBoolean *init_req) {
  init_factor(state, paras, init_req, true);
}
// 1 / (factor * value), the product formed first; 1.0 where that would divide by zero.
miBoolean tavo_scale_meters_to_internal_inverse(miScalar *result, miState *state, Params *paras) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  const miScalar value = tavo::eval(state, &paras->value);
  *result = (value == 0.0f || data->factor == 0.0f) ? 1.0f : 1.0f / (data->factor * value);
  return miTRUE;
}
void tavo_scale_meters_to_internal_inverse_exit(miState *state, Params *paras) {
  tavo::exit_full(state, paras, kFile);
}
