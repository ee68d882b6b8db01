// The metal's aging of type 3: the patina blends the entries of a twelve-step
// ramp around t x 11, and an eleven-value spline shapes its fade.
#include <gtest/gtest.h>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Metal_spider.h"

namespace tavo::test {
namespace {

using Metal = ConverterTest;

TEST_F(Metal, TypeThreeAgesThroughTheRampAndTheSpline) {
  const struct {
    const char *patina;
    miInteger on;
    float bias, fade;  // (1 - t) x 2 - 1, and 1 - the spline, held at 0 where it overshoots 1
    const char *colour;
    float square;
  } cases[] = {
      {"0", 0, 1, 1, "0.736999989 0.31400001 0.184 0", 0},                          // the constant first entry
      {"1", 1, -1, 0, "0.627451003 0.737254918 0.576470613 0", 1},                  // the last, (160, 188, 147) / 255
      {"0.5", 1, 0, 0, "0.530264735 0.271705896 0.129254907 0", 0.25f},             // x = 5.5: entries 5 and 6
      {"0.25", 1, 0.5f, 0.0550000072f, "0.653485298 0.258784324 0.142411768 0", 0.0625f},          // x = 2.75
      {"0.0625", 1, 0.875f, 0.434765637f, "0.72487855 0.303709418 0.176430762 0", 0.00390625f},  // x = 0.6875
      // outside [0, 1] only the ramp lookup is clamped
      {"1.5", 1, -2, 0, "0.572676539 0.948882341 0.772705913 0", 2.25f},
      {"-0.25", 1, 1.5f, 1, "0.736999989 0.31400001 0.184 0", 0.0625f},
      // at the knots t = k / 10 the fade is 1 minus the control value itself: 0.82, 0.96 and 1
      {"0.1", 1, 0.799999952f, 1.0f - 0.82f, "0.708711743 0.290090203 0.167011768 0", 0.0100000007f},
      {"0.3", 1, 0.399999976f, 1.0f - 0.96f, "0.624605894 0.249211788 0.129152939 0", 0.0900000036f},
      {"0.9", 1, -0.799999952f, 0, "0.553347111 0.617988288 0.443341136 0", 0.809999943f},
      {"0.55", 1, -0.100000024f, 0, "0.53741473 0.302094132 0.146966666 0", 0.30250001f},  // the spline overshoots 1 here
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string("patina ") + c.patina);
    const auto r = eval<metal::Ready>("tavo_Shd_Metal_spider", {value("type", {"3"}), value("patina", {c.patina}),
                                                               value("finish", {"0"})});
    EXPECT_EQ(r.patina_on, c.on);
    EXPECT_EQ(r.patina_bias, c.bias);
    EXPECT_EQ(r.patina_fade, c.fade);
    EXPECT_EQ(r.patina_fade_2, c.fade);
    EXPECT_EQ(exact(r.patina_color), c.colour);
    EXPECT_EQ(r.patina_square, c.square);
    EXPECT_EQ(r.patina_weight, 1.0f);
    EXPECT_EQ(r.patina_gloss, 0.9f);
  }
}

}  // namespace
}  // namespace tavo::test
