// Entries that rebuild a variable argument list: mi_query, mi_scene_create and the message entries.
#include <climits>
#include <string>

#include "binding_test_support.h"

using namespace bindingtest;

namespace {
using QueryFn = miBoolean (*)(int, miState *, miTag, void *, ...);
using SceneCreateFn = void *(*)(miTag *, int, ...);
using MessageFn = void (*)(const char *, ...);
using NumberedFn = void (*)(int, const char *, ...);
}  // namespace

// The first round calls right after miSetModuleHandle, so the lookup runs in between and the registers no longer
// hold the extra argument by luck; a stack address has an upper half that is not zero. mi_query passes a fifth
// argument only for codes 15 and 127.
TEST(BindingVariadic, QueryAndSceneCreatePassTheArgumentsOfEachTypeInOrder) {
  auto query = entry<QueryFn>("mi_query");
  auto create = entry<SceneCreateFn>("mi_scene_create");
  miState state{};
  miTag tag = 0;
  void *slot = nullptr, *high = &state;
  set_module(fake_module(1));
  for (const bool first : {true, false}) {
    SCOPED_TRACE(first ? "first call" : "resolved call");
    const auto ask = [&](int code, miTag t, auto extra) {
      if (first) set_module(fake_module(1));
      EXPECT_EQ(query(code, &state, t, &slot, extra), 100 + code);
      return recorded();
    };
    EXPECT_EQ(ask(51, 0u, high), call("mi_query", 51, &state, 0u, &slot));
    EXPECT_EQ(ask(127, 77u, high), call("mi_query", 127, &state, 77u, &slot, high));
    EXPECT_EQ(ask(15, 0u, -5), call("mi_query", 15, &state, 0u, &slot, -5));
    EXPECT_EQ(ask(15, 0u, INT_MAX), call("mi_query", 15, &state, 0u, &slot, INT_MAX));
    if (first) set_module(fake_module(1));
    EXPECT_EQ(create(&tag, 40, high, 1, -2, 3, -4, 5, -6, 7, INT_MIN), fake_record(1)->args);
    EXPECT_EQ(recorded(), call("mi_scene_create", &tag, 40, high, 1, -2, 3, -4, 5, -6, 7, INT_MIN));
    create(&tag, 51, 11, -12, 13, high);
    EXPECT_EQ(recorded(), call("mi_scene_create", &tag, 51, 11, -12, 13, high));
  }
  EXPECT_EQ(slot, static_cast<void *>(fake_record(1)->args));  // the answer written back
}

// Unresolved, each kind writes the two lines, calls nothing and returns zero; resolved, every message entry of the
// list hands its own renderer function the finished text, and a numbered one the number.
TEST(BindingVariadic, EachMessageEntryHandsItsOwnRendererFunctionTheFinishedText) {
  set_module(nullptr);
  fake_reset(1);
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
  EXPECT_EQ(fake_record(1)->calls, 0);

  set_module(fake_module(1));
  int messages = 0;
  for (const ListedEntry &e : listed_entries()) {
    const std::string name = e.name;
    if (!e.variadic || name == "mi_query" || name == "mi_scene_create") continue;
    if (name.starts_with("mi_n")) entry<NumberedFn>(e.name)(INT_MIN + messages, "%s #%d: %.2f", "entry", 7, 2.5);
    else entry<MessageFn>(e.name)("%s #%d: %.2f", "entry", 7, 2.5);
    EXPECT_EQ(recorded(), name.starts_with("mi_n") ? call(e.name, INT_MIN + messages) : name);
    EXPECT_EQ(std::string(fake_record(1)->format), "entry #7: 2.50") << name;
    ++messages;
  }
  EXPECT_EQ(messages, 10);
}

// The renderer formats the text once more: a per-cent sign goes over doubled so that it prints as itself (undoubled,
// "%d %s %n" would read arguments never passed). It prints at most 1023 bytes, cut after the last whole character:
// never inside a UTF-8 sequence nor between the halves of "%%".
TEST(BindingVariadic, TextIsPassedAsItPrintsCutToWhatPrintsIn1023Bytes) {
  set_module(fake_module(1));
  const auto a = [](std::size_t n) { return std::string(n, 'a'); };
  const std::pair<std::string, std::string> cases[] = {
      {"100% %d %s %n", "100% %d %s %n"},
      {a(1023), a(1023)},
      {std::string(2000, 'b'), std::string(1023, 'b')},
      {a(1021) + "%", a(1021) + "%"},  // a per-cent that still fits doubled
      {a(1022) + "%x", a(1022)},       // and one whose double does not
      {a(1021) + "\xC3\xA9", a(1021) + "\xC3\xA9"},
      {a(1022) + "\xC3\xA9", a(1022)},
      {a(1020) + "\xE2\x82\xAC" + "b", a(1020) + "\xE2\x82\xAC"},
      {a(1021) + "\xE2\x82\xAC", a(1021)},
      {a(1020) + "\xF0\x9F\x98\x80", a(1020)},
      {std::string(511, '%') + "\xC3\xA9", std::string(511, '%')},  // doubling pushes a character across
  };
  for (const auto &[text, printed] : cases) {
    entry<MessageFn>("mi_error")("%s", text.c_str());
    EXPECT_EQ(std::string(fake_record(1)->printed), printed) << text.size();
    EXPECT_LE(std::string(fake_record(1)->format).size(), 1023u);
  }
  entry<NumberedFn>("mi_nerror")(3, nullptr);
  EXPECT_EQ(std::string(fake_record(1)->format) + fake_record(1)->printed, "");  // no format: an empty message
}
