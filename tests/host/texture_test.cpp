// Texture lookups as shaders make them: plain bilinear lookups, the disc
// projection and transform, and the elliptical filtered lookup with each of
// its settings.
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
float checker_2(int i, int j) { return float((i / 2 + j / 2) % 2); }
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

TEST_F(Textures, BilinearLookupsReturnTexelsAtTheirCentresAndRepeat) {
  std::vector<float> rows;  // r: column, g: row from the top of the file
  for (int row = 0; row < 3; ++row)
    for (int i = 0; i < 4; ++i) rows.insert(rows.end(), {float(i), float(row), 0.5f});
  const miTag tex = add(std::make_unique<Image>("ramp", 4, 3, 3, rows));
  const auto at = [&](float x, float y, miTag t = 0) {
    miColor c{};
    miVector coord{x, y, 0};
    EXPECT_EQ(mi_lookup_color_texture(&c, nullptr, t ? t : tex, &coord), std::isfinite(x) && !t) << x << "," << y;
    return c;
  };
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 3; ++j)
      expect_near(at((i + 0.5f) / 4, (j + 0.5f) / 3), {float(i), float(2 - j), 0.5f, 1}, 1e-6f, "texel centre");
  EXPECT_NEAR(at(2.0f / 4, 0.5f / 3).r, 1.5f, 1e-6);  // halfway between columns 1 and 2
  EXPECT_NEAR(at(1.0f, 0.5f / 3).r, 1.5f, 1e-6);      // the right edge blends column 3 with column 0
  expect_near(at(1.5f / 4 + 3, 1.5f / 3 - 2), at(1.5f / 4, 1.5f / 3), 1e-5f, "repeat");
  at(NAN, 0);
  at(0, 0, tex + 1000);
}

TEST_F(Textures, EveryMipLevelKeepsTheImagesMean) {
  const Image image("odd", 5, 3, 1, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
  ASSERT_EQ(image.levels().size(), 3u);  // 5x3, 2x1, 1x1
  for (const Image::Level &level : image.levels()) {
    double sum = 0;
    for (const miColor &t : level.texels) sum += t.r;
    EXPECT_NEAR(sum / level.texels.size(), 8.0, 1e-5) << level.width << "x" << level.height;
  }
}

// Each setting of the elliptical filter, on 16 x 16 images whose answers are known.
TEST_F(Textures, FilteredLookupsFollowTheirSettingsAndRefuseWhatTheyCannotUse) {
  const float rim = 1.0f / (1 + 4 * std::exp(-2.0f)), e = 1e-6f;
  const struct {
    float (*image)(int, int);
    float i, j, ax, ay;
    miTexfilter settings;  // eccmax, max_minor, circle_radius, bilinear
    float low, high;
  } cases[] = {
      {checker_2, 2, 0, 0.01f, 0.01f, plain(), 1, 1},  // tiny: the texel
      {checker_2, 0, 0, 0.01f, 0.01f, plain(), 0, 0},
      {checker_2, 2, 0, 64, 64, plain(), 0.5f - e, 0.5f + e},  // large: the mean
      {checker_2, 2, 0, 1e6f, 1e6f, plain(), 0.5f - e, 0.5f + e},  // the 1x1 level
      // level 0: the centre texel and its four edge neighbours, at the rim (weight e^-2)
      {checker_1, 4, 5, 1, 1, plain(16), rim - e, rim + e},
      // at most half a texel across the minor axis: level 2, where the checker is grey
      {checker_1, 4, 5, 1, 1, plain(0.5f), 0.5f - e, 0.5f + e},
      {stripes, 4, 5, 6, 0.01f, plain(), 1, 1},  // along one stripe only
      {stripes, 4, 5, 6, 0.01f, {2, 16, 0, miFALSE, {}}, 0.3f, 0.8f},  // eccmax widens the minor axis to 3 texels
      {checker_1, 4, 5, 0.01f, 0.01f, {0, 16, 3, miFALSE, {}}, 0.3f, 0.7f},  // the circle radius is the least footprint
      // between texel centres, where a tiny ellipse holds none, bilinear blends
      {checker_1, 4.5f, 4, 0.01f, 0.01f, {0, 16, 0, miTRUE, {}}, 0.5f - e, 0.5f + e},
  };
  for (const auto &c : cases) {
    const float got = filtered(add(grey(16, 16, c.image)), c.i, c.j, c.ax, c.ay, c.settings);
    EXPECT_GE(got, c.low) << c.i << "," << c.j << " " << c.ax;
    EXPECT_LE(got, c.high) << c.i << "," << c.j << " " << c.ax;
  }
  // an unknown texture, no settings, a centre that is not finite
  const miTag tex = add(grey(16, 16, checker_2));
  miTexfilter settings = plain();
  miMatrix st{};
  st[0] = st[5] = 0.1f;
  miColor c{};
  EXPECT_FALSE(mi_lookup_filter_color_texture(&c, nullptr, tex + 7, &settings, st));
  EXPECT_FALSE(mi_lookup_filter_color_texture(&c, nullptr, tex, nullptr, st));
  st[8] = INFINITY;
  EXPECT_FALSE(mi_lookup_filter_color_texture(&c, nullptr, tex, &settings, st));
}

TEST_F(Textures, ProjectionMapsTheDiscOntoTheSurfaceAndTheTransformIntoTexture) {
  miVector p[3], t[3];
  host::ShadingState s;
  EXPECT_FALSE(mi_texture_filter_project(p, t, &s.state, 1.0f, 0));  // no scene, no surface
  // an 8 x 8 plane facing the default camera, 10 units away
  load(R"(
    object "wall" plane origin -4 -4 0 u 8 0 0 v 0 8 0 end object
    camera "c" resolution 640 480 aperture 36 focal 50 position 0 0 10 direction 0 0 -1 end camera
  )");
  ASSERT_TRUE(host::aim_at_pixel(s, *renderer().current_scene(), 320, 240));
  ASSERT_TRUE(mi_texture_filter_project(p, t, &s.state, 2.0f, 0));
  // a pixel is 36 / 640 mm of film: 0.01125 units at 10 units through a 50 mm lens
  const float step = 2 * 0.01125f;
  expect_near(p[0], s.state.point, 0, "centre");
  expect_near(p[1], s.state.point + miVector{step, 0, 0}, 1e-5f, "two pixels right");
  expect_near(p[2], s.state.point + miVector{0, -step, 0}, 1e-5f, "two pixels down");
  expect_near(t[0], s.state.tex_list[0], 1e-6f, "centre texture");
  expect_near(t[1], t[0] + miVector{step / 8, 0, 0}, 1e-6f, "texture right");

  miMatrix st;
  ASSERT_TRUE(mi_texture_filter_transform(st, p, t));
  const float want[] = {step / 8, 0, 0, 0, 0, -step / 8, 0, 0, t[0].x, t[0].y};
  for (int k : {0, 1, 4, 5, 8, 9}) EXPECT_NEAR(st[k], want[k], 1e-6) << k;

  EXPECT_FALSE(mi_texture_filter_project(p, t, &s.state, 2.0f, 1));  // no second texture space
  EXPECT_FALSE(mi_texture_filter_project(p, t, &s.state, NAN, 0));
  miVector line[3] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
  EXPECT_FALSE(mi_texture_filter_transform(st, line, t));
  miVector flat[3] = {t[0], t[0], t[1]};
  EXPECT_FALSE(mi_texture_filter_transform(st, p, flat));
}

}  // namespace
}  // namespace tavo::test
