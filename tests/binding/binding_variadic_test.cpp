// Entries that rebuild a variable argument list: mi_query, mi_scene_create and
// the message entries.
#include <climits>
#include <string>
#include <vector>

#include "binding_test_support.h"

using namespace bindingtest;

namespace {

using QueryFn = miBoolean (*)(int, miState *, miTag, void *, ...);
using SceneCreateFn = void *(*)(miTag *, int, ...);
using MessageFn = void (*)(const char *, ...);
using NumberedFn = void (*)(int, const char *, ...);

class BindingVariadic : public testing::Test {
 protected:
  void SetUp() override {
    set_module(fake_module(1));
    fake_reset(1);
  }
  const FakeRecord &record() { return *fake_record(1); }
};

}  // namespace

// Each query of the first round is the first call after miSetModuleHandle, so
// the lookup runs in between and the registers no longer hold the caller's
// extra argument by luck. A stack address has an upper half that is not zero.
TEST_F(BindingVariadic, QueryPassesAFifthArgumentOnlyForCodes15And127) {
  auto query = entry<QueryFn>("mi_query");
  miState state{};
  int local = 0;
  void *high_pointer = &local;
  void *slot = nullptr;
  const struct {
    int code;
    miTag tag;
    int extra_int;  // passed for code 15, else the pointer
    int kind;       // what the renderer read: 0 nothing, 1 an int, 2 a pointer
  } cases[] = {{51, 0u, 0, 0}, {127, 77u, 0, 2}, {15, 0u, -5, 1}, {15, 0u, INT_MAX, 1}, {82, 3u, 0, 0}};
  for (const bool first : {true, false}) {
    for (const auto &c : cases) {
      SCOPED_TRACE(std::to_string(c.code) + (first ? " first call" : " resolved call"));
      if (first) set_module(fake_module(1));
      fake_reset(1);
      const miBoolean answer = c.code == 15 ? query(c.code, &state, c.tag, &slot, c.extra_int)
                                            : query(c.code, &state, c.tag, &slot, high_pointer);
      EXPECT_EQ(answer, 100 + c.code);
      EXPECT_TRUE(record().query_code == c.code && record().query_state == &state);
      EXPECT_TRUE(record().query_tag == c.tag && record().query_result == &slot);
      EXPECT_EQ(record().query_extra_kind, c.kind);
      EXPECT_TRUE(c.kind != 1 || record().query_extra_int == c.extra_int);
      EXPECT_TRUE(c.kind != 2 || record().query_extra_ptr == high_pointer);
    }
  }
  query(51, &state, 0u, &slot);
  EXPECT_EQ(slot, static_cast<void *>(&fake_record(1)->query_extra_ptr));  // the answer written back
}

TEST_F(BindingVariadic, SceneCreatePassesTheArgumentsOfEachTypeInOrder) {
  auto create = entry<SceneCreateFn>("mi_scene_create");
  miTag tag = 0;
  int local = 0;
  void *high_pointer = &local;
  const auto expect_created = [&](void *result, int type, void *ptr, std::vector<int> ints) {
    EXPECT_EQ(result, static_cast<void *>(&fake_record(1)->scene_type));
    EXPECT_TRUE(record().scene_tag == &tag && record().scene_type == type && record().scene_ptr == ptr);
    EXPECT_EQ(std::vector<int>(record().scene_ints, record().scene_ints + record().scene_int_count), ints);
  };
  expect_created(create(&tag, 40, high_pointer, 1, -2, 3, -4, 5, -6, 7, INT_MIN), 40, high_pointer,
                 {1, -2, 3, -4, 5, -6, 7, INT_MIN});
  expect_created(create(&tag, 51, 11, -12, 13, high_pointer), 51, high_pointer, {11, -12, 13});
  expect_created(create(&tag, 7, 21, 22, 23, 24, 25, 26, 27, INT_MAX), 7, nullptr,
                 {21, 22, 23, 24, 25, 26, 27, INT_MAX});
  EXPECT_EQ(record().calls, 3);
}

// Unresolved, each kind of variadic entry writes the two lines, calls nothing
// and returns zero.
TEST_F(BindingVariadic, UnresolvedEntriesReturnZeroWithoutCalling) {
  set_module(nullptr);
  int out = 0;
  miTag tag = 0;
  CaptureStderr();
  EXPECT_EQ(entry<QueryFn>("mi_query")(51, nullptr, 0u, &out), miFALSE);
  EXPECT_EQ(entry<SceneCreateFn>("mi_scene_create")(&tag, 7, 1, 2, 3, 4, 5, 6, 7, 8), nullptr);
  entry<MessageFn>("mi_warning")("lost %d", 1);
  entry<NumberedFn>("mi_nwarning")(9, "lost %d", 2);
  std::string expected;
  for (const char *name : {"mi_query", "mi_scene_create", "mi_warning", "mi_nwarning"})
    expected += failure_text(name, nullptr, null_handle_error);
  EXPECT_EQ(GetCapturedStderr(), expected);
  EXPECT_EQ(record().calls, 0);
}

// Each message entry hands its own renderer function the finished text, and a
// numbered one the number unchanged. The renderer formats the text once more:
// a per-cent sign goes over doubled so that it prints as itself (undoubled,
// "%d %s %n" would make it read arguments that were never passed).
TEST_F(BindingVariadic, EachMessageEntryHandsItsOwnRendererFunctionTheFinishedText) {
  const struct {
    const char *name;
    int number;  // FAKE_NO_NUMBER: an entry without one
    const char *format, *argument, *sent, *printed;
  } cases[] = {
      {"mi_fatal", FAKE_NO_NUMBER, "%s #%d: %.2f", "entry", "entry #7: 2.50", "entry #7: 2.50"},
      {"mi_error", FAKE_NO_NUMBER, "[%5s]", "ab", "[   ab]", "[   ab]"},
      {"mi_warning", FAKE_NO_NUMBER, nullptr, "", "", ""},
      {"mi_info", FAKE_NO_NUMBER, "%s", "100% %d %s %n", "100%% %%d %%s %%n", "100% %d %s %n"},
      {"mi_progress", FAKE_NO_NUMBER, "50%% %s", "done", "50%% done", "50% done"},
      {"mi_debug", FAKE_NO_NUMBER, "%s", "d", "d", "d"},
      {"mi_vdebug", FAKE_NO_NUMBER, "%s", "v", "v", "v"},
      {"mi_nfatal", 1, "n=%s", "five", "n=five", "n=five"},
      {"mi_nerror", -123456789, "%s", "%", "%%", "%"},
      {"mi_nwarning", INT_MIN, "%s", "w", "w", "w"},
      {"mi_nwarning", 0, "%s", "", "", ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    fake_reset(1);
    if (c.number == FAKE_NO_NUMBER)
      entry<MessageFn>(c.name)(c.format, c.argument, 7, 2.5);
    else
      entry<NumberedFn>(c.name)(c.number, c.format, c.argument);
    EXPECT_EQ(record().calls, 1);
    EXPECT_EQ(std::string(record().message_entry), c.name);
    EXPECT_EQ(record().message_number, c.number);
    EXPECT_EQ(std::string(record().message_format), c.sent);
    EXPECT_EQ(std::string(record().message_printed), c.printed);
  }
}

// What the renderer prints is at most 1023 bytes, cut after the last whole
// character: never inside a UTF-8 sequence nor between the halves of "%%".
TEST_F(BindingVariadic, LongTextIsCutToWhatPrintsIn1023Bytes) {
  const auto a = [](std::size_t n) { return std::string(n, 'a'); };
  const struct {
    const char *what;
    std::string text, printed;
  } cases[] = {
      {"exactly 1023 bytes", a(1023), a(1023)},
      {"2000 bytes", std::string(2000, 'b'), std::string(1023, 'b')},
      {"per-cent that still fits doubled", a(1021) + "%", a(1021) + "%"},
      {"per-cent whose double does not fit", a(1022) + "%x", a(1022)},
      {"two-byte character ending at 1023", a(1021) + "\xC3\xA9", a(1021) + "\xC3\xA9"},
      {"two-byte character across 1023", a(1022) + "\xC3\xA9", a(1022)},
      {"three-byte character ending at 1023 of more", a(1020) + "\xE2\x82\xAC" + "b", a(1020) + "\xE2\x82\xAC"},
      {"three-byte character across 1023", a(1021) + "\xE2\x82\xAC", a(1021)},
      {"four-byte character across 1023", a(1020) + "\xF0\x9F\x98\x80", a(1020)},
      {"doubling pushes a character across", std::string(511, '%') + "\xC3\xA9", std::string(511, '%')},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    entry<MessageFn>("mi_error")("%s", c.text.c_str());
    EXPECT_EQ(std::string(record().message_printed), c.printed);
    EXPECT_LE(std::string(record().message_format).size(), 1023u);
  }
}
