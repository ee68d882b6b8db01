// Plastic and vinyl converter: three types by three finishes in one preset
// table; the second type also sets four layer values. No scene facts.
#include "materials/tavo_Shd_PlasticVinyl_spider.h"

#include "materials/converter.h"

using tavo::plastic_vinyl::Params;
using tavo::plastic_vinyl::Ready;
namespace conv = tavo::converter;

namespace {

// [type][finish]; type 2 gives finishes 0 and 1 the same values.
constexpr conv::ReflectionPreset kPresets[3][3] = {
    {
        {0.0f, 0.6f, 0.8f, 0.1f, 3.0f},
        {0.0f, 0.65f, 0.45f, 0.1f, 2.0f},
        {0.3f, 0.65f, 0.2f, 0.15f, 1.5f},
    },
    {
        {0.0f, 0.6f, 0.8f, 0.15f, 1.5f},
        {0.0f, 0.65f, 0.45f, 0.1f, 2.0f},
        {0.3f, 0.65f, 0.2f, 0.15f, 1.5f},
    },
    {
        {0.1f, 0.65f, 0.465f, 0.1f, 2.5f},
        {0.1f, 0.65f, 0.465f, 0.1f, 2.5f},
        {0.15f, 0.625f, 0.2f, 0.075f, 3.0f},
    },
};

// What only type 1 sets, by finish; the other types leave these fields at 0.
struct Layer {
  miScalar preset_b;
  miScalar preset_c;
  miInteger preset_switch;
  miScalar preset_d;
};

constexpr miInteger kLayeredType = 1;
constexpr Layer kLayers[3] = {
    {0.975f, 0.975f, 0, 0.0f},
    {0.95f, 0.45f, 1, 0.175f},
    {0.875f, 0.2f, 1, 0.4f},
};

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger type = tavo::eval(state, &paras->type);
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);

  if (const auto *by_finish = conv::preset_row(kPresets, type)) {
    if (const conv::ReflectionPreset *preset = conv::preset_row(*by_finish, finish)) {
      conv::apply_reflection_preset(ready, *preset);
      if (type == kLayeredType) {
        const Layer &layer = kLayers[finish];
        ready->preset_b = layer.preset_b;
        ready->preset_c = layer.preset_c;
        ready->preset_switch = layer.preset_switch;
        ready->preset_d = layer.preset_d;
      }
    }
  }

  ready->map_mode = conv::map_mode(map_mode_on);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_PlasticVinyl_spider, Ready, Params, build, conv::pass_map_through)
