// Texture lookup through the host: plain lookups at texel centres, the slot
// colour paths, the inverse gamma, and the filtered lookup with the guard that
// lets it run, on images the tests write and a wall the camera looks at.
#include <cmath>
#include <cstdio>
#include <functional>

#include "layout_registry.h"
#include "host/scene_fixture.h"
#include "utility/tavo_Utility_TexLookup.h"

namespace tavo::test {
namespace {

using tex_lookup::Params;
TAVO_LAYOUT("tavo_Utility_TexLookup", Parameters, Params, TAVO_FIELD(Params, coord), TAVO_FIELD(Params, filter),
            TAVO_FIELD(Params, disc_r), TAVO_FIELD(Params, eccmax), TAVO_FIELD(Params, max_minor),
            TAVO_FIELD(Params, circle_radius), TAVO_FIELD(Params, bilinear), TAVO_FIELD(Params, space),
            TAVO_FIELD(Params, remap), TAVO_FIELD(Params, gamma), TAVO_FIELD(Params, index),
            TAVO_FIELD(Params, use_color), TAVO_FIELD(Params, tex_0), TAVO_FIELD(Params, tex_1),
            TAVO_FIELD(Params, tex_2), TAVO_FIELD(Params, tex_3), TAVO_FIELD(Params, tex_4),
            TAVO_FIELD(Params, tex_5), TAVO_FIELD(Params, tex_6), TAVO_FIELD(Params, tex_7),
            TAVO_FIELD(Params, color_0), TAVO_FIELD(Params, color_1), TAVO_FIELD(Params, color_2),
            TAVO_FIELD(Params, color_3), TAVO_FIELD(Params, color_4), TAVO_FIELD(Params, color_5),
            TAVO_FIELD(Params, color_6), TAVO_FIELD(Params, color_7));

using Adjust = std::function<void(host::ShadingState &)>;

// The ramp's texel (i, j), j from the bottom: every channel differs, alpha too.
miColor ramp_texel(int i, int j) { return {i / 8.0f, j / 8.0f, (i + j) / 16.0f, 1.0f - i / 16.0f}; }

// A colour for the inverse gamma: exact squares, and a channel just below 1.
constexpr miColor kTint{0.25f, 0.5625f, 0.9999f, 0.0625f};

// A number as a parameter word, every digit of the float kept.
std::string word(float x) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", x);
  return text;
}

// The texture coordinate of the centre of texel i of n, along either axis.
std::string centre(int i, int n) { return word((i + 0.5f) / n); }

std::vector<std::string> words(const miColor &c) { return {word(c.r), word(c.g), word(c.b), word(c.a)}; }

void expect_same(const miColor &got, const miColor &want, const std::string &what) {
  EXPECT_EQ(got.r, want.r) << what;
  EXPECT_EQ(got.g, want.g) << what;
  EXPECT_EQ(got.b, want.b) << what;
  EXPECT_EQ(got.a, want.a) << what;
}

// A plain lookup of the checker at a white texel centre gives exactly white;
// a filtered one averages over several texels of both colours.
bool blurred(const miColor &c) { return c.r > 0.05f && c.r < 0.95f && c.r == c.g && c.r == c.b; }

class TexLookup : public TexturedSceneTest {
 protected:
  void SetUp() override {
    TexturedSceneTest::SetUp();
    // 64 x 64 texels of one-texel squares, white at (0, 0); and an 8 x 8 ramp.
    const std::string checker = texture_file("checker.exr", 64, [](int i, int j) {
      const float w = float((i + j + 1) % 2);
      return miColor{w, w, w, 1};
    });
    const std::string ramp = texture_file("ramp.exr", 8, ramp_texel);
    const std::string tint = texture_file("tint.exr", 1, [](int, int) { return kTint; });
    // An 8 x 8 wall across the view, ten units in front of the camera: a
    // checker texel is about 11 pixels wide there, a ramp texel about 89.
    load("color texture \"checker\" \"" + checker + "\"\n" +  //
         "color texture \"ramp\" \"" + ramp + "\"\n" +  //
         "color texture \"tint\" \"" + tint + "\"\n" + R"(
      shader "same" "tavo_host_coord" ( "remap" on )
      shader "wide" "tavo_host_coord" ( "remap" on, "scale" 100 100 1 )
      shader "flat" "tavo_host_coord" ( "remap" on, "scale" 0 0 0 )
      shader "spy" "tavo_host_material" ( "reflect" 1 )
      object "wall" plane origin -4 -4 0 u 8 0 0 v 0 8 0 end object
      camera "c" resolution 641 481 aperture 36 focal 50 position 0 0 10 direction 0 0 -1 end camera
    )");
  }

  static std::string tag_of(const std::string &name) { return std::to_string(tag(name)); }

  // A lookup instance, initialised with a state the test may adjust (camera, options).
  static miTag lookup(const std::vector<Assignment> &assignments, const Adjust &adjust_init = {}) {
    const miTag t = renderer().create_instance("tavo_Utility_TexLookup", assignments);
    host::ShadingState init;
    if (adjust_init) adjust_init(init);
    renderer().init_instance(t, init.state);
    return t;
  }

  static miColor call(miTag t, host::ShadingState &s) {
    miColor out{-1, -1, -1, -1};
    EXPECT_EQ(renderer().call(t, &out, s.state), miTRUE);
    return out;
  }

  // Away from any pixel: the guard never lets a filtered lookup run.
  static miColor call(miTag t) {
    host::ShadingState s;
    return call(t, s);
  }

  // Where the camera ray through the image's centre meets the wall.
  static miColor at_wall(miTag t, const Adjust &adjust = {}) {
    host::ShadingState s;
    EXPECT_TRUE(host::aim_at_pixel(s, *renderer().current_scene(), 320, 240));
    if (adjust) adjust(s);
    return call(t, s);
  }

  // A filtering lookup of the checker at the centre of its white texel (0, 0);
  // `more` overrides (the host applies assignments in order).
  static std::vector<Assignment> filtering(std::vector<Assignment> more = {}) {
    std::vector<Assignment> a = {value("coord", {centre(0, 64), centre(0, 64), "0"}),
                                 value("filter", {"on"}),
                                 value("disc_r", {"30"}),
                                 value("remap", {tag_of("same")}),
                                 value("tex_0", {tag_of("checker")}),
                                 value("color_0", {"0.1", "0.2", "0.3", "0.4"})};
    a.insert(a.end(), more.begin(), more.end());
    return a;
  }
};

TEST_F(TexLookup, PlainLookupsReturnTheSelectedSlotsTexelAtItsCentre) {
  struct Case {
    int index, i, j;
  } cases[] = {{0, 0, 0}, {0, 7, 7}, {3, 2, 5}, {3, 6, 1}, {7, 4, 3}};
  for (const Case &c : cases) {
    std::vector<Assignment> a = {value("coord", {centre(c.i, 8), centre(c.j, 8), "0.7"}),
                                 value("index", {std::to_string(c.index)}), value("filter", {"on"}),
                                 value("remap", {tag_of("same")})};
    // the checker in every other slot, the ramp in the selected one
    for (int k = 0; k < 8; ++k)
      a.push_back(value("tex_" + std::to_string(k), {tag_of(k == c.index ? "ramp" : "checker")}));
    // filter on, but away from a pixel: plain
    expect_same(call(lookup(a)), ramp_texel(c.i, c.j), "slot " + std::to_string(c.index));
  }
}

TEST_F(TexLookup, AnIndexOutsideTheSlotsIsClampedToTheNearestEnd) {
  const std::vector<Assignment> slots = {value("color_0", {"0.25", "0.5", "0.75", "1"}),
                                         value("color_7", {"0.5", "0.25", "0", "0.125"}),
                                         value("tex_7", {tag_of("ramp")}),
                                         value("coord", {centre(5, 8), centre(2, 8), "0"})};
  struct Case {
    const char *index;
    miColor expected;
  } cases[] = {
      {"-1", {0.25f, 0.5f, 0.75f, 1}},   // slot 0 has no texture: its colour
      {"-2147483648", {0.25f, 0.5f, 0.75f, 1}},
      {"8", ramp_texel(5, 2)},           // slot 7's texture
      {"1000", ramp_texel(5, 2)},
      {"2147483647", ramp_texel(5, 2)},
  };
  for (const Case &c : cases) {
    std::vector<Assignment> a = slots;
    a.push_back(value("index", {c.index}));
    expect_same(call(lookup(a)), c.expected, std::string("index ") + c.index);
    a.push_back(value("use_color", {"on"}));
    const miColor colour = std::string(c.index).front() == '-' ? miColor{0.25f, 0.5f, 0.75f, 1} : miColor{0.5f, 0.25f, 0, 0.125f};
    expect_same(call(lookup(a)), colour, std::string("colour only, index ") + c.index);
  }
}

TEST_F(TexLookup, TheSlotColourStandsInForColourOnlyAndEmptySlots) {
  // Tell-tales of an evaluation: every other slot's colour is connected to a
  // shader that traces a reflection (and leaves a child state behind), and on
  // the colour paths `coord` is connected to a bump lookup, which bends the
  // state's normal when it runs.
  const miTag bender = renderer().create_instance(
      "tavo_Utility_BumpLookup", {value("coord", {centre(3, 8), centre(2, 8), "0"}), value("u", {"1", "0", "0"}),
                                  value("step", {"0.125", "0.125", "0"}), value("factor", {"1"}),
                                  value("tex_0", {tag_of("ramp")})});
  std::vector<Assignment> base = {value("index", {"2"}), value("color_2", {"0.3", "0.6", "0.9", "0.5"})};
  for (int k = 0; k < 8; ++k)
    if (k != 2) {
      base.push_back(link("color_" + std::to_string(k), tag("spy")));
      base.push_back(value("tex_" + std::to_string(k), {tag_of("checker")}));
    }
  const miColor colour{0.3f, 0.6f, 0.9f, 0.5f};
  struct Case {
    const char *what;
    std::vector<Assignment> more;
    miColor expected;
  } cases[] = {
      {"colour only, with a texture",
       {value("use_color", {"on"}), value("tex_2", {tag_of("ramp")}), link("coord", bender)}, colour},
      {"empty slot", {link("coord", bender)}, colour},
      {"empty slot, filtering", {value("filter", {"on"}), value("remap", {tag_of("same")}), link("coord", bender)},
       colour},
      {"the texture", {value("tex_2", {tag_of("ramp")}), value("coord", {centre(1, 8), centre(1, 8), "0"})},
       ramp_texel(1, 1)},
  };
  for (const Case &c : cases) {
    std::vector<Assignment> a = base;
    a.insert(a.end(), c.more.begin(), c.more.end());
    const miTag t = lookup(a);
    host::ShadingState s;
    expect_same(call(t, s), c.expected, c.what);
    EXPECT_EQ(s.state.child, nullptr) << c.what << ": another slot's colour was evaluated";
    expect_near(s.state.normal, {0, 0, 1}, 0, (std::string(c.what) + ": coord was evaluated").c_str());
    const miColor at_pixel = at_wall(t);
    expect_same(at_pixel, c.expected, std::string(c.what) + ", at a pixel");
  }
  // the tell-tales work: a selected connected slot leaves its child state,
  // and a texture path reads the connected coordinate
  std::vector<Assignment> a = base;
  a.front() = value("index", {"3"});
  a.push_back(value("use_color", {"on"}));
  host::ShadingState s;
  call(lookup(a), s);
  EXPECT_NE(s.state.child, nullptr);
  a = base;
  a.push_back(value("tex_2", {tag_of("ramp")}));
  a.push_back(link("coord", bender));
  host::ShadingState bent;
  call(lookup(a), bent);
  EXPECT_LT(bent.state.normal.x, -0.1f);
}

TEST_F(TexLookup, TheInverseGammaRaisesEveryChannelAlphaIncluded) {
  struct Case {
    const char *gamma;
    miColor expected;
  } cases[] = {
      {"1", kTint},
      {"2", {0.5f, 0.75f, std::sqrt(0.9999f), 0.25f}},
      {"0.5", {0.0625f, 0.31640625f, 0.9999f * 0.9999f, 0.00390625f}},
      {"-1", {4, 1 / 0.5625f, 1 / 0.9999f, 16}},
      // 0 stands for 0.0001: the power 10000, which takes 0.9999 close to 1/e
      {"0", {0, 0, std::pow(0.9999f, 10000.0f), 0}},
  };
  // the slot colour, with or without a texture, and the texture's own texel
  const std::vector<Assignment> paths[] = {
      {value("use_color", {"on"}), value("tex_0", {tag_of("ramp")})}, {}, {value("tex_0", {tag_of("tint")})}};
  for (const Case &c : cases) {
    for (const std::vector<Assignment> &path : paths) {
      std::vector<Assignment> a = {value("gamma", {c.gamma}), value("color_0", words(kTint)),
                                   value("coord", {"0.5", "0.5", "0"})};
      a.insert(a.end(), path.begin(), path.end());
      const miColor got = call(lookup(a));
      const std::string what = std::string("gamma ") + c.gamma + ", path " + std::to_string(&path - paths);
      EXPECT_FLOAT_EQ(got.r, c.expected.r) << what;
      EXPECT_FLOAT_EQ(got.g, c.expected.g) << what;
      EXPECT_FLOAT_EQ(got.b, c.expected.b) << what;
      EXPECT_FLOAT_EQ(got.a, c.expected.a) << what;
    }
  }
  EXPECT_NEAR(std::pow(0.9999f, 10000.0f), 0.36788f, 1e-4);  // not 0, as an infinite power would give
}

TEST_F(TexLookup, AtAPixelTheFilteredLookupAveragesOverTheProjectedDisc) {
  const miTag plain = lookup(filtering({value("filter", {"off"})}));
  expect_same(at_wall(plain), {1, 1, 1, 1}, "filter off");
  const miColor filtered = at_wall(lookup(filtering()));
  EXPECT_TRUE(blurred(filtered)) << filtered.r;
  EXPECT_NEAR(filtered.a, 1.0f, 1e-6);
  // the inverse gamma follows the filtered lookup too
  const miColor root = at_wall(lookup(filtering({value("gamma", {"2"})})));
  EXPECT_FLOAT_EQ(root.r, std::sqrt(filtered.r));
  EXPECT_FLOAT_EQ(root.a, std::sqrt(filtered.a));
  // no remap shader: plain, whatever the filter settings
  const std::vector<Assignment> unremapped = {value("coord", {centre(0, 64), centre(0, 64), "0"}),
                                              value("filter", {"on"}), value("disc_r", {"30"}),
                                              value("tex_0", {tag_of("checker")})};
  expect_same(at_wall(lookup(unremapped)), {1, 1, 1, 1}, "remap 0");
}

TEST_F(TexLookup, TheEllipseIsCentredOnTheCoordinateNotOnTheProjectedPoint) {
  // Over the linear ramp a symmetric disc averages to the value at its centre;
  // the wall's own texture coordinate there is (0.5, 0.5), texel (4, 4).
  for (const auto &[i, j] : {std::pair{2, 5}, std::pair{5, 2}, std::pair{3, 3}}) {
    const miTag t = lookup({value("coord", {centre(i, 8), centre(j, 8), "0"}), value("filter", {"on"}),
                            value("disc_r", {"130"}), value("remap", {tag_of("same")}),
                            value("tex_0", {tag_of("ramp")})});
    const miColor got = at_wall(t);
    expect_near(got, ramp_texel(i, j), 1e-5f, "filtered ramp");
  }
}

TEST_F(TexLookup, RemapShapesTheProjectedPointsAndASmallDiscMeansPointThree) {
  // A 0.3-pixel disc is a twentieth of a texel: the remap scales it up a hundredfold.
  const auto disc = [&](const char *radius, const char *remap) {
    return at_wall(lookup(filtering({value("disc_r", {radius}), value("remap", {tag_of(remap)})})));
  };
  const miColor point_three = disc("0.3", "wide");
  EXPECT_TRUE(blurred(point_three)) << point_three.r;
  expect_same(disc("0", "wide"), point_three, "disc_r 0");
  expect_same(disc("-2", "wide"), point_three, "disc_r -2");
  const miColor wider = disc("0.6", "wide");
  EXPECT_TRUE(blurred(wider)) << wider.r;
  EXPECT_NE(wider.r, point_three.r);
  expect_same(disc("0.3", "same"), {1, 1, 1, 1}, "unscaled, the disc holds one texel");
  // a remap that collapses the points leaves no transform: plain
  expect_same(disc("30", "flat"), {1, 1, 1, 1}, "collapsed points");
  // a NaN radius projects nothing
  expect_same(disc("nan", "wide"), {1, 1, 1, 1}, "NaN disc");
  // a remap tag that names no shader: its three failing calls leave the points as projected
  const miColor unremapped = disc("30", "same");
  EXPECT_TRUE(blurred(unremapped)) << unremapped.r;
  const std::size_t before = renderer().messages().size();
  expect_same(disc("30", "checker"), unremapped, "a texture as remap shader");
  EXPECT_EQ(renderer().messages().size(), before + 3);
}

TEST_F(TexLookup, TheGuardWantsAPixelSampleInRangeAndAPrimaryRayOfTheImage) {
  const miTag t = lookup(filtering());
  // what differs from the eye ray through the centre pixel, and whether the lookup still filters
  const auto type = [](int k) { return [k](host::ShadingState &s) { s.state.type = k; }; };
  const auto level = [](int k) { return [k](host::ShadingState &s) { s.state.reflection_level = k; }; };
  // mi_query 116: pixel column, row, sample number and samples per pixel
  const auto sample = [](int x, int y, int n, int of) {
    return [=](host::ShadingState &s) {
      s.sample.pixel_x = x, s.sample.pixel_y = y, s.sample.sample_index = n, s.sample.samples_per_pixel = of;
    };
  };
  const std::vector<std::pair<Adjust, bool>> cases = {
      {[](host::ShadingState &) {}, true},
      {type(miRAY_TRANSPARENT), true}, {type(miRAY_REFLECT), true}, {type(miRAY_REFRACT), true},
      {type(miRAY_SHADOW), true}, {type(7), true}, {type(16), true}, {type(17), true}, {type(21), true},
      {type(22), true}, {type(25), true}, {type(26), true}, {type(28), true},
      {type(miRAY_FINALGATHER), false},  // final gathering and the photon types
      {type(8), false}, {type(9), false}, {type(10), false}, {type(11), false}, {type(12), false},
      {type(13), false}, {type(14), false}, {type(15), false}, {type(18), false}, {type(19), false},
      {type(23), false}, {type(24), false}, {type(27), false},
      {level(1), false}, {level(3), false}, {level(-1), false},
      {sample(0, 0, 0, 0), true}, {sample(100000, 100000, 100000, 100000), true},
      {sample(100001, 240, 0, 1), false}, {sample(320, 100001, 0, 1), false},
      {sample(320, 240, 100001, 1), false}, {sample(320, 240, 0, 100001), false},
      {sample(-1, 240, 0, 1), false}, {sample(320, -1, 0, 1), false}, {sample(320, 240, -1, 1), false},
      {sample(320, 240, 0, -1), false}, {sample(320, 240, 0, -2147483647 - 1), false},
      {[](host::ShadingState &s) { s.sample.has_pixel = false; }, false},  // made without the camera
  };
  for (std::size_t k = 0; k < cases.size(); ++k) {
    const miColor got = at_wall(t, cases[k].first);
    if (cases[k].second) {
      EXPECT_TRUE(blurred(got)) << "case " << k << ": " << got.r;
    } else {
      expect_same(got, {1, 1, 1, 1}, "case " + std::to_string(k));
    }
  }
}

TEST_F(TexLookup, TheSceneFlagOrAFocalOfExactlyOneMakesTheInstancePlain) {
  struct Case {
    const char *what;
    int scene_flag;
    float focal;
    bool filters;
  } cases[] = {
      {"focal 50", 0, 50.0f, true},
      {"focal just above 1", 0, std::nextafter(1.0f, 2.0f), true},
      {"focal just below 1", 0, std::nextafter(1.0f, 0.0f), true},
      {"focal 1", 0, 1.0f, false},
      {"scene flag", 1, 50.0f, false},
      {"scene flag -1", -1, 50.0f, false},
  };
  for (const Case &c : cases) {
    SceneData scene = Renderer::default_scene();
    scene.scene_flag = c.scene_flag;
    renderer().set_scene(scene);
    const miTag t = lookup(filtering(), [&](host::ShadingState &s) { s.camera.focal = c.focal; });
    renderer().set_scene(Renderer::default_scene());  // the flag counts at init only
    const miColor got = at_wall(t);
    if (c.filters) {
      EXPECT_TRUE(blurred(got)) << c.what << ": " << got.r;
    } else {
      expect_same(got, {1, 1, 1, 1}, c.what);
    }
  }
  // without a scene record the flag counts as 0
  renderer().clear_scene();
  EXPECT_TRUE(blurred(at_wall(lookup(filtering()))));
}

TEST_F(TexLookup, AFailingLookupFallsBackToPlainAndThenToTheSlotColour) {
  // a coordinate that is not a number: neither lookup can read it
  for (const char *x : {"nan", "inf", "-inf"}) {
    const miTag t = lookup(filtering({value("coord", {x, "0.5", "0"}), value("gamma", {"0.5"})}));
    const miColor colour{0.1f * 0.1f, 0.2f * 0.2f, 0.3f * 0.3f, 0.4f * 0.4f};
    for (const miColor &got : {at_wall(t), call(t)}) {
      EXPECT_FLOAT_EQ(got.r, colour.r) << x;
      EXPECT_FLOAT_EQ(got.g, colour.g) << x;
      EXPECT_FLOAT_EQ(got.b, colour.b) << x;
      EXPECT_FLOAT_EQ(got.a, colour.a) << x;
    }
  }
  // a texture tag that names no image
  const miTag stray = lookup({value("tex_0", {"987654"}), value("color_0", {"0.5", "0.5", "0.5", "1"})});
  expect_same(call(stray), {0.5f, 0.5f, 0.5f, 1}, "no image");
}

TEST_F(TexLookup, TheRecordIsReleasedUnderTheShadersOwnName) {
  const miTag t = lookup(filtering());
  EXPECT_EQ(renderer().held_bytes(t), sizeof(tex_lookup::InstanceData));
  host::ShadingState done;
  renderer().exit_instance(t, done.state);
  EXPECT_EQ(renderer().held_bytes(t), 0u);
  ASSERT_FALSE(renderer().releases().empty());
  EXPECT_EQ(renderer().releases().back().file, "tavo_Utility_TexLookup");
}

}  // namespace
}  // namespace tavo::test
