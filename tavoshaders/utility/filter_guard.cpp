// The filter guard and the preparation of an elliptical filtered lookup,
// shared by the texture and bump lookups.
#include "utility/filter_guard.h"

namespace tavo::filtering {

namespace {

// A pixel sample index the filter can trust lies between 0 and 100000.
constexpr miUint kMaxPixelSample = 100000u;
// Disc radius, in pixels, when the instance gives none above 0.
constexpr miScalar kDefaultDiscRadius = 0.3f;

// Final gathering and the photon ray types see no pixel: their lookups stay plain.
bool unfiltered_ray(miInteger type) {
  if (type == miRAY_FINALGATHER) return true;
  if (type >= 8 && type <= 15) return true;
  return type == 18 || type == 19 || type == 23 || type == 24 || type == 27;
}

}  // namespace

miInteger plain_only(miState *state) {
  const SceneData *scene = GetSceneData(state);
  miInteger plain = scene != nullptr ? scene->scene_flag : 0;
  if (state->camera != nullptr && state->camera->focal == 1.0f) plain = 1;
  return plain;
}

bool filter_guard(miState *state, miScalar disc_r, miInteger space, miVector p[3], miVector t[3]) {
  miScalar radius = disc_r;
  if (disc_r <= 0.0f) radius = kDefaultDiscRadius;  // a NaN radius stays NaN

  // Out-of-range values stand in for a query that fills nothing.
  miInteger sample[4] = {-1, -1, -1, -1};
  mi_query(miQ_PIXEL_SAMPLE, state, miNULLTAG, sample);
  for (int k = 0; k < 3; ++k)
    if (static_cast<miUint>(sample[k]) > kMaxPixelSample) return false;
  if (sample[3] < 0 || sample[3] > static_cast<miInteger>(kMaxPixelSample)) return false;

  if (state->reflection_level != 0) return false;
  if (unfiltered_ray(state->type)) return false;
  return mi_texture_filter_project(p, t, state, radius, static_cast<miUint>(space)) != miFALSE;
}

bool prepare_filtered_lookup(miState *state, const FilterRecord &record, miTag *remap, miMatrix st,
                             miTexfilter *settings) {
  if (record.filter == miFALSE || record.plain_only != 0) return false;
  miVector p[3];
  miVector t[3];
  if (!filter_guard(state, record.disc_r, record.space, p, t)) return false;
  const miTag shader = tavo::eval(state, remap);
  if (shader == miNULLTAG) return false;
  for (int i = 0; i < 3; ++i) {
    // The remap shader writes a colour-sized result; a colour in between keeps
    // it from running over the next point (or past the last one).
    miColor out = {t[i].x, t[i].y, t[i].z, 0.0f};
    mi_call_shader_x(&out, miSHADER_TEXTURE, state, shader, &t[i]);
    t[i].x = out.r;
    t[i].y = out.g;
    t[i].z = out.b;
  }
  if (!mi_texture_filter_transform(st, p, t)) return false;
  *settings = miTexfilter{};
  settings->eccmax = record.eccmax;
  settings->max_minor = record.max_minor;
  settings->circle_radius = record.circle_radius;
  settings->bilinear = record.bilinear;
  return true;
}

}  // namespace tavo::filtering
