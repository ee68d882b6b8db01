// The environment light's shortcut for choices under the surface: it may
// only answer "below" where the chosen direction really is, and should
// answer it for most of what lies well below.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "environment.h"
#include "geometry.h"

namespace tavo::test {
namespace {

using host::Environment;
using host::operator*;
using host::operator+;

miVector unit_vector(std::mt19937 &rng) {
  std::normal_distribution<float> g;
  return host::normalize(miVector{g(rng), g(rng), g(rng)});
}

TEST(EnvironmentLight, SurelyBelowOnlyWhereTheChosenDirectionIsUnderTheSurface) {
  // odd sizes and a rotation, so that no texel edge falls on a round angle
  const Environment lights[] = {Environment::studio(0.0f, 1.0f), Environment::studio(37.0f, 1.0f),
                                Environment(7, 3, std::vector<miColor>(21, miColor{1, 1, 1, 1}), -100.0f, 1.0f)};
  std::mt19937 rng(19);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  for (const Environment &env : lights) {
    int below = 0, said = 0;
    for (int k = 0; k < 20000; ++k) {
      Environment::Choice c = env.choose(unit(rng), unit(rng));
      // half the time a texel's far corner, where it lies furthest from its centre
      if (k % 2) c = {std::floor(c.x) + 0.999f, std::floor(c.y) + (k % 4 == 1 ? 0.0f : 0.999f)};
      const miVector d = env.direction(c);
      const miVector centre = env.direction({std::floor(c.x) + 0.5f, std::floor(c.y) + 0.5f});
      // a normal that d barely clears, turned as far from the texel's centre as it can be
      const miVector away = host::normalize(centre * -1.0f + d * host::dot(centre, d));
      const miVector normals[] = {unit_vector(rng), host::normalize(away + d * 1e-3f)};
      for (const miVector &n : normals) {
        const bool under = !(host::dot(n, d) > 0.0f);
        below += under;
        if (env.surely_below(c, n)) {
          ++said;
          ASSERT_TRUE(under) << "choice " << c.x << "," << c.y << " normal " << n.x << "," << n.y << "," << n.z;
        }
      }
    }
    // a shortcut that never answers saves nothing (a 7x3 image's texels are too coarse for it)
    if (env.width() > 7) {
      EXPECT_GT(said, below * 3 / 4) << env.width() << "x" << env.height();
    }
  }
}

}  // namespace
}  // namespace tavo::test
