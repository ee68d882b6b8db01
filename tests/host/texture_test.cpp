// Filtered texture lookups as shaders make them. Plain (bilinear) lookups are read at texel centres and on failure in
// tex_lookup_test.cpp, and between texels and repeated in the utilities reference render; the disc projection is driven
// by tex_lookup_test.cpp.
#include <cmath>
#include <memory>

#include "scene_fixture.h"

namespace tavo::test {
namespace {

using host::Image;

// Grey images, rows top first.
std::unique_ptr<Image> grey(int w, int h, float (*value)(int column, int row_from_bottom)) {
  std::vector<float> rows;
  for (int row = 0; row < h; ++row)
    for (int i = 0; i < w; ++i) rows.push_back(value(i, h - 1 - row));
  return std::make_unique<Image>("grey", w, h, 1, rows);
}

float checker_1(int i, int j) { return float((i + j) % 2); }
float stripes(int, int j) { return float(j % 2); }

class Textures : public SceneTest {
 protected:
  miTag add(std::unique_ptr<Image> image) { return renderer().add_texture(std::move(image)); }

  // A filtered lookup of a 16 x 16 texture: a circle of `radius` texels
  // (semi-axes `ax` and `ay` texels along x and y when they differ) around
  // the texel (i, j).
  static float filtered(miTag tex, float i, float j, float ax, float ay, miTexfilter settings) {
    miMatrix st{};
    st[0] = ax / 16, st[5] = ay / 16;
    st[8] = (i + 0.5f) / 16, st[9] = (j + 0.5f) / 16;
    miColor c{};
    EXPECT_TRUE(mi_lookup_filter_color_texture(&c, nullptr, tex, &settings, st));
    return c.r;
  }
  static miTexfilter plain(float max_minor = 16) { return miTexfilter{0, max_minor, 0, miFALSE, {}}; }
};

// The settings reach the filter: max_minor picks the level, eccmax widens a thin footprint;
// tex_lookup_test.cpp and the rendered gallery pin the rest.
TEST_F(Textures, FilteredLookupsFollowTheirSettingsAndRefuseWhatTheyCannotUse) {
  const miTag checker = add(grey(16, 16, checker_1)), lines = add(grey(16, 16, stripes));
  EXPECT_NEAR(filtered(checker, 4, 5, 1, 1, plain(16)), 1.0f / (1 + 4 * std::exp(-2.0f)), 1e-6f);  // level 0
  EXPECT_NEAR(filtered(checker, 4, 5, 1, 1, plain(0.5f)), 0.5f, 1e-6f);  // level 2, where the checker is grey
  EXPECT_EQ(filtered(lines, 4, 5, 6, 0.01f, plain()), 1.0f);             // along one stripe only
  const float wide = filtered(lines, 4, 5, 6, 0.01f, {2, 16, 0, miFALSE, {}});
  EXPECT_TRUE(wide > 0.3f && wide < 0.8f) << wide;
  // an unknown texture, no settings, a centre that is not finite
  miTexfilter settings = plain();
  miMatrix st{};
  st[0] = st[5] = 0.1f;
  miColor c{};
  EXPECT_FALSE(mi_lookup_filter_color_texture(&c, nullptr, checker + 7, &settings, st));
  EXPECT_FALSE(mi_lookup_filter_color_texture(&c, nullptr, checker, nullptr, st));
  st[8] = INFINITY;
  EXPECT_FALSE(mi_lookup_filter_color_texture(&c, nullptr, checker, &settings, st));
}

}  // namespace
}  // namespace tavo::test
