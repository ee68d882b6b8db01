// Light-map switcher: forwarding to another light-map shader when enabled,
// with a copy of the mesh record in the mesh phase and no argument otherwise,
// and the one error it reports. The callee is the host's light-map probe,
// which reports the argument it was handed.

#include "host/scene_fixture.h"

namespace tavo::test {
namespace {

constexpr int kVertexPhase = 21;

// One light-map call of the renderer with `argument` as its fourth argument:
// the answer, the result word, and what was logged.
std::tuple<miBoolean, miInteger, std::vector<std::string>> forward(const char *enable, miTag lightmap, int ray, void *argument) {
  const miTag t = Renderer::get().create_instance("tavo_Utility_LightmapSwitcher",
                                                  {value("enable", {enable}), value("lightmap", {std::to_string(lightmap)})});
  host::ShadingState s(ray);
  const std::size_t before = Renderer::get().messages().size();
  miInteger result = -1;
  const miBoolean returned = mi_call_shader_x(reinterpret_cast<miColor *>(&result), miSHADER_LIGHTMAP, &s.state, t, argument);
  std::vector<std::string> logged;
  for (const host::Message &m : Renderer::get().messages()) logged.push_back(m.level + ": " + m.text);
  logged.erase(logged.begin(), logged.begin() + long(before));
  return {returned, result, logged};
}

using LightmapSwitcher = SceneTest;

TEST_F(LightmapSwitcher, ForwardsWhenEnabledWithACopyOfTheMeshRecordOnlyInTheMeshPhase) {
  const miTag probe = renderer().create_instance("tavo_host_lightmap_probe", {value("value", {"7"}), value("label", {"1"})});
  const miTag failing = renderer().create_instance("tavo_host_lightmap_probe",
                                                   {value("value", {"3"}), value("label", {"2"}), value("fail", {"on"})});
  float vertices[6] = {};
  miInteger triangles[3] = {};
  struct { void *vertex_data; miInteger vertex_count; void *triangles; miInteger triangle_count; } mesh{vertices, 2, triangles, 1};
  using Logged = std::vector<std::string>;
  for (const int ray : {int(miRAY_EYE), kVertexPhase, int(miRAY_LM_MESH)})
    for (void *argument : {static_cast<void *>(&mesh), static_cast<void *>(nullptr)}) {
      // disabled or without a callee: nothing at all
      for (const auto &[enable, callee] : {std::pair{"off", probe}, {"on", miTag{0}}, {"off", miTag{0}}})
        EXPECT_EQ(forward(enable, callee, ray, argument), std::tuple(miTRUE, -1, Logged{})) << ray;
      // a failing callee is not the switcher's failure
      EXPECT_EQ(std::get<1>(forward("on", failing, ray, &mesh)), 3);
      EXPECT_EQ(std::get<0>(forward("on", failing, ray, &mesh)), miTRUE);
      const auto [returned, result, logged] = forward("on", probe, ray, argument);
      if (ray != miRAY_LM_MESH) {
        EXPECT_EQ(std::tuple(returned, result, logged),
                  std::tuple(miTRUE, 7, Logged{"info: lightmap 1: ray " + std::to_string(ray) + ", no mesh"}));
      } else if (argument == nullptr) {
        EXPECT_EQ(std::tuple(returned, result, logged),
                  std::tuple(miFALSE, -1, Logged{"error: lightmap->switcher->4th arg pointer is empty !!"}));
      } else {
        EXPECT_EQ(std::tuple(returned, result), std::tuple(miTRUE, 7));  // the callee wrote through the switcher's result
        void *vertex_data = nullptr, *triangle_data = nullptr, *at = nullptr;
        int vertex_count = 0, triangle_count = 0;
        ASSERT_EQ(logged.size(), 1u);
        ASSERT_EQ(std::sscanf(logged[0].c_str(), "info: lightmap 1: ray 22, mesh {%p, %d, %p, %d} at %p", &vertex_data,
                              &vertex_count, &triangle_data, &triangle_count, &at), 5) << logged[0];
        EXPECT_TRUE(vertex_data == vertices && vertex_count == 2 && triangle_data == triangles && triangle_count == 1);
        EXPECT_NE(at, static_cast<void *>(&mesh));  // a copy, never the caller's own record
      }
    }
}

}  // namespace
}  // namespace tavo::test
