#include "pixel.h"

#include <algorithm>
#include <limits>

#include "scene.h"
#include "shading.h"

namespace tavo::host {

bool aim_at_pixel(ShadingState &shading, const Scene &scene, int x, int y) {
  Sample &sample = shading.sample;
  sample.scene = &scene;
  sample.has_pixel = true;
  sample.pixel_x = x;
  sample.pixel_y = y;
  sample.sample_index = 0;
  sample.samples_per_pixel = 1;
  shading.camera = scene.camera.intrinsics;
  shading.options = scene.options;

  miVector origin, direction;
  scene.camera.ray(x + 0.5, y + 0.5, origin, direction);
  return cast_eye_ray(shading, scene, x, y, origin, direction);
}

void set_eye_ray(ShadingState &shading, int x, int y, const miVector &origin, const miVector &direction) {
  miState &state = shading.state;
  shading.sample.results.flush(&state);
  state.org = origin;
  state.dir = direction;
  state.raster_x = x;
  state.raster_y = y;
  state.reflection_level = state.refraction_level = 0;
  state.parent = state.child = nullptr;
  state.tex_list = shading.tex_list;
  clear_hit(state, origin);
}

bool cast_eye_ray(ShadingState &shading, const Scene &scene, int x, int y, const miVector &origin,
                  const miVector &direction) {
  set_eye_ray(shading, x, y, origin, direction);
  ++shading.sample.rays.eye;
  Hit hit;
  if (!scene.intersect(origin, direction, 0.0f, std::numeric_limits<float>::infinity(), hit)) return false;
  scene.fill_hit(shading.state, origin, direction, hit, shading.tex_list);
  return true;
}

PixelEvaluation evaluate_at_pixel(const Scene &scene, const std::vector<miTag> &instances, miTag evaluated, int x,
                                  int y, const std::vector<int> &rays, const CallSetup &setup) {
  Renderer &renderer = Renderer::get();
  const Instance *inst = renderer.instance(evaluated);
  if (!inst) throw Error("no shader instance with tag " + std::to_string(evaluated));
  const miCamera &image = scene.camera.intrinsics;
  if (x < 0 || y < 0 || x >= image.x_resolution || y >= image.y_resolution)
    throw Error("pixel " + std::to_string(x) + "," + std::to_string(y) + " lies outside the " +
                std::to_string(image.x_resolution) + "x" + std::to_string(image.y_resolution) + " image");

  PixelEvaluation out;
  {
    ShadingState init;
    init.sample.scene = &scene;
    init.camera = image;
    init.options = scene.options;
    for (const miTag tag : instances) renderer.init_instance(tag, init.state);
    renderer.init_instance(evaluated, init.state);
  }
  // at least a colour: a shader may hand its result pointer on to a shader call
  const std::size_t words = std::max<std::size_t>((inst->shader->decl.result.size() + 3) / 4, 4);
  for (const int ray : rays) {
    ShadingState shading(ray);
    out.hit = aim_at_pixel(shading, scene, x, y);
    const miState &s = shading.state;
    if (out.hit) {
      const Object *object = scene.object_of(s.pri);
      out.object = object ? object->name : std::string();
      out.point = s.point;
      out.normal = s.normal;
      out.texture_spaces = s.texture_spaces;
      out.texture = s.texture_spaces > 0 ? s.tex_list[0] : miVector{0, 0, 0};
    }
    setup.apply(shading.state);
    CallResult call;
    call.ray = ray;
    call.result.assign(words, 0);
    call.returned = renderer.call(evaluated, call.result.data(), shading.state, setup.argument);
    shading.sample.end_sample();
    out.calls.push_back(std::move(call));
  }
  ShadingState exit;
  exit.sample.scene = &scene;
  renderer.exit_all(exit.state);
  renderer.exit_shaders(exit.state);
  return out;
}

}  // namespace tavo::host
