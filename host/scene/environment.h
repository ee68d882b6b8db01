// Light from every direction: a latitude-longitude image (x runs once round
// the vertical axis, the top row looks straight up) with a rotation about
// the vertical and an intensity, chosen by its brightness when a shading
// point asks for a direction to light it from. The studio environment the
// previews use is generated here, so that nothing has to be downloaded.
#pragma once

#include <vector>

#include "frame/renderer.h"

namespace tavo::host {

class Environment {
 public:
  // texels: width x height, rows top first (the top row looks up).
  Environment(int width, int height, std::vector<miColor> texels, float rotation_degrees, float intensity);

  // A soft-lit studio: a grey cyclorama, a large key softbox front left, a
  // strip light at the back right and a broad fill overhead.
  static Environment studio(float rotation_degrees, float intensity);

  int width() const { return width_; }
  int height() const { return height_; }

  // The radiance arriving from direction `d` (unit), and the density with
  // which `sample` chooses that direction.
  miColor radiance(const miVector &d, float &density) const;
  // A direction chosen by brightness from (u, v) in [0, 1)^2, and where it
  // lies in the image.
  struct Choice {
    miVector direction;
    float x, y;  // in texels
  };
  Choice choose(float u, float v) const;
  // The radiance arriving from a chosen direction, and the solid-angle
  // density of the choice: apart, since a direction under the surface
  // needs neither.
  miColor radiance(const Choice &choice, float &density) const;

 private:
  void to_image(const miVector &d, float &x, float &y) const;  // in texels
  miVector from_image(float x, float y) const;
  miColor radiance_at(float x, float y) const;
  float density_at(float x, float y) const;

  int width_, height_;
  // Each texel's radiance, and in its alpha (which the light does not use)
  // the solid-angle density of choosing a direction in it: a sample reads
  // both from one cache line.
  std::vector<miColor> texels_;
  float rotation_;   // radians
  float intensity_;
  std::vector<float> rows_;     // cumulative weight of the rows, normalised, height + 1 entries
  std::vector<float> columns_;  // per row, cumulative weight of its texels, normalised, width + 1 entries
  std::vector<int> row_guide_, column_guides_;  // where to start searching rows_ and columns_
};

}  // namespace tavo::host
