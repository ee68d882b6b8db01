// Subsurface scattering converter: four lengths in millimetres become scene
// units, beside a value the host passes through its scene record.
#include "materials/tavo_Shd_SSS_spider.h"

#include "materials/converter.h"

using tavo::sss::Params;
using tavo::sss::Ready;
namespace conv = tavo::converter;

namespace {

void build(Ready *ready, miState *state, Params *paras) {
  const miScalar length_1_mm = tavo::eval(state, &paras->length_1_mm);
  const miScalar length_2_mm = tavo::eval(state, &paras->length_2_mm);
  const miScalar length_3_mm = tavo::eval(state, &paras->length_3_mm);
  const miScalar length_4_mm = tavo::eval(state, &paras->length_4_mm);

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->length_1 = conv::millimetre_parameter(length_1_mm, scene.u);
  ready->length_2 = conv::millimetre_parameter(length_2_mm, scene.u);
  ready->length_3 = conv::millimetre_parameter(length_3_mm, scene.u);
  ready->length_4 = conv::millimetre_parameter(length_4_mm, scene.u);

  // Without a scene record there is nothing to pass through: 0.
  ready->scene_value = scene.record != nullptr ? scene.record->passthrough_value : 0;
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_SSS_spider, Ready, Params, build, conv::copy_only)
