// Bump lookup: a new surface normal from a height signal, the mean of a
// colour's r, g and b. The texture method takes finite differences of a
// texture and leaves the state's normal bent; the probe method casts four
// probe rays around the point, evaluates the slot's colour at each hit and
// returns the normal of the quadrilateral they make, leaving the state as it was.
#include "utility/tavo_Utility_BumpLookup.h"

#include <math.h>
#include <string.h>

#include "frame/frame.h"

using tavo::bump_lookup::InstanceData;
using tavo::bump_lookup::kSavedTextureSpaces;
using tavo::bump_lookup::Params;
namespace filtering = tavo::filtering;

namespace {

const char kFile[] = "tavo_Utility_BumpLookup";

// Texture shift when the instance's step gives none.
constexpr miScalar kDefaultStep = 0.001f;
// A point whose position vector gives no tangent borrows one from this far along x.
constexpr miScalar kTangentShift = 0.01f;

miVector cross(const miVector &a, const miVector &b) {
  return miVector{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

miScalar length(const miVector &a) { return sqrtf(a.x * a.x + a.y * a.y + a.z * a.z); }

// Scales to unit length unless the length is 0 (a NaN length scales too).
void normalize(miVector *a) {
  const miScalar len = length(*a);
  if (len == 0.0f) return;
  const miScalar inv = 1.0f / len;
  a->x *= inv;
  a->y *= inv;
  a->z *= inv;
}

// a + s * b, component by component.
miVector add_scaled(const miVector &a, miScalar s, const miVector &b) {
  return miVector{a.x + s * b.x, a.y + s * b.y, a.z + s * b.z};
}

miScalar height(const miColor &c) { return (c.g + c.r + c.b) / 3.0f; }

// ---- probe method -------------------------------------------------------------

void probe_method(miVector *result, miState *state, Params *paras, miInteger index) {
  const miVector step = tavo::eval(state, &paras->step);
  const miScalar s = step.x;
  const miScalar f = tavo::eval(state, &paras->factor);
  if (f == 0.0f) {
    *result = state->normal;
    return;
  }

  const miVector N = state->normal;
  const miVector P = state->point;
  void *const saved_pri = state->pri;
  miInteger spaces = 0;
  mi_query(miQ_NUM_TEXTURES, state, miNULLTAG, &spaces);
  // Only what fits the copy is moved to the probe hits, so that all of it comes back.
  if (spaces < 0 || state->tex_list == nullptr) spaces = 0;
  if (spaces > kSavedTextureSpaces) spaces = kSavedTextureSpaces;
  miVector saved_tex[kSavedTextureSpaces];
  if (spaces > 0) memcpy(saved_tex, state->tex_list, sizeof(miVector) * static_cast<size_t>(spaces));

  miVector t1 = cross(N, P);
  if (length(t1) == 0.0f) t1 = cross(N, miVector{P.x + kTangentShift, P.y, P.z});
  miVector t2 = cross(t1, N);
  normalize(&t1);
  normalize(&t2);

  state->pri = nullptr;
  const miVector directions[4] = {t1, miVector{-t1.x, -t1.y, -t1.z}, t2, miVector{-t2.x, -t2.y, -t2.z}};
  const miVector base = add_scaled(P, s, N);
  miVector down = {-N.x, -N.y, -N.z};
  miVector q[4];
  for (int i = 0; i < 4; ++i) {
    miVector org = add_scaled(base, s, directions[i]);
    if (i > 0) mi_flush_cache(state);
    mi_trace_probe(state, &down, &org);
    miState *child = state->child;
    // Without a child state the probe found nothing: its origin stands in for the hit.
    miVector hit = org;
    if (child != nullptr) {
      hit = child->point;
      for (miInteger t = 0; t < spaces; ++t) {
        miVector *a = nullptr;
        miVector *b = nullptr;
        miVector *c = nullptr;
        if (!mi_tri_vectors(child, miTRI_TEXTURES, t, &a, &b, &c)) break;
        const miScalar *bary = child->bary;
        state->tex_list[t] = miVector{bary[0] * a->x + bary[1] * b->x + bary[2] * c->x,
                                      bary[0] * a->y + bary[1] * b->y + bary[2] * c->y,
                                      bary[0] * a->z + bary[1] * b->z + bary[2] * c->z};
      }
    }
    state->point = hit;
    const miColor col = tavo::eval(state, filtering::slot_color(paras, index));
    const miScalar h = f * (col.g + col.r + col.b) / 3.0f;
    q[i] = add_scaled(org, h, N);
  }

  miVector n = cross(miVector{q[0].x - q[1].x, q[0].y - q[1].y, q[0].z - q[1].z},
                     miVector{q[2].x - q[3].x, q[2].y - q[3].y, q[2].z - q[3].z});
  normalize(&n);
  if (N.x * n.x + N.y * n.y + N.z * n.z < 0.0f) n = miVector{-n.x, -n.y, -n.z};

  state->pri = saved_pri;
  state->point = P;
  if (spaces > 0) memcpy(state->tex_list, saved_tex, sizeof(miVector) * static_cast<size_t>(spaces));
  *result = n;
}

// ---- texture method -----------------------------------------------------------

// Heights at the coordinate and at its two shifts through the filtered lookup;
// false when the filtered lookup cannot be prepared. A failing centre lookup
// leaves its colour black (height 0); a failing shifted one repeats the centre.
bool filtered_heights(miState *state, Params *paras, const InstanceData *data, miTag tex, const miVector &coord,
                      const miVector &coord_u, const miVector &coord_v, miScalar h[3]) {
  miMatrix st;
  miTexfilter settings;
  if (!filtering::prepare_filtered_lookup(state, data->filtering, &paras->remap, st, &settings)) return false;
  miColor c = {0.0f, 0.0f, 0.0f, 0.0f};
  st[8] = coord.x;
  st[9] = coord.y;
  mi_lookup_filter_color_texture(&c, state, tex, &settings, st);
  h[0] = height(c);
  mi_flush_cache(state);
  st[8] = coord_u.x;
  st[9] = coord_u.y;
  h[1] = mi_lookup_filter_color_texture(&c, state, tex, &settings, st) ? height(c) : h[0];
  mi_flush_cache(state);
  st[8] = coord_v.x;
  st[9] = coord_v.y;
  h[2] = mi_lookup_filter_color_texture(&c, state, tex, &settings, st) ? height(c) : h[0];
  return true;
}

// The same with plain lookups; false when the centre lookup fails.
bool plain_heights(miState *state, miTag tex, miVector coord, miVector coord_u, miVector coord_v, miScalar h[3]) {
  miColor c;
  if (!mi_lookup_color_texture(&c, state, tex, &coord)) return false;
  h[0] = height(c);
  mi_flush_cache(state);
  h[1] = mi_lookup_color_texture(&c, state, tex, &coord_u) ? height(c) : h[0];
  mi_flush_cache(state);
  h[2] = mi_lookup_color_texture(&c, state, tex, &coord_v) ? height(c) : h[0];
  return true;
}

miBoolean texture_method(miVector *result, miState *state, Params *paras, const InstanceData *data, miTag tex) {
  const miVector coord = tavo::eval(state, &paras->coord);
  const miVector step = data->step;
  const miVector u = tavo::eval(state, &paras->u);
  const miVector v = tavo::eval(state, &paras->v);
  const miScalar factor = tavo::eval(state, &paras->factor);
  if (factor == 0.0f) {
    *result = state->normal;
    return miTRUE;
  }
  const miScalar k = factor + (0.0f - factor * 10.0f);  // -9 x factor: the normal leans away from rising height
  const miScalar dx = step.x == 0.0f ? kDefaultStep : step.x;
  const miScalar dy = step.y == 0.0f ? kDefaultStep : step.y;
  const miVector coord_u = {coord.x + dx, coord.y, coord.z};
  const miVector coord_v = {coord.x, coord.y + dy, coord.z};

  miScalar h[3];
  if (!filtered_heights(state, paras, data, tex, coord, coord_u, coord_v, h) &&
      !plain_heights(state, tex, coord, coord_u, coord_v, h)) {
    *result = state->normal;
    return miFALSE;
  }

  const miScalar du = h[1] - h[0];
  const miScalar dv = h[2] - h[0];
  miVector *normal = &state->normal;
  normal->x = (v.x * dv + u.x * du) * k + normal->x;
  normal->y = (v.y * dv + u.y * du) * k + normal->y;
  normal->z = (v.z * dv + u.z * du) * k + normal->z;
  normalize(normal);
  *result = *normal;
  return miTRUE;
}

}  // namespace

TAVO_SHADER_ENTRIES(tavo_Utility_BumpLookup, miVector, Params);

void tavo_Utility_BumpLookup_init(miState *state, Params *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::create_instance_record<InstanceData>(state, kFile, __LINE__);
  filtering::init_filter_record(state, paras, &data->filtering);
  data->step = tavo::eval(state, &paras->step);
  data->use_probe = tavo::eval(state, &paras->use_probe);
  // Probes need ray tracing; without it the texture method serves (or, for an empty slot, the probes still do).
  if (state->options == nullptr || state->options->trace == miFALSE) data->use_probe = miFALSE;
  data->index = tavo::eval(state, &paras->index);
}

miBoolean tavo_Utility_BumpLookup(miVector *result, miState *state, Params *paras) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  if (data->use_probe != miFALSE) {
    probe_method(result, state, paras, data->index);
    return miTRUE;
  }
  const miTag tex = tavo::eval(state, filtering::slot_texture(paras, data->index));
  if (tex == miNULLTAG) {
    probe_method(result, state, paras, data->index);
    return miTRUE;
  }
  return texture_method(result, state, paras, data, tex);
}

void tavo_Utility_BumpLookup_exit(miState *state, Params *paras) { tavo::exit_plain(state, paras, kFile); }
