// The renderer's cache of shader results: a connected source runs once per
// state, and runs again only when the state moves or a shader flushes.
#include "host_fixture.h"

namespace tavo::test {
namespace {

class ShaderCache : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    renderer().load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
    const miTag calls = renderer().create_instance("test_calls", {});
    // a reader whose "i" is connected to the counter
    reader_ = renderer().create_instance("test_source", {link("i", calls)});
    renderer().init_instance(reader_, first_.state);
  }

  // The connected parameter as the reader's code reads it, in `s`: the
  // counter's runs so far, counted from the first read of the test.
  miInteger read(host::ShadingState &s) {
    host::Instance &inst = *renderer().instance(reader_);
    s.state.shader = &inst.function;
    // "i" follows the scalar "s" and the colour "c"
    auto *param = reinterpret_cast<miInteger *>(inst.parameters() + 20);
    last_ = static_cast<const miInteger *>(mi_phen_eval(&s.state, param));
    if (base_ < 0) base_ = *last_ - 1;
    return *last_ - base_;
  }

  miTag reader_ = 0;
  host::ShadingState first_;
  const miInteger *last_ = nullptr;
  miInteger base_ = -1;  // the counter is the process's: other tests ran it too
};

TEST_F(ShaderCache, TwoReadsInOneStateRunTheSourceOnce) {
  EXPECT_EQ(read(first_), 1);
  const miInteger *kept = last_;
  EXPECT_EQ(read(first_), 1);
  EXPECT_EQ(last_, kept) << "the same result, not a copy";
  // another state has results of its own
  host::ShadingState second;
  EXPECT_EQ(read(second), 2);
  EXPECT_EQ(read(first_), 1);
  EXPECT_EQ(first_.sample.results.size(), 1u);
}

TEST_F(ShaderCache, AMovedStateRunsTheSourceAgain) {
  ASSERT_EQ(read(first_), 1);
  const miInteger *before = last_;
  first_.state.point.x += 1.0f;
  EXPECT_EQ(read(first_), 2);
  first_.state.tex_list[0].y = 0.5f;
  EXPECT_EQ(read(first_), 3);
  first_.state.type = miRAY_REFLECT;
  EXPECT_EQ(read(first_), 4);
  EXPECT_EQ(read(first_), 4);
  EXPECT_EQ(first_.sample.results.size(), 1u) << "one entry for the state, however often it moved";
  EXPECT_EQ(*before - base_, 1) << "a result handed out earlier in the sample stays put";
}

TEST_F(ShaderCache, AFlushOrANewSampleRunsTheSourceAgain) {
  ASSERT_EQ(read(first_), 1);
  mi_flush_cache(&first_.state);
  EXPECT_EQ(first_.sample.flushes, 1);
  EXPECT_EQ(read(first_), 2);
  EXPECT_EQ(read(first_), 2);
  first_.sample.end_sample();
  EXPECT_EQ(read(first_), 3);
  // a state that belongs to no sample keeps nothing
  host::ShadingState orphan;
  orphan.state.renderer = nullptr;
  EXPECT_EQ(read(orphan), 4);
  EXPECT_EQ(read(orphan), 5);
}

}  // namespace
}  // namespace tavo::test
