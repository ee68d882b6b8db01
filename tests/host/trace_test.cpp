// Rays against known geometry as probe rays leave them in the child state; lights show in the example renders.
#include "scene_fixture.h"

namespace tavo::test {
namespace {

using host::Object;

class Tracing : public SceneTest {
 protected:
  // Casts a probe from a fresh state and returns its child state.
  static const miState &probe(host::ShadingState &s, miVector origin, miVector direction, bool expect_hit = true) {
    EXPECT_EQ(mi_trace_probe(&s.state, &direction, &origin), expect_hit ? miTRUE : miFALSE);
    EXPECT_NE(s.state.child, nullptr);
    return *s.state.child;
  }
};

// One hit per shape: point, normal and texture; the triangle's corners through mi_tri_vectors. Spheres and planes
// show in the example renders.
TEST_F(Tracing, HitsGiveThePointNormalsAndTextureOfEachShape) {
  const std::string obj = write_file("triangle.obj", "v 0 0 0\nv 4 0 0\nv 0 2 0\nvt 0 0\nvt 1 0\nvt 0 1\n"
                                                     "vn 0 0 1\nvn 0.6 0 0.8\nvn 0 0.6 0.8\nf 1/1/1 2/2/2 3/3/3\n");
  const struct {
    Object object;
    miVector origin, direction, point, normal, texture;
  } cases[] = {
      // 0.2 a + 0.3 b + 0.5 c, the normals interpolated by the same weights
      {host::read_obj(obj, 1.0f, {0, 0, -1}), {1.2f, 1.0f, 5}, {0, 0, -1}, {1.2f, 1.0f, -1},
       host::normalize({0.18f, 0.30f, 0.84f}), {0.3f, 0.5f, 0}},
      {host::make_box({-1, -1, -1}, {1, 1, 1}), {0.5f, 0.5f, 5}, {0, 0, -1}, {0.5f, 0.5f, 1}, {0, 0, 1}, {0.75f, 0.75f, 0}},
  };
  for (const auto &c : cases) {
    scene_of({c.object});
    host::ShadingState s;
    const miState &hit = probe(s, c.origin, c.direction);
    expect_near(hit.point, c.point, 1e-5f, "point");
    expect_near(hit.normal, c.normal, 1e-5f, "normal");
    expect_near(hit.tex_list[0], c.texture, 1e-5f, "texture");
    miVector *a, *b, *t;
    ASSERT_TRUE(mi_tri_vectors(s.state.child, miTRI_TEXTURES, 0, &a, &b, &t));
    expect_near(*a * hit.bary[0] + *b * hit.bary[1] + *t * hit.bary[2], hit.tex_list[0], 1e-5f, "bary-weighted corners");
    EXPECT_FALSE(mi_tri_vectors(s.state.child, miTRI_TEXTURES, 1, &a, &b, &t));  // one texture space only
    miState past = hit;
    past.pri_idx = 1 << 20;  // no such triangle
    EXPECT_FALSE(mi_tri_vectors(&past, miTRI_POINTS, 0, &a, &b, &t));
  }
  // a miss leaves no primitive; a state of no sample still gets a child to read
  host::ShadingState s;
  const miState &miss = probe(s, {0, 5, 0}, {0, 1, 0}, false);
  EXPECT_TRUE(miss.pri == nullptr && miss.texture_spaces == 0);
  miState bare{};
  miVector origin{0, 5, 0}, up{0, 1, 0};
  EXPECT_FALSE(mi_trace_probe(&bare, &up, &origin));
  ASSERT_NE(bare.child, nullptr);
}

}  // namespace
}  // namespace tavo::test
