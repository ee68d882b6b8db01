// Wall paint converter: six finishes by three ways of application in one
// preset table, and twelve inch-based scales.
#include "materials/tavo_Shd_WallPaint_spider.h"

#include "materials/converter.h"

using tavo::wall_paint::Params;
using tavo::wall_paint::Ready;
namespace conv = tavo::converter;

namespace {

struct Cell {
  miScalar roughness;
  miScalar reflectivity;
  miScalar glossiness;
  miScalar reflection_curve;
  miScalar application_amount;
  miScalar application_flag;
};

// [finish][application]. Application 2 does not set the flag: its cells hold
// the 0 the cleared record already has there.
constexpr Cell kCells[6][3] = {
    {{0.15f, 0.2f, 0.3f, 2.5f, 0.02f, 0.0f}, {0.15f, 0.25f, 0.3f, 2.5f, 0.02f, 1.0f}, {0.15f, 0.6f, 0.3f, 2.5f, 0.0f, 0.0f}},
    {{0.25f, 0.5f, 0.2f, 3.9f, 0.035f, 0.0f}, {0.15f, 0.55f, 0.215f, 3.8f, 0.045f, 1.0f}, {0.2f, 0.55f, 0.21f, 3.9f, 0.0f, 0.0f}},
    {{0.25f, 0.51f, 0.28f, 3.9f, 0.04f, 0.0f}, {0.15f, 0.575f, 0.335f, 3.8f, 0.05f, 1.0f}, {0.2f, 0.575f, 0.3f, 3.9f, 0.0f, 0.0f}},
    {{0.25f, 0.515f, 0.345f, 3.9f, 0.06f, 0.0f}, {0.15f, 0.6f, 0.375f, 3.8f, 0.05f, 1.0f}, {0.18f, 0.6f, 0.35f, 3.9f, 0.0f, 0.0f}},
    {{0.2f, 0.55f, 0.37f, 3.0f, 0.06f, 0.0f}, {0.1f, 0.6f, 0.445f, 2.5f, 0.05f, 1.0f}, {0.14f, 0.6f, 0.4f, 2.8f, 0.0f, 0.0f}},
    {{0.2f, 0.435f, 0.52f, 3.0f, 0.025f, 0.0f}, {0.1f, 0.45f, 0.575f, 2.5f, 0.015f, 1.0f}, {0.15f, 0.46f, 0.54f, 2.8f, 0.0f, 0.0f}},
};

constexpr miInteger kFlatFinish = 0;

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miInteger application = tavo::eval(state, &paras->application);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);

  ready->flat_finish = 0;
  // A flat finish stays flat whatever the application.
  if (const auto *by_application = conv::preset_row(kCells, finish)) {
    if (finish == kFlatFinish) ready->flat_finish = 1;
    if (const Cell *cell = conv::preset_row(*by_application, application)) {
      ready->roughness = cell->roughness;
      ready->reflectivity = cell->reflectivity;
      ready->glossiness = cell->glossiness;
      ready->reflection_curve = cell->reflection_curve;
      ready->application_amount = cell->application_amount;
      ready->application_flag = cell->application_flag;
    }
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->map_mode = conv::map_mode(map_mode_on);
  ready->inch_scale_1 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_2 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_3 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_4 = conv::inch_scale(0.19685039f, scene.u);
  ready->inch_scale_5 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_6 = conv::inch_scale(0.19685039f, scene.u);
  ready->inch_scale_7 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_8 = conv::inch_scale(13.779528f, scene.u);
  ready->inch_scale_9 = conv::inch_scale(13.779528f, scene.u);
  ready->inch_scale_10 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_11 = conv::inch_scale(29.52756f, scene.u);
  ready->inch_scale_12 = conv::inch_scale(29.52756f, scene.u);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_WallPaint_spider, Ready, Params, build, conv::pass_map_through)
