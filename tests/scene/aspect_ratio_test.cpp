// Aspect-ratio readouts: an image's height per width or width per height,
// times a multiplier, fixed per instance at init.
#include <memory>
#include <tuple>

#include "host/scene_fixture.h"
#include "scene/readout.h"

namespace tavo::test {
namespace {

using readout::ImageParams;

constexpr const char *kHeightPerWidth = "tavo_aspect_ratio_height_per_width";
constexpr const char *kWidthPerHeight = "tavo_aspect_ratio_width_per_height";

class AspectRatio : public SceneTest {
 protected:
  static miTag image(int w, int h) {
    return renderer().add_texture(
        std::make_unique<host::Image>("grey", w, h, 1, std::vector<float>(static_cast<std::size_t>(w) * h, 0.5f)));
  }
  static float readout(const char *shader, miTag image_tag, const char *multiplier) {
    return eval<float>(shader, {value("image", {std::to_string(image_tag)}), value("multiplier", {multiplier})});
  }
};

TEST_F(AspectRatio, RatioOfTheImageTimesTheMultiplierOrTheMultiplierAlone) {
  const miTag vga = image(640, 480), narrow = image(3, 7), tall = image(3, 10);
  const miTag not_an_image = renderer().create_instance("tavo_host_constant", {});
  const std::tuple<miTag, const char *, float, float> cases[] = {  // image, multiplier: height per width, width per height
      {vga, "-1", -0.75f, -1.33333337f},
      // the quotient is formed first: (7 / 3) x 0.3 is 0.699999988, (7 x 0.3) / 3 would be 0.700000048
      {narrow, "0.3", 0.699999988f, 0.128571436f},
      // and (3 / 10) x 0.7 is 0.210000008, (3 x 0.7) / 10 would be 0.209999993
      {tall, "0.7", 2.33333325f, 0.210000008f},
      // no image, something else, or a tag that names nothing
      {0, "2.5", 2.5f, 2.5f}, {not_an_image, "2.5", 2.5f, 2.5f}, {4242, "-0.125", -0.125f, -0.125f}};
  for (const auto &[image, multiplier, height_per_width, width_per_height] : cases) {
    EXPECT_EQ(readout(kHeightPerWidth, image, multiplier), height_per_width) << image << " x" << multiplier;
    EXPECT_EQ(readout(kWidthPerHeight, image, multiplier), width_per_height) << image << " x" << multiplier;
  }
  EXPECT_EQ(eval<float>(kHeightPerWidth, {}), 1.0f);  // the declared default multiplier is 1
}

TEST_F(AspectRatio, ParametersAreReadOnceAtInit) {
  const miTag tag =
      instance(kWidthPerHeight, {value("image", {std::to_string(image(640, 480))}), value("multiplier", {"2"})});
  set(tag, offsetof(ImageParams, multiplier), 5.0f);  // too late for this instance
  set(tag, offsetof(ImageParams, image), miTag{0});
  EXPECT_EQ(call<float>(tag), 2.66666675f);
  host::ShadingState s;
  renderer().exit_instance(tag, s.state);
  EXPECT_EQ(renderer().instance(tag)->user_pointer, nullptr);  // full exit
}

}  // namespace
}  // namespace tavo::test
