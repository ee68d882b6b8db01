// Multi mixer: a stack of layers, each the result of a shader of its own,
// blended bottom to top onto an accumulator with one of 21 blend modes; or one
// chosen layer alone; or, in normal mode, the blended layers bend the state's
// normal before the bottom layer shades with it. Every layer shader gets a
// LayerRequest telling it which role it is called in.
#include "utility/tavo_Utility_MultiMixer.h"

#include <math.h>

#include "frame/frame.h"

using tavo::multi_mixer::InstanceData;
using tavo::multi_mixer::LayerRequest;
using tavo::multi_mixer::MixerLayer;
using tavo::multi_mixer::Params;

namespace {

const char kFile[] = "tavo_Utility_MultiMixer";

// One channel of a blend: B the accumulator before the layer, L the weighted
// layer, m the mask mean. Less-than tests are false for NaN, equalities exact.
using Blend = miScalar (*)(miScalar B, miScalar L, miScalar m);

miScalar replace(miScalar, miScalar L, miScalar) { return L; }
miScalar add(miScalar B, miScalar L, miScalar) { return B + L; }
miScalar multiply(miScalar B, miScalar L, miScalar) { return B * L; }
miScalar screen(miScalar B, miScalar L, miScalar m) { return (1.0f - (1.0f - B) * (1.0f - L)) * m; }
miScalar linear_burn(miScalar B, miScalar L, miScalar m) { return L * m + B - 1.0f; }
miScalar darken(miScalar B, miScalar L, miScalar) { return L > B ? B : L; }
miScalar lighten(miScalar B, miScalar L, miScalar) { return B > L ? B : L; }
miScalar difference(miScalar B, miScalar L, miScalar m) { return fabsf(B - L * m); }
miScalar average(miScalar B, miScalar L, miScalar m) { return (L * m + B) * 0.5f; }
miScalar negation(miScalar B, miScalar L, miScalar m) { return 1.0f - fabsf((1.0f - B) - L * m); }
miScalar exclusion(miScalar B, miScalar L, miScalar m) { return (L * m + B) - B * 2.0f * L * m; }
miScalar overlay(miScalar B, miScalar L, miScalar) {
  return B < 0.5f ? B * 2.0f * L : 1.0f - (1.0f - B) * 2.0f * (1.0f - L);
}
miScalar hard_light(miScalar B, miScalar L, miScalar) {
  return L < 0.5f ? B * 2.0f * L : 1.0f - (1.0f - B) * 2.0f * (1.0f - L);
}
miScalar soft_light(miScalar B, miScalar L, miScalar) {
  if (L < 0.5f) return powf(B, 2.0f) * (1.0f - L * 2.0f) + B * 2.0f * L;
  return sqrtf(B) * (L * 2.0f - 1.0f) + (1.0f - L) * (B * 2.0f);
}
miScalar colour_dodge(miScalar B, miScalar L, miScalar) { return L == 1.0f ? 1.0f : B / (1.0f - L); }
miScalar colour_burn(miScalar B, miScalar L, miScalar) { return L == 0.0f ? 0.0f : 1.0f - (1.0f - B) / L; }
miScalar reflect(miScalar B, miScalar L, miScalar) { return L == 1.0f ? 1.0f : B * B / (1.0f - L); }
miScalar glow(miScalar B, miScalar L, miScalar) { return B == 1.0f ? 1.0f : L * L / (1.0f - B); }
miScalar linear_light(miScalar B, miScalar L, miScalar) { return L * 2.0f + B - 1.0f; }
miScalar freeze(miScalar B, miScalar L, miScalar) { return L == 0.0f ? 0.0f : 1.0f - (1.0f - B) * (1.0f - B) / L; }
miScalar heat(miScalar B, miScalar L, miScalar) { return B == 0.0f ? 0.0f : 1.0f - (1.0f - L) * (1.0f - L) / B; }

// Indexed by the layer's `blend`.
const Blend kBlends[] = {replace,    add,        multiply,  screen,       linear_burn,  darken,  lighten,
                         difference, average,    negation,  exclusion,    overlay,      hard_light,
                         soft_light, colour_dodge, colour_burn, reflect,  glow,         linear_light,
                         freeze,     heat};
constexpr miInteger kBlendCount = sizeof kBlends / sizeof kBlends[0];
static_assert(kBlendCount == 21, "one blend per mode 0 to 20");

MixerLayer *layer(const InstanceData *data, miInteger k) { return tavo::array_element(data->first_layer, k); }

miBoolean call_layer(miColor *out, miState *state, miTag shader, LayerRequest *request) {
  return mi_call_shader_x(out, miSHADER_TEXTURE, state, shader, request);
}

// Blends layer k onto acc. False when its shader call fails.
bool blend_layer(miColor &acc, miState *state, MixerLayer *l, LayerRequest *request) {
  const miBoolean mute = tavo::eval(state, &l->mute);
  const miScalar weight = tavo::eval(state, &l->weight);
  if (weight == 0.0f || mute != miFALSE) return true;
  const miTag shader = tavo::eval(state, &l->shader);
  if (shader == miNULLTAG) return true;
  const miColor mask = tavo::eval(state, &l->mask);
  const miInteger blend = tavo::eval(state, &l->blend);
  const miScalar m = (mask.g + mask.r + mask.b) / 3.0f;

  const miColor B = acc;
  miColor L = {0.0f, 0.0f, 0.0f, 0.0f};
  void *const pri = state->pri;
  if (!call_layer(&L, state, shader, request)) return false;
  state->pri = pri;
  L.r *= weight;
  L.g *= weight;
  L.b *= weight;

  if (blend >= 0 && blend < kBlendCount) {
    const Blend f = kBlends[blend];
    acc.r = f(B.r, L.r, m);
    acc.g = f(B.g, L.g, m);
    acc.b = f(B.b, L.b, m);
    acc.a = f(B.a, L.a, m);
  }
  if (m != 1.0f) {  // NaN included
    acc.r = (acc.r - B.r) * m + B.r;
    acc.g = (acc.g - B.g) * m + B.g;
    acc.b = (acc.b - B.b) * m + B.b;
    acc.a = (acc.a - B.a) * m + B.a;
  }
  return true;
}

}  // namespace

TAVO_SHADER_ENTRIES(tavo_Utility_MultiMixer, miColor, Params);

void tavo_Utility_MultiMixer_init(miState *state, Params *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::create_instance_record<InstanceData>(state, kFile, __LINE__);
  data->layer_index = tavo::eval(state, &paras->layer_index);
  data->single = miFALSE;
  const miInteger first = tavo::eval(state, &paras->i_layers);
  data->layer_count = tavo::eval(state, &paras->n_layers);
  data->first_layer = tavo::array_element(paras->layers, first);
  miInteger mode = tavo::eval(state, &paras->mode);
  if (mode < 0 || mode > 3) mode = tavo::multi_mixer::kColourMode;
  data->request = LayerRequest{mode, {0, 0}};
  const miBoolean single_layer = tavo::eval(state, &paras->single_layer);
  if (data->layer_count == 1 || single_layer != miFALSE) {
    if (data->layer_index < 0) data->layer_index = 0;
    if (data->layer_index > data->layer_count - 1) data->layer_index = data->layer_count - 1;
    data->single = miTRUE;
  }
  data->normal_mode = mode == tavo::multi_mixer::kNormalMode ? miTRUE : miFALSE;
}

miBoolean tavo_Utility_MultiMixer(miColor *result, miState *state, Params *) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  LayerRequest q = data->request;
  miColor acc = {0.0f, 0.0f, 0.0f, 0.0f};
  // The stack is never read past its count: an empty one mixes nothing, and
  // normal mode outside single-layer mode needs layers 0 and 1.
  const miInteger needed = data->normal_mode != miFALSE && data->single == miFALSE ? 2 : 1;
  if (data->layer_count < needed) return miFALSE;

  if (data->single != miFALSE) {
    MixerLayer *chosen = layer(data, data->layer_index);
    const miTag shader = tavo::eval(state, &chosen->shader);
    if (shader == miNULLTAG || !call_layer(&acc, state, shader, &q)) return miFALSE;
  } else {
    // The first layer is the base of the blend: only its weight counts.
    MixerLayer *first;
    if (data->normal_mode != miFALSE) {
      q.request_mode = tavo::multi_mixer::kNormalLayerRequest;
      first = layer(data, 1);
      const miTag shader = tavo::eval(state, &first->shader);
      if (shader != miNULLTAG && !call_layer(&acc, state, shader, &q)) return miFALSE;
    } else {
      first = layer(data, 0);
      const miTag shader = tavo::eval(state, &first->shader);
      if (shader != miNULLTAG) {
        void *const pri = state->pri;
        if (!call_layer(&acc, state, shader, &q)) return miFALSE;
        state->pri = pri;
      }
    }
    const miScalar weight = tavo::eval(state, &first->weight);
    acc.r *= weight;
    acc.g *= weight;
    acc.b *= weight;
    for (miInteger k = data->normal_mode != miFALSE ? 2 : 1; k < data->layer_count; ++k)
      if (!blend_layer(acc, state, layer(data, k), &q)) return miFALSE;
  }

  if (data->normal_mode != miFALSE) {
    // The mix is a perturbation of the normal, scaled by layer 0's weight;
    // the bent normal stays in the state for the rest of the sample.
    MixerLayer *base = layer(data, 0);
    const miScalar w = tavo::eval(state, &base->weight);
    miVector &n = state->normal;
    n.x = n.x + w * acc.r;
    n.y = n.y + w * acc.g;
    n.z = n.z + w * acc.b;
    const miScalar length = sqrtf(n.x * n.x + n.y * n.y + n.z * n.z);
    if (length != 0.0f) {
      n.x = n.x / length;
      n.y = n.y / length;
      n.z = n.z / length;
    }
    const miTag shader = tavo::eval(state, &base->shader);
    if (shader == miNULLTAG) return miFALSE;
    q.request_mode = tavo::multi_mixer::kColourMode;
    call_layer(&acc, state, shader, &q);  // its success does not count
  }

  if (q.request_mode == tavo::multi_mixer::kGreyMode) {
    const miScalar grey = (acc.r + acc.g + acc.b) / 3.0f;
    acc.r = grey;
    acc.g = grey;
    acc.b = grey;
  }
  *result = acc;
  return miTRUE;
}

void tavo_Utility_MultiMixer_exit(miState *state, Params *paras) { tavo::exit_plain(state, paras, kFile); }
