#include "shading.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "renderer_core.h"
#include "scene.h"
#include "texture.h"

namespace tavo::host {

void clear_hit(miState &state, const miVector &origin) {
  state.dist = 0.0f;
  state.point = origin;
  state.normal = state.normal_geom = miVector{0, 0, 0};
  state.dot_nd = 0.0f;
  state.inv_normal = miFALSE;
  state.instance = state.material = 0;
  state.pri = nullptr;
  state.pri_idx = 0;
  for (float &b : state.bary) b = 0.0f;
  state.texture_spaces = 0;
}

namespace {

constexpr std::uint32_t kSampleMagic = 0x74617673;
constexpr int kMaxValueSize = 1 << 20;

bool finite(const miVector &v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// The scene a state is traced in: its sample's, or for a state the renderer
// did not make, the renderer's current scene.
const Scene *scene_of(const miState *state) {
  if (const Sample *sample = Sample::of(state)) return sample->scene;
  return Renderer::get().current_scene();
}

// A child state for states that belong to no sample, so that a shader that
// reads `state->child` after a failed trace never reads through NULL.
miState &orphan_child() {
  thread_local miState child{};
  thread_local miVector tex[kMaxTextureSpaces]{};
  child = miState{};
  child.type = miRAY_PROBE;
  child.tex_list = tex;
  return child;
}

// Sets up the child state of a trace from `parent`: a copy of the parent with
// the new ray and no hit yet. Null when the sample's ray tree is full or the
// parent belongs to no sample.
miState *begin_child(miState *parent, int type, miVector origin, miVector direction, int &depth) {
  Sample *sample = Sample::of(parent);
  depth = depth_of(parent) + 1;
  if (!sample || depth >= kMaxRayDepth) return nullptr;
  miState &child = sample->child(depth);
  sample->results.flush(&child);  // a new ray: what was computed for the last one no longer holds
  miVector *tex = child.tex_list;
  child = *parent;
  child.type = type;
  child.parent = parent;
  child.child = nullptr;
  child.org = origin;
  child.dir = direction;
  clear_hit(child, origin);
  child.tex_list = tex;
  parent->child = &child;
  return &child;
}

// Shades what a ray found: the hit object's material, or what a miss sees.
// Values of the child's state lifetime end here.
miBoolean shade(miColor *result, miState &child, bool hit, int depth, float density) {
  Renderer &renderer = Renderer::get();
  Sample *sample = Sample::of(&child);
  miBoolean returned;
  if (hit) {
    if (child.material) {
      returned = renderer.shade_material(child.material, result, child);
    } else {
      *result = miColor{0, 0, 0, 1};  // an object without a material is black
      returned = miTRUE;
    }
  } else {
    returned = shade_miss(result, child, density);
  }
  sample->end_state(depth);
  return returned;
}

miBoolean trace_and_shade(miColor *result, miState *state, int type, miVector origin, miVector direction,
                          float t_near) {
  Sample *const owner = Sample::of(state);
  const float density = owner ? std::exchange(owner->next_ray_density, 0.0f) : 0.0f;
  int depth = 0;
  miState *child = begin_child(state, type, origin, direction, depth);
  if (!child || !finite(origin) || !finite(direction) || length(direction) == 0.0f) {
    *result = miColor{0, 0, 0, 0};
    return miFALSE;
  }
  if (type == miRAY_REFLECT) ++child->reflection_level;
  if (type == miRAY_REFRACT || type == miRAY_TRANSPARENT) ++child->refraction_level;
  Sample &sample = *Sample::of(state);
  const Scene *scene = sample.scene;
  if (scene) ++(type == miRAY_REFLECT ? sample.rays.reflection : type == miRAY_EYE ? sample.rays.eye : sample.rays.refraction);
  Hit hit;
  const float far = std::numeric_limits<float>::infinity();
  const bool found = scene && scene->intersect(origin, direction, t_near, far, hit);
  // reflections and refractions see the area lights; eye rays look past them
  miColor light;
  float light_density = 0.0f;
  if (scene && type != miRAY_EYE && scene->area_light_on_ray(origin, direction, found ? hit.distance : far, light, light_density)) {
    const float w = density > 0.0f ? mis_weight(density, light_density) : 1.0f;
    *result = miColor{light.r * w, light.g * w, light.b * w, 1.0f};
    sample.end_state(depth);
    return miTRUE;
  }
  if (found) scene->fill_hit(*child, origin, direction, hit, child->tex_list);
  return shade(result, *child, found, depth, density);
}

// Whether a secondary ray may leave the state: tracing on, its own kind of
// level below that kind's depth, and both levels together below the total.
bool may_trace(const miState *state, int level, bool reflection) {
  const miOptions *options = state->options;
  if (const Sample *sample = Sample::of(state); sample && sample->answering_shadow) return false;
  if (!options || !options->trace) return false;
  const int depth = reflection ? options->reflection_depth : options->refraction_depth;
  return level < depth && state->reflection_level + state->refraction_level < options->trace_depth;
}

// How far out a ray leaving the state's point starts: further the further the
// point is from the origin, where floats are coarser.
float surface_offset(const miVector &point) {
  return kRayEpsilon * std::max({1.0f, std::abs(point.x), std::abs(point.y), std::abs(point.z)});
}

// The shader type lens shaders are called with; the host calls every type alike.
constexpr int kLensShader = 0;

// Runs lens `index` of the scene's chain on `state`, the lens state.
miBoolean run_lens(miColor *result, Sample &sample, miState &state, int index) {
  const int outer = sample.lens;
  miState *const outer_state = sample.lens_state;
  sample.lens = index;
  sample.lens_state = &state;
  const miBoolean returned =
      call_shader(result, kLensShader, &state, sample.scene->lenses[static_cast<std::size_t>(index)], nullptr);
  sample.lens = outer;
  sample.lens_state = outer_state;
  return returned;
}

// An eye ray from the running lens: the next lens gets it in a fresh state;
// from the last lens it is traced into the scene.
miBoolean pass_to_next_lens(miColor *result, miState *state, Sample &sample, miVector origin, miVector direction) {
  const int next = sample.lens + 1;
  if (next >= static_cast<int>(sample.scene->lenses.size()))
    return trace_and_shade(result, state, miRAY_EYE, origin, direction, 0.0f);
  int depth = 0;
  miState *child = begin_child(state, miRAY_EYE, origin, direction, depth);
  if (!child || !finite(origin) || !finite(direction) || length(direction) == 0.0f) {
    *result = miColor{0, 0, 0, 0};
    return miFALSE;
  }
  const miBoolean returned = run_lens(result, sample, *child, next);
  sample.end_state(depth);
  return returned;
}

}  // namespace

// ---------------------------------------------------------------- sample

Sample::Sample(const Scene *scene_) : scene(scene_), magic_(kSampleMagic) {}

Sample::~Sample() { magic_ = 0; }

Sample *Sample::of(const miState *state) {
  if (!state || !state->renderer) return nullptr;
  auto *sample = static_cast<Sample *>(state->renderer);
  return sample->magic_ == kSampleMagic ? sample : nullptr;
}

bool Sample::set_value(const std::string &key, const void *value, int size, int lifetime, int depth) {
  if (key.empty() || lifetime < miSHADERSTATE_LIFETIME_STATE || lifetime > miSHADERSTATE_LIFETIME_SAMPLE)
    return false;
  if (!value) {  // NULL removes the key
    values_.erase(key);
    return true;
  }
  if (size <= 0 || size > kMaxValueSize) return false;
  Value &v = values_[key];
  v.words.assign((static_cast<std::size_t>(size) + 7) / 8, 0);
  std::memcpy(v.words.data(), value, static_cast<std::size_t>(size));
  v.size = size;
  v.lifetime = lifetime;
  v.depth = depth;
  return true;
}

void *Sample::value(const std::string &key, int *size) {
  const auto it = values_.find(key);
  if (size) *size = it == values_.end() ? 0 : it->second.size;
  return it == values_.end() ? nullptr : it->second.words.data();
}

void Sample::end_state(int depth) {
  std::erase_if(values_, [&](const auto &entry) {
    return entry.second.lifetime == miSHADERSTATE_LIFETIME_STATE && entry.second.depth >= depth;
  });
}

void Sample::end_sample() {
  pixel_pairs_taken = 0;
  results.clear();
  std::erase_if(values_, [](const auto &entry) { return entry.second.lifetime != miSHADERSTATE_LIFETIME_TILE; });
}

void Sample::end_tile() {
  values_.clear();
  results.clear();
}

miState &Sample::child(int depth) {
  while (static_cast<int>(children_.size()) <= depth) children_.push_back(std::make_unique<Child>());
  Child &c = *children_[depth];
  c.state.tex_list = c.tex;
  return c.state;
}

namespace {
// The depth of a state in bounces, not counting the eye rays a chain of lenses passes on.
std::uint32_t bounces_of(const miState *state) {
  std::uint32_t bounces = 0;
  for (const miState *s = state; s && bounces < 4 * kMaxRayDepth; s = s->parent) bounces += s->type != miRAY_EYE;
  return bounces;
}
}  // namespace

std::uint32_t random_dimension(const miState *state, std::initializer_list<std::uint32_t> key) {
  std::uint32_t dimension = hash32({bounces_of(state)});
  for (const std::uint32_t word : key) dimension = hash32({dimension, word});
  return dimension;
}

namespace {
void point_of(const miState *state, std::uint32_t dimension, float out[2]) {
  const Sample *sample = Sample::of(state);
  if (!sample || !sample->has_pixel) {
    out[0] = out[1] = 0.5f;
    return;
  }
  sample_2d(sample->sampler, sample->pixel_seed(), sample->sample_index, dimension, out);
}
}  // namespace

void random_2d(const miState *state, std::initializer_list<std::uint32_t> key, float out[2]) {
  point_of(state, random_dimension(state, key), out);
}

namespace {
// Where the eye ray hits, the first choice of a kind takes the pixel's
// further pair of points `pair`: the highlights and shadow edges that a
// pixel only partly covers then depend on the pixel's points jointly.
bool pixel_pair(const miState *state, int pair, float out[2]) {
  Sample *sample = Sample::of(state);
  if (!sample || !sample->has_pixel || sample->sampler != SamplerKind::Sobol ||
      (sample->pixel_pairs_taken & (1 << pair)) || bounces_of(state) != 0)
    return false;
  sample->pixel_pairs_taken |= 1 << pair;
  sample_2d_pair(sample->pixel_seed(), sample->sample_index, kPixelDimension, pair, out);
  return true;
}
}  // namespace

void shader_random_2d(const miState *state, std::uint32_t kind, std::uint32_t index, float out[2]) {
  if (!pixel_pair(state, 1, out)) random_2d(state, {kShaderDimension, kind, index}, out);
}

void random_2d_member(const miState *state, std::uint32_t dimension, std::uint32_t word, float out[2]) {
  if (!pixel_pair(state, 2, out)) point_of(state, hash32({dimension, word}), out);
}

miColor shadow_transmittance(miState *state, miVector origin, miVector direction, float distance) {
  Sample *sample = Sample::of(state);
  const Scene *scene = sample ? sample->scene : scene_of(state);
  if (!scene) return miColor{1, 1, 1, 1};
  if (sample) ++sample->rays.shadow;
  // A shadow ray that only asks whether the light is blocked stops at any hit.
  if (!sample || sample->answering_shadow)
    return scene->occluded(origin, direction, 0.0f, distance) ? miColor{0, 0, 0, 1} : miColor{1, 1, 1, 1};
  // Otherwise ask each surface along the ray what it lets through, as a
  // shadow ray, until the light is reached or nothing passes. The nearest hit
  // costs what the blocked-or-not question costs when nothing is in the way,
  // and a blocked ray is not traced twice.
  miColor through{1, 1, 1, 1};
  Renderer &renderer = Renderer::get();
  constexpr int kMaxSurfaces = 16;
  float travelled = 0.0f;
  for (int k = 0; k < kMaxSurfaces; ++k) {
    Hit hit;
    if (!scene->intersect(origin, direction, 0.0f, distance - travelled, hit)) return through;
    if (k > 0) ++sample->rays.shadow;
    int depth = 0;
    miState *child = begin_child(state, miRAY_SHADOW, origin, direction, depth);
    if (!child || !hit.object->material) return miColor{0, 0, 0, 1};
    scene->fill_hit(*child, origin, direction, hit, child->tex_list);
    sample->transmit_set = false;
    sample->answering_shadow = true;
    std::uint64_t result[8] = {};
    renderer.shade_material(child->material, result, *child);
    sample->answering_shadow = false;
    const bool passes = sample->transmit_set;
    const miColor t = sample->transmit;
    sample->transmit_set = false;
    sample->end_state(depth);
    if (!passes) return miColor{0, 0, 0, 1};
    through.r *= t.r, through.g *= t.g, through.b *= t.b;
    if (std::max({through.r, through.g, through.b}) < 1e-3f) return miColor{0, 0, 0, 1};
    const float step = hit.distance + surface_offset(child->point);
    origin = origin + direction * step;
    travelled += step;
    if (travelled >= distance) return through;
  }
  return miColor{0, 0, 0, 1};
}

// What a ray that hit nothing sees: the scene's environment shader, or else
// its environment light, weighed against the light's own sampling when the
// material said how it chose the ray (`density`).
miBoolean shade_miss(miColor *result, miState &child, float density) {
  Sample *sample = Sample::of(&child);
  const Scene *scene = sample ? sample->scene : nullptr;
  if (scene && scene->environment)
    return call_shader(result, miSHADER_MATERIAL, &child, scene->environment, nullptr);
  if (const Light *light = scene ? scene->environment_light() : nullptr) {
    float light_density = 0.0f;
    const miColor c = light->environment->radiance(normalize(child.dir), light_density);
    const float n = static_cast<float>(light->samples * light->samples);
    const float w = density > 0.0f ? mis_weight(density, n * light_density) : 1.0f;
    *result = miColor{c.r * w, c.g * w, c.b * w, 1.0f};
    return miTRUE;
  }
  *result = miColor{0, 0, 0, 0};
  return miFALSE;
}

int depth_of(const miState *state) {
  int depth = 0;
  while (state && state->parent && depth < 4 * kMaxRayDepth) {
    state = state->parent;
    ++depth;
  }
  return depth;
}

// ---------------------------------------------------------------- shader calls

miBoolean call_shader(miColor *result, int, miState *state, miTag shader, void *argument) {
  if (!state) return miFALSE;
  Renderer &renderer = Renderer::get();
  const miTag function = renderer.shader_of(shader);
  if (!function) {
    renderer.message("error", "mi_call_shader: tag " + std::to_string(shader) + " is neither a shader nor a material");
    return miFALSE;
  }
  // Callers hand over a colour's worth of result; a callee that returns more
  // (a mis-wired scene) would write past it, so the call is refused.
  const Instance *callee = renderer.instance(function);
  if (callee && callee->shader->decl.result.size() > sizeof(miColor)) {
    renderer.message("error", "mi_call_shader: " + callee->shader->decl.name + " returns " +
                                  std::to_string(callee->shader->decl.result.size()) +
                                  " bytes, more than the colour it is called for");
    return miFALSE;
  }
  renderer.ensure_initialized(function, *state);
  return renderer.call(function, result, *state, argument);
}

// ---------------------------------------------------------------- rays

miBoolean trace_eye(miColor *result, miState *state, miVector origin, miVector direction) {
  if (!result || !state) return miFALSE;
  Sample *sample = Sample::of(state);
  if (sample && sample->lens_state == state && sample->scene)
    return pass_to_next_lens(result, state, *sample, origin, direction);
  return trace_and_shade(result, state, miRAY_EYE, origin, direction, 0.0f);
}

miBoolean trace_reflection(miColor *result, miState *state, miVector direction) {
  if (!result || !state) return miFALSE;
  if (!may_trace(state, state->reflection_level, true)) {
    *result = miColor{0, 0, 0, 0};
    return miFALSE;
  }
  return trace_and_shade(result, state, miRAY_REFLECT, state->point, direction, surface_offset(state->point));
}

miBoolean trace_refraction(miColor *result, miState *state, miVector direction) {
  if (!result || !state) return miFALSE;
  if (!may_trace(state, state->refraction_level, false)) {
    *result = miColor{0, 0, 0, 0};
    return miFALSE;
  }
  return trace_and_shade(result, state, miRAY_REFRACT, state->point, direction, surface_offset(state->point));
}

miBoolean trace_transparent(miColor *result, miState *state) {
  if (!result || !state) return miFALSE;
  if (!may_trace(state, state->refraction_level, false)) {
    *result = miColor{0, 0, 0, 0};
    return miFALSE;
  }
  return trace_and_shade(result, state, miRAY_TRANSPARENT, state->point, state->dir, surface_offset(state->point));
}

miBoolean shade_through_lenses(miColor *result, miState &state) {
  Sample *sample = Sample::of(&state);
  if (!result || !sample || !sample->scene || sample->scene->lenses.empty()) return miFALSE;
  return run_lens(result, *sample, state, 0);
}

miBoolean trace_probe(miState *state, miVector direction, miVector origin) {
  if (!state) return miFALSE;
  int depth = 0;
  miState *child = begin_child(state, miRAY_PROBE, origin, direction, depth);
  if (!child) {
    miState &orphan = orphan_child();
    orphan.parent = state;
    orphan.org = orphan.point = origin;
    orphan.dir = direction;
    state->child = &orphan;
    return miFALSE;
  }
  Sample &sample = *Sample::of(state);
  const Scene *scene = sample.scene;
  if (!scene || !finite(origin) || !finite(direction) || length(direction) == 0.0f) return miFALSE;
  ++sample.rays.probe;
  Hit hit;
  if (!scene->intersect(origin, direction, 0.0f, std::numeric_limits<float>::infinity(), hit)) return miFALSE;
  scene->fill_hit(*child, origin, direction, hit, child->tex_list);
  return miTRUE;
}

miBoolean tri_vectors(miState *state, int which, int space, miVector **a, miVector **b, miVector **c) {
  if (!state || !a || !b || !c) return miFALSE;
  const Scene *scene = scene_of(state);
  const Object *object = scene ? scene->object_of(state->pri) : nullptr;
  if (!object || state->pri_idx < 0 || state->pri_idx >= object->triangles()) return miFALSE;
  const std::vector<miVector> *list = nullptr;
  if (which == miTRI_POINTS) list = &object->points;
  else if (which == miTRI_NORMALS) list = &object->normals;
  else if (which == miTRI_TEXTURES && space >= 0 && space < object->texture_spaces()) list = &object->textures[space];
  if (!list) return miFALSE;
  auto *first = const_cast<miVector *>(&(*list)[3 * static_cast<std::size_t>(state->pri_idx)]);
  *a = first;
  *b = first + 1;
  *c = first + 2;
  return miTRUE;
}

// ---------------------------------------------------------------- textures

miBoolean lookup_color_texture(miColor *color, miState *, miTag texture, const miVector *coord) {
  const Image *image = Renderer::get().texture(texture);
  if (!color || !coord || !image || !std::isfinite(coord->x) || !std::isfinite(coord->y)) return miFALSE;
  *color = image->bilinear(0, coord->x, coord->y);
  return miTRUE;
}

miBoolean lookup_filter_color_texture(miColor *color, miState *, miTag texture, const miTexfilter *settings,
                                      const miScalar *st) {
  const Image *image = Renderer::get().texture(texture);
  if (!color || !settings || !st || !image) return miFALSE;
  miColor out;
  if (!image->filtered(*settings, st[8], st[9], st[0], st[1], st[4], st[5], out)) return miFALSE;
  *color = out;
  return miTRUE;
}

// Projects the disc of radius disc_r pixels around the state's point on the
// image onto the tangent plane: p[0] is the point itself, p[1] and p[2] lie
// where the camera rays through the raster positions disc_r to the right of
// and below it meet the plane; t[] are their texture vectors in `space`.
miBoolean texture_filter_project(miVector p[3], miVector t[3], miState *state, miScalar disc_r, miUint space) {
  if (!p || !t || !state || !(disc_r > 0.0f) || !std::isfinite(disc_r)) return miFALSE;
  const Scene *scene = scene_of(state);
  const Object *object = scene ? scene->object_of(state->pri) : nullptr;
  if (!object || space >= static_cast<miUint>(object->texture_spaces())) return miFALSE;
  const miVector centre = state->point;
  const miVector plane = normalize(state->normal_geom);
  if (length(plane) == 0.0f || !finite(centre)) return miFALSE;
  double x = 0, y = 0;
  if (!scene->camera.to_raster(centre, x, y)) return miFALSE;
  miVector points[3] = {centre, centre, centre};
  const double offsets[2][2] = {{disc_r, 0.0}, {0.0, disc_r}};
  for (int k = 0; k < 2; ++k) {
    miVector origin, direction;
    scene->camera.ray(x + offsets[k][0], y + offsets[k][1], origin, direction);
    const double facing = dot(direction, plane);
    if (std::abs(facing) < 1e-9) return miFALSE;  // the ray runs along the plane
    const double along = dot(centre - origin, plane) / facing;
    if (!(along > 0)) return miFALSE;
    points[k + 1] = origin + direction * static_cast<float>(along);
  }
  miVector tex[3];
  for (int k = 0; k < 3; ++k)
    if (!object->texture_at(state->pri_idx, centre, static_cast<int>(space), points[k], tex[k])) return miFALSE;
  for (int k = 0; k < 3; ++k) p[k] = points[k], t[k] = tex[k];
  return miTRUE;
}

// ST maps filter space to texture space: a texture point is (x, y, 1, 0) . ST,
// so rows 0 and 1 are the ellipse's two conjugate semi-axes (the texture
// steps from t[0] to t[1] and to t[2]) and row 2 is its centre, t[0].
miBoolean texture_filter_transform(miScalar *st, const miVector p[3], const miVector t[3]) {
  if (!st || !p || !t) return miFALSE;
  for (int k = 0; k < 3; ++k)
    if (!finite(p[k]) || !finite(t[k])) return miFALSE;
  if (length(cross(p[1] - p[0], p[2] - p[0])) == 0.0f) return miFALSE;  // the points span no disc
  const double ax = t[1].x - t[0].x, ay = t[1].y - t[0].y;
  const double bx = t[2].x - t[0].x, by = t[2].y - t[0].y;
  const double det = ax * by - ay * bx;
  if (!(std::abs(det) > 1e-12 * (ax * ax + ay * ay + bx * bx + by * by))) return miFALSE;
  for (int k = 0; k < 16; ++k) st[k] = 0.0f;
  st[0] = static_cast<float>(ax), st[1] = static_cast<float>(ay);
  st[4] = static_cast<float>(bx), st[5] = static_cast<float>(by);
  st[8] = t[0].x, st[9] = t[0].y, st[10] = 1.0f;
  st[15] = 1.0f;
  return miTRUE;
}

}  // namespace tavo::host
