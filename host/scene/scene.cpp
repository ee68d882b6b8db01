#include "scene.h"

#include <cmath>
#include <limits>
#include <string>

#include "declarations.h"
#include "sampling.h"
#include "shading.h"

namespace tavo::host {

Camera::Camera() {
  // A 50 mm lens on 36 mm film, 640 by 480 pixels.
  intrinsics.focal = 50.0f;
  intrinsics.aperture = 36.0f;
  intrinsics.aspect = 4.0f / 3.0f;
  intrinsics.x_resolution = 640;
  intrinsics.y_resolution = 480;
}

void Camera::aim(const miVector &direction, const miVector &up_hint) {
  const miVector f = normalize(direction);
  const miVector r = normalize(cross(f, up_hint));
  if (length(f) == 0.0f || length(r) == 0.0f)
    throw Error("the camera needs a direction and an up vector that are not parallel");
  forward = f;
  right = r;
  up = cross(r, f);
}

void Camera::ray(double raster_x, double raster_y, miVector &origin, miVector &direction) const {
  const double film_w = intrinsics.aperture, film_h = intrinsics.aperture / intrinsics.aspect;
  const float fx = static_cast<float>((raster_x / intrinsics.x_resolution - 0.5) * film_w);
  const float fy = static_cast<float>((0.5 - raster_y / intrinsics.y_resolution) * film_h);
  if (intrinsics.orthographic) {
    origin = position + right * fx + up * fy;
    direction = forward;
  } else {
    origin = position;
    direction = normalize(forward * intrinsics.focal + right * fx + up * fy);
  }
}

bool Camera::to_raster(const miVector &point, double &raster_x, double &raster_y) const {
  const miVector v = point - position;
  double fx = dot(v, right), fy = dot(v, up);
  if (!intrinsics.orthographic) {
    const double z = dot(v, forward);
    if (!(z > 0)) return false;
    fx *= intrinsics.focal / z;
    fy *= intrinsics.focal / z;
  }
  const double film_w = intrinsics.aperture, film_h = intrinsics.aperture / intrinsics.aspect;
  raster_x = (fx / film_w + 0.5) * intrinsics.x_resolution;
  raster_y = (0.5 - fy / film_h) * intrinsics.y_resolution;
  return std::isfinite(raster_x) && std::isfinite(raster_y);
}

miOptions default_options() {
  miOptions options{};
  options.trace = miTRUE;
  options.reflection_depth = 2;
  options.refraction_depth = 2;
  options.trace_depth = 4;
  return options;
}

const Object &Scene::add(Object object) {
  if (committed_) throw Error("objects cannot be added to a scene that is already built");
  objects_.push_back(std::make_unique<Object>(std::move(object)));
  return *objects_.back();
}

const Object *Scene::object_named(const std::string &name) const {
  for (const auto &o : objects_)
    if (o->name == name) return o.get();
  return nullptr;
}

const Object *Scene::object_of(const void *pri) const {
  if (!pri) return nullptr;
  for (const auto &o : objects_)
    if (o.get() == pri) return o.get();
  return nullptr;
}

void Scene::fill_hit(miState &state, const miVector &origin, const miVector &direction, const Hit &hit,
                     miVector *tex) const {
  const Object &o = *hit.object;
  state.dist = hit.distance;
  state.point = origin + direction * hit.distance;
  const std::size_t first = 3 * static_cast<std::size_t>(hit.triangle);
  const float *b = hit.bary;
  if (o.shape == Object::Shape::Sphere) {
    const miVector radial = normalize(state.point - o.centre);
    state.point = o.centre + radial * o.radius;  // on the surface, not a rounding error off it
    state.normal_geom = radial;
    state.normal = radial;
  } else {
    const miVector *p = &o.points[first];
    state.normal_geom = normalize(cross(p[1] - p[0], p[2] - p[0]));
    const miVector *n = &o.normals[first];
    state.normal = normalize(n[0] * b[0] + n[1] * b[1] + n[2] * b[2]);
    if (length(state.normal) == 0.0f) state.normal = state.normal_geom;
  }
  state.inv_normal = miFALSE;
  if (dot(state.normal_geom, direction) > 0.0f) {  // the back of the surface: turn both towards the ray
    state.normal_geom = state.normal_geom * -1.0f;
    state.normal = state.normal * -1.0f;
    state.inv_normal = miTRUE;
  }
  // -0 components (from cross products and turning) read as 0
  state.normal = state.normal + miVector{0, 0, 0};
  state.normal_geom = state.normal_geom + miVector{0, 0, 0};
  state.dot_nd = dot(state.normal, direction);
  state.instance = o.tag;
  state.material = o.material;
  state.pri = const_cast<Object *>(&o);
  state.pri_idx = hit.triangle;
  state.bary[0] = b[0], state.bary[1] = b[1], state.bary[2] = b[2], state.bary[3] = 0.0f;
  state.tex_list = tex;
  state.texture_spaces = std::min(o.texture_spaces(), kMaxTextureSpaces);
  for (int s = 0; s < state.texture_spaces; ++s) {
    if (o.shape == Object::Shape::Sphere) {
      tex[s] = o.sphere_uv(state.point);
      continue;
    }
    const miVector *t = &o.textures[s][first];
    tex[s] = t[0] * b[0] + t[1] * b[1] + t[2] * b[2];
  }
}

namespace {
constexpr float kPi = 3.14159265358979f;
}

Scene::LightFrame Scene::light_frame(const miState &state, std::size_t k) const {
  const Light &light = lights[k];
  LightFrame frame{&light, normalize(state.normal), state.point + normalize(state.normal_geom) * kRayEpsilon, {}, 0.0f, 0};
  if (light.kind == Light::Kind::Area) {
    const miVector across = cross(light.u, light.v);
    frame.panel_normal = normalize(across);
    frame.panel_area = length(across);
  }
  // each cell's point chosen by pixel, sample, depth, light and cell
  if (light.kind == Light::Kind::Area || light.kind == Light::Kind::Environment)
    frame.dimension = random_dimension(&state, {kLightDimension, static_cast<std::uint32_t>(k)});
  return frame;
}

bool Scene::next_light_sample(const miState &state, const LightFrame &frame, int n, LightSample &out) const {
  const Light &light = *frame.light;
  const miVector &n_shading = frame.normal, &lift = frame.lift;
  const float pi_intensity = kPi * light.intensity;
  miColor radiance{light.color.r * pi_intensity, light.color.g * pi_intensity, light.color.b * pi_intensity, 1.0f};
  float density = 0.0f;
  if (light.kind == Light::Kind::Point || light.kind == Light::Kind::Directional) {
    if (n > 0) return false;
    const miVector to_light = light.kind == Light::Kind::Point ? light.origin - state.point : light.direction * -1.0f;
    out.direction = normalize(to_light);
    out.distance = light.kind == Light::Kind::Point ? length(to_light) : std::numeric_limits<float>::infinity();
  } else {
    const int cells = light.samples;
    if (n >= cells * cells) return false;
    float r[2];
    random_2d_member(&state, frame.dimension, static_cast<std::uint32_t>(n), r);
    if (light.kind == Light::Kind::Area) {
      const int i = n % cells, j = n / cells;
      const miVector to_light =
          light.origin + light.u * ((i + r[0]) / cells) + light.v * ((j + r[1]) / cells) - state.point;
      out.direction = normalize(to_light);
      out.distance = length(to_light);
      const float facing = std::abs(dot(frame.panel_normal, out.direction));
      density = out.distance * out.distance / std::max(frame.panel_area * facing, 1e-12f);
      // seen from here the panel shines with pi x intensity x density: colour x intensity x cosine on arrival
      radiance = miColor{radiance.r * density, radiance.g * density, radiance.b * density, 1.0f};
    } else {
      // the cells stratify the unit square the environment's sampling maps
      const int i = n % cells, j = n / cells;
      const Environment &environment = *light.environment;
      const Environment::Choice choice = environment.choose((i + r[0]) / cells, (j + r[1]) / cells);
      out.cosine = 0.0f;  // under the surface: no light to look up
      if (environment.surely_below(choice, n_shading)) return true;
      out.direction = environment.direction(choice);
      out.distance = std::numeric_limits<float>::infinity();
      if (!(dot(n_shading, out.direction) > 0.0f)) return true;
      radiance = environment.radiance(choice, density);
    }
    density *= static_cast<float>(cells * cells);
    if (!(density > 0.0f)) {
      out.cosine = 0.0f;
      return true;
    }
  }
  out.cosine = dot(n_shading, out.direction);
  out.density = density;
  const float scale = density > 0.0f ? 1.0f / density : 1.0f;
  out.value = miColor{radiance.r * scale, radiance.g * scale, radiance.b * scale, 1.0f};
  if (!(out.cosine > 0.0f) || !light.shadow) return true;
  const miColor through = shadow_transmittance(const_cast<miState *>(&state), lift, out.direction,
                                               out.distance * (1.0f - 1e-4f));
  out.value.r *= through.r, out.value.g *= through.g, out.value.b *= through.b;
  return true;
}

miColor Scene::direct_light(const miState &state) const {
  miColor sum{0, 0, 0, 1};
  // the renderer's lights give pi x intensity as radiance over a white Lambert surface's 1 / pi
  sample_lights(state, [&](const LightSample &s) {
    const float w = s.cosine / kPi;
    sum.r += s.value.r * w, sum.g += s.value.g * w, sum.b += s.value.b * w;
  });
  return sum;
}

const Light *Scene::environment_light() const {
  for (const Light &light : lights)
    if (light.kind == Light::Kind::Environment) return &light;
  return nullptr;
}

bool Scene::area_light_on_ray(const miVector &origin, const miVector &direction, float t_far, miColor &radiance,
                              float &density) const {
  bool found = false;
  for (const Light &light : lights) {
    if (light.kind != Light::Kind::Area) continue;
    const miVector normal = cross(light.u, light.v);
    const float facing = dot(direction, normal);
    if (facing == 0.0f) continue;
    const float t = dot(light.origin - origin, normal) / facing;
    if (!(t > 0.0f) || !(t < t_far)) continue;
    // where on the panel: solve p - origin = s u + t v in the panel's plane
    const miVector p = origin + direction * t - light.origin;
    const float uu = dot(light.u, light.u), uv = dot(light.u, light.v), vv = dot(light.v, light.v);
    const float pu = dot(p, light.u), pv = dot(p, light.v), det = uu * vv - uv * uv;
    const float s = (pu * vv - pv * uv) / det, r = (pv * uu - pu * uv) / det;
    if (s < 0.0f || s > 1.0f || r < 0.0f || r > 1.0f) continue;
    t_far = t;
    // area x cosine at the panel is |facing| / |direction|
    const float d = t * length(direction);
    const float p_light = d * d * length(direction) / std::abs(facing);
    const float cells = static_cast<float>(light.samples * light.samples);
    const float scale = kPi * light.intensity * p_light;
    radiance = miColor{light.color.r * scale, light.color.g * scale, light.color.b * scale, 1.0f};
    density = cells * p_light;
    found = true;
  }
  return found;
}

}  // namespace tavo::host
