// Metal converter: eight metal types, four finishes and five pattern kinds
// become the library's largest ready record; two types age with a patina
// amount that blends towards a colour from a twelve-step ramp.
#include "materials/tavo_Shd_Metal_spider.h"

#include <math.h>

#include "materials/converter.h"

using tavo::metal::Params;
using tavo::metal::Ready;
namespace conv = tavo::converter;

namespace {

// ---- patina ramp --------------------------------------------------------------

struct Rgb {
  miScalar r, g, b;
};

constexpr Rgb from_bytes(int r, int g, int b) {
  return {static_cast<miScalar>(r) / 255.0f, static_cast<miScalar>(g) / 255.0f, static_cast<miScalar>(b) / 255.0f};
}

// From the base colour of type 3 through dark browns to a pale green. The
// ramp needs nothing from the renderer, so it is complete before any instance
// can ask for it: the compiler divides each byte by 255 in float, correctly
// rounded exactly as a division at load would be, and the table sits in
// read-only data (no start-up code, no first-use flag, nothing to race on).
constexpr Rgb kPatinaRamp[12] = {
    {0.737f, 0.314f, 0.184f},
    from_bytes(116, 19, 2),
    from_bytes(114, 20, 18),
    from_bytes(99, 25, 0),
    from_bytes(77, 25, 1),
    from_bytes(70, 44, 9),
    from_bytes(95, 73, 29),
    from_bytes(103, 104, 44),
    from_bytes(117, 127, 64),
    from_bytes(135, 159, 97),
    from_bytes(136, 167, 123),
    from_bytes(160, 188, 147),
};

// Linear blend between the two ramp entries around t * 11, t clamped to [0, 1]
// (NaN read as 0). t = 1 gives the last entry exactly; the one after it is never read.
Rgb patina_ramp_color(miScalar t) {
  if (!(t >= 0.0f)) t = 0.0f;
  if (t > 1.0f) t = 1.0f;
  const miScalar x = t * 11.0f;
  const miScalar whole = floorf(x);
  const int i = static_cast<int>(whole);
  const miScalar f = x - whole;
  const Rgb &e = kPatinaRamp[i];
  if (!(f > 0.0f)) return e;
  const Rgb &next = kPatinaRamp[i + 1];
  return {(1.0f - f) * e.r + f * next.r, (1.0f - f) * e.g + f * next.g, (1.0f - f) * e.b + f * next.b};
}

// ---- presets --------------------------------------------------------------------

enum class Patina { none, ramp, fixed };

// Every field a type may set. Where a type leaves a field alone its row holds
// the value the field has before the table (0, or metal_g's 1.0).
struct TypeRow {
  bool user_color;  // metal_color is the user's colour, all four channels
  Rgb color;
  miScalar a, b, c, d, e, f;
  miScalar second;  // second_color r, g and b
  Rgb tint;
  miScalar finish_gloss;
  miInteger mode_1, mode_2, mode_3;
  miScalar metal_g;
  miScalar finish_amount_1, finish_amount_2;
  Patina patina;
};

constexpr Rgb kNone = {0.0f, 0.0f, 0.0f};

constexpr TypeRow kTypes[8] = {
    // user  metal_color                a      b     c      d      e     f     second
    //       tint_color                 finish_gloss  mode_1..3  metal_g  finish_amount_1, _2  patina
    {false, {0.957f, 0.957f, 0.957f}, 1.0f, 0.2f, 0.8f, 0.4f, 2.0f, 3.0f, 0.25f,  // 0
     {1.0f, 1.0f, 1.0f}, 0.0f, 0, 0, 1, 1.0f, 0.0f, 0.0f, Patina::none},
    {true, kNone, 1.0f, 0.2f, 0.8f, 0.6f, 1.0f, 0.0f, 0.0f,  // 1
     kNone, 0.3f, 4, 4, 4, 1.0f, 0.0f, 0.0f, Patina::none},
    {false, {0.957f, 0.957f, 0.957f}, 1.0f, 0.5f, 1.0f, 0.88f, 4.8f, 3.0f, 1.0f,  // 2
     {0.95f, 0.962f, 0.962f}, 0.0f, 0, 0, 0, 1.0f, 0.0f, 0.0f, Patina::none},
    {false, {0.737f, 0.314f, 0.184f}, 1.0f, 0.0f, 1.0f, 0.9f, 5.0f, 1.0f, 0.25f,  // 3
     kNone, 0.0f, 3, 0, 0, 1.0f, 0.0f, 0.0f, Patina::ramp},
    {false, {0.796f, 0.604f, 0.231f}, 0.1f, 0.0f, 1.0f, 0.9f, 5.0f, 1.0f, 0.25f,  // 4
     kNone, 0.0f, 3, 0, 0, 1.0f, 0.0f, 0.0f, Patina::none},
    {false, {0.412f, 0.302f, 0.231f}, 1.0f, 0.0f, 0.7f, 0.9f, 5.0f, 1.0f, 0.25f,  // 5
     kNone, 0.25f, 3, 0, 0, 1.075f, 0.0f, 0.0f, Patina::fixed},
    {false, {0.745f, 0.737f, 0.729f}, 1.0f, 0.0f, 0.65f, 0.9f, 5.0f, 1.0f, 0.25f,  // 6
     kNone, 0.0f, 3, 0, 0, 1.0f, 0.0f, 0.0f, Patina::none},
    {false, {0.647f, 0.678f, 0.694f}, 1.0f, 0.0f, 0.85f, 0.9f, 5.0f, 3.0f, 0.25f,  // 7
     kNone, 0.225f, 2, 2, 2, 1.0f, 0.6f, 0.8f, Patina::none},
};

// A finish entry leaves a field marked kKeep as the type table left it.
constexpr miScalar kKeep = -1.0f;
constexpr Rgb kKeepColor = {kKeep, kKeep, kKeep};

void set(miScalar &field, miScalar value) {
  if (value != kKeep) field = value;
}

struct FinishRow {
  miScalar metal_c, finish_gloss, patina_gloss, finish_detail;
};

// Finish 3 also sets metal_b, the three modes and the two finish amounts, the
// same for every type.
struct FinishThreeRow {
  Rgb color;  // metal_color r, g, b
  miScalar metal_c, finish_gloss, patina_gloss, metal_f;
};

struct FinishSet {
  bool applies;  // types 1 and 7 ignore the finish
  FinishRow by_finish[3];
  FinishThreeRow finish_3;
};

constexpr miScalar K = kKeep;
constexpr FinishSet kFinishes[8] = {
    // finish 0, 1, 2: metal_c, finish_gloss, patina_gloss, finish_detail
    // finish 3: metal_color, metal_c, finish_gloss, patina_gloss, metal_f
    {true,  // 0
     {{K, 1.0f, K, K}, {K, 0.425f, K, K}, {K, 0.225f, K, 0.065f}},
     {{0.808f, 0.824f, 0.839f}, K, 0.2f, K, K}},
    {false, {}, {}},  // 1
    {true,  // 2
     {{K, 0.92f, K, K}, {K, 0.5f, K, K}, {K, 0.275f, K, 0.065f}},
     {kKeepColor, K, 0.225f, K, K}},
    {true,  // 3
     {{K, 0.9f, 0.9f, K}, {K, 0.6f, 0.6f, K}, {0.8f, 0.225f, 0.225f, 0.065f}},
     {kKeepColor, 0.9f, 0.275f, 0.275f, 3.0f}},
    {true,  // 4
     {{K, 0.9f, K, K}, {K, 0.6f, K, K}, {K, 0.225f, K, 0.065f}},
     {kKeepColor, K, 0.275f, K, 3.0f}},
    {true,  // 5
     {{K, 0.9f, 0.9f, K}, {K, 0.6f, 0.6f, K}, {0.7f, 0.25f, 0.25f, 0.065f}},
     {kKeepColor, 0.9f, 0.275f, 0.275f, 3.0f}},
    {true,  // 6
     {{0.9f, 0.9f, K, K}, {0.8f, 0.6f, K, K}, {0.8f, 0.225f, K, 0.065f}},
     {kKeepColor, K, 0.275f, K, 3.0f}},
    {false, {}, {}},  // 7
};

// kKeepInt leaves the field as the type and finish left it.
constexpr miInteger kKeepInt = -1;

struct PatternRow {
  miInteger pattern_kind;
  miInteger mode_1;
};

constexpr PatternRow kPatterns[5] = {
    {kKeepInt, kKeepInt},  // 0 sets nothing
    {2, kKeepInt},
    {3, kKeepInt},
    {4, kKeepInt},
    {1, 1},
};

// ---- init steps -------------------------------------------------------------

// Type 3 ages through the ramp; the spline shapes how its fade sets in.
void ramp_patina(Ready *ready, const Rgb &metal, miScalar t, miScalar *control) {
  if (t != 0.0f) ready->patina_on = 1;
  ready->patina_bias = (1.0f - t) * 2.0f - 1.0f;
  miScalar s = mi_spline(t, 11, control);
  if (s > 1.0f) s = 1.0f;
  ready->patina_fade = 1.0f - s;
  const Rgb r = patina_ramp_color(t);
  ready->patina_color.r = (metal.r - r.r) * (1.0f - t) + r.r;
  ready->patina_color.g = (metal.g - r.g) * (1.0f - t) + r.g;
  ready->patina_color.b = (metal.b - r.b) * (1.0f - t) + r.b;
  ready->patina_square = powf(t, 2.0f);
  ready->patina_fade_2 = ready->patina_fade;
  ready->patina_weight = 1.0f;
}

// Type 5 darkens to one fixed patina.
void fixed_patina(Ready *ready, miScalar t) {
  if (t != 0.0f) ready->patina_on = 1;
  ready->patina_color.r = 0.075f;
  ready->patina_color.g = 0.043f;
  ready->patina_color.b = 0.027f;
  ready->patina_bias = (1.0f - t) * 2.0f - 1.0f;
  ready->patina_fade = 0.5f;
  ready->patina_gloss = 0.175f;
  ready->patina_weight = 0.0f;
  ready->patina_fade_2 = 0.2f;
  ready->patina_square = 0.0f;
}

void apply_finish(Ready *ready, const FinishSet &set_of, miInteger finish) {
  if (finish == 3) {
    const FinishThreeRow &row = set_of.finish_3;
    ready->metal_b = 0.4f;
    ready->mode_1 = ready->mode_2 = ready->mode_3 = 2;
    ready->finish_amount_1 = 0.6f;
    ready->finish_amount_2 = 0.8f;
    set(ready->metal_color.r, row.color.r);
    set(ready->metal_color.g, row.color.g);
    set(ready->metal_color.b, row.color.b);
    set(ready->metal_c, row.metal_c);
    set(ready->finish_gloss, row.finish_gloss);
    set(ready->patina_gloss, row.patina_gloss);
    set(ready->metal_f, row.metal_f);
  } else if (const FinishRow *row = conv::preset_row(set_of.by_finish, finish)) {
    set(ready->metal_c, row->metal_c);
    set(ready->finish_gloss, row->finish_gloss);
    set(ready->patina_gloss, row->patina_gloss);
    set(ready->finish_detail, row->finish_detail);
  }
}

void apply_type(Ready *ready, miState *state, Params *paras, const TypeRow &row, miScalar *control) {
  if (row.user_color) {
    ready->metal_color = tavo::eval(state, &paras->user_color);
  } else {
    ready->metal_color.r = row.color.r;
    ready->metal_color.g = row.color.g;
    ready->metal_color.b = row.color.b;
  }
  ready->metal_a = row.a;
  ready->metal_b = row.b;
  ready->metal_c = row.c;
  ready->metal_d = row.d;
  ready->metal_e = row.e;
  ready->metal_f = row.f;
  ready->second_color.r = ready->second_color.g = ready->second_color.b = row.second;
  ready->tint_color.r = row.tint.r;
  ready->tint_color.g = row.tint.g;
  ready->tint_color.b = row.tint.b;
  ready->finish_gloss = row.finish_gloss;
  ready->mode_1 = row.mode_1;
  ready->mode_2 = row.mode_2;
  ready->mode_3 = row.mode_3;
  ready->metal_g = row.metal_g;
  ready->finish_amount_1 = row.finish_amount_1;
  ready->finish_amount_2 = row.finish_amount_2;
  if (row.patina == Patina::ramp) ramp_patina(ready, row.color, tavo::eval(state, &paras->patina), control);
  if (row.patina == Patina::fixed) fixed_patina(ready, tavo::eval(state, &paras->patina));
}

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger type = tavo::eval(state, &paras->type);
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miInteger pattern = tavo::eval(state, &paras->pattern);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);
  const miScalar feature_size = tavo::eval(state, &paras->feature_size);

  ready->finish_detail = 0.1f;
  ready->metal_g = 1.0f;
  ready->fixed_mode = 1;
  ready->patina_on = 0;
  miScalar control[11] = {0.0f, 0.82f, 0.92f, 0.96f, 0.98f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};

  if (const TypeRow *row = conv::preset_row(kTypes, type)) {
    apply_type(ready, state, paras, *row, control);
    if (kFinishes[type].applies) apply_finish(ready, kFinishes[type], finish);
  }

  if (const PatternRow *row = conv::preset_row(kPatterns, pattern)) {
    if (row->pattern_kind != kKeepInt) ready->pattern_kind = row->pattern_kind;
    if (row->mode_1 != kKeepInt) ready->mode_1 = row->mode_1;
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->fine_scale_1 = conv::inch_scale(3.937008f, scene.u);
  ready->fine_scale_2 = conv::inch_scale(3.937008f, scene.u);
  ready->texture_scale_1 = conv::inch_scale(39.37008f, scene.u);
  ready->texture_scale_2 = conv::inch_scale(39.37008f, scene.u);
  ready->texture_scale_3 = conv::inch_scale(39.37008f, scene.u);
  ready->texture_scale_4 = conv::inch_scale(39.37008f, scene.u);
  ready->texture_scale_5 = conv::inch_scale(39.37008f, scene.u);
  ready->mid_scale_1 = conv::inch_scale(9.84252f, scene.u);
  ready->mid_scale_2 = conv::inch_scale(9.84252f, scene.u);
  ready->length_half_in = conv::metre_length(scene.u, 0.0127f);
  ready->length_5in = conv::metre_length(scene.u, 0.127f);

  ready->feature_size = conv::flag_length(scene, feature_size, 0.508f);
  ready->feature_size_10 = conv::scene_flag(scene) == 0 ? ready->feature_size * 10.0f : feature_size;

  ready->map_mode = conv::map_mode(map_mode_on);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Metal_spider, Ready, Params, build, conv::pass_map_through)
