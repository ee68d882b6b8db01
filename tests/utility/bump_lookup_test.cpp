// Bump lookup through the host: the texture method's finite differences over
// images the tests write (plain and filtered), and the probe method's four
// probe rays over a floor, with the state it must leave as it found it.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>

#include "host/scene_fixture.h"
#include "layout_registry.h"
#include "utility/tavo_Utility_BumpLookup.h"

namespace tavo::test {
namespace {

using bump_lookup::Params;
TAVO_LAYOUT("tavo_Utility_BumpLookup", Parameters, Params, TAVO_FIELD(Params, coord), TAVO_FIELD(Params, filter),
            TAVO_FIELD(Params, disc_r), TAVO_FIELD(Params, eccmax), TAVO_FIELD(Params, max_minor),
            TAVO_FIELD(Params, circle_radius), TAVO_FIELD(Params, bilinear), TAVO_FIELD(Params, space),
            TAVO_FIELD(Params, remap), TAVO_FIELD(Params, u), TAVO_FIELD(Params, v), TAVO_FIELD(Params, step),
            TAVO_FIELD(Params, factor), TAVO_FIELD(Params, index), TAVO_FIELD(Params, use_probe),
            TAVO_FIELD(Params, tex_0), TAVO_FIELD(Params, tex_1), TAVO_FIELD(Params, tex_2),
            TAVO_FIELD(Params, tex_3), TAVO_FIELD(Params, tex_4), TAVO_FIELD(Params, tex_5),
            TAVO_FIELD(Params, tex_6), TAVO_FIELD(Params, tex_7), TAVO_FIELD(Params, color_0),
            TAVO_FIELD(Params, color_1), TAVO_FIELD(Params, color_2), TAVO_FIELD(Params, color_3),
            TAVO_FIELD(Params, color_4), TAVO_FIELD(Params, color_5), TAVO_FIELD(Params, color_6),
            TAVO_FIELD(Params, color_7));

using Adjust = std::function<void(host::ShadingState &)>;

std::string word(float x) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", x);
  return text;
}

std::vector<std::string> words(const miVector &v) { return {word(v.x), word(v.y), word(v.z)}; }

miVector unit(miVector v) {
  const float len = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  return {v.x / len, v.y / len, v.z / len};
}

void expect_float_eq(const miVector &got, const miVector &want, const std::string &what) {
  EXPECT_FLOAT_EQ(got.x, want.x) << what;
  EXPECT_FLOAT_EQ(got.y, want.y) << what;
  EXPECT_FLOAT_EQ(got.z, want.z) << what;
}

void expect_same(const miVector &got, const miVector &want, const std::string &what) {
  EXPECT_EQ(got.x, want.x) << what;
  EXPECT_EQ(got.y, want.y) << what;
  EXPECT_EQ(got.z, want.z) << what;
}

// What the probe method must give back: the state's point, primitive and
// texture vectors as they were on entry.
struct Snapshot {
  explicit Snapshot(const miState &s)
      : point(s.point), normal(s.normal), pri(s.pri), spaces(s.texture_spaces),
        tex(s.tex_list, s.tex_list + s.texture_spaces) {}
  void expect_restored(const miState &s, const std::string &what) const {
    EXPECT_EQ(std::memcmp(&s.point, &point, sizeof point), 0) << what << ": point";
    EXPECT_EQ(std::memcmp(&s.normal, &normal, sizeof normal), 0) << what << ": normal";
    EXPECT_EQ(s.pri, pri) << what << ": pri";
    ASSERT_EQ(s.texture_spaces, spaces) << what;
    EXPECT_EQ(std::memcmp(s.tex_list, tex.data(), sizeof(miVector) * tex.size()), 0) << what << ": texture vectors";
  }
  miVector point, normal;
  void *pri;
  int spaces;
  std::vector<miVector> tex;
};

class BumpLookup : public TexturedSceneTest {
 protected:
  void SetUp() override {
    TexturedSceneTest::SetUp();
    // A slope: height (i + 2j) / 16 at texel (i, j), rising by 1/16 a texel in
    // x and 2/16 in y; the height is the mean of channels that differ.
    slope_ = texture_file("slope.exr", 8, [](int i, int j) {
      const float h = (i + 2 * j) / 16.0f;
      return miColor{1.25f * h, 0.25f * h, 1.5f * h, 1};
    });
    flat_ = texture_file("flat.exr", 8, [](int, int) { return miColor{0.3f, 0.3f, 0.3f, 1}; });
    checker_ = texture_file("checker.exr", 64, [](int i, int j) {
      const float w = float((i + j + 1) % 2);
      return miColor{w, w, w, 1};
    });
  }

  // The three images, and `more` of the scene.
  void load_with_textures(const std::string &more) {
    load("color texture \"slope\" \"" + slope_ + "\"\n" + "color texture \"flat\" \"" + flat_ + "\"\n" +
         "color texture \"checker\" \"" + checker_ + "\"\n" + more);
  }

  static std::string tag_of(const std::string &name) { return std::to_string(tag(name)); }

  static miTag bump(const std::vector<Assignment> &assignments, const Adjust &adjust_init = {}) {
    const miTag t = renderer().create_instance("tavo_Utility_BumpLookup", assignments);
    host::ShadingState init;
    if (adjust_init) adjust_init(init);
    renderer().init_instance(t, init.state);
    return t;
  }

  static miVector call(miTag t, host::ShadingState &s, miBoolean returns = miTRUE) {
    miVector out{-7, -7, -7};
    EXPECT_EQ(renderer().call(t, &out, s.state), returns);
    return out;
  }

  // Stands the state on the surface below `above`, as an eye ray that hit it would.
  static void stand_on(host::ShadingState &s, miVector above) {
    miVector down{0, -1, 0};
    ASSERT_TRUE(mi_trace_probe(&s.state, &down, &above));
    const miState &hit = *s.state.child;
    s.state.point = hit.point;
    s.state.normal = hit.normal;
    s.state.normal_geom = hit.normal_geom;
    s.state.instance = hit.instance;
    s.state.pri = hit.pri;
    s.state.pri_idx = hit.pri_idx;
    std::memcpy(s.state.bary, hit.bary, sizeof hit.bary);
    s.state.texture_spaces = hit.texture_spaces;
    std::memcpy(s.tex_list, hit.tex_list, sizeof(miVector) * hit.texture_spaces);
    s.state.child = nullptr;
  }

  // The assignments without the one for `path`.
  static std::vector<Assignment> without(std::vector<Assignment> a, const std::string &path) {
    std::erase_if(a, [&](const Assignment &x) { return x.path == path; });
    return a;
  }

  // The slope at the centre of its texel (3, 2): heights 7/16, then 8/16 one
  // texel along x and 9/16 one texel along y.
  std::vector<Assignment> on_slope(std::vector<Assignment> more = {}) const {
    std::vector<Assignment> a = {value("coord", {"0.4375", "0.3125", "0"}), value("step", {"0.125", "0.125", "0"}),
                                 value("u", {"1", "0", "0"}), value("v", {"0", "1", "0"}), value("factor", {"1"}),
                                 value("tex_0", {tag_of("slope")})};
    a.insert(a.end(), more.begin(), more.end());
    return a;
  }

 private:
  std::string slope_, flat_, checker_;
};

// A floor (y = 0, normal up) whose texture runs x / 8 + 0.5 across and
// (5 - z) / 8 along, with a checker of quarter squares on it (heights 0 and 0.5).
constexpr const char *kFloor = R"(
  shader "uv" "tavo_host_coord" ( "space" 0 )
  shader "squares" "tavo_host_checker" ( "coord" = "uv", "color_a" 0 0 0, "color_b" 0.6 0 0.9, "frequency" 4 )
  shader "grey" "tavo_host_constant" ( "color" 0.5 0.5 0.5 )
  object "floor" plane origin -4 0 5 u 8 0 0 v 0 0 -8 end object
)";

// An 8 x 8 wall across the view, as the texture lookup's tests use it.
constexpr const char *kWall = R"(
  shader "same" "tavo_host_coord" ( "remap" on )
  object "wall" plane origin -4 -4 0 u 8 0 0 v 0 8 0 end object
  camera "c" resolution 641 481 aperture 36 focal 50 position 0 0 10 direction 0 0 -1 end camera
)";

TEST_F(BumpLookup, TheTextureMethodBendsTheNormalAgainstTheRiseInHeight) {
  load_with_textures("");
  struct Case {
    const char *what, *factor;
    miVector u, v;
    miVector bent;  // before normalisation
  } cases[] = {
      {"factor 1", "1", {1, 0, 0}, {0, 1, 0}, {-0.5625f, -1.125f, 1}},  // k = -9: 9 x (1/16, 2/16) against the rise
      {"factor -1", "-1", {1, 0, 0}, {0, 1, 0}, {0.5625f, 1.125f, 1}},
      {"factor 0.5", "0.5", {1, 0, 0}, {0, 1, 0}, {-0.28125f, -0.5625f, 1}},
      {"u and v swapped", "1", {0, 1, 0}, {1, 0, 0}, {-1.125f, -0.5625f, 1}},
      {"along the normal", "2", {0, 0, 1}, {0, 0, 0}, {0, 0, -0.125f}},  // 1 - 18/16: the normal turns over
      {"v only", "1", {0, 0, 0}, {0.5f, 0, 0.25f}, {-0.5625f, 0, 0.71875f}},
  };
  for (const Case &c : cases) {
    const miTag t = bump(on_slope({value("factor", {c.factor}), value("u", words(c.u)), value("v", words(c.v))}));
    host::ShadingState s;
    const miVector got = call(t, s);
    expect_float_eq(got, unit(c.bent), c.what);
    expect_same(s.state.normal, got, std::string(c.what) + ": the state keeps the bent normal");
    EXPECT_EQ(s.sample.flushes, 2) << c.what;
  }
}

TEST_F(BumpLookup, StepsOfZeroShiftByOneThousandthAndAFailingShiftAddsNoSlope) {
  load_with_textures("");
  struct Case {
    const char *what;
    std::vector<std::string> step;
    miVector bent;
  } cases[] = {
      // the slope rises by 0.5 per unit of x and by 1 per unit of y
      {"both 0", {"0", "0", "0"}, {-9 * 0.0005f, -9 * 0.001f, 1}},
      {"x 0", {"0", "0.125", "7"}, {-9 * 0.0005f, -1.125f, 1}},
      {"y 0.01", {"0.125", "0.01", "0"}, {-0.5625f, -9 * 0.01f, 1}},
      {"x not a number", {"nan", "0.125", "0"}, {0, -1.125f, 1}},
  };
  for (const Case &c : cases) {
    const miTag t = bump(on_slope({value("step", c.step)}));
    host::ShadingState s;
    expect_near(call(t, s), unit(c.bent), 2e-6f, c.what);
  }
}

TEST_F(BumpLookup, ConstantHeightsOnlyNormaliseTheNormal) {
  load_with_textures("");
  struct Case {
    miVector normal, expected;
  } cases[] = {
      {{0, 0, 2}, {0, 0, 1}},
      {{0, 3, 4}, {0, 0.6f, 0.8f}},
      {{0, 0, 0}, {0, 0, 0}},  // no length: left as it is
  };
  for (const Case &c : cases) {
    const miTag t = bump(on_slope({value("tex_0", {tag_of("flat")})}));
    host::ShadingState s;
    s.state.normal = c.normal;
    const miVector got = call(t, s);
    expect_float_eq(got, c.expected, "constant texture");
    EXPECT_FALSE(std::isnan(got.x));
  }
}

TEST_F(BumpLookup, FactorZeroReturnsTheNormalUntouchedInBothMethods) {
  load_with_textures(kFloor);
  struct Case {
    const char *what;
    std::vector<Assignment> assignments;
  } cases[] = {
      {"texture method", on_slope({value("factor", {"0"})})},
      {"probe method", on_slope({value("factor", {"0"}), value("use_probe", {"on"})})},
      {"empty slot", {value("factor", {"0"}), value("step", {"0.2", "0", "0"}), link("color_0", tag("squares"))}},
  };
  for (const Case &c : cases) {
    const miTag t = bump(c.assignments);
    host::ShadingState s;
    stand_on(s, {1.9f, 1, 0});
    s.state.normal = {0, 2, 0};  // not normalised, and stays so
    s.sample.flushes = 0;
    const Snapshot before(s.state);
    expect_same(call(t, s), {0, 2, 0}, c.what);
    before.expect_restored(s.state, c.what);
    EXPECT_EQ(s.sample.flushes, 0) << c.what << ": nothing was looked up or probed";
    EXPECT_EQ(s.state.child, nullptr) << c.what;
  }
}

TEST_F(BumpLookup, AFailingCentreLookupReturnsFalseAndTheNormalUnchanged) {
  load_with_textures("");
  for (const char *x : {"nan", "inf"}) {
    const miTag t = bump(on_slope({value("coord", {x, "0.5", "0"})}));
    host::ShadingState s;
    s.state.normal = {0, 0, 3};
    expect_same(call(t, s, miFALSE), {0, 0, 3}, x);
    expect_same(s.state.normal, {0, 0, 3}, x);
    EXPECT_EQ(s.sample.flushes, 0) << x;
  }
  // a texture tag that names no image fails the same way
  const miTag stray = bump(on_slope({value("tex_0", {"987654"})}));
  host::ShadingState s;
  expect_same(call(stray, s, miFALSE), {0, 0, 1}, "no image");
}

TEST_F(BumpLookup, WhereTheGuardPassesTheHeightsComeFromFilteredLookups) {
  load_with_textures(kWall);
  const auto at_wall = [&](miTag t, const Adjust &adjust = {}) {
    host::ShadingState s;
    EXPECT_TRUE(host::aim_at_pixel(s, *renderer().current_scene(), 320, 240));
    if (adjust) adjust(s);
    const miVector got = call(t, s);
    EXPECT_EQ(s.sample.flushes, 2);
    return got;
  };
  // The checker's white texel (0, 0) with black neighbours at both shifts:
  // plain lookups see a fall of 1 each way, filtered ones average it away.
  const std::vector<Assignment> checker = {
      value("coord", {"0.0078125", "0.0078125", "0"}), value("step", {"0.015625", "0.015625", "0"}),
      value("u", {"1", "0", "0"}),  value("v", {"0", "1", "0"}), value("factor", {"1"}),
      value("tex_0", {tag_of("checker")}), value("disc_r", {"30"}), value("remap", {tag_of("same")})};
  const miVector steep = unit({9, 9, 1});
  // later assignments override the checker's
  const auto with = [&](std::vector<Assignment> more, const Adjust &adjust_init = {}) {
    std::vector<Assignment> a = checker;
    a.insert(a.end(), more.begin(), more.end());
    return bump(a, adjust_init);
  };
  const std::vector<Assignment> on = {value("filter", {"on"})};
  expect_float_eq(at_wall(with({})), steep, "filter off");
  const miVector filtered = at_wall(with(on));
  EXPECT_GT(filtered.z, 0.5f) << filtered.x << " " << filtered.y;
  expect_float_eq(at_wall(with(on), [](host::ShadingState &s) { s.state.reflection_level = 1; }), steep,
                  "a reflection");
  expect_float_eq(at_wall(with(on), [](host::ShadingState &s) { s.state.type = miRAY_FINALGATHER; }), steep,
                  "final gather");
  expect_float_eq(at_wall(with({value("filter", {"on"}), value("remap", {"0"})})), steep, "remap 0");
  expect_float_eq(at_wall(with(on, [](host::ShadingState &s) { s.camera.focal = 1.0f; })), steep, "focal 1");
  SceneData flagged = Renderer::default_scene();
  flagged.scene_flag = 1;
  renderer().set_scene(flagged);
  const miTag plain = with(on);
  renderer().set_scene(Renderer::default_scene());
  expect_float_eq(at_wall(plain), steep, "scene flag");

  // Over the linear slope a symmetric footprint averages to its centre's
  // height: filtered and plain agree, each shift centred where it belongs.
  const std::vector<Assignment> slope = on_slope({value("filter", {"on"}), value("disc_r", {"130"}),
                                                  value("remap", {tag_of("same")})});
  expect_near(at_wall(bump(slope)), unit({-0.5625f, -1.125f, 1}), 2e-5f, "filtered slope");
}

TEST_F(BumpLookup, TheProbeMethodRunsWhenAskedWithTracingOnOrForAnEmptySlot) {
  load_with_textures(kFloor);
  struct Case {
    const char *what;
    bool use_probe, trace, texture;
    bool probes;
  } cases[] = {
      {"texture", false, true, true, false},
      {"use_probe", true, true, true, true},
      {"use_probe without tracing", true, false, true, false},
      {"empty slot", false, true, false, true},
      {"empty slot without tracing", true, false, false, true},
  };
  for (const Case &c : cases) {
    std::vector<Assignment> a = on_slope({value("use_probe", {c.use_probe ? "on" : "off"}),
                                          value("step", {"0.2", "0.125", "0"}), link("color_0", tag("grey"))});
    if (!c.texture) a = without(a, "tex_0");
    const miTag t = bump(a, [&](host::ShadingState &s) { s.options.trace = c.trace ? miTRUE : miFALSE; });
    host::ShadingState s;
    stand_on(s, {1.9f, 1, 0});
    s.sample.flushes = 0;
    const miVector got = call(t, s);
    EXPECT_EQ(s.sample.flushes, c.probes ? 3 : 2) << c.what;
    if (c.probes) {
      expect_near(got, {0, 1, 0}, 1e-6f, c.what);
      expect_same(s.state.normal, {0, 1, 0}, std::string(c.what) + ": the normal is not the method's to change");
    } else {
      expect_same(s.state.normal, got, c.what);
      EXPECT_LT(got.y, 0.0f) << c.what << ": the slope's y difference leans it over";
    }
  }
}

TEST_F(BumpLookup, ProbesOverAFlatPlaneGiveItsNormalAndAPatternTiltsIt) {
  load_with_textures(kFloor);
  struct Case {
    const char *what;
    miVector at;
    const char *colour;
    const char *factor;
    miVector expected;
  } cases[] = {
      {"constant colour", {1.9f, 1, 0}, "grey", "0.4", {0, 1, 0}},
      {"constant colour, negative factor", {1.9f, 1, 0}, "grey", "-3", {0, 1, 0}},
      // at x = 1.9 the probe 0.2 towards +x lands on a raised square and the
      // three others on low ones: a rise of 0.8 x 0.5 across 0.4, 45 degrees
      {"checker", {1.9f, 1, 0}, "squares", "0.8", {-std::sqrt(0.5f), std::sqrt(0.5f), 0}},
      {"checker, factor 0.4", {1.9f, 1, 0}, "squares", "0.4", unit({-0.2f, 0.4f, 0})},
      // with the sign turned the raised square is a pit; the result still faces up
      {"checker, negative factor", {1.9f, 1, 0}, "squares", "-0.8", {std::sqrt(0.5f), std::sqrt(0.5f), 0}},
  };
  for (const Case &c : cases) {
    const miTag t = bump({value("use_probe", {"on"}), value("step", {"0.2", "99", "99"}), value("factor", {c.factor}),
                          link("color_0", tag(c.colour))});
    host::ShadingState s;
    stand_on(s, c.at);
    s.sample.flushes = 0;
    const Snapshot before(s.state);
    const miVector got = call(t, s);
    expect_near(got, c.expected, 1e-5f, c.what);
    before.expect_restored(s.state, c.what);
    EXPECT_EQ(s.sample.flushes, 3) << c.what;
  }
}

TEST_F(BumpLookup, TheColourIsEvaluatedAtEachProbeHitWithoutThePrimitive) {
  load_with_textures(std::string(kFloor) + R"(
    shader "same" "tavo_host_coord" ( "remap" on )
    shader "lit" "tavo_host_material" ( "color" 1 1 1, "lit" on )
    light "lamp" point origin 3 1 0 color 1 1 1 intensity 1 shadow off end light
    camera "c" resolution 641 481 position 1.9 3 0 direction 0 -1 0 up 0 0 -1 end camera
  )");
  // Lit by a lamp off to +x, the probe hit nearest it is the brightest: the
  // colour follows the state's point to each hit, and the normal leans away.
  const miTag lit = bump({value("use_probe", {"on"}), value("step", {"0.2", "0", "0"}), value("factor", {"1"}),
                          link("color_0", tag("lit"))});
  host::ShadingState s;
  ASSERT_TRUE(host::aim_at_pixel(s, *renderer().current_scene(), 320, 240));
  expect_near(s.state.point, {1.9f, 0, 0}, 1e-5f, "the camera looks down at x = 1.9");
  const Snapshot before(s.state);
  const miVector leaning = call(lit, s);
  EXPECT_LT(leaning.x, -0.01f);
  EXPECT_GT(leaning.y, 0.9f);
  before.expect_restored(s.state, "lit");

  // A filtering texture lookup as the colour: at a probe hit the state holds
  // no primitive to project a pixel's disc on, so it reads plainly.
  const auto through = [&](const char *filter) {
    const miTag lookup = renderer().create_instance(
        "tavo_Utility_TexLookup", {link("coord", tag("uv")), value("filter", {filter}), value("disc_r", {"30"}),
                                   value("remap", {tag_of("same")}), value("tex_0", {tag_of("checker")})});
    const miTag t = bump({value("use_probe", {"on"}), value("step", {"0.2", "0", "0"}), value("factor", {"1"}),
                          link("color_0", lookup)});
    host::ShadingState at;
    EXPECT_TRUE(host::aim_at_pixel(at, *renderer().current_scene(), 320, 240));
    return call(t, at);
  };
  expect_same(through("on"), through("off"), "filtered at the probe hits");
}

TEST_F(BumpLookup, ProbeTangentsFromAPointAtTheOriginAndDegenerateCases) {
  load_with_textures(R"(
    shader "grey" "tavo_host_constant" ( "color" 0.5 0.5 0.5 )
    object "floor" plane origin -4 0 4 u 8 0 0 v 0 0 -8 end object
  )");
  struct Case {
    const char *what;
    miVector point, normal;
    const char *step;
    miVector expected;
  } cases[] = {
      // N x P is zero at the origin: the tangents come from (0.01, 0, 0)
      {"point at the origin", {0, 0, 0}, {0, 1, 0}, "0.2", {0, 1, 0}},
      {"point along the normal", {0, 0.5f, 0}, {0, 1, 0}, "0.2", {0, 1, 0}},
      // a normal along x at the origin has no tangent at all
      {"normal along x at the origin", {0, 0, 0}, {1, 0, 0}, "0.2", {0, 0, 0}},
      {"step 0", {1.5f, 0, 0.5f}, {0, 1, 0}, "0", {0, 0, 0}},
  };
  for (const Case &c : cases) {
    const miTag t = bump({value("use_probe", {"on"}), value("step", {c.step, "0", "0"}), value("factor", {"1"}),
                          link("color_0", tag("grey"))});
    host::ShadingState s;
    s.state.point = c.point;
    s.state.normal = c.normal;
    s.sample.flushes = 0;
    const Snapshot before(s.state);
    const miVector got = call(t, s);
    expect_near(got, c.expected, 1e-6f, c.what);
    EXPECT_FALSE(std::isnan(got.x) || std::isnan(got.y) || std::isnan(got.z)) << c.what;
    before.expect_restored(s.state, c.what);
  }
}

TEST_F(BumpLookup, ProbesThatMissLeaveTheStateRestoredToo) {
  load_with_textures(kFloor);
  const miTag t = bump({value("use_probe", {"on"}), value("step", {"0.2", "0", "0"}), value("factor", {"0.4"}),
                        link("color_0", tag("squares"))});
  host::ShadingState s;
  stand_on(s, {3.9f, 1, 0});  // the probe towards +x passes the floor's edge
  const Snapshot before(s.state);
  const miVector got = call(t, s);
  before.expect_restored(s.state, "edge");
  EXPECT_NEAR(got.x * got.x + got.y * got.y + got.z * got.z, 1.0f, 1e-5);
  EXPECT_GE(got.y, 0.0f);  // facing the state's normal
}

TEST_F(BumpLookup, AnIndexOutsideTheSlotsPicksTheNearestEndSlot) {
  load_with_textures(kFloor);
  struct Case {
    const char *index;
    bool probes;  // slot 0 is empty, slot 7 holds the slope
  } cases[] = {{"-1", true}, {"-2147483648", true}, {"0", true}, {"7", false}, {"8", false}, {"2147483647", false}};
  for (const Case &c : cases) {
    const std::vector<Assignment> a =
        without(on_slope({value("index", {c.index}), value("tex_7", {tag_of("slope")}),
                          value("step", {"0.2", "0.125", "0"}), link("color_0", tag("grey"))}),
                "tex_0");
    host::ShadingState s;
    stand_on(s, {1.9f, 1, 0});
    s.sample.flushes = 0;
    call(bump(a), s);
    EXPECT_EQ(s.sample.flushes, c.probes ? 3 : 2) << "index " << c.index;
  }
}

// The example scene, as `tavo eval --file` runs it: both lookups on the
// textured slab, with nothing reported and nothing left allocated.
TEST(TexturedExample, BothLookupsRunOnTheSlab) {
  const auto eval = [](const std::string &args) {
    const std::string command =
        std::string(TAVO_TOOL) + " eval --file " + TAVO_EXAMPLES + "/textured.mi " + args + " 2>&1";
    std::string out;
    if (FILE *pipe = popen(command.c_str(), "r")) {
      char buffer[512];
      while (std::fgets(buffer, sizeof buffer, pipe)) out += buffer;
      EXPECT_EQ(pclose(pipe), 0) << args << "\n" << out;
    }
    EXPECT_NE(out.find("\"hit\": {\"object\": \"slab\""), std::string::npos) << args << "\n" << out;
    EXPECT_NE(out.find("\"messages\": [],"), std::string::npos) << args << "\n" << out;
    EXPECT_NE(out.find("\"leaked_bytes\": 0"), std::string::npos) << args << "\n" << out;
    // the first result word: a colour's red or a normal's x
    const std::size_t at = out.find("\"result\": [");
    return at == std::string::npos ? NAN : std::strtof(out.c_str() + at + 11, nullptr);
  };
  const float red = eval("tiles");
  EXPECT_GT(red, 0.0f);
  EXPECT_LE(red, 1.0f);
  EXPECT_LT(eval("ridges --pixel 95,120"), -0.05f);  // the ridge rises towards +x there
  EXPECT_LT(eval("studs --pixel 150,130"), -0.05f);  // a raised square lies towards +x
}

}  // namespace
}  // namespace tavo::test
