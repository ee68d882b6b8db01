// An image's height per width, times a multiplier.
#include "scene/readout.h"

TAVO_ASPECT_RATIO_SHADER(tavo_aspect_ratio_height_per_width, true)
