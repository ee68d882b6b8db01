// Multi mixer: the 21 blend modes, masks and weights, single-layer and grey
// output, normal mode, the request each layer shader is handed, and stacks
// that are empty or fail. Layers are the host's helper that reports its request.

#include <limits>
#include <optional>

#include "host/scene_fixture.h"

namespace tavo::test {
namespace {


constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const miColor kUnwritten{-7, -7, -7, -7};
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
    more.insert(more.end(), {value("color", words(c)), value("label", {std::to_string(label)})});
    return renderer().create_instance("tavo_host_layer_request", more);
  }
  static Assignment shader(int k, miTag tag) { return at(k, "shader", {std::to_string(tag)}); }
  // The info messages since `since`: what the layers reported, in call order.
  static Calls calls(std::size_t since = 0) {
    Calls out;
    const auto messages = renderer().messages();
    for (std::size_t i = since; i < messages.size(); ++i)
      if (messages[i].level == "info") out.push_back(messages[i].text);
    return out;
  }
  struct Mix {
    miBoolean returned = miFALSE;
    miColor color = kUnwritten;
    Calls calls;
  };
  static Mix mix(const std::vector<Assignment> &assignments, host::ShadingState *given = nullptr) {
    host::ShadingState own;
    host::ShadingState &s = given ? *given : own;
    const miTag mixer = instance("tavo_Utility_MultiMixer", assignments);
    const std::size_t before = renderer().messages().size();
    Mix m;
    m.returned = renderer().call(mixer, &m.color, s.state);
    m.calls = calls(before);
    return m;
  }
  // Layer 0 gives B, layer 1 gives L blended by `blend` under `mask`.
  static Mix blend(const miColor &B, const miColor &L, int blend, const miColor &mask) {
    return mix({shader(0, layer(B, 0)), shader(1, layer(L, 1)), at(1, "blend", {std::to_string(blend)}), at(1, "mask", mask)});
  }
};

// Each mode on four channel pairs (B, L) under a mask of mean 0.5: masked
// modes use m inside the formula, and every mode is then faded half way.
// Channels are dyadic, so every result is exact; rows put channels on both
// sides of each mode's branches.
TEST_F(MultiMixer, EveryBlendModeMatchesHandValues) {
  const miColor B0{0.0625f, 0.125f, 0.1875f, 0.4375f}, L0{0.125f, 0.0625f, 0.5625f, 0.625f};
  struct Row {
    int blend;
    miColor B, L, half;
  } rows[] = {
      {0, B0, L0, {0.09375f, 0.09375f, 0.375f, 0.53125f}},                      // replace
      {1, B0, L0, {0.125f, 0.15625f, 0.46875f, 0.75f}},                         // add
      {2, B0, L0, {0.03515625f, 0.06640625f, 0.146484375f, 0.35546875f}},       // multiply
      {3, B0, L0, {0.076171875f, 0.107421875f, 0.2548828125f, 0.416015625f}},   // screen
      {4, B0, L0, {-0.40625f, -0.359375f, -0.171875f, 0.09375f}},               // linear burn
      {5, B0, L0, {0.0625f, 0.09375f, 0.1875f, 0.4375f}},                       // darken
      {6, B0, L0, {0.09375f, 0.125f, 0.375f, 0.53125f}},                        // lighten
      {7, B0, L0, {0.03125f, 0.109375f, 0.140625f, 0.28125f}},                  // difference
      {8, B0, L0, {0.0625f, 0.1015625f, 0.2109375f, 0.40625f}},                 // average
      {9, B0, L0, {0.09375f, 0.140625f, 0.328125f, 0.59375f}},                  // negation
      {10, B0, L0, {0.08984375f, 0.13671875f, 0.275390625f, 0.45703125f}},      // exclusion
      {11, {0.0625f, 1.5f, 0.125f, 0.1875f}, {0.125f, 0.9375f, 0.0625f, 0.5625f},
       {0.0390625f, 1.28125f, 0.0703125f, 0.19921875f}},  // overlay: B below 0.5 in r, b, a
      {12, {0.0625f, 1.5f, 0.125f, 0.1875f}, {0.125f, 0.9375f, 0.0625f, 0.5625f},
       {0.0390625f, 1.28125f, 0.0703125f, 0.23828125f}},  // hard light: L below 0.5 in r and b
      {13, {0.0625f, 0.5625f, 0.125f, 0.25f}, {0.125f, 1.5f, 0.0625f, 0.1875f},
       {0.04052734375f, 0.75f, 0.0771484375f, 0.19140625f}},  // soft light: L 1.5 in g takes the root of B
      {14, {0.0625f, 0.125f, 0.3125f, 0.5f}, {0.5f, 1.5f, 0.75f, 1}, {0.09375f, -0.0625f, 0.78125f, 0.75f}},  // dodge: L 1 gives 1
      {15, {0.0625f, 0.25f, 0.4375f, 0.75f}, {0.125f, 0.5f, 0.25f, 0}, {-3.21875f, -0.125f, -0.40625f, 0.375f}},  // burn: L 0 gives 0
      {16, {0.0625f, 0.125f, 0.1875f, 0.5f}, {0.5f, 1.5f, 0.9375f, 1}, {0.03515625f, 0.046875f, 0.375f, 0.75f}},  // reflect
      {17, {0.125f, 0.375f, 0.5f, 1}, {0.4375f, 0.9375f, 0.125f, 0.25f}, {0.171875f, 0.890625f, 0.265625f, 1}},  // glow: B 1 gives 1
      {18, B0, L0, {-0.3125f, -0.3125f, 0.25f, 0.5625f}},  // linear light
      {19, {0.0625f, 0.1875f, 0.25f, 0.375f}, {0.125f, 0.0625f, 0.375f, 0}, {-2.984375f, -4.6875f, -0.125f, 0.1875f}},  // freeze
      {20, {0.0625f, 0.125f, 0.25f, 0}, {0.125f, 0.0625f, 0.3125f, 0.625f}, {-5.59375f, -2.953125f, -0.3203125f, 0}},  // heat
  };
  for (const Row &row : rows) {
    const Mix m = blend(row.B, row.L, row.blend, {0.25f, 0.5f, 0.75f, 0});
    EXPECT_TRUE(m.returned);
    EXPECT_EQ(exact(m.color), exact(row.half)) << "blend " << row.blend;
    EXPECT_EQ(m.calls, (Calls{"layer 0: request 0 0 0", "layer 1: request 0 0 0"}));
    EXPECT_EQ(exact(blend(row.B, row.L, row.blend, {0, 0, 0, 1}).color), exact(row.B)) << "an empty mask";
  }
  // outside the table the accumulator stays as it was, though the layer is called
  for (const int mode : {21, -1, 1000}) {
    const Mix m = blend(B0, {1, 1, 1, 1}, mode, {0.5f, 0.5f, 0.5f, 0.5f});
    EXPECT_EQ(exact(m.color), exact(B0)) << mode;
    EXPECT_EQ(m.calls.size(), 2u) << mode;
  }
}

TEST_F(MultiMixer, NaNTakesTheElseSideOfEveryTest) {
  // darken keeps B only when L > B: against NaN, L wins
  EXPECT_EQ(exact(blend({kNaN, 0.25f, 0.5f, 1}, {0.5f, kNaN, 0.5f, 1}, 5, {1, 1, 1, 1}).color), "0.5 nan 0.5 1");
  // soft light at L = 0.5 takes the root of B: nothing for a negative base
  EXPECT_EQ(exact(blend({-0.25f, -1, 0.25f, 1}, {0.5f, 0.5f, 0.5f, 0.5f}, 13, {1, 1, 1, 1}).color), "nan nan 0.25 1");
  // a NaN mask is not 1: the fade makes everything NaN
  EXPECT_EQ(exact(blend({0.25f, 0.25f, 0.25f, 1}, {0.5f, 0.5f, 0.5f, 1}, 1, {kNaN, 0, 0, 1}).color), "nan nan nan nan");
}

// Whole stacks: weights and mutes, the modes (grey output, the request each
// layer is handed, normal mode's bend), single-layer mode and its clamped
// index, and the failures that return false and leave the result unwritten.
TEST_F(MultiMixer, StacksGiveTheirColourTheirCallsAndInNormalModeTheBentNormal) {
  const auto req = [](std::initializer_list<int> layers, int request) {
    Calls out;
    for (const int k : layers) out.push_back("layer " + std::to_string(k) + ": request " + std::to_string(request) + " 0 0");
    return out;
  };
  const miTag unused = layer({9, 9, 9, 9}, 9), nine = layer({9, 9, 9, 9}, 0), hiding = layer({0.25f, 0.5f, 1.5f, 0.5f}, 1);
  const miTag good = layer({0.5f, 0.5f, 0.5f, 1}, 0), bad = layer({0.25f, 0.25f, 0.25f, 1}, 1, {value("fail", {"on"})});
  const miTag odd = layer({0.25f, 2, -1, 0.5f}, 0), black = layer({0, 0, 0, 1}, 0), grey = layer({0.5f, 0.5f, 0.5f, 1}, 1);
  const miTag white = layer({1, 1, 1, 1}, 2), bends = layer({0, 0, 0, 0.25f}, 0, {value("show_normal", {"on"})});
  const auto normal = [&](std::vector<Assignment> more) {  // layer 0 shows the normal; its weight scales the bend
    more.insert(more.end(), {shader(0, bends), at(0, "weight", 0.5f), value("mode", {"3"})});
    return more;
  };
  const auto single = [&](const char *mode) {  // weight, mask, blend and mute do not apply; grey output does
    return std::vector<Assignment>{shader(0, odd), at(0, "weight", 0.5f), at(0, "mask", miColor{0, 0, 0, 0}),
                                   at(0, "blend", {"2"}), at(0, "mute", {"on"}), value("mode", {mode})};
  };
  const auto chosen = [&](const char *index) {
    return std::vector<Assignment>{shader(0, black), shader(1, grey), shader(2, white), value("single_layer", {"on"}),
                                   value("layer_index", {index})};
  };
  const auto modal = [&](const char *mode) { return std::vector<Assignment>{shader(0, nine), shader(1, hiding), value("mode", {mode})}; };
  const std::string unwritten = exact(kUnwritten);
  const struct {
    std::vector<Assignment> stack;
    miBoolean returned;
    std::string colour;
    std::optional<Calls> calls;    // none: not checked
    const char *normal = nullptr;  // the state's normal afterwards
  } cases[] = {
      // the first layer: only its weight counts; weight 0 is not even called; muted; no shader
      {{shader(0, layer({0.25f, 0.5f, 0.75f, 0.5f}, 0)), at(0, "weight", 0.5f), at(0, "mask", miColor{0, 0, 0, 0}),
        at(0, "blend", {"21"}), at(0, "mute", {"on"}), shader(1, layer({0.25f, 0.125f, 0.5f, 0.5f}, 1)), at(1, "weight", 2),
        at(1, "blend", {"1"}), shader(2, unused), at(2, "weight", 0), at(2, "blend", {"1"}), shader(3, unused),
        at(3, "mute", {"on"}), at(3, "blend", {"1"}), at(4, "blend", {"1"})},
       miTRUE, "0.625 0.5 1.375 1", req({0, 1}, 0)},  // (0.125, 0.25, 0.375, 0.5) + (0.5, 0.25, 1, 0.5)
      // replace by a layer that hides the base; grey is the mean of r, g and b; out of range is mode 0
      {modal("0"), miTRUE, "0.25 0.5 1.5 0.5", req({0, 1}, 0)},
      {modal("1"), miTRUE, "0.75 0.75 0.75 0.5", req({0, 1}, 1)},
      {modal("2"), miTRUE, "0.25 0.5 1.5 0.5", req({0, 1}, 2)},
      {modal("7"), miTRUE, "0.25 0.5 1.5 0.5", req({0, 1}, 0)},
      {modal("-1"), miTRUE, "0.25 0.5 1.5 0.5", req({0, 1}, 0)},
      {single("0"), miTRUE, "0.25 2 -1 0.5", req({0}, 0)},
      {single("1"), miTRUE, "0.416666657 0.416666657 0.416666657 0.5", req({0}, 1)},
      {chosen("5"), miTRUE, "1 1 1 1", req({2}, 0)},  // the index is clamped to the stack
      {chosen("-1"), miTRUE, "0 0 0 1", req({0}, 0)},
      {chosen("1"), miTRUE, "0.5 0.5 0.5 1", req({1}, 0)},
      {{}, miFALSE, unwritten, Calls{}},  // no layers
      {{shader(0, good), at(1, "weight", 1), value("single_layer", {"on"}), value("layer_index", {"1"})}, miFALSE, unwritten, {}},
      {{shader(0, bad)}, miFALSE, unwritten, {}},                   // the single layer fails
      {{shader(0, bad), shader(1, good)}, miFALSE, unwritten, {}},  // the first layer fails
      {{shader(0, good), shader(1, bad)}, miFALSE, unwritten, {}},  // a blended layer fails
      {{shader(0, good), shader(1, bad), value("mode", {"3"})}, miFALSE, unwritten, {}},
      {{at(0, "weight", 1), shader(1, good), value("mode", {"3"})}, miFALSE, unwritten, {}},  // normal mode, layer 0 empty
      {{shader(0, good), shader(1, bad), at(1, "mute", {"on"})}, miTRUE, "0.5 0.5 0.5 1", req({0}, 0)},  // muted: never called
      // (0, 0, 1) + 0.5 x (1.5, 0, 0) = (0.75, 0, 1), of length 1.25
      {normal({shader(1, layer({1.5f, 0, 0, 1}, 1))}), miTRUE, "0.600000024 0 0.800000012 0.25",
       Calls{"layer 1: request 2 0 0", "layer 0: request 0 0 0"}, "0.600000024 0 0.800000012"},
      // 0.5 x ((0.5, 0, 0) x 2 + (0.5, 0, 0))
      {normal({shader(1, layer({0.5f, 0, 0, 1}, 1)), at(1, "weight", 2), shader(2, layer({0.5f, 0, 0, 1}, 2)), at(2, "blend", {"1"})}),
       miTRUE, "0.600000024 0 0.800000012 0.25",
       Calls{"layer 1: request 2 0 0", "layer 2: request 2 0 0", "layer 0: request 0 0 0"}, "0.600000024 0 0.800000012"},
      {normal({shader(1, layer({0, 0, -2, 1}, 1))}), miTRUE, "0 0 0 0.25",  // a bend to length 0 is left so
       Calls{"layer 1: request 2 0 0", "layer 0: request 0 0 0"}, "0 0 0"},
      // one layer is single-layer mode: its own bend, called with the stored mode first
      {{shader(0, bends), at(0, "weight", 1), value("mode", {"3"})}, miTRUE, "0 0 1 0.25",
       Calls{"layer 0: request 3 0 0", "layer 0: request 0 0 0"}, "0 0 1"},
      // the final call's failure does not count
      {{shader(0, layer({0.25f, 0.5f, 0.75f, 1}, 0, {value("fail", {"on"})})), shader(1, layer({0, 0, 0, 1}, 1)), value("mode", {"3"})},
       miTRUE, "0.25 0.5 0.75 1", {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(&c - cases);
    host::ShadingState s;
    const Mix m = mix(c.stack, &s);
    EXPECT_EQ(m.returned, c.returned);
    EXPECT_EQ(exact(m.color), c.colour);
    if (c.calls) {
      EXPECT_EQ(m.calls, *c.calls);
    }
    if (c.normal) {
      EXPECT_EQ(exact(s.state.normal), c.normal) << "the bend stays in the state";
    }
  }
}

TEST_F(MultiMixer, ThePrimitiveIsRestoredAroundLayerCallsAndLayerFieldsAreEvaluated) {
  const miTag mover = layer({0.5f, 0.5f, 0.5f, 1}, 0, {value("move_pri", {"on"})});
  host::ShadingState s;
  int mine = 0;
  s.state.pri = &mine;
  miColor out{};
  ASSERT_TRUE(mi_call_shader_x(&out, miSHADER_TEXTURE, &s.state, mover, nullptr));
  ASSERT_NE(s.state.pri, &mine);  // the layer does move it
  s.state.pri = &mine;
  EXPECT_EQ(exact(mix({shader(0, mover), shader(1, mover), at(1, "blend", {"1"})}, &s).color), "1 1 1 2");
  EXPECT_EQ(s.state.pri, &mine);
  // a connected mask is evaluated on the call: half of the added layer
  const miTag mask = renderer().create_instance("tavo_host_constant", {value("color", {"0.25", "0.5", "0.75", "0"})});
  EXPECT_EQ(exact(mix({shader(0, layer({0.25f, 0.25f, 0.25f, 1}, 0)), shader(1, layer({0.5f, 0.5f, 0.5f, 1}, 1)),
                       at(1, "blend", {"1"}), link("layers[1].mask", mask)})
                      .color),
            "0.5 0.5 0.5 1.5");
}

}  // namespace
}  // namespace tavo::test
