// The scene's ray engine where Embree is not built (the Windows host): a
// scene can be described and shaded without rays, but not committed for
// tracing, so nothing ever answers a ray as if it had missed everything.
#include "declarations.h"
#include "scene.h"

namespace tavo::host {

struct Scene::Rtc {};

Scene::Scene() : options(default_options()), rtc_(std::make_unique<Rtc>()) {}

Scene::~Scene() = default;

void Scene::commit() {
  if (committed_) return;
  throw Error("ray tracing is not available in this build of the host (it needs Embree)");
}

bool Scene::intersect(const miVector &, const miVector &, float, float, Hit &) const { return false; }

bool Scene::occluded(const miVector &, const miVector &, float, float) const { return false; }

std::size_t Scene::replay(const std::vector<TracedRay> &, int, bool) const { return 0; }

}  // namespace tavo::host
