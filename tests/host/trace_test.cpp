// Rays against known geometry: the hit's point, normals, barycentrics,
// primitive and texture vectors, as probe rays leave them in the child state.
#include <cmath>

#include "scene_fixture.h"

namespace tavo::test {
namespace {

using host::Object;
using host::Scene;

constexpr double kPi = 3.14159265358979323846;

class Tracing : public SceneTest {
 protected:
  // A committed scene of the objects given, current for the renderer's operations.
  Scene &scene_of(std::vector<Object> objects) {
    auto scene = std::make_shared<Scene>();
    for (Object &o : objects) scene->add(std::move(o));
    scene->commit();
    renderer().set_current_scene(scene);
    return *scene;
  }

  // Casts a probe from a fresh state and returns its child state.
  static const miState &probe(host::ShadingState &s, miVector origin, miVector direction, bool expect_hit = true) {
    EXPECT_EQ(mi_trace_probe(&s.state, &direction, &origin), expect_hit ? miTRUE : miFALSE);
    EXPECT_NE(s.state.child, nullptr);
    return *s.state.child;
  }
};

TEST_F(Tracing, SphereHitsAreExactFromOutsideAndInsideAndTheGridInterpolatesTheTexture) {
  const miVector centre{1, 2, 3};
  scene_of({host::make_sphere(centre, 2.0f, 32, 16)});
  // the surface point at (u, v) = (0.53, 0.61)
  const double phi = (0.53 - 0.5) * 2 * kPi, theta = 0.61 * kPi;
  const miVector d{float(std::sin(theta) * std::sin(phi)), float(-std::cos(theta)), float(std::sin(theta) * std::cos(phi))};
  host::ShadingState s;
  const miState &hit = probe(s, centre + d * 7.0f, d * -1.0f);

  EXPECT_NEAR(hit.dist, 5.0f, 1e-5);
  EXPECT_NEAR(hit.dot_nd, -1.0f, 1e-5);
  expect_near(hit.point, centre + d * 2.0f, 1e-5f, "point");
  expect_near(hit.normal, d, 1e-5f, "normal");
  expect_near(hit.normal_geom, d, 1e-5f, "geometric normal");
  EXPECT_TRUE(!hit.inv_normal && hit.type == miRAY_PROBE && hit.parent == &s.state);
  ASSERT_EQ(hit.texture_spaces, 1);
  expect_near(hit.tex_list[0], {0.53f, 0.61f, 0}, 1e-5f, "texture");
  // u * 32 = 16.96, v * 16 = 9.76: cell (16, 9), below its diagonal
  EXPECT_EQ(hit.pri_idx, 2 * (9 * 32 + 16));
  expect_near(miVector{hit.bary[0], hit.bary[1], hit.bary[2]}, {0.04f, 0.20f, 0.76f}, 1e-4f, "barycentrics");

  miVector *a, *b, *c;
  ASSERT_TRUE(mi_tri_vectors(s.state.child, miTRI_TEXTURES, 0, &a, &b, &c));
  // the corners weighed by the barycentrics give the exact texture vector above
  expect_near(*a * hit.bary[0] + *b * hit.bary[1] + *c * hit.bary[2], hit.tex_list[0], 1e-6f, "bary-weighted corners");
  EXPECT_FALSE(mi_tri_vectors(s.state.child, miTRI_TEXTURES, 1, &a, &b, &c));  // one texture space only

  // from inside, the sphere's back is turned towards the ray
  const miState &inside = probe(s, centre, {0, 0, 1});
  expect_near(inside.point, {1, 2, 5}, 1e-5f, "point");
  expect_near(inside.normal, {0, 0, -1}, 1e-6f, "normal faces the ray");
  EXPECT_TRUE(inside.inv_normal);
}

TEST_F(Tracing, TriangleHitInterpolatesNormalsAndTextureByBarycentrics) {
  const std::string obj = write_file("triangle.obj", "v 0 0 0\nv 4 0 0\nv 0 2 0\nvt 0 0\nvt 1 0\nvt 0 1\n"
                                                     "vn 0 0 1\nvn 0.6 0 0.8\nvn 0 0.6 0.8\nf 1/1/1 2/2/2 3/3/3\n");
  scene_of({host::read_obj(obj, 1.0f, {0, 0, -1})});
  host::ShadingState s;
  // 0.2 a + 0.3 b + 0.5 c = (1.2, 1.0, -1)
  const miState &hit = probe(s, {1.2f, 1.0f, 5.0f}, {0, 0, -1});
  expect_near(hit.point, {1.2f, 1.0f, -1.0f}, 1e-6f, "point");
  expect_near(miVector{hit.bary[0], hit.bary[1], hit.bary[2]}, {0.2f, 0.3f, 0.5f}, 1e-6f, "barycentrics");
  EXPECT_EQ(hit.pri_idx, 0);
  expect_near(hit.normal_geom, {0, 0, 1}, 1e-7f, "geometric normal");
  expect_near(hit.normal, host::normalize({0.18f, 0.30f, 0.84f}), 1e-6f, "interpolated normal");
  expect_near(hit.tex_list[0], {0.3f, 0.5f, 0}, 1e-6f, "texture");

  miVector *a, *b, *c;
  ASSERT_TRUE(mi_tri_vectors(s.state.child, miTRI_POINTS, 0, &a, &b, &c));
  expect_near(*b, {4, 0, -1}, 0, "second corner, moved");
  ASSERT_TRUE(mi_tri_vectors(s.state.child, miTRI_NORMALS, 0, &a, &b, &c));
  expect_near(*c, {0, 0.6f, 0.8f}, 1e-7f, "third normal");
  ASSERT_TRUE(mi_tri_vectors(s.state.child, miTRI_TEXTURES, 0, &a, &b, &c));
  expect_near(*b, {1, 0, 0}, 0, "second texture vector");
  EXPECT_FALSE(mi_tri_vectors(s.state.child, 'x', 0, &a, &b, &c));
}

TEST_F(Tracing, BoxFacesMissesAndPrimitivesThatAreNotTheScenes) {
  scene_of({host::make_box({-1, -1, -1}, {1, 1, 1})});
  host::ShadingState s;
  expect_near(probe(s, {0, 5, 0.5f}, {0, -1, 0}).normal, {0, 1, 0}, 0, "top");
  const miState &front = probe(s, {0.5f, 0.5f, 5}, {0, 0, -1});
  expect_near(front.normal, {0, 0, 1}, 0, "front");
  expect_near(front.tex_list[0], {0.75f, 0.75f, 0}, 1e-6f, "front texture");
  miVector *a, *b, *c;
  miState copy = front;
  int stray = 0;
  copy.pri = &stray;
  EXPECT_FALSE(mi_tri_vectors(&copy, miTRI_POINTS, 0, &a, &b, &c));
  copy.pri = front.pri;
  copy.pri_idx = 12;  // a box has 12 triangles: 0 to 11
  EXPECT_FALSE(mi_tri_vectors(&copy, miTRI_POINTS, 0, &a, &b, &c));

  const miState &miss = probe(s, {0, 5, 0}, {0, 1, 0}, false);
  EXPECT_EQ(miss.pri, nullptr);
  EXPECT_EQ(miss.texture_spaces, 0);
  EXPECT_FALSE(mi_tri_vectors(s.state.child, miTRI_TEXTURES, 0, &a, &b, &c));
  // A state that belongs to no sample still gets a child to read.
  miState bare{};
  miVector origin{0, 5, 0}, up{0, 1, 0};
  EXPECT_FALSE(mi_trace_probe(&bare, &up, &origin));
  ASSERT_NE(bare.child, nullptr);
  expect_near(bare.child->point, origin, 0, "the orphan child stands at the origin");
}

TEST_F(Tracing, AnAreaLightIsTheMeanOfItsCellsEachWithItsOwnShadow) {
  // a 2 x 2 panel 4 above the floor; a slab at height 2 over x < 0 hides its left half from (0, 0, 0);
  // the light falls off with the cosine towards each cell's centre
  Scene &scene = scene_of({host::make_parallelogram({-5, 0, 5}, {10, 0, 0}, {0, 0, -10}),
                           host::make_box({-9, 1.9f, -9}, {0, 2.1f, 9})});
  host::Light panel;
  panel.kind = host::Light::Kind::Area;
  panel.origin = {-1, 4, -1}, panel.u = {2, 0, 0}, panel.v = {0, 0, 2};
  panel.color = {1, 0.5f, 0.25f, 1}, panel.intensity = 2;
  scene.lights.push_back(panel);
  host::ShadingState s;
  const auto light_at = [&](float x, float z) { return scene.direct_light(probe(s, {x, 1, z}, {0, -1, 0})); };
  double mean_cosine = 0;  // at (3, 0, 0), clear of the slab, towards the centres of the 4 x 4 cells
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 4; ++i) {
      const double x = -1 + 2 * (i + 0.5) / 4 - 3, z = -1 + 2 * (j + 0.5) / 4;
      mean_cosine += 4 / std::sqrt(x * x + 16 + z * z) / 16;
    }
  const float w = static_cast<float>(2 * mean_cosine);
  expect_near(light_at(3, 0), {w, w / 2, w / 4, 1}, 1e-6f, "unshadowed");

  scene.lights.back().shadow = false;
  const miColor open = light_at(0, 0);
  scene.lights.back().shadow = true;
  const miColor half = light_at(0, 0);
  EXPECT_GT(open.r, 0.0f);
  EXPECT_NEAR(half.r, open.r / 2, 1e-6f);  // the cosines are symmetric about x = 0
  expect_near(light_at(-2, 0), {0, 0, 0, 1}, 0, "under the slab");

  // through a pixel each cell is seen at a jittered point: other values, the same every time
  s.sample.has_pixel = true;
  s.sample.pixel_x = 3, s.sample.pixel_y = 4;
  const miColor jittered = light_at(3, 0);
  EXPECT_NE(jittered.r, w);
  EXPECT_NEAR(jittered.r, w, 0.05f);
  EXPECT_EQ(light_at(3, 0).r, jittered.r);
}

}  // namespace
}  // namespace tavo::test
