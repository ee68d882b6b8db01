// Records of the multi mixer, and the request record it hands every layer
// shader as the extra argument of its call.
#ifndef TAVO_UTILITY_MULTI_MIXER_H
#define TAVO_UTILITY_MULTI_MIXER_H

#include "frame/renderer.h"

namespace tavo::multi_mixer {

// One element of the `layers` array; every field is read per call.
struct MixerLayer {
  miTag shader;      // 0: an empty layer
  miColor mask;      // opacity: the mean of r, g and b
  miInteger blend;   // 0 to 20; anything else leaves the accumulator as it was
  miScalar weight;   // scales r, g and b of the layer's colour; 0 skips the layer
  miBoolean mute;
};

// What a layer shader is told about the call it is in.
struct LayerRequest {
  miInteger request_mode;  // the instance's mode; 2 for the layers of normal mode, 0 for its final call
  miInteger reserved[2];   // always 0
};

// Operating modes (`mode`).
enum : miInteger { kColourMode = 0, kGreyMode = 1, kNormalMode = 3 };
// request_mode while the layers of normal mode run.
inline constexpr miInteger kNormalLayerRequest = 2;

struct Params {
  miInteger i_layers;       // layers: index and count in init, element storage from there
  miInteger n_layers;
  MixerLayer layers[1];
  miInteger layer_index;    // init
  miBoolean single_layer;   // init
  miInteger mode;           // init; outside 0 to 3 counts as 0
};

struct InstanceData {
  miInteger layer_count;
  MixerLayer *first_layer;  // element `i_layers` of the parameter record's storage
  miInteger layer_index;    // clamped to the stack in single-layer mode
  miBoolean single;
  miBoolean normal_mode;
  LayerRequest request;     // (stored mode, 0, 0)
};

}  // namespace tavo::multi_mixer

#endif
