// Metallic paint converter: three finishes set the flake presets, one switch
// weights an option, and one millimetre is given in scene units.
#include "materials/tavo_Shd_MetallicPaint_spider.h"

#include "materials/converter.h"

using tavo::metallic_paint::Params;
using tavo::metallic_paint::Ready;
namespace conv = tavo::converter;

namespace {

struct Preset {
  miScalar preset_a;
  miScalar preset_b;
  miInteger preset_switch;
  miScalar preset_c;
};

// preset_a and preset_b fall from the glossiest finish to the dullest.
constexpr Preset kPresets[3] = {
    {0.98f, 30.0f, 1, 0.1f},
    {0.92f, 25.0f, 0, 0.1f},
    {0.32f, 20.0f, 0, 0.0f},
};

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miBoolean option_on = tavo::eval(state, &paras->option_on);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);

  ready->preset_c = 0.1f;

  if (const Preset *preset = conv::preset_row(kPresets, finish)) {
    ready->preset_a = preset->preset_a;
    ready->preset_b = preset->preset_b;
    ready->preset_switch = preset->preset_switch;
    ready->preset_c = preset->preset_c;
  }

  ready->option_weight = option_on != 0 ? 1.0f : 0.0f;

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->length_1mm = conv::metre_length(scene.u, 0.001f);
  ready->map_mode = conv::map_mode(map_mode_on);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_MetallicPaint_spider, Ready, Params, build, conv::pass_map_through)
