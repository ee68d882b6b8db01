// Black-and-white lens: the traced colour turned into a weighted grey.
#include "host/scene_fixture.h"
#include "scene/to_bw.h"
#include "values.h"

namespace tavo::test {
namespace {

class ToBw : public SceneTest {
 protected:
  // The lens's life cycle for one eye ray into an empty scene whose environment is `shader` of colour `c`.
  static std::pair<miBoolean, miColor> lens(const miColor &c, const std::vector<Assignment> &weights = {},
                                            const char *shader = "tavo_host_constant") {
    auto scene = std::make_shared<host::Scene>();
    scene->commit();
    scene->environment = renderer().create_instance(shader, {value("color", {host::format_scalar(c.r), host::format_scalar(c.g),
                                                                             host::format_scalar(c.b), host::format_scalar(c.a)})});
    renderer().set_current_scene(scene);
    const auto calls = renderer().run(renderer().create_instance("to_bw", weights), {miRAY_EYE});
    miColor out;
    std::memcpy(&out, calls.front().result.data(), sizeof out);
    return {calls.front().returned, out};
  }
};

TEST_F(ToBw, GreyIsTheWeightedSumInItsOwnOrderAndAlphaStays) {
  const std::tuple<miColor, std::vector<Assignment>, float> cases[] = {
      // (0.59 g + 0.3 r) + 0.11 b; grouping g and b first would give 0.426999986
      {{0.7f, 0.2f, 0.9f, 0.75f}, {}, 0.427000016f},
      {{0.5f, 0.25f, 2, 0}, {value("weights", {"1", "2", "-0.5"})}, 0.0f},
      {{0.5f, 0.5f, 0.5f, 1}, {value("weights", {"2", "2", "2"})}, 3.0f},
  };
  for (const auto &[seen, weights, grey] : cases) {
    const auto [returned, out] = lens(seen, weights);
    EXPECT_TRUE(returned);
    expect_near(out, {grey, grey, grey, seen.a}, 0, "grey");
  }
  // weights connected to a shader that would hand (10, 20, 30): the lens keeps its stored (default) weights
  const miTag big = renderer().create_instance("tavo_host_coord", {value("scale", {"0", "0", "0"}), value("offset", {"10", "20", "30"})});
  EXPECT_EQ(lens({1, 1, 1, 1}, {link("weights", big)}).second.r, 1.0f);
}

TEST_F(ToBw, AFailedTraceIsConvertedAndItsAnswerHandedOn) {
  // an environment that fails but writes a colour: there is no texture to look up
  const auto [returned, out] = lens({1, 0, 0, 0.6f}, {}, "tavo_host_texture");
  EXPECT_FALSE(returned);
  expect_near(out, {0.3f, 0.3f, 0.3f, 0.6f}, 0, "converted all the same");
  renderer().current_scene()->environment = 0;  // no environment at all: transparent black, and false
  const auto calls = renderer().run(renderer().create_instance("to_bw", {}), {miRAY_EYE});
  EXPECT_FALSE(calls.front().returned);
  EXPECT_EQ(calls.front().result, std::vector<std::uint32_t>(4, 0u));
}

}  // namespace
}  // namespace tavo::test
