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
  if (ray_log_) [[unlikely]]
    ray_log_->push_back({origin, direction, t_near, t_far, false});
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
  if (ray_log_) [[unlikely]]
    ray_log_->push_back({origin, direction, t_near, t_far, true});
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

namespace {

template <int N, typename Ray>
void load(Ray &r, int k, const TracedRay &t) {
  r.org_x[k] = t.origin.x, r.org_y[k] = t.origin.y, r.org_z[k] = t.origin.z;
  r.dir_x[k] = t.direction.x, r.dir_y[k] = t.direction.y, r.dir_z[k] = t.direction.z;
  r.tnear[k] = t.t_near, r.tfar[k] = t.t_far, r.mask[k] = ~0u, r.flags[k] = 0, r.time[k] = 0.0f, r.id[k] = 0;
}

bool same_origin(const TracedRay &a, const TracedRay &b) {
  return a.origin.x == b.origin.x && a.origin.y == b.origin.y && a.origin.z == b.origin.z;
}

// Packets of N consecutive rays of one kind (a shorter packet where the kind,
// or with `one_origin` the origin, changes).
template <int N, typename RayHitN, typename RayN, typename Intersect, typename Occluded>
std::size_t replay_packets(RTCScene scene, const std::vector<TracedRay> &rays, bool one_origin, Intersect intersect,
                           Occluded occluded) {
  std::size_t hits = 0;
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  for (std::size_t first = 0; first < rays.size();) {
    const bool shadow = rays[first].shadow;
    std::size_t end = first;
    while (end < rays.size() && end - first < N && rays[end].shadow == shadow &&
           (!one_origin || same_origin(rays[end], rays[first])))
      ++end;
    alignas(64) int valid[N];
    for (int k = 0; k < N; ++k) valid[k] = first + k < end ? -1 : 0;
    if (shadow) {
      alignas(64) RayN packet{};
      for (std::size_t k = first; k < end; ++k) load<N>(packet, static_cast<int>(k - first), rays[k]);
      occluded(valid, scene, &context, &packet);
      for (std::size_t k = first; k < end; ++k) hits += packet.tfar[k - first] < 0.0f;
    } else {
      alignas(64) RayHitN packet{};
      for (std::size_t k = first; k < end; ++k) {
        load<N>(packet.ray, static_cast<int>(k - first), rays[k]);
        packet.hit.geomID[k - first] = RTC_INVALID_GEOMETRY_ID;
      }
      intersect(valid, scene, &context, &packet);
      for (std::size_t k = first; k < end; ++k) hits += packet.hit.geomID[k - first] != RTC_INVALID_GEOMETRY_ID;
    }
    first = end;
  }
  return hits;
}

}  // namespace

std::size_t Scene::replay(const std::vector<TracedRay> &rays, int width, bool one_origin) const {
  if (!committed_) return 0;
  RTCScene scene = rtc_->scene;
  switch (width) {
    case 4: return replay_packets<4, RTCRayHit4, RTCRay4>(scene, rays, one_origin, rtcIntersect4, rtcOccluded4);
    case 8: return replay_packets<8, RTCRayHit8, RTCRay8>(scene, rays, one_origin, rtcIntersect8, rtcOccluded8);
    case 16:
      return replay_packets<16, RTCRayHit16, RTCRay16>(scene, rays, one_origin, rtcIntersect16, rtcOccluded16);
    default: break;
  }
  std::size_t hits = 0;
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  for (const TracedRay &t : rays) {
    if (t.shadow) {
      RTCRay ray{};
      ray.org_x = t.origin.x, ray.org_y = t.origin.y, ray.org_z = t.origin.z;
      ray.dir_x = t.direction.x, ray.dir_y = t.direction.y, ray.dir_z = t.direction.z;
      ray.tnear = t.t_near, ray.tfar = t.t_far, ray.mask = ~0u;
      rtcOccluded1(scene, &context, &ray);
      hits += ray.tfar < 0.0f;
    } else {
      RTCRayHit rh{};
      rh.ray.org_x = t.origin.x, rh.ray.org_y = t.origin.y, rh.ray.org_z = t.origin.z;
      rh.ray.dir_x = t.direction.x, rh.ray.dir_y = t.direction.y, rh.ray.dir_z = t.direction.z;
      rh.ray.tnear = t.t_near, rh.ray.tfar = t.t_far, rh.ray.mask = ~0u;
      rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
      rtcIntersect1(scene, &context, &rh);
      hits += rh.hit.geomID != RTC_INVALID_GEOMETRY_ID;
    }
  }
  return hits;
}

}  // namespace tavo::host
