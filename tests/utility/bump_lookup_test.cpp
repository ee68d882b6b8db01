// Bump lookup: the texture method's finite differences over the ramp, and the
// probe method's four rays over a floor, which leave the state as they found it.

#include "host/scene_fixture.h"
#include "utility_fixture.h"

namespace tavo::test {
namespace {

// What the probe method must give back as it found it: point, normal, primitive and texture vectors.
std::string snapshot(const miState &s) {
  std::string text = exact(s.point) + " | " + exact(s.normal) + " | " + std::to_string(std::uintptr_t(s.pri));
  for (int t = 0; t < s.texture_spaces; ++t) text += " | " + exact(s.tex_list[t]);
  return text;
}

// A floor (y = 0, normal up) whose texture runs x / 8 + 0.5 across and (5 - z) / 8
// along, with a checker of quarter squares on it (heights 0 and 0.5), seen from above.
constexpr const char *kFloor = R"(
  shader "uv" "tavo_host_coord" ( "space" 0 )
  shader "squares" "tavo_host_checker" ( "coord" = "uv", "color_a" 0 0 0, "color_b" 0.6 0 0.9, "frequency" 4 )
  shader "grey" "tavo_host_constant" ( "color" 0.5 0.5 0.5 )
  shader "lit" "tavo_host_material" ( "color" 1 1 1, "lit" on )
  light "lamp" point origin 3 1 0 color 1 1 1 intensity 1 shadow off end light
  object "floor" plane origin -4 0 5 u 8 0 0 v 0 0 -8 end object
  camera "above" resolution 641 481 position 1.9 3 0 direction 0 -1 0 up 0 0 -1 end camera
)";

class BumpLookup : public LookupTest {
 protected:
  static miTag bump(const std::vector<Assignment> &a, const Adjust &adjust_init = {}) {
    return instance("tavo_Utility_BumpLookup", a, adjust_init);
  }
  // The ramp at the centre of its texel (3, 2): heights 7/16, then 8/16 one
  // texel along x and 9/16 one texel along y. `more` overrides.
  static std::vector<Assignment> on_ramp(std::vector<Assignment> more = {}) {
    std::vector<Assignment> a = {value("coord", {"0.4375", "0.3125", "0"}), value("step", {"0.125", "0.125", "0"}),
                                 value("u", {"1", "0", "0"}), value("v", {"0", "1", "0"}), value("factor", {"1"}),
                                 value("tex_0", {tag_of("ramp")})};
    a.insert(a.end(), more.begin(), more.end());
    return a;
  }
  // Probes (or a texture method) from the floor at `point`; the flushes between lookups are counted.
  struct Probed {
    miVector n;
    int flushes;
    bool child;  // a probe leaves its child state behind
  };
  static Probed probe(miTag t, miVector point = {1.9f, 0, 0}, int spaces = 1, miVector normal = {0, 1, 0}) {
    host::ShadingState s;
    int primitive = 0;
    s.state.point = point, s.state.normal = normal, s.state.pri = &primitive, s.state.texture_spaces = spaces;
    s.tex_list[0] = {0.7f, 0.6f, 0}, s.tex_list[1] = {0.25f, 0.5f, 0.75f};
    const std::string before = snapshot(s.state);
    const miVector n = call<miVector>(t, s);
    EXPECT_EQ(snapshot(s.state), before) << "the state as it was";
    return {n, s.sample.flushes, s.state.child != nullptr};
  }
};

TEST_F(BumpLookup, TheTextureMethodBendsTheNormalAgainstTheRiseInHeight) {
  const std::pair<std::vector<Assignment>, miVector> cases[] = {  // the bend before normalisation
      {{}, {-0.5625f, -1.125f, 1}},  // k = -9 times the rise (1/16, 2/16)
      {{value("factor", {"-1"})}, {0.5625f, 1.125f, 1}},
      {{value("u", {"0", "1", "0"}), value("v", {"1", "0", "0"})}, {-1.125f, -0.5625f, 1}},
      {{value("factor", {"2"}), value("u", {"0", "0", "1"}), value("v", {"0", "0", "0"})}, {0, 0, -0.125f}},  // turned over
      // the ramp rises by 0.5 per unit of x and by 1 per unit of y; a step of 0 shifts by 0.001
      {{value("step", {"0", "0", "0"})}, {-9 * 0.0005f, -9 * 0.001f, 1}},
      {{value("step", {"nan", "0.125", "0"})}, {0, -1.125f, 1}},  // a shift whose lookup fails adds no slope
  };
  for (const auto &[more, bent] : cases) {
    host::ShadingState s;
    s.state.normal = {0, 0, 1};
    const miVector got = call<miVector>(bump(on_ramp(more)), s);
    expect_near(got, host::normalize(bent), 2e-6f, exact(bent).c_str());
    EXPECT_EQ(exact(s.state.normal), exact(got)) << "the state keeps the bent normal";
    EXPECT_EQ(s.sample.flushes, 2);
  }
  // constant heights only normalise the normal (one without length stays so);
  // a lookup that fails at the centre changes nothing and returns false
  const std::tuple<const char *, miVector, miVector> constant[] = {
      {"0.4375", {0, 3, 4}, {0, 0.6f, 0.8f}}, {"0.4375", {0, 0, 0}, {0, 0, 0}}, {"nan", {0, 0, 3}, {0, 0, 3}}};
  for (const auto &[coord, normal, expected] : constant) {
    host::ShadingState s;
    s.state.normal = normal;
    const miTag t = bump(on_ramp({value("tex_0", {tag_of("tint")}), value("coord", {coord, "0.5", "0"})}));
    expect_near(call<miVector>(t, s, coord[0] == '0'), expected, 1e-7f, coord);
    expect_near(s.state.normal, expected, 1e-7f, coord);
  }
  host::ShadingState s;
  EXPECT_EQ(exact(call<miVector>(bump(on_ramp({value("tex_0", {"987654"})})), s, miFALSE)), "0 0 1") << "no image";
}

TEST_F(BumpLookup, WhereTheGuardPassesTheHeightsComeFromFilteredLookups) {
  // The checker's white texel (0, 0) with black neighbours at both shifts:
  // plain lookups see a fall of 1 each way, filtered ones average it away.
  const auto checker = [&](const char *filter) {
    return bump(on_ramp({value("coord", {centre(0, 64), centre(0, 64), "0"}), value("step", {"0.015625", "0.015625", "0"}),
                         value("tex_0", {tag_of("checker")}), value("disc_r", {"30"}), value("remap", {tag_of("same")}),
                         value("filter", {filter})}));
  };
  const miVector steep = host::normalize({9, 9, 1});
  expect_near(at_wall<miVector>(checker("off")), steep, 1e-6f, "filter off");
  EXPECT_GT(at_wall<miVector>(checker("on")).z, 0.5f);
  expect_near(at_wall<miVector>(checker("on"), [](host::ShadingState &s) { s.state.reflection_level = 1; }), steep, 1e-6f,
              "a reflection");
  // over the linear ramp a symmetric footprint averages to its centre's height: filtered and plain agree
  const miTag ramp = bump(on_ramp({value("filter", {"on"}), value("disc_r", {"130"}), value("remap", {tag_of("same")})}));
  expect_near(at_wall<miVector>(ramp), host::normalize({-0.5625f, -1.125f, 1}), 2e-5f, "filtered ramp");
}

TEST_F(BumpLookup, TheProbeMethodRunsWhenAskedWithTracingOnOrForAnEmptySlot) {
  load(kFloor);
  // slot 0 empty or the ramp, slot 7 the ramp: an index outside picks the nearest end
  const std::tuple<const char *, const char *, bool, bool, bool> cases[] = {  // use_probe, index, trace, tex_0: probes?
      {"off", "0", true, true, false}, {"on", "0", true, true, true},  {"on", "0", false, true, false},
      {"off", "0", true, false, true}, {"on", "0", false, false, true}, {"off", "-1", true, false, true}, {"off", "8", true, false, false}};
  for (const auto &[use_probe, index, trace, texture, probes] : cases) {
    const miTag t = bump(on_ramp({value("use_probe", {use_probe}), value("index", {index}), value("tex_7", {tag_of("ramp")}),
                                  value("tex_0", {texture ? tag_of("ramp") : "0"}), value("step", {"0.2", "0.125", "0"}),
                                  link("color_0", tag("grey"))}),
                         [&](host::ShadingState &s) { s.options.trace = trace; });
    host::ShadingState s;
    s.state.normal = {0, 1, 0};
    const miVector got = call<miVector>(t, s);
    EXPECT_EQ(s.sample.flushes, probes ? 3 : 2) << use_probe << " " << index << " " << trace << " " << texture;
    EXPECT_EQ(exact(s.state.normal), exact(probes ? miVector{0, 1, 0} : got)) << "the probes leave the normal alone";
    if (probes) expect_near(got, {0, 1, 0}, 1e-6f, "flat floor");
  }
  // factor 0: the normal untouched, nothing looked up or probed, in both methods
  for (const char *use_probe : {"off", "on"}) {
    const Probed p = probe(bump(on_ramp({value("factor", {"0"}), value("use_probe", {use_probe})})), {1.9f, 0, 0}, 1, {0, 2, 0});
    EXPECT_EQ(exact(p.n), "0 2 0");
    EXPECT_TRUE(p.flushes == 0 && !p.child) << "nothing looked up or probed";
  }
}

TEST_F(BumpLookup, ProbesGiveTheNormalOfTheQuadrilateralOfTheirHits) {
  load(kFloor);
  const float h = std::sqrt(0.5f);
  const std::tuple<const char *, const char *, miVector, int, const char *, miVector> cases[] = {
      {"grey", "0.4", {1.9f, 0, 0}, 1, "0.2", {0, 1, 0}},
      // at x = 1.9 the probe 0.2 towards +x lands on a raised square and the
      // three others on low ones: a rise of 0.8 x 0.5 across 0.4, 45 degrees
      {"squares", "0.8", {1.9f, 0, 0}, 1, "0.2", {-h, h, 0}},
      {"squares", "0.8", {1.9f, 0, 0}, 2, "0.2", {-h, h, 0}},  // two texture spaces, both restored
      {"squares", "-0.8", {1.9f, 0, 0}, 1, "0.2", {h, h, 0}},  // the raised square a pit; the result still faces up
      {"grey", "1", {0, 0, 0}, 1, "0.2", {0, 1, 0}},   // N x P is 0 at the origin: tangents from (0.01, 0, 0)
      {"grey", "1", {3.9f, 0, 0}, 1, "0.2", {0, 1, 0}},  // the probe towards +x misses the floor
      {"grey", "1", {1.5f, 0, 0.5f}, 1, "0", {0, 0, 0}},  // step 0: no quadrilateral, no NaN
  };
  for (const auto &[colour, factor, point, spaces, step, expected] : cases) {
    const Probed p = probe(bump({value("use_probe", {"on"}), value("step", {step, "99", "99"}), value("factor", {factor}),
                                 link("color_0", tag(colour))}),
                           point, spaces);
    expect_near(p.n, expected, 1e-5f, exact(point).c_str());
    EXPECT_EQ(p.flushes, 3);
  }
  // a normal along x at the origin has no tangent at all
  EXPECT_EQ(exact(probe(bump({value("use_probe", {"on"}), value("step", {"0.2", "0", "0"}), value("factor", {"1"}),
                              link("color_0", tag("grey"))}), {0, 0, 0}, 1, {1, 0, 0}).n), "0 0 0");
}

TEST_F(BumpLookup, TheColourIsEvaluatedAtEachProbeHitWithoutThePrimitive) {
  load(kFloor);
  const auto at_pixel = [&](miTag colour) {
    host::ShadingState s;
    EXPECT_TRUE(host::aim_at_pixel(s, *renderer().current_scene(), 320, 240));
    const std::string before = snapshot(s.state);
    const miVector n = call<miVector>(
        bump({value("use_probe", {"on"}), value("step", {"0.2", "0", "0"}), value("factor", {"1"}), link("color_0", colour)}), s);
    EXPECT_EQ(snapshot(s.state), before);
    return n;
  };
  // lit by a lamp off to +x, the probe hit nearest it is the brightest: the normal leans away
  const miVector leaning = at_pixel(tag("lit"));
  EXPECT_TRUE(leaning.x < -0.01f && leaning.y > 0.9f) << exact(leaning);
  // a filtering texture lookup as the colour: a probe hit has no primitive to project a pixel's disc on
  const auto through = [&](const char *filter) {
    return exact(at_pixel(renderer().create_instance("tavo_Utility_TexLookup",
                                                     {link("coord", tag("uv")), value("filter", {filter}), value("disc_r", {"30"}),
                                                      value("remap", {tag_of("same")}), value("tex_0", {tag_of("checker")})})));
  };
  EXPECT_EQ(through("on"), through("off"));
}

}  // namespace
}  // namespace tavo::test
