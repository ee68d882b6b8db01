// Hardwood converter: two two-way choices and four finishes, the finish setting
// seven fields at once, and three board lengths in scene units.
#include "materials/tavo_Shd_Hardwood_spider.h"

#include "materials/converter.h"

using tavo::hardwood::Params;
using tavo::hardwood::Ready;
namespace conv = tavo::converter;

namespace {

constexpr miScalar kChoiceA[2] = {0.0f, 0.5f};
constexpr miScalar kChoiceB[2] = {0.2f, 0.0f};

// Where a finish keeps a default of step 3 its row holds that default.
struct Finish {
  miScalar extra;
  miScalar weight;
  miInteger flag;
  miScalar gloss;
  miScalar c;
  miScalar b;
  miScalar curve;
  miInteger finish_switch;
};

constexpr Finish kFinishes[4] = {
    {0.0f, 1.0f, 0, 0.7f, 0.1f, 0.7f, 2.0f, 1},
    {0.0f, 1.0f, 0, 0.55f, 0.1f, 0.65f, 2.15f, 1},
    {0.0f, 1.0f, 0, 0.375f, 0.1f, 0.625f, 2.5f, 0},
    {0.2f, 1.0f, 1, 0.275f, 0.125f, 0.6f, 3.0f, 0},
};

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger choice_a = tavo::eval(state, &paras->choice_a);
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miInteger choice_b = tavo::eval(state, &paras->choice_b);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);

  if (const miScalar *value = conv::preset_row(kChoiceA, choice_a)) ready->choice_a_value = *value;

  ready->finish_extra = 0.0f;
  ready->finish_flag = 0;
  ready->finish_switch = 1;

  if (const Finish *row = conv::preset_row(kFinishes, finish)) {
    ready->finish_extra = row->extra;
    ready->finish_weight = row->weight;
    ready->finish_flag = row->flag;
    ready->finish_gloss = row->gloss;
    ready->finish_c = row->c;
    ready->finish_b = row->b;
    ready->finish_curve = row->curve;
    ready->finish_switch = row->finish_switch;
  }

  if (const miScalar *value = conv::preset_row(kChoiceB, choice_b)) ready->choice_b_value = *value;

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->length_24in = conv::metre_length(scene.u, 0.6096f);
  ready->length_14in = conv::metre_length(scene.u, 0.3556f);
  ready->length_6in = conv::metre_length(scene.u, 0.1524f);
  ready->map_mode = conv::map_mode(map_mode_on);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Hardwood_spider, Ready, Params, build, conv::pass_map_through)
