// An image's width per height, times a multiplier.
#include "scene/readout.h"

TAVO_ASPECT_RATIO_SHADER(tavo_aspect_ratio_width_per_height, false)
