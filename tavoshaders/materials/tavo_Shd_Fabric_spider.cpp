// Fabric converter: two two-way choices set six presets and two sizes in
// millimetres become scene units. No map pass-through.
#include "materials/tavo_Shd_Fabric_spider.h"

#include "materials/converter.h"

using tavo::fabric::Params;
using tavo::fabric::Ready;
namespace conv = tavo::converter;

namespace {

struct TypeRow {
  miScalar type_a;
  miScalar type_b;
};

constexpr TypeRow kTypes[2] = {
    {0.35f, 0.5f},
    {0.8f, 0.25f},
};

struct FinishRow {
  miScalar a, b, c, d;
};

constexpr FinishRow kFinishes[2] = {
    {0.6f, 0.2f, 0.2f, 1.0f},
    {0.2f, 0.45f, 0.05f, 0.9f},
};

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger type = tavo::eval(state, &paras->type);
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miScalar size_1_mm = tavo::eval(state, &paras->size_1_mm);
  const miScalar size_2_mm = tavo::eval(state, &paras->size_2_mm);

  if (const TypeRow *row = conv::preset_row(kTypes, type)) {
    ready->type_a = row->type_a;
    ready->type_b = row->type_b;
  }

  if (const FinishRow *row = conv::preset_row(kFinishes, finish)) {
    ready->finish_a = row->a;
    ready->finish_b = row->b;
    ready->finish_c = row->c;
    ready->finish_d = row->d;
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->size_1 = conv::millimetre_parameter(size_1_mm, scene.u);
  ready->size_2 = conv::millimetre_parameter(size_2_mm, scene.u);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Fabric_spider, Ready, Params, build, conv::copy_only)
