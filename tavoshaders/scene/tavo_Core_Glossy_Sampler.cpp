// Glossy sampler: traces the eye ray like a lens shader and, for as long as
// that ray and everything it spawns are shaded, offers a sample-averaging
// function that leaves out samples much brighter than the others.
#include "scene/tavo_Core_Glossy_Sampler.h"

#include "frame/frame.h"

using tavo::glossy_sampler::AverageOffer;
using tavo::glossy_sampler::InstanceData;
using tavo::glossy_sampler::Params;

namespace {

const char kFile[] = "tavo_Core_Glossy_Sampler";

inline void clear(miColor *c) { c->r = c->g = c->b = c->a = 0.0f; }

inline void add(miColor *sum, const miColor &c) {
  sum->r += c.r;
  sum->g += c.g;
  sum->b += c.b;
  sum->a += c.a;
}

inline void scale(miColor *c, miScalar f) {
  c->r *= f;
  c->g *= f;
  c->b *= f;
  c->a *= f;
}

// Brightness sum of a sample; alpha takes no part.
inline miScalar brightness(const miColor &c) { return c.r + c.g + c.b; }

// Averages n samples into `result`. With rejection on, a sample whose
// brightness reaches `outlier_factor` times the mean brightness of the others
// is left out; when every sample is left out the plain mean stands.
miBoolean average_samples(void *, miColor *result, miInteger n, const miColor *samples, void *, void *user) {
  if (result == nullptr) return miTRUE;
  if (samples == nullptr) n = 0;  // nothing to read: as no samples
  const auto *data = static_cast<const InstanceData *>(user);
  if (data != nullptr && data->reject_outliers != 0 && n >= 2) {
    miScalar total = 0.0f;
    for (miInteger i = 0; i < n; ++i) total += brightness(samples[i]);
    clear(result);
    miInteger kept = 0;
    const miScalar w = 1.0f / static_cast<miScalar>(n - 1);
    for (miInteger i = 0; i < n; ++i) {
      const miScalar own = brightness(samples[i]);
      const miScalar threshold = (total - own) * w * data->outlier_factor;
      if (own >= threshold) continue;
      add(result, samples[i]);
      ++kept;
    }
    if (kept > 0) {
      scale(result, 1.0f / static_cast<miScalar>(kept));
      return miTRUE;
    }
  }
  if (n < 2) {
    if (n == 1) *result = samples[0];
    else clear(result);
    return miTRUE;
  }
  clear(result);
  for (miInteger i = 0; i < n; ++i) add(result, samples[i]);
  scale(result, 1.0f / static_cast<miScalar>(n));
  return miTRUE;
}

}  // namespace

TAVO_SHADER_ENTRIES(tavo_core_glossy_sampler, miColor, Params);

void tavo_core_glossy_sampler_init(miState *state, Params *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::create_instance_record<InstanceData>(state, kFile, __LINE__);
  data->reject_outliers = tavo::eval(state, &paras->reject_outliers);
  data->outlier_factor = tavo::eval(state, &paras->outlier_factor);
}

// The offer lives exactly as long as the eye-ray trace.
miBoolean tavo_core_glossy_sampler(miColor *result, miState *state, Params *) {
  AverageOffer offer = {average_samples, tavo::instance_record<InstanceData>(state)};
  mi_shaderstate_set(state, tavo::glossy_sampler::kAverageKey, &offer, sizeof offer, miSHADERSTATE_LIFETIME_SAMPLE);
  const miBoolean traced = mi_trace_eye(result, state, &state->org, &state->dir);
  mi_shaderstate_set(state, tavo::glossy_sampler::kAverageKey, nullptr, 0, miSHADERSTATE_LIFETIME_SAMPLE);
  return traced;
}

void tavo_core_glossy_sampler_exit(miState *state, Params *paras) { tavo::exit_full(state, paras, kFile); }
