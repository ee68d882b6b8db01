// Rendering a whole image: eye rays through every pixel of the camera, shaded
// by the objects' materials (or the environment on a miss), tile by tile on
// as many threads as asked for, and written out through OpenImageIO.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "renderer_core.h"

namespace tavo::host {

class Scene;

struct RenderSettings {
  int width = 0;    // 0: the camera's resolution
  int height = 0;
  int samples = 1;  // per pixel, on a fixed stratified grid (so any thread count gives the same image)
  int threads = 0;  // 0: every core
  bool progress = false;  // a progress bar on standard error
};

struct RenderedImage {
  int width = 0;
  int height = 0;
  std::vector<float> rgba;  // linear, rows top first
};

// Inits every instance in `instances` (a scene file's, in order), renders the
// scene and runs every exit. Raises Error for settings it cannot honour.
RenderedImage render(Scene &scene, const std::vector<miTag> &instances, const RenderSettings &settings);

// Writes the image by the file's extension: `.png` (and the other 8-bit
// formats) converted to sRGB, `.exr` as linear floats. The file appears whole
// or not at all: it is written beside its final name and renamed into place.
void save_image(const std::string &path, const RenderedImage &image);

// The sRGB encoding of a linear value, clamped to [0, 1].
float srgb_encode(float linear);

}  // namespace tavo::host
