#include "scene.h"

#include <cmath>
#include <limits>
#include <string>

#include "declarations.h"
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

miColor Scene::direct_light(const miState &state) const {
  miColor sum{0, 0, 0, 1};
  const miVector n = normalize(state.normal);
  const miVector lift = state.point + normalize(state.normal_geom) * kRayEpsilon;
  Sample *const sample = Sample::of(&state);
  // the cosine towards a light `distance` away along `to_light`; 0 behind the surface or in shadow
  const auto lit = [&](const Light &light, const miVector &to_light, float distance) {
    const float cosine = dot(n, to_light);
    if (!(cosine > 0.0f)) return 0.0f;
    if (!light.shadow) return cosine;
    if (sample) ++sample->rays.shadow;
    return occluded(lift, to_light, 0.0f, distance * (1.0f - 1e-4f)) ? 0.0f : cosine;
  };
  const bool jittered = sample && sample->has_pixel;
  for (std::size_t k = 0; k < lights.size(); ++k) {
    const Light &light = lights[k];
    float cosine = 0.0f;
    if (light.kind == Light::Kind::Point) {
      const miVector to_light = light.origin - state.point;
      cosine = lit(light, normalize(to_light), length(to_light));
    } else if (light.kind == Light::Kind::Directional) {
      cosine = lit(light, normalize(light.direction * -1.0f), std::numeric_limits<float>::infinity());
    } else {
      const int cells = light.samples;
      float total = 0.0f;
      for (int j = 0; j < cells; ++j)
        for (int i = 0; i < cells; ++i) {
          const int cell = j * cells + i;
          // each cell's point jittered by pixel, sample, light and cell
          const auto jitter = [&](int axis) {
            return jittered ? hash01({sample->pixel_x, sample->pixel_y, sample->sample_index, static_cast<int>(k),
                                      2 * cell + axis})
                            : 0.5f;
          };
          const float s = jitter(0), t = jitter(1);
          const miVector to_light =
              light.origin + light.u * ((i + s) / cells) + light.v * ((j + t) / cells) - state.point;
          total += lit(light, normalize(to_light), length(to_light));
        }
      cosine = total / static_cast<float>(cells * cells);
    }
    if (!(cosine > 0.0f)) continue;
    const float w = cosine * light.intensity;
    sum.r += light.color.r * w;
    sum.g += light.color.g * w;
    sum.b += light.color.b * w;
  }
  return sum;
}

}  // namespace tavo::host
