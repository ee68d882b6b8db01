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
  // A place chosen by brightness from (u, v) in [0, 1)^2, in texels.
  struct Choice {
    float x, y;
  };
  Choice choose(float u, float v) const;
  // The direction a choice stands for.
  miVector direction(const Choice &choice) const { return from_image(choice.x, choice.y); }
  // True only when the chosen direction surely lies under the surface whose
  // unit normal is `n`: its texel as a whole does. About half the choices at
  // a point are, and this answers them without the direction's sines.
  bool surely_below(const Choice &choice, const miVector &n) const;
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
  // Each texel's centre direction, as the sine and cosine of its row's polar
  // angle and of its column's angle round the vertical; and how far (as a
  // cosine can differ) a direction in a texel lies from its centre's.
  std::vector<float> row_sin_, row_cos_, column_sin_, column_cos_;
  float texel_reach_ = 0.0f;
};

}  // namespace tavo::host
