// Black-and-white lens: the traced colour turned into a weighted grey.
#include "host/scene_fixture.h"
#include "layout_registry.h"
#include "scene/to_bw.h"
#include "values.h"

namespace tavo::test {
namespace {

using to_bw::Params;
TAVO_LAYOUT("to_bw", Parameters, Params, TAVO_FIELD(Params, weights));

std::vector<std::string> words(const miColor &c) {
  return {host::format_scalar(c.r), host::format_scalar(c.g), host::format_scalar(c.b), host::format_scalar(c.a)};
}

class ToBw : public SceneTest {
 protected:
  // A scene with nothing in it but an environment of `sky`.
  static void sky(const miColor &sky_color) {
    const miTag constant = renderer().create_instance("tavo_host_constant", {value("color", words(sky_color))});
    auto scene = std::make_shared<host::Scene>();
    scene->commit();
    scene->environment = constant;
    renderer().set_current_scene(scene);
  }

  static std::pair<miBoolean, miColor> lens(const std::vector<Assignment> &weights) {
    const auto calls = renderer().run(renderer().create_instance("to_bw", weights), {miRAY_EYE});
    miColor c;
    std::memcpy(&c, calls.front().result.data(), sizeof c);
    return {calls.front().returned, c};
  }
};

TEST_F(ToBw, GreyIsTheWeightedSumInItsOwnOrder) {
  struct Case {
    const char *what;
    miColor seen;
    std::vector<Assignment> weights;
    float grey;
  } cases[] = {
      {"red with the default weights", {1, 0, 0, 0.25f}, {}, 0.3f},
      {"green", {0, 1, 0, 0.5f}, {}, 0.59f},
      {"blue", {0, 0, 1, 1}, {}, 0.11f},
      // (0.59 g + 0.3 r) + 0.11 b; grouping g and b first would give 0.426999986
      {"a colour whose sum depends on the grouping", {0.7f, 0.2f, 0.9f, 0.75f}, {}, 0.427000016f},
      {"weights given", {0.5f, 0.25f, 2, 0}, {value("weights", {"1", "2", "-0.5"})}, 0.0f},
      {"weights above 1", {0.5f, 0.5f, 0.5f, 1}, {value("weights", {"2", "2", "2"})}, 3.0f},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    sky(c.seen);
    const auto [returned, out] = lens(c.weights);
    EXPECT_TRUE(returned);
    EXPECT_EQ(out.r, c.grey);
    EXPECT_EQ(out.g, c.grey);
    EXPECT_EQ(out.b, c.grey);
    EXPECT_EQ(out.a, c.seen.a);  // alpha as the trace wrote it
  }
}

TEST_F(ToBw, WeightsAreReadAsStoredNotThroughAConnection) {
  // Connected to a shader that would hand (10, 20, 30): the lens keeps the
  // stored (declared default) weights.
  sky({1, 1, 1, 1});
  const miTag big = renderer().create_instance("tavo_host_coord", {value("scale", {"0", "0", "0"}),
                                                                   value("offset", {"10", "20", "30"})});
  const auto [returned, out] = lens({link("weights", big)});
  EXPECT_TRUE(returned);
  EXPECT_EQ(out.r, 1.0f);  // 0.59 + 0.3 + 0.11 over white, not 60
  EXPECT_EQ(out.b, 1.0f);
}

TEST_F(ToBw, AFailedTraceIsConvertedAndItsAnswerHandedOn) {
  // An environment that fails but writes a colour.
  load(R"(
    shader "failing" "tavo_host_texture" ( "color" 1 0 0 0.6 )
    camera "c" environment = "failing" end camera
  )");
  const auto [returned, out] = lens({});
  EXPECT_FALSE(returned);
  expect_near(out, {0.3f, 0.3f, 0.3f, 0.6f}, 0, "converted all the same");
  // no environment at all: transparent black, and false
  renderer().current_scene()->environment = 0;
  const auto [nothing_returned, nothing] = lens({});
  EXPECT_FALSE(nothing_returned);
  expect_near(nothing, {0, 0, 0, 0}, 0, "nothing seen");
}

TEST_F(ToBw, TracesTheStatesOwnRay) {
  load(R"(
    shader "sky" "tavo_host_constant" ( "color" 0 0 1 1 )
    material "green" "tavo_host_constant" ( "color" 0 1 0 1 ) end material
    object "ball" sphere centre 0 0 -5 radius 1 material "green" end object
    camera "c" environment = "sky" end camera
  )");
  const miTag tag = renderer().create_instance("to_bw", {});
  host::ShadingState s;
  miColor out{};
  s.state.org = {0, 0, 0};
  s.state.dir = {0, 0, -1};
  ASSERT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out.r, 0.59f);  // the ball
  s.state.dir = {0, 0, 1};
  ASSERT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out.r, 0.11f);  // the sky behind
  s.state.org = {0, 5, 0};
  s.state.dir = {0, 0, -1};
  ASSERT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out.r, 0.11f);  // the sky, passing above the ball
}

}  // namespace
}  // namespace tavo::test
