// Environment switch: what the camera sees directly can be a plain background
// colour; every other environment lookup goes to the environment shader named
// by a parameter.
#include "scene/tavo_environment.h"

#include "frame/frame.h"

using tavo::environment::Params;

TAVO_EXPORT miBoolean tavo_environment(miColor *result, miState *state, Params *paras);

miBoolean tavo_environment(miColor *result, miState *state, Params *paras) {
  // Taken as the camera's own view when the renderer cannot say: the ray type decides.
  miInteger mode = 0;
  mi_query(miQ_ENVIRONMENT_MODE, state, miNULLTAG, &mode);
  const miInteger use_background = tavo::eval(state, &paras->use_background_color);
  if (mode == 0 && use_background == 1 && state->type == miRAY_EYE) {
    *result = tavo::eval(state, &paras->background_color);
    return miTRUE;
  }
  const miTag shader = tavo::eval(state, &paras->environment_shader);
  if (shader == miNULLTAG) {
    result->r = result->g = result->b = result->a = 0.0f;
    return miFALSE;
  }
  return mi_call_shader(result, miSHADER_MATERIAL, state, shader);
}
