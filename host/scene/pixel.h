// Shading at a pixel: the state the camera ray through a pixel makes, and
// the whole life cycle of one shader instance evaluated there. `tavo eval
// --file` runs this; an image renderer takes the same first step per pixel.
#pragma once

#include <string>
#include <vector>

#include "renderer_core.h"

namespace tavo::host {

class Scene;

// Points a state at the camera ray through the centre of pixel (x, y) and
// fills in what it hits: the eye-ray state a material shader receives. The
// state's sample belongs to that pixel. Returns whether the ray hit anything;
// on a miss the state has the ray only, as the environment receives it.
bool aim_at_pixel(ShadingState &shading, const Scene &scene, int x, int y);

// Points the state at the eye ray (origin, direction) of pixel (x, y), with
// no hit yet: the state a camera's first lens shader runs on.
void set_eye_ray(ShadingState &shading, int x, int y, const miVector &origin, const miVector &direction);

// Casts the eye ray (origin, direction) of pixel (x, y) for the state and
// fills in what it hits; on a miss the state has the ray only.
bool cast_eye_ray(ShadingState &shading, const Scene &scene, int x, int y, const miVector &origin,
                  const miVector &direction);

struct PixelEvaluation {
  bool hit = false;
  std::string object;  // the name of the object hit
  miVector point{};
  miVector normal{};
  int texture_spaces = 0;
  miVector texture{};  // the texture vector of space 0, when there is one
  std::vector<CallResult> calls;
};

// Inits every instance in `instances` (a scene file's, in order) and the one
// evaluated, calls it once per ray type at the pixel's hit, then runs every
// exit. Raises Error for a pixel outside the image.
PixelEvaluation evaluate_at_pixel(const Scene &scene, const std::vector<miTag> &instances, miTag evaluated, int x,
                                  int y, const std::vector<int> &rays, const CallSetup &setup = {});

}  // namespace tavo::host
