// Black-and-white lens: traces the eye ray and turns what comes back into a
// grey level, a weighted sum of its red, green and blue.
#include "scene/to_bw.h"

#include "frame/frame.h"

using tavo::to_bw::Params;

TAVO_EXPORT miBoolean to_bw(miColor *result, miState *state, Params *paras);

// Whatever the trace wrote is converted, also when it failed; alpha stays.
miBoolean to_bw(miColor *result, miState *state, Params *paras) {
  const miBoolean traced = mi_trace_eye(result, state, &state->org, &state->dir);
  // A lens's weights are plain settings: read from the record, not through connections.
  const miVector weights = paras->weights;
  const miScalar grey = (weights.y * result->g + result->r * weights.x) + weights.z * result->b;
  result->r = grey;
  result->g = grey;
  result->b = grey;
  return traced;
}
