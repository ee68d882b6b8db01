// Multi mixer: the 21 blend modes, masks and weights, single-layer and grey
// output, normal mode, the request each layer shader is handed, and stacks
// that are empty or fail. Layers are the host's helper that reports its request.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include "host/scene_fixture.h"
#include "layout_registry.h"
#include "utility/tavo_Utility_MultiMixer.h"

namespace tavo::test {
namespace {

using multi_mixer::MixerLayer;
using multi_mixer::Params;
TAVO_LAYOUT("tavo_Utility_MultiMixer", Parameters, Params, (FieldLayout{"layers", offsetof(Params, i_layers)}),
            TAVO_FIELD(Params, layer_index), TAVO_FIELD(Params, single_layer), TAVO_FIELD(Params, mode));

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const miColor kUnwritten{-7, -7, -7, -7};

std::string word(float v) {
  if (std::isnan(v)) return "nan";
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(v));
  return text;
}

std::vector<std::string> words(const miColor &c) { return {word(c.r), word(c.g), word(c.b), word(c.a)}; }

std::array<std::uint32_t, 4> bits(const miColor &c) {
  std::array<std::uint32_t, 4> out;
  std::memcpy(out.data(), &c, sizeof c);
  return out;
}

using Calls = std::vector<std::string>;

// "layers[k].field" = words
Assignment at(int k, const char *field, std::vector<std::string> w) {
  return value("layers[" + std::to_string(k) + "]." + field, std::move(w));
}
Assignment at(int k, const char *field, float v) { return at(k, field, {word(v)}); }
Assignment at(int k, const char *field, const miColor &c) { return at(k, field, words(c)); }

class MultiMixer : public SceneTest {
 protected:
  // A layer shader: returns `c` and reports its request under `label`.
  static miTag layer(const miColor &c, int label, std::vector<Assignment> more = {}) {
    more.push_back(value("color", words(c)));
    more.push_back(value("label", {std::to_string(label)}));
    return renderer().create_instance("tavo_host_layer_request", more);
  }
  static Assignment shader(int k, miTag tag) { return at(k, "shader", {std::to_string(tag)}); }

  struct Mix {
    miBoolean returned = miFALSE;
    miColor color = kUnwritten;
    Calls calls;  // what the layers reported, in call order
  };
  static Mix mix(const std::vector<Assignment> &assignments, host::ShadingState &s) {
    const miTag mixer = renderer().create_instance("tavo_Utility_MultiMixer", assignments);
    renderer().init_instance(mixer, s.state);
    const std::size_t before = renderer().messages().size();
    Mix m;
    m.returned = renderer().call(mixer, &m.color, s.state);
    const auto messages = renderer().messages();
    for (std::size_t i = before; i < messages.size(); ++i)
      if (messages[i].level == "info") m.calls.push_back(messages[i].text);
    return m;
  }
  static Mix mix(const std::vector<Assignment> &assignments) {
    host::ShadingState s;
    return mix(assignments, s);
  }
  // Layer 0 gives B, layer 1 gives L blended by `blend` under `mask`.
  static Mix blend(const miColor &B, const miColor &L, int blend, const miColor &mask) {
    return mix({shader(0, layer(B, 0)), shader(1, layer(L, 1)), at(1, "blend", {std::to_string(blend)}),
                at(1, "mask", mask)});
  }
};

TEST_F(MultiMixer, LayerElementMatchesItsDeclaration) {
  const auto decls = host::read_declarations(TAVO_DECLARATIONS);
  const auto it = std::find_if(decls.begin(), decls.end(),
                               [](const host::ShaderDeclaration &d) { return d.name == "tavo_Utility_MultiMixer"; });
  ASSERT_NE(it, decls.end());
  const host::Field *layers = it->parameter("layers");
  ASSERT_NE(layers, nullptr);
  ASSERT_EQ(layers->type.kind, host::Kind::Array);
  const host::Type &element = *layers->type.element;
  EXPECT_EQ(element.size(), sizeof(MixerLayer));
  const std::pair<const char *, std::size_t> fields[] = {{"shader", offsetof(MixerLayer, shader)},
                                                         {"mask", offsetof(MixerLayer, mask)},
                                                         {"blend", offsetof(MixerLayer, blend)},
                                                         {"weight", offsetof(MixerLayer, weight)},
                                                         {"mute", offsetof(MixerLayer, mute)}};
  ASSERT_EQ(element.fields.size(), std::size(fields));
  for (std::size_t i = 0; i < std::size(fields); ++i) {
    EXPECT_EQ(element.fields[i].name, fields[i].first);
    EXPECT_EQ(element.fields[i].offset, fields[i].second) << fields[i].first;
  }
  EXPECT_EQ(offsetof(Params, layers) - offsetof(Params, i_layers), host::kArrayStorageOffset);
}

// Each mode on four channel pairs (B, L), with the exact results of the
// table's formula under a full mask, under a mask of mean 0.5 (masked modes
// use m inside the formula too, and every mode is then faded half way), and
// under an empty mask (B). Channels are dyadic, so every result is exact.
TEST_F(MultiMixer, EveryBlendModeMatchesHandValues) {
  struct Row {
    int blend;
    miColor B, L, full, half;
  } rows[] = {
      {0, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {0.125f, 0.0625f, 0.5625f, 0.625f},
       {0.09375f, 0.09375f, 0.375f, 0.53125f}},  // replace
      {1, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {0.1875f, 0.1875f, 0.75f, 1.0625f},
       {0.125f, 0.15625f, 0.46875f, 0.75f}},  // add
      {2, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f},
       {0.0078125f, 0.0078125f, 0.10546875f, 0.2734375f}, {0.03515625f, 0.06640625f, 0.146484375f, 0.35546875f}},
      // screen: 1 - (1 - B)(1 - L), times m, then faded by m again
      {3, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f},
       {0.1796875f, 0.1796875f, 0.64453125f, 0.7890625f}, {0.076171875f, 0.107421875f, 0.2548828125f, 0.416015625f}},
      {4, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {-0.8125f, -0.8125f, -0.25f, 0.0625f},
       {-0.40625f, -0.359375f, -0.171875f, 0.09375f}},  // linear burn
      {5, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {0.0625f, 0.0625f, 0.1875f, 0.4375f},
       {0.0625f, 0.09375f, 0.1875f, 0.4375f}},  // darken
      {6, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {0.125f, 0.125f, 0.5625f, 0.625f},
       {0.09375f, 0.125f, 0.375f, 0.53125f}},  // lighten
      {7, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {0.0625f, 0.0625f, 0.375f, 0.1875f},
       {0.03125f, 0.109375f, 0.140625f, 0.28125f}},  // difference
      {8, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f},
       {0.09375f, 0.09375f, 0.375f, 0.53125f}, {0.0625f, 0.1015625f, 0.2109375f, 0.40625f}},  // average
      {9, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {0.1875f, 0.1875f, 0.75f, 0.9375f},
       {0.09375f, 0.140625f, 0.328125f, 0.59375f}},  // negation
      {10, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f},
       {0.171875f, 0.171875f, 0.5390625f, 0.515625f}, {0.08984375f, 0.13671875f, 0.275390625f, 0.45703125f}},
      // overlay: B below 0.5 in r, b, a; 1.5 in g
      {11, {0.0625f, 1.5f, 0.125f, 0.1875f}, {0.125f, 0.9375f, 0.0625f, 0.5625f},
       {0.015625f, 1.0625f, 0.015625f, 0.2109375f}, {0.0390625f, 1.28125f, 0.0703125f, 0.19921875f}},
      // hard light: L below 0.5 in r and b
      {12, {0.0625f, 1.5f, 0.125f, 0.1875f}, {0.125f, 0.9375f, 0.0625f, 0.5625f},
       {0.015625f, 1.0625f, 0.015625f, 0.2890625f}, {0.0390625f, 1.28125f, 0.0703125f, 0.23828125f}},
      // soft light: L 1.5 in g takes the square root of B = 0.5625
      {13, {0.0625f, 0.5625f, 0.125f, 0.25f}, {0.125f, 1.5f, 0.0625f, 0.1875f},
       {0.0185546875f, 0.9375f, 0.029296875f, 0.1328125f}, {0.04052734375f, 0.75f, 0.0771484375f, 0.19140625f}},
      // colour dodge: L 0.5 gives 2B (r); L 1 gives 1 (a)
      {14, {0.0625f, 0.125f, 0.3125f, 0.5f}, {0.5f, 1.5f, 0.75f, 1}, {0.125f, -0.25f, 1.25f, 1},
       {0.09375f, -0.0625f, 0.78125f, 0.75f}},
      // colour burn: L 0 gives 0 (a)
      {15, {0.0625f, 0.25f, 0.4375f, 0.75f}, {0.125f, 0.5f, 0.25f, 0}, {-6.5f, -0.5f, -1.25f, 0},
       {-3.21875f, -0.125f, -0.40625f, 0.375f}},
      // reflect: L 1 gives 1 (a)
      {16, {0.0625f, 0.125f, 0.1875f, 0.5f}, {0.5f, 1.5f, 0.9375f, 1}, {0.0078125f, -0.03125f, 0.5625f, 1},
       {0.03515625f, 0.046875f, 0.375f, 0.75f}},
      // glow: B 1 gives 1 (a)
      {17, {0.125f, 0.375f, 0.5f, 1}, {0.4375f, 0.9375f, 0.125f, 0.25f}, {0.21875f, 1.40625f, 0.03125f, 1},
       {0.171875f, 0.890625f, 0.265625f, 1}},
      {18, {0.0625f, 0.125f, 0.1875f, 0.4375f}, {0.125f, 0.0625f, 0.5625f, 0.625f}, {-0.6875f, -0.75f, 0.3125f, 0.6875f},
       {-0.3125f, -0.3125f, 0.25f, 0.5625f}},  // linear light
      // freeze: L 0 gives 0 (a)
      {19, {0.0625f, 0.1875f, 0.25f, 0.375f}, {0.125f, 0.0625f, 0.375f, 0}, {-6.03125f, -9.5625f, -0.5f, 0},
       {-2.984375f, -4.6875f, -0.125f, 0.1875f}},
      // heat: B 0 gives 0 (a)
      {20, {0.0625f, 0.125f, 0.25f, 0}, {0.125f, 0.0625f, 0.3125f, 0.625f}, {-11.25f, -6.03125f, -0.890625f, 0},
       {-5.59375f, -2.953125f, -0.3203125f, 0}},
  };
  const miColor full_mask{1, 1, 1, 1}, half_mask{0.25f, 0.5f, 0.75f, 0}, empty_mask{0, 0, 0, 1};
  for (const Row &row : rows) {
    SCOPED_TRACE("blend " + std::to_string(row.blend));
    const Mix full = blend(row.B, row.L, row.blend, full_mask);
    ASSERT_TRUE(full.returned);
    EXPECT_EQ(bits(full.color), bits(row.full)) << "full mask";
    EXPECT_EQ(full.calls, (Calls{"layer 0: request 0 0 0", "layer 1: request 0 0 0"}));
    EXPECT_EQ(bits(blend(row.B, row.L, row.blend, half_mask).color), bits(row.half)) << "mask mean 0.5";
    EXPECT_EQ(bits(blend(row.B, row.L, row.blend, empty_mask).color), bits(row.B)) << "empty mask";
  }
}

TEST_F(MultiMixer, NaNTakesTheElseSideOfEveryTest) {
  // darken keeps B only when L > B, lighten only when B > L: against NaN, L wins
  EXPECT_EQ(bits(blend({kNaN, 0.25f, 0.5f, 1}, {0.5f, kNaN, 0.5f, 1}, 5, {1, 1, 1, 1}).color),
            bits(miColor{0.5f, kNaN, 0.5f, 1}));
  EXPECT_EQ(bits(blend({kNaN, 0.25f, 0.5f, 1}, {0.5f, kNaN, 0.5f, 1}, 6, {1, 1, 1, 1}).color),
            bits(miColor{0.5f, kNaN, 0.5f, 1}));
  // the less-than tests of overlay, hard and soft light: NaN on either side stays NaN
  for (const int mode : {11, 12, 13}) {
    const miColor got = blend({kNaN, 0.25f, 0.25f, 1}, {0.75f, kNaN, 0.25f, 1}, mode, {1, 1, 1, 1}).color;
    EXPECT_TRUE(std::isnan(got.r) && std::isnan(got.g)) << mode;
    EXPECT_FALSE(std::isnan(got.b) || std::isnan(got.a)) << mode;
  }
  // a NaN mask is not 1: the fade makes everything NaN
  const miColor faded = blend({0.25f, 0.25f, 0.25f, 1}, {0.5f, 0.5f, 0.5f, 1}, 1, {kNaN, 0, 0, 1}).color;
  EXPECT_TRUE(std::isnan(faded.r) && std::isnan(faded.g) && std::isnan(faded.b) && std::isnan(faded.a));
}

TEST_F(MultiMixer, BlendOutsideTheTableLeavesTheAccumulator) {
  const miColor B{0.25f, 0.5f, 0.75f, 0.5f};
  for (const int mode : {21, -1, 1000})
    for (const miColor &mask : {miColor{1, 1, 1, 1}, miColor{0.5f, 0.5f, 0.5f, 0.5f}}) {
      const Mix m = blend(B, {1, 1, 1, 1}, mode, mask);
      EXPECT_EQ(bits(m.color), bits(B)) << mode;
      EXPECT_EQ(m.calls.size(), 2u) << mode;  // the layer is still called
    }
}

TEST_F(MultiMixer, WeightsScaleColourButNotAlphaAndSkipAtZero) {
  const miTag unused = layer({9, 9, 9, 9}, 9);
  const Mix m = mix({
      // the first layer: only its weight counts, not its mask, blend or mute
      shader(0, layer({0.25f, 0.5f, 0.75f, 0.5f}, 0)), at(0, "weight", 0.5f), at(0, "mask", miColor{0, 0, 0, 0}),
      at(0, "blend", {"21"}), at(0, "mute", {"on"}),
      shader(1, layer({0.25f, 0.125f, 0.5f, 0.5f}, 1)), at(1, "weight", 2), at(1, "blend", {"1"}),
      shader(2, unused), at(2, "weight", 0), at(2, "blend", {"1"}),    // weight 0: not even called
      shader(3, unused), at(3, "mute", {"on"}), at(3, "blend", {"1"}),  // muted
      at(4, "blend", {"1"}),                                            // no shader
  });
  ASSERT_TRUE(m.returned);
  // (0.125, 0.25, 0.375, 0.5) + (0.5, 0.25, 1, 0.5)
  EXPECT_EQ(bits(m.color), bits(miColor{0.625f, 0.5f, 1.375f, 1.0f}));
  EXPECT_EQ(m.calls, (Calls{"layer 0: request 0 0 0", "layer 1: request 0 0 0"}));
}

TEST_F(MultiMixer, ModesSetGreyOutputAndTheRequest) {
  struct Case {
    const char *mode;
    miColor want;
    const char *request;
  } cases[] = {
      {"0", {0.25f, 0.5f, 1.5f, 0.5f}, "request 0 0 0"},
      {"1", {0.75f, 0.75f, 0.75f, 0.5f}, "request 1 0 0"},  // grey: the mean of r, g, b
      {"2", {0.25f, 0.5f, 1.5f, 0.5f}, "request 2 0 0"},
      {"7", {0.25f, 0.5f, 1.5f, 0.5f}, "request 0 0 0"},   // out of range: mode 0
      {"-1", {0.25f, 0.5f, 1.5f, 0.5f}, "request 0 0 0"},
  };
  for (const Case &c : cases) {
    // replace by layer 1 over a base that it hides entirely
    const Mix m = mix({shader(0, layer({9, 9, 9, 9}, 0)), shader(1, layer({0.25f, 0.5f, 1.5f, 0.5f}, 1)),
                       value("mode", {c.mode})});
    ASSERT_TRUE(m.returned) << c.mode;
    EXPECT_EQ(bits(m.color), bits(c.want)) << c.mode;
    EXPECT_EQ(m.calls, (Calls{std::string("layer 0: ") + c.request, std::string("layer 1: ") + c.request}));
  }
}

TEST_F(MultiMixer, SingleLayerModeReturnsOneLayerUntouched) {
  // one layer forces it: weight, mask, blend and mute do not apply
  Mix one = mix({shader(0, layer({0.25f, 2, -1, 0.5f}, 0)), at(0, "weight", 0.5f),
                 at(0, "mask", miColor{0, 0, 0, 0}), at(0, "blend", {"2"}), at(0, "mute", {"on"})});
  ASSERT_TRUE(one.returned);
  EXPECT_EQ(bits(one.color), bits(miColor{0.25f, 2, -1, 0.5f}));

  struct Case {
    const char *index;
    int chosen;
  } cases[] = {{"5", 2}, {"-1", 0}, {"1", 1}, {"2", 2}};
  for (const Case &c : cases) {
    const Mix m = mix({shader(0, layer({0.0f, 0, 0, 1}, 0)), shader(1, layer({0.5f, 0.5f, 0.5f, 1}, 1)),
                       shader(2, layer({1.0f, 1, 1, 1}, 2)), value("single_layer", {"on"}),
                       value("layer_index", {c.index})});
    ASSERT_TRUE(m.returned) << c.index;
    EXPECT_EQ(m.color.r, 0.5f * static_cast<float>(c.chosen)) << c.index;
    EXPECT_EQ(m.calls, Calls{"layer " + std::to_string(c.chosen) + ": request 0 0 0"}) << c.index;
  }

  // grey output applies after it
  const Mix grey = mix({shader(0, layer({0.0f, 0.75f, 1.5f, 0.5f}, 0)), value("mode", {"1"})});
  EXPECT_EQ(bits(grey.color), bits(miColor{0.75f, 0.75f, 0.75f, 0.5f}));
}

TEST_F(MultiMixer, FailuresReturnFalseAndLeaveTheResultUnwritten) {
  const miTag good = layer({0.5f, 0.5f, 0.5f, 1}, 0);
  const miTag bad = layer({0.25f, 0.25f, 0.25f, 1}, 1, {value("fail", {"on"})});
  struct Case {
    const char *what;
    std::vector<Assignment> stack;
  } cases[] = {
      {"no layers", {}},
      {"no layers, single-layer mode", {value("single_layer", {"on"})}},
      {"no layers, normal mode", {value("mode", {"3"})}},
      {"an empty layer alone", {at(0, "weight", 1)}},
      {"the chosen single layer is empty", {shader(0, good), at(1, "weight", 1), value("single_layer", {"on"}),
                                            value("layer_index", {"1"})}},
      {"the single layer fails", {shader(0, bad)}},
      {"the first layer fails", {shader(0, bad), shader(1, good)}},
      {"a blended layer fails", {shader(0, good), shader(1, bad)}},
      {"normal mode: layer 1 fails", {shader(0, good), shader(1, bad), value("mode", {"3"})}},
      {"normal mode: layer 0 is empty", {at(0, "weight", 1), shader(1, good), value("mode", {"3"})}},
  };
  for (const Case &c : cases) {
    const Mix m = mix(c.stack);
    EXPECT_FALSE(m.returned) << c.what;
    EXPECT_EQ(bits(m.color), bits(kUnwritten)) << c.what;
  }
  // a failing layer that is muted is never called
  const Mix muted = mix({shader(0, good), shader(1, bad), at(1, "mute", {"on"})});
  EXPECT_TRUE(muted.returned);
  EXPECT_EQ(bits(muted.color), bits(miColor{0.5f, 0.5f, 0.5f, 1}));
}

TEST_F(MultiMixer, NormalModeBendsTheNormalBeforeLayerZeroShades) {
  // layer 0 shows the normal it is shaded with; its weight scales the bend
  const miTag base = layer({0, 0, 0, 0.25f}, 0, {value("show_normal", {"on"})});
  struct Case {
    const char *what;
    std::vector<Assignment> stack;
    miVector normal;
    Calls calls;
  } cases[] = {
      // layer 1 alone: (0, 0, 1) + 0.5 x (1.5, 0, 0) = (0.75, 0, 1), of length 1.25
      {"two layers",
       {shader(0, base), at(0, "weight", 0.5f), shader(1, layer({1.5f, 0, 0, 1}, 1)), value("mode", {"3"})},
       {0.6f, 0, 0.8f},
       {"layer 1: request 2 0 0", "layer 0: request 0 0 0"}},
      // layer 1 weighted by 2, layer 2 added: 0.5 x ((0.5, 0, 0) x 2 + (0.5, 0, 0))
      {"three layers",
       {shader(0, base), at(0, "weight", 0.5f), shader(1, layer({0.5f, 0, 0, 1}, 1)), at(1, "weight", 2),
        shader(2, layer({0.5f, 0, 0, 1}, 2)), at(2, "blend", {"1"}), value("mode", {"3"})},
       {0.6f, 0, 0.8f},
       {"layer 1: request 2 0 0", "layer 2: request 2 0 0", "layer 0: request 0 0 0"}},
      // a bend to length 0 is left unnormalised
      {"zero length",
       {shader(0, base), at(0, "weight", 0.5f), shader(1, layer({0, 0, -2, 1}, 1)), value("mode", {"3"})},
       {0, 0, 0},
       {"layer 1: request 2 0 0", "layer 0: request 0 0 0"}},
      // one layer is single-layer mode: it is its own bend, called with the stored mode first
      {"one layer",
       {shader(0, base), at(0, "weight", 1), value("mode", {"3"})},
       {0, 0, 1},
       {"layer 0: request 3 0 0", "layer 0: request 0 0 0"}},
  };
  for (const Case &c : cases) {
    host::ShadingState s;
    const Mix m = mix(c.stack, s);
    ASSERT_TRUE(m.returned) << c.what;
    EXPECT_EQ(bits(m.color), bits(miColor{c.normal.x, c.normal.y, c.normal.z, 0.25f})) << c.what;
    EXPECT_EQ(s.state.normal.x, c.normal.x) << c.what;  // the bend stays in the state
    EXPECT_EQ(s.state.normal.y, c.normal.y) << c.what;
    EXPECT_EQ(s.state.normal.z, c.normal.z) << c.what;
    EXPECT_EQ(m.calls, c.calls) << c.what;
  }

  // the final call's failure does not count
  const Mix failing = mix({shader(0, layer({0.25f, 0.5f, 0.75f, 1}, 0, {value("fail", {"on"})})),
                           shader(1, layer({0, 0, 0, 1}, 1)), value("mode", {"3"})});
  EXPECT_TRUE(failing.returned);
  EXPECT_EQ(bits(failing.color), bits(miColor{0.25f, 0.5f, 0.75f, 1}));
}

TEST_F(MultiMixer, ThePrimitiveIsRestoredAroundLayerCalls) {
  const miTag mover = layer({0.5f, 0.5f, 0.5f, 1}, 0, {value("move_pri", {"on"})});
  host::ShadingState s;
  int mine = 0;
  s.state.pri = &mine;
  miColor out{};
  ASSERT_TRUE(mi_call_shader_x(&out, miSHADER_TEXTURE, &s.state, mover, nullptr));
  ASSERT_NE(s.state.pri, &mine);  // the layer does move it

  s.state.pri = &mine;
  const Mix m = mix({shader(0, mover), shader(1, mover), at(1, "blend", {"1"})}, s);
  ASSERT_TRUE(m.returned);
  EXPECT_EQ(bits(m.color), bits(miColor{1, 1, 1, 2}));
  EXPECT_EQ(s.state.pri, &mine);
}

// Layer fields are parameters like any other: connected, they are evaluated on every call.
TEST_F(MultiMixer, ConnectedLayerFieldsAreEvaluated) {
  const miTag mask = renderer().create_instance("tavo_host_constant", {value("color", {"0.25", "0.5", "0.75", "0"})});
  const Mix m = mix({shader(0, layer({0.25f, 0.25f, 0.25f, 1}, 0)), shader(1, layer({0.5f, 0.5f, 0.5f, 1}, 1)),
                     at(1, "blend", {"1"}), link("layers[1].mask", mask)});
  ASSERT_TRUE(m.returned);
  EXPECT_EQ(bits(m.color), bits(miColor{0.5f, 0.5f, 0.5f, 1.5f}));  // half of the added layer
}

// Written in a scene file, a stack is an array of structs naming its shaders;
// evaluated at a pixel, the mixer runs through its whole life cycle.
TEST_F(MultiMixer, AStackFromASceneFileEvaluatesAtAPixel) {
  const host::LoadedScene loaded = load(R"(
    shader "base" "tavo_host_layer_request" ( "color" 0.25 0.5 0.75 1, "label" 0 )
    shader "top" "tavo_host_layer_request" ( "color" 0.5 0.5 0.5 1, "label" 1 )
    shader "mix" "tavo_Utility_MultiMixer" (
        "layers" [ { "shader" "base" }, { "shader" "top", "blend" 3, "mask" 0.5 0.5 0.5 } ],
        "mode" 2
    )
    object "ground" plane origin -4 0 4 u 8 0 0 v 0 0 -8 end object
    camera "c" position 0 1 10 look_at 0 0 0 end camera
  )");
  const host::PixelEvaluation at =
      host::evaluate_at_pixel(*loaded.scene, loaded.instances, tag("mix"), 320, 240, {miRAY_EYE});
  ASSERT_TRUE(at.hit);
  ASSERT_EQ(at.calls.size(), 1u);
  EXPECT_TRUE(at.calls[0].returned);
  miColor got;
  std::memcpy(&got, at.calls[0].result.data(), sizeof got);
  // screen of 0.5 over (0.25, 0.5, 0.75, 1) at m = 0.5: (1 - (1 - B) / 2) / 2, faded half way
  EXPECT_EQ(bits(got), bits(miColor{0.28125f, 0.4375f, 0.59375f, 0.75f}));
  Calls calls;
  for (const host::Message &m : renderer().messages())
    if (m.level == "info") calls.push_back(m.text);
  EXPECT_EQ(calls, (Calls{"layer 0: request 2 0 0", "layer 1: request 2 0 0"}));
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

}  // namespace
}  // namespace tavo::test
