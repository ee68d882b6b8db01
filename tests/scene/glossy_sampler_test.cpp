// Glossy sampler: the eye ray it traces, and the sample-averaging function it
// offers while that ray is shaded, used the way a renderer's shader uses it:
// through the host's helper tavo_host_sample_average, which fetches the
// function from the shader state and averages its samples with it.
#include <optional>

#include "host/scene_fixture.h"
#include "scene/tavo_Core_Glossy_Sampler.h"

namespace tavo::test {
namespace {

// Brightness sums 1, 1, 1 and 10; alphas differ so that alpha's own average shows.
const std::vector<miColor> kOneBright = {
    {0.2f, 0.3f, 0.5f, 1.0f}, {0.5f, 0.25f, 0.25f, 0.5f}, {0.1f, 0.6f, 0.3f, 0.25f}, {4.0f, 3.0f, 3.0f, 0.0f}};
// The single-precision means: sums in index order, then times the reciprocal
// of the count (a division by 3 would give 0.383333355 and 0.583333313).
const miColor kMeanOfThree{0.266666681f, 0.383333385f, 0.349999994f, 0.583333373f};
const miColor kMeanOfFour{1.20000005f, 1.03750002f, 1.01250005f, 0.4375f};

class GlossySampler : public SceneTest {
 protected:
  static miTag sampler(bool reject, float factor) {
    return renderer().create_instance("tavo_core_glossy_sampler", {value("reject_outliers", {reject ? "on" : "off"}),
                                                                   value("outlier_factor", {word(factor)})});
  }
  // An empty scene whose environment averages `samples` through the offered
  // function, telling it `count` samples when one is given.
  static miTag sky(const std::vector<miColor> &samples, std::optional<int> count = {}) {
    std::vector<Assignment> a;
    for (std::size_t k = 0; k < samples.size(); ++k) a.push_back(value("samples[" + std::to_string(k) + "]", words(samples[k])));
    if (count) a.insert(a.end(), {value("use_count", {"on"}), value("count", {std::to_string(*count)})});
    return scene_of({}, renderer().create_instance("tavo_host_sample_average", a)).environment;
  }
};

TEST_F(GlossySampler, AveragesWithAndWithoutOutlierRejection) {
  const std::tuple<const char *, bool, float, std::vector<miColor>, std::optional<int>, miColor> cases[] = {
      {"factor 2: the bright sample's threshold is 2 and it goes; the others' is 8", true, 2, kOneBright, {}, kMeanOfThree},
      {"factor 0: everything is rejected and the plain mean stands", true, 0, kOneBright, {}, kMeanOfFour},
      {"rejection off: the plain mean, alpha included", false, 2, kOneBright, {}, kMeanOfFour},
      {"a sum equal to its threshold is rejected", true, 2,
       {{2, 0, 0, 1}, {0.5f, 0.25f, 0.25f, 0.5f}, {0.25f, 0.5f, 0.25f, 0.75f}}, {}, {0.375f, 0.375f, 0.25f, 0.625f}},
      {"the threshold is the mean of the others: 1.4 stays under 1.5 x (1 + 1) / 2", true, 1.5f,
       {{0.5f, 0.25f, 0.25f, 1}, {0.25f, 0.5f, 0.25f, 0.5f}, {0.5f, 0.5f, 0.4f, 0.25f}}, {},
       {0.416666687f, 0.416666687f, 0.300000012f, 0.583333373f}},
      {"two samples: each is measured against the other alone", true, 2, {kOneBright[0], kOneBright[3]}, {}, kOneBright[0]},
      {"one sample comes back unchanged", true, 2, {kOneBright[3]}, {}, kOneBright[3]},
      {"a count of 0 gives transparent black", true, 2, kOneBright, 0, {0, 0, 0, 0}},
      {"only the first `count` samples are averaged", true, 2, kOneBright, 3, kMeanOfThree},
  };
  for (const auto &[what, reject, factor, samples, count, expected] : cases) {
    sky(samples, count);
    expect_near(result_of<miColor>(sampler(reject, factor)), expected, 0, what);  // true: the trace's answer
  }
}

TEST_F(GlossySampler, TheOfferIsTheInstancesOwnAndLastsExactlyAsLongAsTheEyeRay) {
  const miTag avg = sky(kOneBright);
  const miTag rejecting = sampler(true, 2.0f), plain = sampler(false, 2.0f);
  host::ShadingState s;
  renderer().init_instance(rejecting, s.state);
  renderer().init_instance(plain, s.state);
  // before: the helper finds nothing and says so with its `missing` colour
  miColor out{};
  EXPECT_FALSE(mi_call_shader(&out, miSHADER_MATERIAL, &s.state, avg));
  expect_near(out, {1, 0, 1, 1}, 0, "nothing offered yet");
  // two instances live at once: the function reads the record registered beside it
  EXPECT_TRUE(renderer().call(plain, &out, s.state));
  EXPECT_EQ(out.r, kMeanOfFour.r);
  // a value another shader left under the key is replaced for the trace, then removed
  const int stale = 7;
  ASSERT_TRUE(mi_shaderstate_set(&s.state, glossy_sampler::kAverageKey, const_cast<int *>(&stale), sizeof stale,
                                 miSHADERSTATE_LIFETIME_TILE));
  EXPECT_TRUE(renderer().call(rejecting, &out, s.state));
  EXPECT_EQ(out.r, kMeanOfThree.r);
  // after: removed from the sample, also for a later shader of the same sample
  int size = -1;
  EXPECT_EQ(mi_shaderstate_get(&s.state, glossy_sampler::kAverageKey, &size), nullptr);
  EXPECT_EQ(size, 0);
  EXPECT_FALSE(mi_call_shader(&out, miSHADER_MATERIAL, &s.state, avg));
  EXPECT_EQ(s.sample.value_count(), 0u);
  // the trace's answer is handed on: a miss without environment fails
  renderer().current_scene()->environment = 0;
  EXPECT_FALSE(renderer().call(plain, &out, s.state));
  renderer().exit_all(s.state);
  EXPECT_EQ(renderer().instance(rejecting)->user_pointer, nullptr);  // full exit
}

}  // namespace
}  // namespace tavo::test
