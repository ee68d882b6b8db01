// Masonry and concrete block converter: two types by three finishes set the
// reflection presets; texture and pattern scales are inch-based.
#include "materials/tavo_Shd_MasonryCMU_spider.h"

#include "materials/converter.h"

using tavo::masonry_cmu::Params;
using tavo::masonry_cmu::Ready;
namespace conv = tavo::converter;

namespace {

struct Preset {
  conv::ReflectionPreset reflection;
  miInteger preset_switch;
};

// [type][finish]. Where a row leaves preset_a or preset_switch alone it holds
// the default (0.1, 0), so applying the row keeps it.
constexpr Preset kPresets[2][3] = {
    {
        {{0.0f, 0.5f, 0.5f, 0.2f, 4.5f}, 0},
        {{0.125f, 0.5f, 0.3f, 0.175f, 2.5f}, 0},
        {{0.25f, 0.3f, 0.15f, 0.1f, 1.0f}, 1},
    },
    {
        {{0.0f, 0.625f, 0.55f, 0.2f, 4.0f}, 0},
        {{0.1f, 0.65f, 0.3f, 0.175f, 2.5f}, 0},
        {{0.2f, 0.4f, 0.175f, 0.1f, 1.0f}, 1},
    },
};

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger type = tavo::eval(state, &paras->type);
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);

  ready->preset_a = 0.1f;
  ready->reflection_curve = 5.0f;
  ready->preset_switch = 0;

  if (const auto *by_finish = conv::preset_row(kPresets, type)) {
    if (const Preset *preset = conv::preset_row(*by_finish, finish)) {
      conv::apply_reflection_preset(ready, preset->reflection);
      ready->preset_switch = preset->preset_switch;
    }
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->map_mode = conv::map_mode(map_mode_on);
  ready->texture_scale = conv::inch_scale(39.37008f, scene.u);
  ready->pattern_scale_u = conv::inch_scale(11.811024f, scene.u);
  ready->pattern_scale_v = conv::inch_scale(11.811024f, scene.u);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_MasonryCMU_spider, Ready, Params, build, conv::pass_map_through)
