// Records of the glossy sampler, and the value it offers under
// "miX_SmpAvgFunc" while its eye ray is being shaded: a shader that takes
// several samples fetches the pair and lets the function average them.
#ifndef TAVO_SCENE_TAVO_CORE_GLOSSY_SAMPLER_H
#define TAVO_SCENE_TAVO_CORE_GLOSSY_SAMPLER_H

#include "frame/renderer.h"

namespace tavo::glossy_sampler {

// The shader-state key the averaging function is offered under.
inline constexpr char kAverageKey[] = "miX_SmpAvgFunc";

struct Params {
  miBoolean reject_outliers;
  miScalar outlier_factor;
};

struct InstanceData {
  miInteger reject_outliers;  // non-zero: leave out samples much brighter than the rest
  miScalar outlier_factor;
};

// The averaging function: (unused, result, sample count, samples, unused,
// the InstanceData registered beside it). Returns true in every case.
typedef miBoolean (*AverageFunction)(void *unused, miColor *result, miInteger count, const miColor *samples,
                                     void *unused_too, void *user);

// The 16 bytes registered under the key: the function, then its record.
struct AverageOffer {
  AverageFunction average;
  const InstanceData *user;
};
static_assert(sizeof(AverageOffer) == 16, "the shader-state value is two pointers");

}  // namespace tavo::glossy_sampler

#endif
