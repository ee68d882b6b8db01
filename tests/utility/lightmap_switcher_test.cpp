// Light-map switcher: forwarding to another light-map shader when enabled,
// with a copy of the mesh record in the mesh phase and no argument otherwise,
// and the one error it reports. The callee is the host's light-map probe,
// which reports the argument it was handed.
#include <gtest/gtest.h>

#include <cstdio>

#include "host/scene_fixture.h"
#include "layout_registry.h"
#include "utility/tavo_Utility_LightmapSwitcher.h"

namespace tavo::test {
namespace {

using lightmap_switcher::Params;
TAVO_LAYOUT("tavo_Utility_LightmapSwitcher", Parameters, Params, TAVO_FIELD(Params, lightmap),
            TAVO_FIELD(Params, enable));

constexpr int kVertexPhase = 21;  // light-map vertex phase
constexpr int kMeshPhase = miRAY_LM_MESH;
constexpr int kEye = miRAY_EYE;
constexpr miInteger kUntouched = -1;
constexpr const char *kNoMeshRecord = "lightmap->switcher->4th arg pointer is empty !!";

// The renderer's mesh record as the renderer lays it out.
struct Mesh {
  void *vertex_data;
  miInteger vertex_count;
  void *triangles;
  miInteger triangle_count;
};

class LightmapSwitcher : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    probe_ = renderer().create_instance("tavo_host_lightmap_probe", {value("value", {"7"}), value("label", {"1"})});
  }

  static miTag switcher(const char *enable, miTag lightmap) {
    return renderer().create_instance("tavo_Utility_LightmapSwitcher",
                                      {value("enable", {enable}), value("lightmap", {std::to_string(lightmap)})});
  }

  struct Forward {
    miBoolean returned = miFALSE;
    miInteger result = kUntouched;
    std::vector<std::string> reports;  // what the probe logged
    std::vector<std::string> errors;
  };
  // One light-map call of the renderer, with `argument` as its fourth argument.
  static Forward forward(miTag tag, int ray, void *argument) {
    host::ShadingState s(ray);
    const std::size_t before = renderer().messages().size();
    Forward f;
    f.returned =
        mi_call_shader_x(reinterpret_cast<miColor *>(&f.result), miSHADER_LIGHTMAP, &s.state, tag, argument);
    const auto messages = renderer().messages();
    for (std::size_t i = before; i < messages.size(); ++i)
      (messages[i].level == "error" ? f.errors : f.reports).push_back(messages[i].text);
    return f;
  }

  miTag probe_ = 0;
  float vertices_[6] = {};
  miInteger triangles_[3] = {};
  Mesh mesh_{vertices_, 2, triangles_, 1};
};

TEST_F(LightmapSwitcher, DisabledOrWithoutACalleeItDoesNothingInEveryPhase) {
  const miTag cases[] = {switcher("off", probe_), switcher("on", 0), switcher("off", 0)};
  for (const miTag tag : cases)
    for (const int ray : {kEye, kVertexPhase, kMeshPhase})
      for (void *argument : {static_cast<void *>(&mesh_), static_cast<void *>(nullptr)}) {
        const Forward f = forward(tag, ray, argument);
        EXPECT_TRUE(f.returned) << ray;
        EXPECT_EQ(f.result, kUntouched) << ray;
        EXPECT_TRUE(f.reports.empty()) << ray;
        EXPECT_TRUE(f.errors.empty()) << ray;
      }
}

TEST_F(LightmapSwitcher, OutsideTheMeshPhaseItForwardsWithoutAnArgument) {
  const miTag tag = switcher("on", probe_);
  for (const int ray : {kVertexPhase, kEye})
    for (void *argument : {static_cast<void *>(&mesh_), static_cast<void *>(nullptr)}) {
      const Forward f = forward(tag, ray, argument);
      EXPECT_TRUE(f.returned);
      EXPECT_EQ(f.result, 7);  // the callee wrote through the switcher's result
      EXPECT_EQ(f.reports, std::vector<std::string>{"lightmap 1: ray " + std::to_string(ray) + ", no mesh"});
    }
}

TEST_F(LightmapSwitcher, InTheMeshPhaseTheCalleeGetsACopyOfTheMeshRecord) {
  const Forward f = forward(switcher("on", probe_), miRAY_LM_MESH, &mesh_);
  EXPECT_TRUE(f.returned);
  EXPECT_EQ(f.result, 7);
  ASSERT_EQ(f.reports.size(), 1u);
  void *vertex_data = nullptr, *triangles = nullptr, *at = nullptr;
  int vertex_count = 0, triangle_count = 0;
  ASSERT_EQ(std::sscanf(f.reports[0].c_str(), "lightmap 1: ray 22, mesh {%p, %d, %p, %d} at %p", &vertex_data,
                        &vertex_count, &triangles, &triangle_count, &at),
            5)
      << f.reports[0];
  EXPECT_EQ(vertex_data, static_cast<void *>(vertices_));
  EXPECT_EQ(vertex_count, 2);
  EXPECT_EQ(triangles, static_cast<void *>(triangles_));
  EXPECT_EQ(triangle_count, 1);
  EXPECT_NE(at, static_cast<void *>(&mesh_));  // never the caller's own record
}

TEST_F(LightmapSwitcher, AMeshPhaseWithoutAMeshRecordIsAnError) {
  const Forward f = forward(switcher("on", probe_), miRAY_LM_MESH, nullptr);
  EXPECT_FALSE(f.returned);
  EXPECT_EQ(f.result, kUntouched);
  EXPECT_TRUE(f.reports.empty());  // nothing forwarded
  EXPECT_EQ(f.errors, std::vector<std::string>{kNoMeshRecord});
}

TEST_F(LightmapSwitcher, AFailingCalleeIsNotTheSwitchersFailure) {
  const miTag failing = renderer().create_instance("tavo_host_lightmap_probe",
                                                   {value("value", {"3"}), value("label", {"2"}), value("fail", {"on"})});
  const miTag tag = switcher("on", failing);
  for (const int ray : {kVertexPhase, kMeshPhase}) {
    const Forward f = forward(tag, ray, &mesh_);
    EXPECT_TRUE(f.returned) << ray;
    EXPECT_EQ(f.result, 3) << ray;
    EXPECT_EQ(f.reports.size(), 1u) << ray;
    EXPECT_TRUE(f.errors.empty()) << ray;
  }
}

TEST_F(LightmapSwitcher, ItsRecordLivesFromInitToExit) {
  const miTag tag = switcher("on", probe_);
  host::ShadingState s(kVertexPhase);
  renderer().init_instance(tag, s.state);
  EXPECT_EQ(renderer().held_bytes(tag), sizeof(lightmap_switcher::InstanceData));
  renderer().exit_all(s.state);
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

}  // namespace
}  // namespace tavo::test
