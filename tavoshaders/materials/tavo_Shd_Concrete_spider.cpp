// Concrete converter: a type-by-finish table sets twelve scalars and four greys
// at once, a coating adds a layer, and a block of pattern and texture sizes is
// given in scene units.
#include "materials/tavo_Shd_Concrete_spider.h"

#include "materials/converter.h"

using tavo::concrete::Params;
using tavo::concrete::Ready;
namespace conv = tavo::converter;

namespace {

// The greys give r, g and b.
struct Preset {
  miScalar a;
  miScalar color_1;
  miScalar color_2;
  miScalar b;
  miInteger preset_switch;  // 0 where the table leaves the step-2 default
  miScalar color_3;
  miScalar color_4;
  miScalar c, d, e, f;
};

// Finish 0 is each type's own.
constexpr Preset kOwnFinish[5] = {
    {0.5f, 0.501961f, 0.882353f, 3.0f, 1, 0.117647f, 0.352941f, 1.5f, 0.9f, 0.1f, 0.75f},
    {0.5f, 0.501961f, 0.952941f, 3.0f, 1, 0.137255f, 0.333333f, 1.5f, 0.9f, 0.2f, 0.5f},
    {0.6f, 0.235294f, 0.501961f, 0.5f, 0, 0.235294f, 0.352941f, 3.5f, 0.9f, 0.2f, 0.5f},
    {0.5f, 0.392157f, 0.54902f, 1.0f, 0, 0.352941f, 0.509804f, 1.0f, 0.6f, 0.3f, 1.0f},
    {0.6f, 0.335294f, 0.501961f, 0.5f, 1, 0.235294f, 0.352941f, 3.5f, 0.9f, 0.2f, 0.5f},
};

// Finishes 1 and 2 are shared by every type.
constexpr Preset kSharedFinish[2] = {
    {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.235294f, 0.411765f, 1.0f, 0.2f, 1.0f, 3.0f},
    {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.54902f, 0.705882f, 1.0f, 0.2f, 1.0f, 3.0f},
};

// preset_g, [type][finish]; the type that takes the user's amount has no row.
constexpr miInteger kUserAmountType = 4;
constexpr miScalar kAmount[4][3] = {
    {0.5f, 0.05f, 0.03f},
    {0.85f, 0.05f, 0.03f},
    {0.5f, 0.05f, 0.03f},
    {0.0f, 0.02f, 0.01f},
};

struct Coating {
  miScalar weight;
  miInteger kind;  // 0 where the coating leaves it
};

constexpr Coating kCoatings[3] = {{0.0f, 0}, {1.0f, 0}, {1.0f, 1}};

void set_grey(miColor *color, miScalar v) { color->r = color->g = color->b = v; }

void apply_preset(Ready *ready, const Preset &p) {
  ready->preset_a = p.a;
  set_grey(&ready->preset_color_1, p.color_1);
  set_grey(&ready->preset_color_2, p.color_2);
  ready->preset_b = p.b;
  ready->preset_switch = p.preset_switch;
  set_grey(&ready->preset_color_3, p.color_3);
  set_grey(&ready->preset_color_4, p.color_4);
  ready->preset_c = p.c;
  ready->preset_d = p.d;
  ready->preset_e = p.e;
  ready->preset_f = p.f;
}

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger type = tavo::eval(state, &paras->type);
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miInteger coating = tavo::eval(state, &paras->coating);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);
  const miScalar user_amount = tavo::eval(state, &paras->user_amount);
  const miScalar feature_size = tavo::eval(state, &paras->feature_size);

  ready->preset_switch = 0;
  ready->type = type;

  // A pair outside 0 to 4 by 0 to 2 sets nothing.
  if (type >= 0 && type <= 4 && finish >= 0 && finish <= 2) {
    apply_preset(ready, finish == 0 ? kOwnFinish[type] : kSharedFinish[finish - 1]);
    ready->preset_g = type == kUserAmountType ? user_amount : kAmount[type][finish];
  }

  if (const Coating *row = conv::preset_row(kCoatings, coating)) {
    ready->coating_weight = row->weight;
    ready->coating_kind = row->kind;
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  const miScalar pattern = conv::inch_scale(7.874016f, scene.u);
  ready->pattern_scale_1 = ready->pattern_scale_2 = ready->pattern_scale_3 = pattern;
  ready->pattern_scale_4 = ready->pattern_scale_5 = ready->pattern_scale_6 = pattern;
  ready->pattern_scale_7 = ready->pattern_scale_8 = ready->pattern_scale_9 = pattern;
  ready->length_6in = conv::metre_length(scene.u, 0.1524f);
  const miScalar texture = conv::inch_scale(39.37008f, scene.u);
  ready->texture_scale_1 = ready->texture_scale_2 = ready->texture_scale_3 = texture;
  ready->texture_scale_4 = ready->texture_scale_5 = ready->texture_scale_6 = texture;
  ready->length_14in = conv::metre_length(scene.u, 0.3556f);
  ready->length_24in = conv::metre_length(scene.u, 0.6096f);

  ready->feature_size = conv::flag_length(scene, feature_size, 0.508f);

  ready->map_mode = conv::map_mode(map_mode_on);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Concrete_spider, Ready, Params, build, conv::pass_map_through)
