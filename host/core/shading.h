// Shading one sample: the renderer's per-sample record that every state of
// the sample points at (`state->renderer`), with the child states that traces
// fill, the shader-state values and the pixel the sample belongs to; and the
// renderer operations that trace, call shaders and look up textures. A sample
// belongs to one thread, so none of this takes a lock.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frame/renderer.h"
#include "geometry.h"
#include "host_operations.h"
#include "result_cache.h"
#include "sampling.h"

namespace tavo::host {

// A state that hit nothing: the ray's origin as its point, no surface, no
// primitive, no texture spaces.
void clear_hit(miState &state, const miVector &origin);

class Scene;

// How deep a tree of traced rays may grow below the sample's first state.
inline constexpr int kMaxRayDepth = 32;

class Sample {
 public:
  explicit Sample(const Scene *scene = nullptr);
  ~Sample();
  Sample(const Sample &) = delete;
  Sample &operator=(const Sample &) = delete;

  // The sample a state belongs to; null for a state the renderer did not make.
  static Sample *of(const miState *state);

  const Scene *scene = nullptr;

  // The pixel of the image the sample is taken for (mi_query 116); none for
  // samples that are not taken through the camera.
  bool has_pixel = false;
  int pixel_x = -1;
  int pixel_y = -1;
  int sample_index = 0;
  int samples_per_pixel = 1;
  SamplerKind sampler = SamplerKind::Sobol;
  // Which of the pixel's further pairs of points this sample's choices took (bit k: pair k).
  int pixel_pairs_taken = 0;
  // The sampler's seed of (pixel_x, pixel_y), made again when they change.
  PixelSeed &pixel_seed() const {
    if (seed_.x != pixel_x || seed_.y != pixel_y) seed_.at(pixel_x, pixel_y);
    return seed_;
  }

  // The density with which a material chose the ray it traces next, to weigh
  // a light that ray finds against the light's own sampling; 0: none given
  // (a mirror, a refraction, a shader that knows nothing of it).
  float next_ray_density = 0.0f;

  // What a material called for a shadow ray lets through (tavo_host_transmit);
  // a material that says nothing is opaque.
  bool transmit_set = false;
  miColor transmit{0, 0, 0, 1};
  // While a material answers a shadow ray it traces nothing and sees no
  // light, so that a material that knows nothing of shadow rays stays cheap.
  bool answering_shadow = false;

  // How often a shader flushed the caches during this sample (mi_flush_cache).
  int flushes = 0;
  // Results of connected shaders per state, for mi_phen_eval.
  ResultCache results;

  // The rays this sample traced, by kind, for the renderer's statistics.
  struct RayCounts {
    std::uint64_t eye = 0, reflection = 0, refraction = 0, shadow = 0, probe = 0;
    std::uint64_t total() const { return eye + reflection + refraction + shadow + probe; }
    RayCounts &operator+=(const RayCounts &o) {
      eye += o.eye, reflection += o.reflection, refraction += o.refraction, shadow += o.shadow, probe += o.probe;
      return *this;
    }
  };
  RayCounts rays;

  // The lens running in the scene's chain of lenses, and the state it runs
  // on: an eye ray traced from that state goes on to the next lens, or from
  // the last one into the scene. -1 and null while no lens runs.
  int lens = -1;
  miState *lens_state = nullptr;

  // Shader-state values: a copy of each value under its key.
  bool set_value(const std::string &key, const void *value, int size, int lifetime, int depth);
  void *value(const std::string &key, int *size);
  std::size_t value_count() const { return values_.size(); }
  void end_state(int depth);  // drops state-lifetime values set at `depth` or deeper
  void end_sample();          // drops everything but tile-lifetime values
  void end_tile();            // drops everything

  // The child state at `depth` below the sample's first state, with room for
  // its texture vectors. Stays put until the sample is destroyed.
  miState &child(int depth);

 private:
  mutable PixelSeed seed_;
  struct Value {
    std::vector<std::uint64_t> words;  // 8-byte aligned copy of the value
    int size = 0;
    int lifetime = 0;
    int depth = 0;
  };
  struct Child {
    miState state{};
    miVector tex[kMaxTextureSpaces]{};
  };

  std::uint32_t magic_;
  std::map<std::string, Value> values_;
  std::vector<std::unique_ptr<Child>> children_;
};

// The number of states above `state` (0 for the first state of a sample).
int depth_of(const miState *state);

// The kinds of random choice, the first word of a dimension's key.
enum : std::uint32_t { kPixelDimension = 1, kLightDimension, kGlossyDimension, kShaderDimension };

// The 2D point of the state's sample in the dimension named by `key` and the
// state's depth; (0.5, 0.5) for a state taken through no pixel.
void random_2d(const miState *state, std::initializer_list<std::uint32_t> key, float out[2]);
// The same in two steps, for a family of dimensions that differ in their last
// word only (a light's cells): the dimension named by the state's depth and
// `key` once, then the point of each member `word`.
std::uint32_t random_dimension(const miState *state, std::initializer_list<std::uint32_t> key);
// A shader's choice `index` of `kind` (tavo_host_random). Where the eye
// ray hits, a sample's first shader choice and its first light sample (a
// material's direction, a light's point: random_2d_member) are stratified
// jointly with the position in the pixel instead.
void shader_random_2d(const miState *state, std::uint32_t kind, std::uint32_t index, float out[2]);
void random_2d_member(const miState *state, std::uint32_t dimension, std::uint32_t word, float out[2]);

// What a ray that hit nothing sees: the scene's environment shader, or else
// its environment light, weighed against the light's own sampling when the
// material gave the density with which it chose the ray; transparent black
// without either.
miBoolean shade_miss(miColor *result, miState &state, float density = 0.0f);

// What reaches `distance` along the ray from `origin`: white when nothing is
// in the way, black behind an opaque object, and through objects whose
// materials let light through (tavo_host_transmit) their tint.
miColor shadow_transmittance(miState *state, miVector origin, miVector direction, float distance);

// --- renderer operations, as operations.cpp exports them
miBoolean call_shader(miColor *result, int type, miState *state, miTag shader, void *argument);
// Rays are taken by value: callers may pass fields of the very child state a trace rewrites.
miBoolean trace_eye(miColor *result, miState *state, miVector origin, miVector direction);
miBoolean trace_reflection(miColor *result, miState *state, miVector direction);
miBoolean trace_refraction(miColor *result, miState *state, miVector direction);
// The ray going on through the state's point unbent: a refraction with ior 1.
miBoolean trace_transparent(miColor *result, miState *state);
miBoolean trace_probe(miState *state, miVector direction, miVector origin);
// Shades a sample through the scene's lenses: the first lens runs on `state`,
// which holds the camera ray and no hit. False when the scene has no lenses.
miBoolean shade_through_lenses(miColor *result, miState &state);
miBoolean tri_vectors(miState *state, int which, int space, miVector **a, miVector **b, miVector **c);
miBoolean lookup_color_texture(miColor *color, miState *state, miTag texture, const miVector *coord);
miBoolean lookup_filter_color_texture(miColor *color, miState *state, miTag texture, const miTexfilter *settings,
                                      const miScalar *st);
miBoolean texture_filter_project(miVector p[3], miVector t[3], miState *state, miScalar disc_r, miUint space);
miBoolean texture_filter_transform(miScalar *st, const miVector p[3], const miVector t[3]);

}  // namespace tavo::host
