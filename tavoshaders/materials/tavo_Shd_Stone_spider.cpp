// Stone converter: four finishes set the reflection presets; texture and
// pattern scales are inch-based, and two feature sizes follow the scene flag.
#include "materials/tavo_Shd_Stone_spider.h"

#include "materials/converter.h"

using tavo::stone::Params;
using tavo::stone::Ready;
namespace conv = tavo::converter;

namespace {

struct Preset {
  conv::ReflectionPreset reflection;
  miInteger preset_switch;
};

// By finish. The two glossy finishes leave roughness, reflection_curve and
// preset_switch alone: their rows hold the defaults (0, 5.0, 0).
constexpr Preset kPresets[4] = {
    {{0.0f, 0.85f, 0.8f, 0.15f, 5.0f}, 0},
    {{0.0f, 0.65f, 0.5f, 0.125f, 5.0f}, 0},
    {{0.15f, 0.5f, 0.425f, 0.2f, 2.0f}, 1},
    {{0.3f, 0.15f, 0.2f, 0.1f, 0.6f}, 1},
};

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);
  const miScalar feature_size = tavo::eval(state, &paras->feature_size);

  ready->preset_switch = 0;
  ready->roughness = 0.0f;
  ready->reflection_curve = 5.0f;

  if (const Preset *preset = conv::preset_row(kPresets, finish)) {
    conv::apply_reflection_preset(ready, preset->reflection);
    ready->preset_switch = preset->preset_switch;
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->texture_scale = conv::inch_scale(39.37008f, scene.u);
  ready->pattern_scale_u = conv::inch_scale(11.811024f, scene.u);
  ready->pattern_scale_v = conv::inch_scale(11.811024f, scene.u);
  // (1 / (u * c)) * size: a float product is the same either way round.
  ready->feature_size_a = conv::flag_length(scene, feature_size, 0.381f);
  ready->feature_size_b = conv::flag_length(scene, feature_size, 2.54f);

  ready->map_mode = conv::map_mode(map_mode_on);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Stone_spider, Ready, Params, build, conv::pass_map_through)
