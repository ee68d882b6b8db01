// The host's sample-averaging helper: a shader that takes several samples and
// has them averaged by the function a lens shader offers in the shader state
// under "miX_SmpAvgFunc", as a glossy material would while its eye ray is shaded.
#include <algorithm>
#include <cstring>
#include <vector>

#include "frame/frame.h"

namespace {

struct SampleAverageParameters {
  miInteger i_samples, n_samples;
  miColor samples[1];
  miBoolean use_count;
  miInteger count;
  miColor missing;
};

// What a lens shader offers under the key while its eye ray is shaded: the
// averaging function and the record it is handed back.
constexpr char kAverageKey[] = "miX_SmpAvgFunc";
using AverageFunction = miBoolean (*)(void *unused, miColor *result, miInteger count, const miColor *samples,
                                      void *unused_too, void *user);
struct AverageOffer {
  AverageFunction average;
  void *user;
};

}  // namespace

TAVO_EXPORT int tavo_host_sample_average_version(void) { return 1; }

// The offered function's average of the samples; `missing`, and false, when
// nothing is offered. With `use_count` on, the function is told `count`
// samples (never more than the array holds), so that callers can try 0 or a
// negative count.
TAVO_EXPORT miBoolean tavo_host_sample_average(miColor *result, miState *state, SampleAverageParameters *paras) {
  int size = 0;
  const void *value = mi_shaderstate_get(state, kAverageKey, &size);
  if (value == nullptr || size < static_cast<int>(sizeof(AverageOffer))) {
    *result = tavo::eval(state, &paras->missing);
    return miFALSE;
  }
  AverageOffer offer;
  std::memcpy(&offer, value, sizeof offer);
  if (offer.average == nullptr) {
    *result = tavo::eval(state, &paras->missing);
    return miFALSE;
  }

  const miInteger first = tavo::eval(state, &paras->i_samples);
  const miInteger n = std::max<miInteger>(tavo::eval(state, &paras->n_samples), 0);
  std::vector<miColor> samples(static_cast<std::size_t>(n));
  for (miInteger k = 0; k < n; ++k) samples[k] = tavo::eval(state, tavo::array_element(paras->samples, first + k));
  miInteger count = n;
  if (tavo::eval(state, &paras->use_count)) count = std::min(tavo::eval(state, &paras->count), n);
  // The first and fifth arguments are the caller's own; the function ignores them.
  return offer.average(state, result, count, samples.data(), paras, offer.user);
}
