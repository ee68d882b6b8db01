// A blurred-refraction sample count scaled by the host's multiplier.
#include "scene/readout.h"

TAVO_SCALED_SAMPLES_SHADER(tavo_blurred_refraction_multiplier, &SceneData::blurred_refraction_multiplier)
