// Glossy sampler: the eye ray it traces, and the sample-averaging function it
// offers while that ray is shaded, used the way a renderer's shader uses it:
// through the host's helper tavo_host_sample_average, which fetches the
// function from the shader state and averages its samples with it.
#include <optional>

#include "host/scene_fixture.h"
#include "layout_registry.h"
#include "scene/tavo_Core_Glossy_Sampler.h"
#include "values.h"

namespace tavo::test {
namespace {

using glossy_sampler::Params;
TAVO_LAYOUT("tavo_core_glossy_sampler", Parameters, Params, TAVO_FIELD(Params, reject_outliers),
            TAVO_FIELD(Params, outlier_factor));

std::string word(float v) { return host::format_scalar(v); }

std::vector<std::string> words(const miColor &c) { return {word(c.r), word(c.g), word(c.b), word(c.a)}; }

struct Traced {
  miBoolean returned;
  miColor color;
};

class GlossySampler : public SceneTest {
 protected:
  // A sampler instance with the given settings.
  static miTag sampler(bool reject, float factor) {
    return renderer().create_instance("tavo_core_glossy_sampler",
                                      {value("reject_outliers", {reject ? "on" : "off"}),
                                       value("outlier_factor", {word(factor)})});
  }

  // A helper that averages `samples` through the offered function, telling it
  // `count` samples when one is given.
  static miTag averager(const std::vector<miColor> &samples, std::optional<int> count = {}) {
    std::vector<Assignment> assignments;
    for (std::size_t k = 0; k < samples.size(); ++k)
      assignments.push_back(value("samples[" + std::to_string(k) + "]", words(samples[k])));
    if (count) {
      assignments.push_back(value("use_count", {"on"}));
      assignments.push_back(value("count", {std::to_string(*count)}));
    }
    return renderer().create_instance("tavo_host_sample_average", assignments);
  }

  // An empty scene whose environment is `environment`: every eye ray misses.
  static host::Scene &sky(miTag environment) {
    auto scene = std::make_shared<host::Scene>();
    scene->commit();
    scene->environment = environment;
    renderer().set_current_scene(scene);
    return *scene;
  }

  // The sampler's whole life cycle with one eye ray from the origin down -z.
  static Traced trace(miTag sampler_tag) {
    const auto calls = renderer().run(sampler_tag, {miRAY_EYE});
    Traced out{calls.front().returned, {}};
    std::memcpy(&out.color, calls.front().result.data(), sizeof out.color);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    return out;
  }
};

struct AverageCase {
  const char *what;
  bool reject;
  float factor;
  std::vector<miColor> samples;
  std::optional<int> count;
  miColor expected;
};

// Brightness sums 1, 1, 1 and 10; alphas differ so that alpha's own average shows.
const std::vector<miColor> kOneBright = {
    {0.2f, 0.3f, 0.5f, 1.0f}, {0.5f, 0.25f, 0.25f, 0.5f}, {0.1f, 0.6f, 0.3f, 0.25f}, {4.0f, 3.0f, 3.0f, 0.0f}};

TEST_F(GlossySampler, AveragesWithAndWithoutOutlierRejection) {
  // Expected values are the single-precision results: sums in index order,
  // then a multiplication by the reciprocal of the count (a division by 3
  // would give 0.383333355 and 0.583333313 in the mean of three).
  const AverageCase cases[] = {
      {"factor 2: the bright sample's threshold is 2 and it goes; the others' is 8", true, 2.0f, kOneBright, {},
       {0.266666681f, 0.383333385f, 0.349999994f, 0.583333373f}},
      {"factor 0: everything is rejected and the plain mean stands", true, 0.0f, kOneBright, {},
       {1.20000005f, 1.03750002f, 1.01250005f, 0.4375f}},
      {"rejection off: the plain mean, alpha included", false, 2.0f, kOneBright, {},
       {1.20000005f, 1.03750002f, 1.01250005f, 0.4375f}},
      {"a sum equal to its threshold is rejected", true, 2.0f,
       {{2.0f, 0.0f, 0.0f, 1.0f}, {0.5f, 0.25f, 0.25f, 0.5f}, {0.25f, 0.5f, 0.25f, 0.75f}}, {},
       {0.375f, 0.375f, 0.25f, 0.625f}},
      {"the threshold is the mean of the other samples: 1.4 stays under 1.5 x (1 + 1) / 2", true, 1.5f,
       {{0.5f, 0.25f, 0.25f, 1.0f}, {0.25f, 0.5f, 0.25f, 0.5f}, {0.5f, 0.5f, 0.4f, 0.25f}}, {},
       {0.416666687f, 0.416666687f, 0.300000012f, 0.583333373f}},
      {"two samples: each is measured against the other alone", true, 2.0f, {kOneBright[0], kOneBright[3]}, {},
       kOneBright[0]},
      {"one sample comes back unchanged", true, 2.0f, {kOneBright[3]}, {}, kOneBright[3]},
      {"one sample, rejection off", false, 0.0f, {kOneBright[1]}, {}, kOneBright[1]},
      {"a count of 0 gives transparent black", true, 2.0f, kOneBright, 0, {0, 0, 0, 0}},
      {"a negative count gives transparent black", false, 2.0f, kOneBright, -3, {0, 0, 0, 0}},
      {"only the first `count` samples are averaged", true, 2.0f, kOneBright, 3,
       {0.266666681f, 0.383333385f, 0.349999994f, 0.583333373f}},
  };
  for (const AverageCase &c : cases) {
    SCOPED_TRACE(c.what);
    sky(averager(c.samples, c.count));
    const Traced got = trace(sampler(c.reject, c.factor));
    EXPECT_TRUE(got.returned);  // the function returns true in every case, and the trace hands it on
    EXPECT_EQ(got.color.r, c.expected.r);
    EXPECT_EQ(got.color.g, c.expected.g);
    EXPECT_EQ(got.color.b, c.expected.b);
    EXPECT_EQ(got.color.a, c.expected.a);
  }
}

TEST_F(GlossySampler, EachInstanceOffersItsOwnSettings) {
  // Two samplers over the same samples, live at once: the function reads the
  // record registered beside it, not some other instance's.
  sky(averager(kOneBright));
  const miTag rejecting = sampler(true, 2.0f);
  const miTag plain = sampler(false, 2.0f);
  host::ShadingState s;
  renderer().init_instance(rejecting, s.state);
  renderer().init_instance(plain, s.state);
  miColor a{}, b{};
  EXPECT_TRUE(renderer().call(plain, &b, s.state));
  EXPECT_TRUE(renderer().call(rejecting, &a, s.state));
  EXPECT_EQ(a.r, 0.266666681f);
  EXPECT_EQ(b.r, 1.20000005f);
  renderer().exit_all(s.state);
  EXPECT_EQ(renderer().held_bytes(), 0u);
  EXPECT_EQ(renderer().instance(rejecting)->user_pointer, nullptr);  // full exit
}

TEST_F(GlossySampler, TheOfferLastsExactlyAsLongAsTheEyeRay) {
  const miTag avg = averager(kOneBright);
  sky(avg);
  const miTag tag = sampler(true, 2.0f);
  host::ShadingState s;
  renderer().init_instance(tag, s.state);
  int size = -1;

  // before: the helper finds nothing and says so with its `missing` colour
  miColor out{};
  EXPECT_FALSE(mi_call_shader(&out, miSHADER_MATERIAL, &s.state, avg));
  expect_near(out, {1, 0, 1, 1}, 0, "nothing offered yet");

  // during: the environment shader of the traced ray averages through it
  ASSERT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out.g, 0.383333385f);

  // after: removed from the sample, also for a later shader of the same sample
  EXPECT_EQ(mi_shaderstate_get(&s.state, glossy_sampler::kAverageKey, &size), nullptr);
  EXPECT_EQ(size, 0);
  EXPECT_FALSE(mi_call_shader(&out, miSHADER_MATERIAL, &s.state, avg));
  EXPECT_EQ(s.sample.value_count(), 0u);

  // a value another shader left under the key is removed too
  const int stale = 7;
  ASSERT_TRUE(mi_shaderstate_set(&s.state, glossy_sampler::kAverageKey, const_cast<int *>(&stale), sizeof stale,
                                 miSHADERSTATE_LIFETIME_TILE));
  ASSERT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out.g, 0.383333385f);  // the sampler's own offer replaced it for the trace
  EXPECT_EQ(mi_shaderstate_get(&s.state, glossy_sampler::kAverageKey, &size), nullptr);
  renderer().exit_all(s.state);
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

TEST_F(GlossySampler, TracesAlongTheStatesRayAndReturnsWhatTheTraceReturns) {
  // An object straight down -z whose material averages too: shaders of
  // whatever the ray hits get the offer as well as the environment does.
  load(R"(
    shader "sky" "tavo_host_constant" ( "color" 0.1 0.2 0.3 0.4 )
    shader "hit_average" "tavo_host_sample_average" ( "samples" [ 1 0 0 1, 0 0 1 0, 0 1 0 0.5 ] )
    material "averaging" = "hit_average" end material
    object "ball" sphere centre 0 0 -5 radius 1 material "averaging" end object
    camera "c" environment = "sky" end camera
  )");
  const miTag tag = sampler(false, 0.0f);
  host::ShadingState s;
  renderer().init_instance(tag, s.state);
  miColor out{};
  s.state.org = {0, 0, 0};
  s.state.dir = {0, 0, -1};
  EXPECT_TRUE(renderer().call(tag, &out, s.state));
  const float third = 1.0f / 3.0f;
  expect_near(out, {third, third, third, 0.5f}, 0, "the ball's material");
  s.state.org = {0, 5, 0};  // the same direction from elsewhere misses
  EXPECT_TRUE(renderer().call(tag, &out, s.state));
  expect_near(out, {0.1f, 0.2f, 0.3f, 0.4f}, 0, "the sky");
  s.state.org = {0, 0, 0};
  s.state.dir = {0, 1, 0};
  EXPECT_TRUE(renderer().call(tag, &out, s.state));
  expect_near(out, {0.1f, 0.2f, 0.3f, 0.4f}, 0, "the sky above");

  renderer().current_scene()->environment = 0;  // a miss without environment fails
  out = {9, 9, 9, 9};
  EXPECT_FALSE(renderer().call(tag, &out, s.state));
  expect_near(out, {0, 0, 0, 0}, 0, "nothing seen");
  renderer().exit_all(s.state);
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

}  // namespace
}  // namespace tavo::test
