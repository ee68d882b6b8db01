// A probe ray's hit on a mesh, as it leaves it in the child state: the point, and the normal and texture coordinate
// interpolated from the triangle's corners. Planes and boxes (flat normals, texture across a face) show in the example
// renders and the tavo eval --file tests, misses in the bump lookup's probes, lights in the example renders.
#include "scene_fixture.h"

namespace tavo::test {
namespace {

using Tracing = SceneTest;

TEST_F(Tracing, AMeshHitInterpolatesTheNormalsAndTextureOfItsCorners) {
  const std::string obj = write_file("triangle.obj", "v 0 0 0\nv 4 0 0\nv 0 2 0\nvt 0 0\nvt 1 0\nvt 0 1\n"
                                                     "vn 0 0 1\nvn 0.6 0 0.8\nvn 0 0.6 0.8\nf 1/1/1 2/2/2 3/3/3\n");
  scene_of({host::read_obj(obj, 1.0f, {0, 0, -1})});
  host::ShadingState s;
  miVector origin{1.2f, 1.0f, 5}, down{0, 0, -1};
  ASSERT_TRUE(mi_trace_probe(&s.state, &down, &origin));
  // 0.2 a + 0.3 b + 0.5 c, the normals interpolated by the same weights
  expect_near(s.state.child->point, {1.2f, 1.0f, -1}, 1e-5f, "point");
  expect_near(s.state.child->normal, host::normalize({0.18f, 0.30f, 0.84f}), 1e-5f, "normal");
  expect_near(s.state.child->tex_list[0], {0.3f, 0.5f, 0}, 1e-5f, "texture");
}

}  // namespace
}  // namespace tavo::test
