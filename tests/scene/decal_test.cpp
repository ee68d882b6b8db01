// Decal material: host materials laid over a base material in the texture
// space of the state's first texture coordinate, shaded through the host's
// CallMaterial with the host's helper shaders as materials.
#include <array>
#include <cmath>
#include <limits>

#include "host/scene_fixture.h"
#include "scene/tavo_decal.h"

namespace tavo::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const miColor kUntouched{-1, -2, -3, -4};
const miColor kBase{0.2f, 0.4f, 0.6f, 0.8f};
const miColor kOpaque{1, 0.5f, 0.25f, 0.8f};                              // w = 1, k = 0
const miColor kHalf{0.591836691f, 0.448979586f, 0.428571433f, 0.8f};      // w = 0.489795893

// A decal: its material's name ("" for none) and its corners by decal coordinates.
struct Decal {
  std::string material;
  miVector c00, c10, c01, c11;
};
Decal square(std::string material, float x, float y, float size) {
  return {std::move(material), {x, y, 0}, {x + size, y, 0}, {x, y + size, 0}, {x + size, y + size, 0}};
}

struct Shaded {
  miBoolean returned;
  miColor color;
  std::string tex;  // the state's first texture coordinate afterwards
};

class Decals : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    load(R"(
      material "base" "tavo_host_constant" ( "color" 0.2 0.4 0.6 0.8 ) end material
      material "opaque" "tavo_host_constant" ( "color" 1 0.5 0.25 1 ) end material
      material "faint" "tavo_host_constant" ( "color" 1 0.5 0.25 0.02 ) end material
      material "half" "tavo_host_constant" ( "color" 1 0.5 0.25 0.5 ) end material
      material "clear" "tavo_host_constant" ( "color" 1 0.5 0.25 0 ) end material
      material "thirty" "tavo_host_constant" ( "color" 1 0.5 0.25 0.3 ) end material
      material "half_blue" "tavo_host_constant" ( "color" 0 0 1 0.5 ) end material
      # returns false, but writes its colour: no texture to look up
      material "failing" "tavo_host_texture" ( "color" 0.3 0.3 0.3 1 ) end material
    )");
  }

  // A decal instance over `base` ("" for none); `n` caps each array's length
  // in declaration order (materials, 0_1, 1_1, 1_0, 0_0).
  static miTag make(const std::string &base, const std::vector<Decal> &decals, std::array<std::size_t, 5> n = {9, 9, 9, 9, 9}) {
    std::vector<Assignment> a;
    if (!base.empty()) a.push_back(value("material", {std::to_string(tag(base))}));
    const char *arrays[] = {"decal_materials", "corner_0_1", "corner_1_1", "corner_1_0", "corner_0_0"};
    for (std::size_t k = 0; k < 5; ++k)
      for (std::size_t i = 0; i < std::min(n[k], decals.size()); ++i) {
        const Decal &d = decals[i];
        const miVector &c = k == 1 ? d.c01 : k == 2 ? d.c11 : k == 3 ? d.c10 : d.c00;
        a.push_back(value(std::string(arrays[k]) + "[" + std::to_string(i) + "]",
                          k == 0 ? std::vector<std::string>{d.material.empty() ? "0" : std::to_string(tag(d.material))} : words(c)));
      }
    return renderer().create_instance("tavo_decal", a);
  }

  // One call at texture coordinate `at`, with the result starting as `start`.
  static Shaded shade(miTag decal, miVector at, miColor start = kUntouched, int texture_spaces = 1) {
    host::ShadingState s;
    s.tex_list[0] = at;
    s.state.texture_spaces = texture_spaces;
    renderer().init_instance(decal, s.state);
    Shaded out{miFALSE, start, {}};
    out.returned = renderer().call(decal, &out.color, s.state);
    out.tex = exact(s.tex_list[0]);
    return out;
  }
};

TEST_F(Decals, APointTakesTheCoordinatesAndTheColourOfTheDecalsThatCoverIt) {
  // A checker on the texture coordinate: white at (1, 3), where the point is,
  // black at its decal coordinates (0.25, 0.75), which stay in the state.
  load(R"(
    shader "uv" "tavo_host_coord" ( "space" 0 )
    shader "squares" "tavo_host_checker" ( "coord" = "uv", "color_a" 1 1 1 1, "color_b" 0 0 0 1, "frequency" 2 )
    material "checker" = "squares" end material
  )");
  // Decals without a material: only the texture coordinate moves.
  const Decal unit = square("", 0, 0, 1), offset = square("", 2, 2, 2);
  const Decal skewed{"", {2, 1, 0}, {4, 1.5f, 0}, {1.5f, 3, 0}, {3.5f, 3.5f, 0}};
  const Decal flat{"", {0, 0, 0}, {0, 0, 0}, {0, 1, 0}, {0, 1, 0}};     // no width: s is 0 / 0
  const Decal tilted{"", {0, 0, 3}, {1, 0, -3}, {0, 1, 9}, {1, 1, 0}};  // z takes no part and comes back 0
  // The point (1, 1.5) lies at (0.5, 0.75) of `first`; the second decal
  // covers that, or the point itself (which it would on its own).
  const Decal first = square("opaque", 0, 0, 2), around_old = square("half_blue", 0.9f, 1.4f, 0.2f);
  const Decal around_new{"half_blue", {0.4f, 0.7f, 0}, {0.6f, 0.7f, 0}, {0.4f, 0.8f, 0}, {0.6f, 0.8f, 0}};
  struct Case {
    std::vector<Decal> decals;
    miVector at;
    miColor colour;
    const char *tex;  // null: outside, left as it was
  };
  std::vector<Case> cases = {
      {{offset}, {2, 3, 0}, kBase, "0 0.5 0"},        {{offset}, {3.5f, 2, 0}, kBase, "0.75 0 0"},
      {{offset}, {4, 4, 0}, kBase, "1 1 0"},          {{unit}, {1.00000012f, 0.5f, 0}, kBase, nullptr},
      {{offset}, {1.99999988f, 3, 0}, kBase, nullptr}, {{unit}, {0.5f, -1e-7f, 0}, kBase, nullptr},
      {{tilted}, {0.5f, 0.5f, 7}, kBase, "0.5 0.5 0"},
      {{skewed}, {2.8f, 2.1f, 0}, kBase, "0.505882323 0.423529387 0"},  // fractions of the edges
      {{skewed}, {4.1f, 1.5f, 0}, kBase, nullptr},    {{flat}, {0, 0.5f, 0}, kBase, nullptr},
      {{unit}, {kNaN, 0.5f, 0}, kBase, nullptr},
      {{square("checker", 0, 0, 4)}, {1, 3, 0}, {0, 0, 0, 0.8f}, "0.25 0.75 0"},
      {{first, around_new}, {1, 1.5f, 0}, {0.510204077f, 0.255102038f, 0.617346883f, 0.8f}, "0.49999994 0.5 0"},
      {{first, around_old}, {1, 1.5f, 0}, kOpaque, "0.5 0.75 0"},
      {{around_old}, {1, 1.5f, 0}, {0.10204082f, 0.20408164f, 0.795918345f, 0.8f}, "0.5 0.5 0"}};
  // The decal colour blended by its alpha (0.02 weighs 0) over the base.
  const std::pair<const char *, miColor> blends[] = {
      {"opaque", kOpaque}, {"faint", kBase}, {"half", kHalf},
      {"clear", {0.183673471f, 0.397959203f, 0.607142866f, 0.8f}},  // w = -0.0204081628: the base brightens
      // w = 0.285714298 by the factor 1.0204082; a division by 0.98 would give 0.285714269
      {"thirty", {0.428571463f, 0.428571463f, 0.50000006f, 0.8f}}};
  for (const auto &[material, colour] : blends) cases.push_back({{square(material, 0, 0, 1)}, {0.5f, 0.5f, 0}, colour, "0.5 0.5 0"});
  for (const Case &c : cases) {
    SCOPED_TRACE(exact(c.at));
    for (const Shaded &got : {shade(make("base", c.decals), c.at), shade(make("", c.decals), c.at, kBase)}) {
      EXPECT_TRUE(got.returned);  // without a base, over the caller's colour
      expect_near(got.color, c.colour, 0, c.tex ? c.tex : "outside");
      EXPECT_EQ(got.tex, c.tex ? c.tex : exact(c.at));
    }
  }
}

TEST_F(Decals, ArraysOfDifferentLengthsUseTheCommonMinimumAndWarnOnce) {
  // Decal 0 lies elsewhere; decals 1 ("half") and 2 ("opaque") both cover the point.
  const std::vector<Decal> decals = {square("opaque", 10, 10, 1), square("half", 0, 0, 1), square("opaque", 0, 0, 1),
                                     square("opaque", 0, 0, 1), square("opaque", 0, 0, 1)};
  const std::pair<std::array<std::size_t, 5>, miColor> cases[] = {  // the fourth corners are not read, but their count counts
      {{3, 3, 3, 3, 3}, kOpaque}, {{3, 3, 2, 3, 3}, kHalf}, {{3, 3, 3, 3, 1}, kBase}, {{3, 4, 5, 4, 3}, kOpaque}};
  for (const auto &[counts, expected] : cases) {
    const bool same = counts == std::array<std::size_t, 5>{3, 3, 3, 3, 3};
    const std::size_t before = renderer().messages().size();
    const miTag decal = make("base", decals, counts);
    for (int call = 0; call < 2; ++call) {
      const Shaded got = shade(decal, {0.5f, 0.5f, 0});
      EXPECT_TRUE(got.returned);
      expect_near(got.color, expected, 0, testing::PrintToString(counts).c_str());
    }
    const auto messages = renderer().messages();
    ASSERT_EQ(messages.size() - before, same ? 0u : 1u) << "once per instance init, not per call";
    if (!same) {
      EXPECT_EQ(messages.back().level + ": " + messages.back().text,
                "warning: Decal parameter arrays are not the same size. Using the common minimum.");
    }
  }
}

TEST_F(Decals, WithoutDecalProjectionTheBaseMaterialDecides) {
  // The host projects decals where the state has a texture space (query 140 gives 1).
  const miColor failed{0.3f, 0.3f, 0.3f, 1};
  const std::tuple<const char *, bool, int, miBoolean, miColor> cases[] = {  // base, a decal, spaces: answer, colour
      {"base", true, 0, miTRUE, kBase},      {"failing", true, 0, miFALSE, failed}, {"", true, 0, miFALSE, kUntouched},
      {"failing", false, 1, miTRUE, failed},  // projection without decals: true though the base failed
      {"", false, 1, miTRUE, kUntouched}};
  for (const auto &[base, with_decal, spaces, returned, colour] : cases) {
    const Shaded got = shade(make(base, with_decal ? std::vector{square("opaque", 0, 0, 1)} : std::vector<Decal>{}), {0.5f, 0.5f, 0},
                             kUntouched, spaces);
    EXPECT_EQ(got.returned, returned) << base << " " << spaces;
    expect_near(got.color, colour, 0, base);
    EXPECT_EQ(got.tex, "0.5 0.5 0") << "no decal ran";
  }
}

TEST_F(Decals, DecalMaterialsShadeAtFullRefractionDepthAndTheRecordGoesAtTheClearingExit) {
  // A mirror material: with trace depth 1 (reflection) 3 (refraction) 3
  // (total) it sees the sky only while reflection + refraction level < 3.
  load(R"(
    shader "sky" "tavo_host_constant" ( "color" 0.1 0.2 0.3 1 )
    material "green_mirror" "tavo_host_material" ( "color" 0 1 0 1, "reflect" 1 ) end material
    camera "c" environment = "sky" end camera
    options "o" trace on trace depth 1 3 3 end options
  )");
  const miTag decal = make("base", {square("green_mirror", 0, 0, 1), square("", 2, 2, 1)});
  host::ShadingState s;
  s.tex_list[0] = {0.5f, 0.5f, 0};
  s.state.refraction_level = 1;
  renderer().init_instance(decal, s.state);
  EXPECT_EQ(renderer().held_bytes(decal), sizeof(decal::InstanceData));
  miColor out{};
  ASSERT_TRUE(renderer().call(decal, &out, s.state));
  expect_near(out, {0, 1, 0, 0.8f}, 0, "no reflection traced: refraction level 3 during the call");
  EXPECT_EQ(s.state.refraction_level, 1);  // restored
  ASSERT_TRUE(CallMaterial(&out, &s.state, tag("green_mirror"), 0));
  expect_near(out, {0.1f, 0.2f, 0.3f, 1}, 0, "called straight from this state it sees the sky");
  renderer().exit_instance(decal, s.state);
  EXPECT_EQ(renderer().instance(decal)->user_pointer, nullptr);
  EXPECT_EQ(renderer().held_bytes(), 0u);
  ASSERT_EQ(renderer().releases().size(), 1u);
  EXPECT_EQ(renderer().releases()[0].file, "tavo_decal");
}

}  // namespace
}  // namespace tavo::test
