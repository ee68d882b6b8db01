// A scene as the renderer traces it: objects in an Embree scene, a camera,
// render options, lights and an environment shader. Built once, then only
// read, so any number of threads may trace and shade against it at once.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "environment.h"
#include "frame/renderer.h"
#include "geometry.h"
#include "host_operations.h"

namespace tavo::host {

// The camera: where it stands and looks, and the image it makes. Raster
// coordinates count pixels from the image's top-left corner, x to the right
// and y downwards; pixel (X, Y) covers [X, X+1) x [Y, Y+1).
struct Camera {
  miCamera intrinsics{};  // focal, aperture (film width), aspect, resolution
  miVector position{0, 0, 10};
  miVector forward{0, 0, -1};
  miVector up{0, 1, 0};
  miVector right{1, 0, 0};
  bool fixed_aspect = false;  // the scene gave the aspect; otherwise it follows the resolution

  Camera();
  // Points the camera along `direction`, keeping `up` as nearly up as it can.
  // Raises Error when the two are parallel or zero.
  void aim(const miVector &direction, const miVector &up_hint);
  // The eye ray through a raster position.
  void ray(double raster_x, double raster_y, miVector &origin, miVector &direction) const;
  // The raster position a point projects to; false behind the camera.
  bool to_raster(const miVector &point, double &raster_x, double &raster_y) const;
};

struct Light {
  enum class Kind { Point, Directional, Area, Environment };
  miTag tag = 0;
  std::string name;
  Kind kind = Kind::Point;
  miVector origin{};             // a point light's place, an area light's corner
  miVector direction{0, -1, 0};  // where a directional light shines to
  // An area light is the parallelogram origin + s u + t v (s, t in [0, 1]),
  // lit from both sides, sampled on a grid of samples x samples cells.
  miVector u{1, 0, 0};
  miVector v{0, 0, -1};
  int samples = 4;
  miColor color{1, 1, 1, 1};
  float intensity = 1.0f;
  bool shadow = true;
  // An environment light: its image, rotation and intensity (samples x
  // samples directions chosen by brightness per shading point).
  std::shared_ptr<const Environment> environment;
};

// One direction a light was sampled in for a shading point. An estimate of
// the light a surface reflects is the sum over the samples of BRDF x cosine
// x value. An area light gives the light of the old renderer (colour x
// intensity x cosine at any distance); seen in a reflection it shines with
// the radiance that keeps that so.
struct LightSample {
  miVector direction{};  // unit, from the point towards the light
  float distance = 0;    // to the point on the light; infinite for directional and environment lights
  float cosine = 0;      // between the shading normal and `direction`
  miColor value{};       // the radiance arriving, shadowed, over (samples x density)
  // samples x the solid-angle density of the choice, to weigh it against a
  // material's own choice of direction; 0 for lights from one direction.
  float density = 0;
};

// A line of text drawn into the picture, centred under where `point` appears.
struct Caption {
  std::string text;
  miVector point{};
};

// Where a ray met an object.
struct Hit {
  const Object *object = nullptr;
  int triangle = 0;
  float distance = 0;
  float bary[3] = {0, 0, 0};
};

// A ray as the engine was asked it, for replaying the same work through
// bare Embree (the benchmarks).
struct TracedRay {
  miVector origin, direction;
  float t_near, t_far;
  bool shadow;  // an occlusion query, not a nearest hit
};

class Scene {
 public:
  Scene();
  ~Scene();
  Scene(const Scene &) = delete;
  Scene &operator=(const Scene &) = delete;

  Camera camera;
  miOptions options{};
  miTag environment = 0;  // shader for rays that hit nothing; 0: transparent black
  std::vector<miTag> lenses;  // lens shaders the eye rays pass through, first to last
  std::vector<Light> lights;
  std::vector<Caption> captions;

  // Adds an object; the scene must not be committed yet. The object keeps its address.
  const Object &add(Object object);
  // Builds the ray-tracing structures; after this the scene is read-only.
  void commit();
  bool committed() const { return committed_; }

  const std::vector<std::unique_ptr<Object>> &objects() const { return objects_; }
  const Object *object_named(const std::string &name) const;
  // The object behind a state's `pri`, or null when it is not one of this scene's.
  const Object *object_of(const void *pri) const;

  // The nearest hit along origin + t * direction for t in (t_near, t_far).
  bool intersect(const miVector &origin, const miVector &direction, float t_near, float t_far, Hit &hit) const;
  bool occluded(const miVector &origin, const miVector &direction, float t_near, float t_far) const;

  // With a log, every ray asked of the scene is appended to it (from one thread only).
  void log_rays(std::vector<TracedRay> *log) { ray_log_ = log; }
  // Asks Embree the logged rays again and nothing else, one at a time
  // (`width` 1) or in packets of 4, 8 or 16 consecutive rays of a kind, and
  // with `one_origin` only of one origin (the light rays of one shading
  // point); returns how many hit something.
  std::size_t replay(const std::vector<TracedRay> &rays, int width, bool one_origin = false) const;

  // Writes a hit into a state: distance, point, normals (facing the ray, with
  // `inv_normal` set when they were turned), instance, material, primitive,
  // barycentrics and the texture vectors, into `tex` (room for kMaxTextureSpaces).
  void fill_hit(miState &state, const miVector &origin, const miVector &direction, const Hit &hit,
                miVector *tex) const;

  // Light arriving at the state's point over its normal: the sum over the
  // lights of colour x intensity x cos, without falloff, zero where a shadow
  // ray finds an opaque object in the way (tinted by what a transmissive one
  // lets through). An area light gives the mean over its cells, each seen at
  // a point chosen by the state's pixel and sample (the cell's centre for a
  // state taken through no pixel); an environment light gives its radiance
  // over the hemisphere, sampled by brightness.
  miColor direct_light(const miState &state) const;

  // The light samples for the state's point (those in front of its normal),
  // each handed to `take`.
  template <typename Take>
  void sample_lights(const miState &state, Take &&take) const {
    LightSample s;
    for (std::size_t k = 0; k < lights.size(); ++k) {
      const LightFrame frame = light_frame(state, k);
      for (int n = 0; next_light_sample(state, frame, n, s); ++n)
        if (s.cosine > 0.0f) take(s);
    }
  }

  // The first environment light, or null.
  const Light *environment_light() const;
  // The radiance of the nearest area light along the ray before t_far (both
  // sides of a panel shine), with the density of sampling that direction;
  // false when no area light lies on the ray.
  bool area_light_on_ray(const miVector &origin, const miVector &direction, float t_far, miColor &radiance,
                         float &density) const;

 private:
  // What every sample of one light at one shading point shares.
  struct LightFrame {
    const Light *light;
    miVector normal;        // the shading normal, unit
    miVector lift;          // where shadow rays start: off the surface along its geometric normal
    miVector panel_normal;  // an area light's, unit
    float panel_area;       // an area light's
    std::uint32_t dimension;  // of the light's cells, but for the cell's own index
  };
  LightFrame light_frame(const miState &state, std::size_t k) const;
  // Sample n of the frame's light (its cells in order); false past the light's last.
  bool next_light_sample(const miState &state, const LightFrame &frame, int n, LightSample &out) const;

  struct Rtc;
  std::unique_ptr<Rtc> rtc_;
  std::vector<TracedRay> *ray_log_ = nullptr;
  std::vector<std::unique_ptr<Object>> objects_;
  bool committed_ = false;
};

// Ray tracing on, reflection and refraction depth 2, total depth 4.
miOptions default_options();

// A ray that leaves a surface starts this far out, so that it does not find
// the surface it leaves.
inline constexpr float kRayEpsilon = 1e-4f;

}  // namespace tavo::host
