// The scene's ray engine on Embree: the objects become Embree geometry when
// the scene is committed, and every ray the renderer traces is one Embree query.
#include <embree3/rtcore.h>

#include <string>
#include <vector>

#include "declarations.h"
#include "scene.h"

namespace tavo::host {

struct Scene::Rtc {
  RTCDevice device = nullptr;
  RTCScene scene = nullptr;
  std::vector<const Object *> by_geometry;
  std::string error;

  ~Rtc() {
    if (scene) rtcReleaseScene(scene);
    if (device) rtcReleaseDevice(device);
  }
};

Scene::Scene() : options(default_options()), rtc_(std::make_unique<Rtc>()) {}

Scene::~Scene() = default;

void Scene::commit() {
  if (committed_) return;
  Rtc &rtc = *rtc_;
  rtc.device = rtcNewDevice(nullptr);
  if (!rtc.device) throw Error("cannot start Embree: error " + std::to_string(rtcGetDeviceError(nullptr)));
  rtcSetDeviceErrorFunction(
      rtc.device,
      [](void *user, RTCError code, const char *text) {
        auto *self = static_cast<Rtc *>(user);
        if (self->error.empty()) self->error = "Embree error " + std::to_string(code) + ": " + (text ? text : "");
      },
      &rtc);
  rtc.scene = rtcNewScene(rtc.device);
  for (const auto &object : objects_) {
    RTCGeometry g;
    if (object->shape == Object::Shape::Sphere) {
      g = rtcNewGeometry(rtc.device, RTC_GEOMETRY_TYPE_SPHERE_POINT);
      auto *v = static_cast<float *>(
          rtcSetNewGeometryBuffer(g, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT4, 4 * sizeof(float), 1));
      v[0] = object->centre.x, v[1] = object->centre.y, v[2] = object->centre.z, v[3] = object->radius;
    } else {
      const std::size_t n = object->points.size();
      g = rtcNewGeometry(rtc.device, RTC_GEOMETRY_TYPE_TRIANGLE);
      auto *v = static_cast<float *>(
          rtcSetNewGeometryBuffer(g, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), n));
      auto *index = static_cast<unsigned *>(
          rtcSetNewGeometryBuffer(g, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), n / 3));
      for (std::size_t k = 0; k < n; ++k) {
        v[3 * k] = object->points[k].x, v[3 * k + 1] = object->points[k].y, v[3 * k + 2] = object->points[k].z;
        index[k] = static_cast<unsigned>(k);  // corners are stored triangle by triangle
      }
    }
    rtcCommitGeometry(g);
    const unsigned id = rtcAttachGeometry(rtc.scene, g);
    rtcReleaseGeometry(g);
    if (rtc.by_geometry.size() <= id) rtc.by_geometry.resize(id + 1, nullptr);
    rtc.by_geometry[id] = object.get();
  }
  rtcCommitScene(rtc.scene);
  if (!rtc.error.empty()) throw Error(rtc.error);
  committed_ = true;
}

bool Scene::intersect(const miVector &origin, const miVector &direction, float t_near, float t_far,
                      Hit &hit) const {
  if (!committed_) return false;
  RTCRayHit rh{};
  rh.ray.org_x = origin.x, rh.ray.org_y = origin.y, rh.ray.org_z = origin.z;
  rh.ray.dir_x = direction.x, rh.ray.dir_y = direction.y, rh.ray.dir_z = direction.z;
  rh.ray.tnear = t_near;
  rh.ray.tfar = t_far;
  rh.ray.mask = ~0u;
  rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  rh.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  rtcIntersect1(rtc_->scene, &context, &rh);
  if (rh.hit.geomID == RTC_INVALID_GEOMETRY_ID || rh.hit.geomID >= rtc_->by_geometry.size()) return false;
  hit.object = rtc_->by_geometry[rh.hit.geomID];
  hit.distance = rh.ray.tfar;
  if (hit.object->shape == Object::Shape::Sphere) {
    const miVector point = origin + direction * hit.distance;
    hit.triangle = hit.object->sphere_triangle(hit.object->sphere_uv(point), hit.bary);
  } else {
    hit.triangle = static_cast<int>(rh.hit.primID);
    hit.bary[0] = 1.0f - rh.hit.u - rh.hit.v;
    hit.bary[1] = rh.hit.u;
    hit.bary[2] = rh.hit.v;
  }
  return true;
}

bool Scene::occluded(const miVector &origin, const miVector &direction, float t_near, float t_far) const {
  if (!committed_) return false;
  RTCRay ray{};
  ray.org_x = origin.x, ray.org_y = origin.y, ray.org_z = origin.z;
  ray.dir_x = direction.x, ray.dir_y = direction.y, ray.dir_z = direction.z;
  ray.tnear = t_near;
  ray.tfar = t_far;
  ray.mask = ~0u;
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  rtcOccluded1(rtc_->scene, &context, &ray);
  return ray.tfar < 0.0f;  // Embree marks a blocked ray with tfar = -inf
}

}  // namespace tavo::host
