// Black-and-white lens: the traced colour turned into a weighted grey.
#include "host/scene_fixture.h"

namespace tavo::test {
namespace {

class ToBw : public SceneTest {
 protected:
  // The lens's life cycle for one eye ray into an empty scene whose environment is `shader` of colour `c`.
  static std::pair<miBoolean, miColor> lens(const miColor &c, const std::vector<Assignment> &weights = {},
                                            const char *shader = "tavo_host_constant") {
    scene_of({}, renderer().create_instance(shader, {value("color", words(c))}));
    const auto calls = renderer().run(renderer().create_instance("to_bw", weights), {miRAY_EYE});
    miColor out;
    std::memcpy(&out, calls.front().result.data(), sizeof out);
    return {calls.front().returned, out};
  }
};

TEST_F(ToBw, GreyIsTheWeightedSumInItsOwnOrderAlphaStaysAndTheTracesAnswerIsHandedOn) {
  const std::tuple<miColor, std::vector<Assignment>, float, const char *> cases[] = {
      // (0.59 g + 0.3 r) + 0.11 b; grouping g and b first would give 0.426999986
      {{0.7f, 0.2f, 0.9f, 0.75f}, {}, 0.427000016f, "tavo_host_constant"},
      {{0.5f, 0.25f, 2, 0}, {value("weights", {"1", "2", "-0.5"})}, 0.0f, "tavo_host_constant"},
      {{0.5f, 0.5f, 0.5f, 1}, {value("weights", {"2", "2", "2"})}, 3.0f, "tavo_host_constant"},
      // an environment that fails but writes a colour (no texture to look up): converted all the same
      {{1, 0, 0, 0.6f}, {}, 0.3f, "tavo_host_texture"},
  };
  for (const auto &[seen, weights, grey, shader] : cases) {
    const auto [returned, out] = lens(seen, weights, shader);
    EXPECT_EQ(returned, std::string(shader) == "tavo_host_constant");
    expect_near(out, {grey, grey, grey, seen.a}, 0, shader);
  }
  // weights connected to a shader that would hand (10, 20, 30): the lens keeps its stored (default) weights
  const miTag big = renderer().create_instance("tavo_host_coord", {value("scale", {"0", "0", "0"}), value("offset", {"10", "20", "30"})});
  EXPECT_EQ(lens({1, 1, 1, 1}, {link("weights", big)}).second.r, 1.0f);
  renderer().current_scene()->environment = 0;  // no environment at all: transparent black, and false
  const auto calls = renderer().run(renderer().create_instance("to_bw", {}), {miRAY_EYE});
  EXPECT_FALSE(calls.front().returned);
  EXPECT_EQ(calls.front().result, std::vector<std::uint32_t>(4, 0u));
}

}  // namespace
}  // namespace tavo::test
