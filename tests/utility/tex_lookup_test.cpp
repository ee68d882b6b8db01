// Texture lookup: the selected slot read plainly at texel centres, the slot
// colour paths, the inverse gamma, and the filtered lookup with the guard
// (shared with the bump lookup) that lets it run where a pixel is seen.

#include "utility/tavo_Utility_TexLookup.h"
#include "host/scene_fixture.h"
#include "utility_fixture.h"

namespace tavo::test {
namespace {

const miColor kWhite{1, 1, 1, 1};

// A plain lookup at a white checker texel's centre gives exactly white; a
// filtered one averages over texels of both colours.
bool blurred(const miColor &c) { return c.r > 0.05f && c.r < 0.95f && c.r == c.g && c.r == c.b; }

class TexLookup : public LookupTest {
 protected:
  static miTag lookup(const std::vector<Assignment> &a, const Adjust &adjust_init = {}) {
    return instance("tavo_Utility_TexLookup", a, adjust_init);
  }
  static miColor plain(miTag t) {  // away from any pixel: the guard never lets a filtered lookup run
    host::ShadingState s;
    return call<miColor>(t, s);
  }
  // A filtering lookup of the checker at its white texel (0, 0); `more` overrides.
  static miTag filtering(std::vector<Assignment> more = {}, const Adjust &adjust_init = {}) {
    std::vector<Assignment> a = {value("coord", {centre(0, 64), centre(0, 64), "0"}), value("filter", {"on"}),
                                 value("disc_r", {"30"}), value("remap", {tag_of("same")}),
                                 value("tex_0", {tag_of("checker")}), value("color_0", {"0.1", "0.2", "0.3", "0.4"})};
    a.insert(a.end(), more.begin(), more.end());
    return lookup(a, adjust_init);
  }
  static bool filters(const Adjust &adjust, miTag t = 0) { return blurred(at_wall<miColor>(t ? t : filtering(), adjust)); }
};

TEST_F(TexLookup, PlainLookupsReadTheSelectedSlotAnIndexOutsideIsClamped) {
  for (const auto &[index, slot] : {std::pair{"3", 3}, {"-1", 0}, {"-2147483648", 0}, {"8", 7}, {"2147483647", 7}}) {
    const int i = slot, j = 7 - slot / 2;  // a texel of its own for each slot
    std::vector<Assignment> a = {value("coord", {centre(i, 8), centre(j, 8), "0.7"}), value("index", {index})};
    for (int k = 0; k < 8; ++k) a.push_back(value("tex_" + std::to_string(k), {tag_of(k == slot ? "ramp" : "checker")}));
    EXPECT_EQ(exact(plain(lookup(a))), exact(ramp_texel(i, j))) << "index " << index;
    a.insert(a.end(), {value("use_color", {"on"}), value("color_" + std::to_string(slot), {"0.5", "0.25", "0", "0.125"})});
    EXPECT_EQ(exact(plain(lookup(a))), "0.5 0.25 0 0.125") << "colour only, index " << index;
  }
}

TEST_F(TexLookup, TheSlotColourPathsEvaluateNeitherCoordNorOtherSlots) {
  // Tell-tales of an evaluation: the other slots' colours are connected to
  // "spy", and `coord` to a bump lookup, which bends the state's normal.
  const miTag bender = renderer().create_instance("tavo_Utility_BumpLookup",
                                                  {value("coord", {centre(3, 8), centre(2, 8), "0"}), value("u", {"1", "0", "0"}),
                                                   value("step", {"0.125", "0.125", "0"}), value("factor", {"1"}),
                                                   value("tex_0", {tag_of("ramp")})});
  std::vector<Assignment> base = {value("index", {"2"}), value("color_2", {"0.3", "0.6", "0.9", "0.5"}), link("coord", bender)};
  for (int k = 0; k < 8; ++k)
    if (k != 2) base.insert(base.end(), {link("color_" + std::to_string(k), tag("spy")), value("tex_" + std::to_string(k), {tag_of("checker")})});
  const std::tuple<std::vector<Assignment>, bool, bool> cases[] = {  // the slot colour? another slot's colour?
      {{value("use_color", {"on"}), value("tex_2", {tag_of("ramp")})}, true, false},
      {{}, true, false},  // an empty slot
      {{value("filter", {"on"}), value("remap", {tag_of("same")})}, true, false},
      {{value("tex_2", {tag_of("ramp")})}, false, false},  // the texture: coord is read
      {{value("index", {"3"}), value("use_color", {"on"})}, false, true},
  };
  for (const auto &[more, colour, other] : cases) {
    std::vector<Assignment> a = base;
    a.insert(a.end(), more.begin(), more.end());
    host::ShadingState s;
    const miColor got = call<miColor>(lookup(a), s);
    if (colour) {
      EXPECT_EQ(exact(got), "0.300000012 0.600000024 0.899999976 0.5");
    }
    EXPECT_EQ(s.state.child != nullptr, other);
    EXPECT_EQ(s.state.normal.x == 0, colour || other) << "coord evaluated";
  }
}

TEST_F(TexLookup, TheInverseGammaRaisesEveryChannelAlphaIncluded) {
  const std::pair<const char *, miColor> cases[] = {
      {"1", kTint}, {"2", {0.5f, 0.75f, std::sqrt(0.9999f), 0.25f}},
      {"0", {0, 0, std::pow(0.9999f, 10000.0f), 0}}};  // 0 stands for 0.0001: 0.9999^10000 is near 1/e, not 0
  // the slot colour with and without a texture, and the texture's own texel
  const std::vector<Assignment> paths[] = {{value("use_color", {"on"}), value("tex_0", {tag_of("ramp")})}, {},
                                           {value("tex_0", {tag_of("tint")})}};
  for (const auto &[gamma, want] : cases)
    for (const std::vector<Assignment> &path : paths) {
      std::vector<Assignment> a = {value("gamma", {gamma}), value("color_0", words(kTint)), value("coord", {"0.5", "0.5", "0"})};
      a.insert(a.end(), path.begin(), path.end());
      expect_near(plain(lookup(a)), want, 2e-7f * std::max(1.0f, want.a), gamma);
    }
}

TEST_F(TexLookup, TheFilteredLookupAveragesOverADiscAroundTheCoordinateShapedByTheRemap) {
  EXPECT_EQ(exact(at_wall<miColor>(filtering({value("filter", {"off"})}))), exact(kWhite));
  const miColor filtered = at_wall<miColor>(filtering());
  EXPECT_TRUE(blurred(filtered) && std::abs(filtered.a - 1) < 1e-6f) << exact(filtered);
  EXPECT_FLOAT_EQ(at_wall<miColor>(filtering({value("gamma", {"2"})})).r, std::sqrt(filtered.r)) << "then the inverse gamma";
  // over the linear ramp a symmetric disc averages to its centre: the coordinate's texel, not the wall's (4, 4)
  for (const auto &[i, j] : {std::pair{2, 5}, std::pair{5, 2}})
    expect_near(at_wall<miColor>(filtering({value("coord", {centre(i, 8), centre(j, 8), "0"}), value("disc_r", {"130"}),
                                            value("tex_0", {tag_of("ramp")})})),
                ramp_texel(i, j), 1e-5f, "filtered ramp");
  const auto disc = [&](const char *radius, const std::string &remap) {
    return exact(at_wall<miColor>(filtering({value("disc_r", {radius}), value("remap", {remap})})));
  };
  // a 0.3-pixel disc (for 0 and below too) is a twentieth of a texel, but "wide" scales it a hundredfold
  const std::string point_three = disc("0.3", tag_of("wide"));
  EXPECT_NE(point_three, exact(kWhite));
  EXPECT_EQ(disc("0", tag_of("wide")), point_three);
  EXPECT_EQ(disc("-2", tag_of("wide")), point_three);
  EXPECT_NE(disc("0.6", tag_of("wide")), point_three);
  for (const auto &[radius, remap] : {std::pair{"0.3", "same"}, {"30", "flat"}, {"nan", "wide"}, {"30", ""}})  // white: plain
    EXPECT_EQ(disc(radius, *remap ? tag_of(remap) : "0"), exact(kWhite)) << radius << " " << remap;
  // a remap tag that names no shader: its three failing calls leave the points as projected
  const std::size_t before = renderer().messages().size();
  EXPECT_EQ(disc("30", tag_of("checker")), disc("30", tag_of("same")));
  EXPECT_EQ(renderer().messages().size(), before + 3);
}

TEST_F(TexLookup, TheGuardWantsAPixelSampleInRangeAPrimaryRayAndNoPlainFlag) {
  const miTag t = filtering();
  for (int type = 0; type <= 28; ++type) {  // final gathering and the photon ray types see no pixel
    const bool photon = type == 20 || (type >= 8 && type <= 15) || type == 18 || type == 19 || type == 23 || type == 24 || type == 27;
    EXPECT_EQ(filters([=](host::ShadingState &s) { s.state.type = type; }, t), !photon) << type;
  }
  for (const int level : {1, -1}) EXPECT_FALSE(filters([=](host::ShadingState &s) { s.state.reflection_level = level; }, t));
  EXPECT_FALSE(filters([](host::ShadingState &s) { s.sample.has_pixel = false; }, t));
  // mi_query 116: pixel column, row, sample number and samples per pixel, each in 0 to 100000
  for (const auto &[x, y, n, of] : {std::array{0, 0, 0, 0}, {100000, 100000, 100000, 100000}, {320, 100001, 0, 1},
                                    {320, 240, 0, 100001}, {-1, 240, 0, 1}, {320, 240, 0, -1}}) {
    const bool in_range = std::max({x, y, n, of}) <= 100000 && std::min({x, y, n, of}) >= 0;
    EXPECT_EQ(filters([&](host::ShadingState &s) { s.sample.pixel_x = x, s.sample.pixel_y = y, s.sample.sample_index = n, s.sample.samples_per_pixel = of; }, t),
              in_range) << x << " " << y << " " << n << " " << of;
  }
  // at init, the scene's flag or a focal length of exactly 1 makes the instance plain
  for (const auto &[flag, focal, plain] :
       {std::tuple{0, std::nextafter(1.0f, 2.0f), false}, {0, 1.0f, true}, {1, 50.0f, true}, {-1, 50.0f, true}}) {
    SceneData scene = Renderer::default_scene();
    scene.scene_flag = flag;
    renderer().set_scene(scene);
    const miTag u = filtering({}, [&](host::ShadingState &s) { s.camera.focal = focal; });
    renderer().set_scene(Renderer::default_scene());  // counts at init only
    EXPECT_EQ(filters({}, u), !plain) << flag << " " << focal;
  }
  renderer().clear_scene();  // no scene record: no flag
  EXPECT_TRUE(filters({}));
}

TEST_F(TexLookup, AFailingLookupFallsBackToPlainThenToTheSlotColour) {
  for (const char *x : {"nan", "inf", "-inf"}) {
    const miTag t = filtering({value("coord", {x, "0.5", "0"}), value("gamma", {"0.5"})});
    for (const miColor &got : {at_wall<miColor>(t), plain(t)}) expect_near(got, {0.01f, 0.04f, 0.09f, 0.16f}, 1e-7f, x);
  }
  const miTag stray = lookup({value("tex_0", {"987654"}), value("color_0", {"0.5", "0.5", "0.5", "1"})});
  EXPECT_EQ(exact(plain(stray)), "0.5 0.5 0.5 1") << "a texture tag that names no image";
  EXPECT_EQ(renderer().held_bytes(stray), sizeof(tex_lookup::InstanceData));
  host::ShadingState done;
  renderer().exit_instance(stray, done.state);
  EXPECT_EQ(renderer().held_bytes(stray), 0u);
  EXPECT_EQ(renderer().releases().back().file, "tavo_Utility_TexLookup");
}

}  // namespace
}  // namespace tavo::test
