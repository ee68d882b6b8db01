// Decal material: host materials laid over a base material in the texture
// space of the state's first texture coordinate, shaded through the host's
// CallMaterial with the host's helper shaders as materials.
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>

#include "host/scene_fixture.h"
#include "layout_registry.h"
#include "scene/tavo_decal.h"
#include "values.h"

namespace tavo::test {
namespace {

using decal::Params;
TAVO_LAYOUT("tavo_decal", Parameters, Params, TAVO_FIELD(Params, material),
            FieldLayout{"decal_materials", offsetof(Params, i_decal_materials)},
            FieldLayout{"corner_0_1", offsetof(Params, i_corner_0_1)},
            FieldLayout{"corner_1_1", offsetof(Params, i_corner_1_1)},
            FieldLayout{"corner_1_0", offsetof(Params, i_corner_1_0)},
            FieldLayout{"corner_0_0", offsetof(Params, i_corner_0_0)});

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr const char *kWarning = "Decal parameter arrays are not the same size. Using the common minimum.";

// Materials the decals use: a base colour and one decal colour at four alphas.
constexpr const char *kMaterials = R"(
  material "base" "tavo_host_constant" ( "color" 0.2 0.4 0.6 0.8 ) end material
  material "opaque" "tavo_host_constant" ( "color" 1 0.5 0.25 1 ) end material
  material "faint" "tavo_host_constant" ( "color" 1 0.5 0.25 0.02 ) end material
  material "half" "tavo_host_constant" ( "color" 1 0.5 0.25 0.5 ) end material
  material "clear" "tavo_host_constant" ( "color" 1 0.5 0.25 0 ) end material
  material "thirty" "tavo_host_constant" ( "color" 1 0.5 0.25 0.3 ) end material
  material "half_blue" "tavo_host_constant" ( "color" 0 0 1 0.5 ) end material
  # returns false, but writes its colour: no texture to look up
  material "failing" "tavo_host_texture" ( "color" 0.3 0.3 0.3 1 ) end material
)";

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
  miVector tex;  // the state's first texture coordinate afterwards
};

const miColor kUntouched{-1, -2, -3, -4};

class Decals : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    load(kMaterials);
  }

  static std::vector<std::string> words(const miVector &v) {
    return {host::format_scalar(v.x), host::format_scalar(v.y), host::format_scalar(v.z)};
  }

  // A decal instance over `base` ("" for none). `counts` gives each array's
  // length in declaration order (materials, 0_1, 1_1, 1_0, 0_0); by default
  // every array holds all decals.
  static miTag make(const std::string &base, const std::vector<Decal> &decals,
                    std::optional<std::array<std::size_t, 5>> counts = {}) {
    const std::array<std::size_t, 5> n = counts.value_or(std::array<std::size_t, 5>{
        decals.size(), decals.size(), decals.size(), decals.size(), decals.size()});
    std::vector<Assignment> a;
    if (!base.empty()) a.push_back(value("material", {std::to_string(tag(base))}));
    const auto at = [](const char *name, std::size_t k) { return std::string(name) + "[" + std::to_string(k) + "]"; };
    for (std::size_t k = 0; k < n[0]; ++k)
      a.push_back(value(at("decal_materials", k),
                        {decals[k].material.empty() ? "0" : std::to_string(tag(decals[k].material))}));
    for (std::size_t k = 0; k < n[1]; ++k) a.push_back(value(at("corner_0_1", k), words(decals[k].c01)));
    for (std::size_t k = 0; k < n[2]; ++k) a.push_back(value(at("corner_1_1", k), words(decals[k].c11)));
    for (std::size_t k = 0; k < n[3]; ++k) a.push_back(value(at("corner_1_0", k), words(decals[k].c10)));
    for (std::size_t k = 0; k < n[4]; ++k) a.push_back(value(at("corner_0_0", k), words(decals[k].c00)));
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
    out.tex = s.tex_list[0];
    return out;
  }

  static void expect_color(const miColor &got, const miColor &want, const char *what) {
    EXPECT_EQ(got.r, want.r) << what;
    EXPECT_EQ(got.g, want.g) << what;
    EXPECT_EQ(got.b, want.b) << what;
    EXPECT_EQ(got.a, want.a) << what;
  }

  static void expect_vector(const miVector &got, const miVector &want, const char *what) {
    EXPECT_EQ(got.x, want.x) << what;
    EXPECT_EQ(got.y, want.y) << what;
    EXPECT_EQ(got.z, want.z) << what;
  }
};

TEST_F(Decals, APointInsideADecalTakesItsDecalCoordinates) {
  // Decals without a material: only the texture coordinate moves.
  const Decal unit = square("", 0, 0, 1);
  const Decal offset = square("", 2, 2, 2);  // decal coordinates differ from the texture coordinate
  const Decal skewed{"", {2, 1, 0}, {4, 1.5f, 0}, {1.5f, 3, 0}, {3.5f, 3.5f, 0}};
  const Decal flat{"", {0, 0, 0}, {0, 0, 0}, {0, 1, 0}, {0, 1, 0}};  // no width: s is 0 / 0
  struct Case {
    const char *what;
    Decal decal;
    miVector at;
    bool inside;
    miVector coordinates;
  } cases[] = {
      {"the middle", unit, {0.5f, 0.25f, 0}, true, {0.5f, 0.25f, 0}},
      {"s = 0 on the edge", offset, {2, 3, 0}, true, {0, 0.5f, 0}},
      {"t = 1 on the edge", offset, {3, 4, 0}, true, {0.5f, 1, 0}},
      {"t = 0 on the edge", offset, {3.5f, 2, 0}, true, {0.75f, 0, 0}},
      {"the origin", offset, {2, 2, 0}, true, {0, 0, 0}},
      {"the far corner", offset, {4, 4, 0}, true, {1, 1, 0}},
      {"just past s = 1", unit, {1.00000012f, 0.5f, 0}, false, {}},
      {"just below t = 0", unit, {0.5f, -1e-7f, 0}, false, {}},
      {"just below s = 0", offset, {1.99999988f, 3, 0}, false, {}},
      {"z takes no part and comes back 0", {"", {0, 0, 3}, {1, 0, -3}, {0, 1, 9}, {1, 1, 0}}, {0.5f, 0.5f, 7}, true,
       {0.5f, 0.5f, 0}},
      {"a parallelogram: projections as fractions of its edges", skewed, {2.8f, 2.1f, 0}, true,
       {0.505882323f, 0.423529387f, 0}},
      {"outside a parallelogram", skewed, {4.1f, 1.5f, 0}, false, {}},
      {"an edge of length 0 contains nothing", flat, {0, 0.5f, 0}, false, {}},
      {"a coordinate that is not a number", unit, {kNaN, 0.5f, 0}, false, {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const Shaded got = shade(make("base", {c.decal}), c.at);
    EXPECT_TRUE(got.returned);
    expect_color(got.color, {0.2f, 0.4f, 0.6f, 0.8f}, "a decal without material changes no colour");
    if (c.inside) {
      expect_vector(got.tex, c.coordinates, "decal coordinates");
    } else if (std::isnan(c.at.x)) {
      EXPECT_TRUE(std::isnan(got.tex.x));
    } else {
      expect_vector(got.tex, c.at, "left as it was");
    }
  }
}

TEST_F(Decals, TheDecalColourIsBlendedByItsAlphaAndTheBaseAlphaStays) {
  struct Case {
    const char *material;
    miColor expected;
  } cases[] = {
      {"opaque", {1, 0.5f, 0.25f, 0.8f}},                                  // w = 1, k = 0
      {"faint", {0.2f, 0.4f, 0.6f, 0.8f}},                                 // alpha 0.02: w = 0
      {"half", {0.591836691f, 0.448979586f, 0.428571433f, 0.8f}},          // w = 0.489795893
      {"clear", {0.183673471f, 0.397959203f, 0.607142866f, 0.8f}},         // w = -0.0204081628: the base brightens
      // w = 0.285714298 by the factor 1.0204082; a division by 0.98 would give 0.285714269
      {"thirty", {0.428571463f, 0.428571463f, 0.50000006f, 0.8f}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.material);
    const Shaded with_base = shade(make("base", {square(c.material, 0, 0, 1)}), {0.5f, 0.5f, 0});
    EXPECT_TRUE(with_base.returned);
    expect_color(with_base.color, c.expected, "over the base material");
    // without a base material the colour the caller passed in is the one blended over
    const Shaded bare = shade(make("", {square(c.material, 0, 0, 1)}), {0.5f, 0.5f, 0}, {0.2f, 0.4f, 0.6f, 0.8f});
    EXPECT_TRUE(bare.returned);
    expect_color(bare.color, c.expected, "over the caller's colour");
  }
}

TEST_F(Decals, TheDecalMaterialIsShadedAtTheDecalCoordinates) {
  // A checker on the texture coordinate: white at (1, 3), where the point
  // is, black at its decal coordinates (0.25, 0.75).
  load(R"(
    shader "uv" "tavo_host_coord" ( "space" 0 )
    shader "squares" "tavo_host_checker" ( "coord" = "uv", "color_a" 1 1 1 1, "color_b" 0 0 0 1, "frequency" 2 )
    material "checker" = "squares" end material
  )");
  const Shaded got = shade(make("base", {square("checker", 0, 0, 4)}), {1, 3, 0});
  expect_color(got.color, {0, 0, 0, 0.8f}, "black");
  expect_vector(got.tex, {0.25f, 0.75f, 0}, "replaced and not restored");
}

TEST_F(Decals, ALaterDecalIsTestedAgainstTheEarlierDecalsCoordinates) {
  // The point (1, 1.5) lies at (0.5, 0.75) of the first decal.
  const Decal first = square("opaque", 0, 0, 2);
  const Decal around_new{"half_blue", {0.4f, 0.7f, 0}, {0.6f, 0.7f, 0}, {0.4f, 0.8f, 0}, {0.6f, 0.8f, 0}};
  const Decal around_old = square("half_blue", 0.9f, 1.4f, 0.2f);
  const Shaded both = shade(make("base", {first, around_new}), {1, 1.5f, 0});
  expect_color(both.color, {0.510204077f, 0.255102038f, 0.617346883f, 0.8f}, "half blue over opaque over base");
  expect_vector(both.tex, {0.49999994f, 0.5f, 0}, "the second decal's coordinates");
  const Shaded one = shade(make("base", {first, around_old}), {1, 1.5f, 0});
  expect_color(one.color, {1, 0.5f, 0.25f, 0.8f}, "only the first decal");
  expect_vector(one.tex, {0.5f, 0.75f, 0}, "the first decal's coordinates");
  // on its own the second one would have covered the point
  const Shaded alone = shade(make("base", {around_old}), {1, 1.5f, 0});
  expect_color(alone.color, {0.10204082f, 0.20408164f, 0.795918345f, 0.8f}, "half blue over base");
}

TEST_F(Decals, ArraysOfDifferentLengthsUseTheCommonMinimumAndWarnOnce) {
  // Decal 0 lies elsewhere; decals 1 ("half") and 2 ("opaque") both cover the point.
  const std::vector<Decal> decals = {square("opaque", 10, 10, 1), square("half", 0, 0, 1), square("opaque", 0, 0, 1)};
  const miColor base{0.2f, 0.4f, 0.6f, 0.8f};
  const miColor half{0.591836691f, 0.448979586f, 0.428571433f, 0.8f};
  const miColor opaque{1, 0.5f, 0.25f, 0.8f};
  struct Case {
    std::array<std::size_t, 5> counts;
    bool warned;
    miColor expected;
  } cases[] = {
      {{3, 3, 3, 3, 3}, false, opaque},
      {{3, 3, 2, 3, 3}, true, half},  // the fourth corners are not read, but their count counts
      {{2, 3, 3, 3, 3}, true, half},
      {{3, 3, 3, 3, 1}, true, base},
      {{3, 0, 3, 3, 3}, true, base},  // no decals: returns true with the base colour
      {{3, 4, 5, 4, 3}, true, opaque},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.counts));
    std::vector<Decal> padded = decals;
    padded.resize(5, square("opaque", 0, 0, 1));
    const std::size_t before = renderer().messages().size();
    const miTag decal = make("base", padded, c.counts);
    for (int call = 0; call < 2; ++call) {
      const Shaded got = shade(decal, {0.5f, 0.5f, 0});
      EXPECT_TRUE(got.returned);
      expect_color(got.color, c.expected, "decals used");
    }
    const auto messages = renderer().messages();
    ASSERT_EQ(messages.size() - before, c.warned ? 1u : 0u) << "once per instance init, not per call";
    if (c.warned) {
      EXPECT_EQ(messages.back().level, "warning");
      EXPECT_EQ(messages.back().text, kWarning);
    }
  }
}

TEST_F(Decals, WithoutDecalProjectionTheBaseMaterialDecides) {
  // The host projects decals where the state has a texture space (query 140 gives 1).
  struct Case {
    const char *what;
    std::string base;
    bool with_decal;
    int texture_spaces;
    miBoolean returned;
    miColor color;
  } cases[] = {
      {"no projection: the base material's colour and answer", "base", true, 0, miTRUE, {0.2f, 0.4f, 0.6f, 0.8f}},
      {"no projection, a failing base material", "failing", true, 0, miFALSE, {0.3f, 0.3f, 0.3f, 1}},
      {"no projection, no base material: false, untouched", "", true, 0, miFALSE, kUntouched},
      {"projection without decals: true even though the base failed", "failing", false, 1, miTRUE,
       {0.3f, 0.3f, 0.3f, 1}},
      {"projection without decals or base material", "", false, 1, miTRUE, kUntouched},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const miTag decal = make(c.base, c.with_decal ? std::vector<Decal>{square("opaque", 0, 0, 1)} : std::vector<Decal>{});
    const Shaded got = shade(decal, {0.5f, 0.5f, 0}, kUntouched, c.texture_spaces);
    EXPECT_EQ(got.returned, c.returned);
    expect_color(got.color, c.color, "result");
    expect_vector(got.tex, {0.5f, 0.5f, 0}, "no decal ran");
  }
}

TEST_F(Decals, DecalMaterialsShadeAtFullRefractionDepth) {
  // A mirror material: with trace depth 1 (reflection) 3 (refraction) 3
  // (total) it sees the sky only while reflection + refraction level < 3.
  load(R"(
    shader "sky" "tavo_host_constant" ( "color" 0.1 0.2 0.3 1 )
    material "green_mirror" "tavo_host_material" ( "color" 0 1 0 1, "reflect" 1 ) end material
    camera "c" environment = "sky" end camera
    options "o" trace on trace depth 1 3 3 end options
  )");
  const miTag decal = make("base", {square("green_mirror", 0, 0, 1)});
  host::ShadingState s;
  s.tex_list[0] = {0.5f, 0.5f, 0};
  s.state.refraction_level = 1;
  renderer().init_instance(decal, s.state);
  miColor out{};
  ASSERT_TRUE(renderer().call(decal, &out, s.state));
  expect_color(out, {0, 1, 0, 0.8f}, "no reflection traced: refraction level 3 during the call");
  EXPECT_EQ(s.state.refraction_level, 1);  // restored
  // the same material called straight from this state does see the sky
  miColor direct{};
  ASSERT_TRUE(CallMaterial(&direct, &s.state, tag("green_mirror"), 0));
  expect_near(direct, {0.1f, 0.2f, 0.3f, 1}, 0, "reflection traced");
}

TEST_F(Decals, TheInstanceRecordLivesFromInitToTheClearingExit) {
  const miTag decal_tag = make("base", {square("opaque", 0, 0, 1), square("", 2, 2, 1)});
  host::ShadingState s;
  renderer().init_instance(decal_tag, s.state);
  host::Instance *inst = renderer().instance(decal_tag);
  ASSERT_NE(inst->user_pointer, nullptr);
  EXPECT_EQ(renderer().held_bytes(decal_tag), sizeof(decal::InstanceData));
  const auto *record = static_cast<const decal::InstanceData *>(inst->user_pointer);
  EXPECT_EQ(record->material, tag("base"));
  EXPECT_EQ(record->decal_count, 2);
  // the pointers reach into the instance's own parameter storage, at each array's index
  const auto *paras = reinterpret_cast<const decal::Params *>(inst->parameters());
  EXPECT_EQ(record->decal_materials, paras->decal_materials + paras->i_decal_materials);
  EXPECT_EQ(record->corner_1_1, paras->corner_1_1 + paras->i_corner_1_1);
  EXPECT_EQ(record->corner_0_0[1].x, 2.0f);
  renderer().exit_instance(decal_tag, s.state);
  EXPECT_EQ(inst->user_pointer, nullptr);
  EXPECT_EQ(renderer().held_bytes(), 0u);
  ASSERT_EQ(renderer().releases().size(), 1u);
  EXPECT_EQ(renderer().releases()[0].file, "tavo_decal");
}

TEST_F(Decals, TheExampleSceneLaysALabelAndAStainOverTheTiles) {
  const std::string library_dir = std::filesystem::path(TAVO_LIBRARY).parent_path().string();
  const host::LoadedScene scene = host::load_scene(std::string(TAVO_EXAMPLES) + "/decals.mi", {library_dir});
  const miTag floor = renderer().shader_of(tag("floor"));
  const miTag tiles = renderer().shader_of(tag("tiles_material"));
  const miTag image = tag("sand_and_slate");
  ASSERT_NE(floor, 0u);
  const auto at = [&](int x, int y) {
    const host::PixelEvaluation e = host::evaluate_at_pixel(*scene.scene, scene.instances, floor, x, y, {miRAY_EYE});
    EXPECT_TRUE(e.hit);
    EXPECT_TRUE(e.calls.front().returned);
    miColor c;
    std::memcpy(&c, e.calls.front().result.data(), sizeof c);
    return std::make_pair(c, e.texture);
  };
  const auto tile_at = [&](miVector tex) {
    host::ShadingState s;
    s.tex_list[0] = tex;
    miColor c{};
    renderer().init_instance(tiles, s.state);
    renderer().call(tiles, &c, s.state);
    return c;
  };

  // Outside both decals: the tiles.
  const auto [outside, outside_tex] = at(90, 90);
  expect_color(outside, tile_at(outside_tex), "tiles");

  // In the label (texture 0.1..0.5 by 0.5..0.9): the image stretched over the decal.
  const auto [label, label_tex] = at(32, 27);
  miVector decal_coordinates{(label_tex.x - 0.1f) / 0.4f, (label_tex.y - 0.5f) / 0.4f, 0};
  miColor texel{};
  ASSERT_TRUE(mi_lookup_color_texture(&texel, nullptr, image, &decal_coordinates));
  expect_near(label, {texel.r, texel.g, texel.b, 1}, 1e-5f, "the label");

  // In the stain: about half the stain's colour over the tiles.
  const auto [stain, stain_tex] = at(75, 75);
  const miColor under = tile_at(stain_tex);
  expect_near(stain, {0.5f * 0.3f + 0.5f * under.r, 0.5f * 0.15f + 0.5f * under.g, 0.5f * 0.05f + 0.5f * under.b, 1},
              1e-6f, "the stain");
  EXPECT_TRUE(renderer().messages().empty());
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

}  // namespace
}  // namespace tavo::test
