// A blurred-reflection sample count scaled by the host's multiplier.
#include "scene/readout.h"

TAVO_SCALED_SAMPLES_SHADER(tavo_blurred_reflection_multiplier, &SceneData::blurred_reflection_multiplier)
