// Decal material: shades the point with the base host material, then lays
// each decal that covers the point over it, at the point's decal coordinates
// and weighted by the decal colour's alpha.
#include "scene/tavo_decal.h"

#include "frame/frame.h"

using tavo::decal::InstanceData;
using tavo::decal::Params;

namespace {

const char kFile[] = "tavo_decal";

// The first element of an array parameter: its storage, evaluated, plus its index.
template <typename T>
const T *first_element(miState *state, miInteger *index, miInteger *count, T *storage, miInteger *n) {
  const miInteger first = tavo::eval(state, index);
  *n = tavo::eval(state, count);
  return tavo::array_element(tavo::mi_eval(state, storage), first);
}

// The point's decal coordinates: the projections of p onto the edges from the
// origin, as fractions of their lengths, in x and y.
void decal_coordinates(const miVector &o, const miVector &a, const miVector &b, const miVector &p, miScalar *s,
                       miScalar *t) {
  const miScalar e1x = a.x - o.x, e1y = a.y - o.y;
  const miScalar e2x = b.x - o.x, e2y = b.y - o.y;
  const miScalar dx = p.x - o.x, dy = p.y - o.y;
  *s = (dy * e1y + dx * e1x) / (e1y * e1y + e1x * e1x);
  *t = (dy * e2y + dx * e2x) / (e2y * e2y + e2x * e2x);
}

// Both in 0..1; a NaN fails every comparison and so lies outside.
inline bool inside(miScalar s, miScalar t) { return s >= 0.0f && s <= 1.0f && t >= 0.0f && t <= 1.0f; }

}  // namespace

TAVO_SHADER_ENTRIES(tavo_decal, miColor, Params);

// The record is complete before it goes into the slot.
void tavo_decal_init(miState *state, Params *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::allocate_record<InstanceData>(kFile, __LINE__);
  data->material = tavo::eval(state, &paras->material);
  miInteger counts[5];
  data->decal_materials =
      first_element(state, &paras->i_decal_materials, &paras->n_decal_materials, paras->decal_materials, &counts[0]);
  data->corner_0_1 = first_element(state, &paras->i_corner_0_1, &paras->n_corner_0_1, paras->corner_0_1, &counts[1]);
  data->corner_1_1 = first_element(state, &paras->i_corner_1_1, &paras->n_corner_1_1, paras->corner_1_1, &counts[2]);
  data->corner_1_0 = first_element(state, &paras->i_corner_1_0, &paras->n_corner_1_0, paras->corner_1_0, &counts[3]);
  data->corner_0_0 = first_element(state, &paras->i_corner_0_0, &paras->n_corner_0_0, paras->corner_0_0, &counts[4]);
  miInteger n = counts[0];
  bool same = true;
  for (int k = 1; k < 5; ++k) {
    if (counts[k] != counts[0]) same = false;
    if (counts[k] < n) n = counts[k];
  }
  if (!same) mi_warning("Decal parameter arrays are not the same size. Using the common minimum.");
  data->decal_count = n;
  *tavo::user_slot(state) = data;
}

miBoolean tavo_decal(miColor *result, miState *state, Params *) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  miBoolean returned = miFALSE;
  if (data->material != miNULLTAG) returned = CallMaterial(result, state, data->material, 0);

  miInteger project = 0;
  if (!mi_query(miQ_DECAL_PROJECTION, state, miNULLTAG, &project) || project != 1) return returned;
  if (data->decal_count == 0) return miTRUE;
  // Decal corners live in texture space 0: without it the base colour stands.
  miInteger spaces = 0;
  if (!mi_query(miQ_NUM_TEXTURES, state, miNULLTAG, &spaces) || spaces < 1 || state->tex_list == nullptr)
    return miTRUE;

  for (miInteger i = 0; i < data->decal_count; ++i) {
    // Read afresh: an earlier decal may have replaced it with its own coordinates.
    const miVector p = state->tex_list[0];
    miScalar s, t;
    decal_coordinates(*tavo::array_element(data->corner_0_0, i), *tavo::array_element(data->corner_1_0, i),
                      *tavo::array_element(data->corner_0_1, i), p, &s, &t);
    if (!inside(s, t)) continue;
    state->tex_list[0].x = s;
    state->tex_list[0].y = t;
    state->tex_list[0].z = 0.0f;
    const miTag material = *tavo::array_element(data->decal_materials, i);
    if (material == miNULLTAG) continue;

    const miColor before = *result;
    // The decal material shades at full refraction depth, so it traces no refraction of its own.
    const miInteger saved_level = state->refraction_level;
    if (state->options != nullptr) state->refraction_level = state->options->refraction_depth;
    CallMaterial(result, state, material, 0);
    state->refraction_level = saved_level;

    const miColor d = *result;
    const miScalar w = (d.a - 0.02f) * 1.0204082f;
    const miScalar k = static_cast<miScalar>(1.0 - static_cast<double>(w));
    result->r = w * d.r + before.r * k;
    result->g = w * d.g + before.g * k;
    result->b = w * d.b + before.b * k;
    result->a = before.a;
  }
  return miTRUE;
}

void tavo_decal_exit(miState *state, Params *paras) { tavo::exit_clearing(state, paras, kFile); }
