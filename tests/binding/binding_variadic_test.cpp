// Entries that rebuild a variable argument list: mi_query, mi_scene_create and
// the message entries.
#include "binding_test_support.h"

#include <climits>
#include <string>
#include <utility>

using namespace bindingtest;

namespace {

using QueryFn = miBoolean (*)(int, miState *, miTag, void *, ...);
using SceneCreateFn = void *(*)(miTag *, int, ...);
using MessageFn = void (*)(const char *, ...);
using NumberedFn = void (*)(int, const char *, ...);

class BindingVariadic : public testing::Test {
protected:
    void SetUp() override
    {
        set_module(fake_module(1));
        fake_reset(1);
    }
    const FakeRecord &record() { return *fake_record(1); }
};

std::string repeat(char c, std::size_t n)
{
    return std::string(n, c);
}

} // namespace

// Each query is the first call after miSetModuleHandle, so the lookup runs in
// between and the registers no longer hold the caller's extra argument by luck.
TEST_F(BindingVariadic, QueryPassesAFifthArgumentOnlyForCodes15And127)
{
    auto query = entry<QueryFn>("mi_query");
    miState state{};
    int local = 0;
    void *high_pointer = &local; // a stack address: its upper half is not zero

    for (int call = 0; call < 2; ++call) {
        SCOPED_TRACE(call == 0 ? "first call" : "resolved call");
        fake_reset(1);
        if (call == 0)
            set_module(fake_module(1));
        void *slot = nullptr;
        EXPECT_EQ(query(51, &state, 0u, &slot, high_pointer), 151);
        EXPECT_EQ(record().query_code, 51);
        EXPECT_EQ(record().query_state, &state);
        EXPECT_EQ(record().query_tag, 0u);
        EXPECT_EQ(record().query_result, &slot);
        EXPECT_EQ(record().query_extra_kind, 0);
        EXPECT_EQ(slot, static_cast<void *>(&fake_record(1)->query_extra_ptr));

        if (call == 0)
            set_module(fake_module(1));
        void **array = nullptr;
        EXPECT_EQ(query(127, &state, 77u, &array, high_pointer), 227);
        EXPECT_EQ(record().query_tag, 77u);
        EXPECT_EQ(record().query_result, &array);
        EXPECT_EQ(record().query_extra_kind, 2);
        EXPECT_EQ(record().query_extra_ptr, high_pointer);

        if (call == 0)
            set_module(fake_module(1));
        EXPECT_EQ(query(15, &state, 0u, &local, -5), 115);
        EXPECT_EQ(record().query_extra_kind, 1);
        EXPECT_EQ(record().query_extra_int, -5);
        EXPECT_EQ(query(15, &state, 0u, &local, INT_MAX), 115);
        EXPECT_EQ(record().query_extra_int, INT_MAX);

        int count = 0;
        EXPECT_EQ(query(82, &state, 0u, &count), 182);
        EXPECT_EQ(record().query_code, 82);
        EXPECT_EQ(record().query_extra_kind, 0);
        EXPECT_EQ(record().calls, 5);
    }
}

TEST_F(BindingVariadic, QueryReturnsFalseWithoutCallingWhenUnresolved)
{
    set_module(nullptr);
    int out = 0;
    StderrCapture capture;
    EXPECT_EQ(entry<QueryFn>("mi_query")(51, nullptr, 0u, &out), miFALSE);
    EXPECT_EQ(capture.finish(), failure_text("mi_query", nullptr, null_handle_error));
    EXPECT_EQ(record().calls, 0);
}

TEST_F(BindingVariadic, SceneCreatePassesTheArgumentsOfEachTypeInOrder)
{
    auto create = entry<SceneCreateFn>("mi_scene_create");
    miTag tag = 0;
    int local = 0;
    void *high_pointer = &local;

    EXPECT_EQ(create(&tag, 40, high_pointer, 1, -2, 3, -4, 5, -6, 7, INT_MIN),
              static_cast<void *>(&fake_record(1)->scene_type));
    EXPECT_EQ(record().scene_tag, &tag);
    EXPECT_EQ(record().scene_type, 40);
    EXPECT_EQ(record().scene_ptr, high_pointer);
    ASSERT_EQ(record().scene_int_count, 8);
    const int after40[8] = {1, -2, 3, -4, 5, -6, 7, INT_MIN};
    for (int k = 0; k < 8; ++k)
        EXPECT_EQ(record().scene_ints[k], after40[k]) << k;

    create(&tag, 51, 11, -12, 13, high_pointer);
    EXPECT_EQ(record().scene_type, 51);
    EXPECT_EQ(record().scene_ptr, high_pointer);
    ASSERT_EQ(record().scene_int_count, 3);
    EXPECT_EQ(record().scene_ints[0], 11);
    EXPECT_EQ(record().scene_ints[1], -12);
    EXPECT_EQ(record().scene_ints[2], 13);

    create(&tag, 7, 21, 22, 23, 24, 25, 26, 27, INT_MAX);
    EXPECT_EQ(record().scene_type, 7);
    EXPECT_EQ(record().scene_ptr, nullptr);
    ASSERT_EQ(record().scene_int_count, 8);
    const int after7[8] = {21, 22, 23, 24, 25, 26, 27, INT_MAX};
    for (int k = 0; k < 8; ++k)
        EXPECT_EQ(record().scene_ints[k], after7[k]) << k;
    EXPECT_EQ(record().calls, 3);
}

TEST_F(BindingVariadic, SceneCreateReturnsNullWhenUnresolved)
{
    set_module(nullptr);
    miTag tag = 0;
    StderrCapture capture;
    EXPECT_EQ(entry<SceneCreateFn>("mi_scene_create")(&tag, 7, 1, 2, 3, 4, 5, 6, 7, 8), nullptr);
    EXPECT_EQ(capture.finish(), failure_text("mi_scene_create", nullptr, null_handle_error));
    EXPECT_EQ(record().calls, 0);
}

TEST_F(BindingVariadic, EachMessageEntryHandsItsOwnRendererFunctionTheFinishedText)
{
    for (const char *name :
         {"mi_fatal", "mi_error", "mi_warning", "mi_info", "mi_progress", "mi_debug", "mi_vdebug"}) {
        fake_reset(1);
        entry<MessageFn>(name)("%s #%d: %.2f [%5s]", "entry", 7, 2.5, "ab");
        EXPECT_EQ(std::string(record().message_entry), name);
        EXPECT_EQ(record().message_number, FAKE_NO_NUMBER) << name;
        EXPECT_EQ(std::string(record().message_format), "entry #7: 2.50 [   ab]") << name;
        EXPECT_EQ(std::string(record().message_printed), "entry #7: 2.50 [   ab]") << name;
        EXPECT_EQ(record().calls, 1) << name;
    }
}

TEST_F(BindingVariadic, NumberedMessageEntriesPassTheNumberUnchangedThenTheText)
{
    const std::pair<const char *, int> cases[] = {
        {"mi_nfatal", 1}, {"mi_nerror", -123456789}, {"mi_nwarning", INT_MIN}, {"mi_nwarning", 0}};
    for (const auto &[name, number] : cases) {
        fake_reset(1);
        entry<NumberedFn>(name)(number, "n=%d, s=%s", 5, "five");
        EXPECT_EQ(std::string(record().message_entry), name);
        EXPECT_EQ(record().message_number, number) << name;
        EXPECT_EQ(std::string(record().message_format), "n=5, s=five") << name;
        EXPECT_EQ(std::string(record().message_printed), "n=5, s=five") << name;
    }
}

// The renderer formats the text once more; a per-cent sign in the finished
// text goes over doubled so that it prints as itself.
TEST_F(BindingVariadic, PerCentSignsInTheFinishedTextPrintLiterally)
{
    entry<NumberedFn>("mi_nerror")(3, "%s", "%");
    EXPECT_EQ(std::string(record().message_format), "%%");
    EXPECT_EQ(std::string(record().message_printed), "%");

    entry<MessageFn>("mi_info")("%d%% done", 50);
    EXPECT_EQ(std::string(record().message_format), "50%% done");
    EXPECT_EQ(std::string(record().message_printed), "50% done");

    // Undoubled, these would make the renderer read arguments that were never passed.
    entry<MessageFn>("mi_info")("%s", "100% %d %s %n");
    EXPECT_EQ(std::string(record().message_format), "100%% %%d %%s %%n");
    EXPECT_EQ(std::string(record().message_printed), "100% %d %s %n");
}

TEST_F(BindingVariadic, NullFormatSendsAnEmptyMessage)
{
    entry<MessageFn>("mi_warning")(nullptr);
    EXPECT_EQ(record().calls, 1);
    EXPECT_EQ(std::string(record().message_format), "");
    EXPECT_EQ(std::string(record().message_printed), "");
}

// What the renderer prints is at most 1023 bytes, cut after the last whole
// character: never inside a UTF-8 sequence nor between the halves of "%%".
TEST_F(BindingVariadic, LongTextIsCutToWhatPrintsIn1023Bytes)
{
    auto error = entry<MessageFn>("mi_error");
    const struct {
        const char *what;
        std::string text;
        std::string printed;
    } cases[] = {
        {"exactly 1023 bytes", repeat('a', 1023), repeat('a', 1023)},
        {"2000 bytes", repeat('b', 2000), repeat('b', 1023)},
        {"per-cent that still fits doubled", repeat('a', 1021) + "%", repeat('a', 1021) + "%"},
        {"per-cent whose double does not fit", repeat('a', 1022) + "%x", repeat('a', 1022)},
        {"two-byte character ending at 1023", repeat('a', 1021) + "\xC3\xA9", repeat('a', 1021) + "\xC3\xA9"},
        {"two-byte character across 1023", repeat('a', 1022) + "\xC3\xA9", repeat('a', 1022)},
        {"three-byte character ending at 1023 of more", repeat('a', 1020) + "\xE2\x82\xAC" + "b",
         repeat('a', 1020) + "\xE2\x82\xAC"},
        {"three-byte character across 1023", repeat('a', 1021) + "\xE2\x82\xAC", repeat('a', 1021)},
        {"four-byte character across 1023", repeat('a', 1020) + "\xF0\x9F\x98\x80", repeat('a', 1020)},
        {"doubling pushes a character across", repeat('%', 511) + "\xC3\xA9", repeat('%', 511)},
    };
    for (const auto &c : cases) {
        fake_reset(1);
        error("%s", c.text.c_str());
        const std::string printed = record().message_printed;
        const std::string format = record().message_format;
        EXPECT_EQ(printed.size(), c.printed.size()) << c.what;
        EXPECT_EQ(printed, c.printed) << c.what;
        EXPECT_LE(format.size(), 1023u) << c.what;
    }
}

TEST_F(BindingVariadic, UnresolvedMessageIsDroppedAfterTheStderrLines)
{
    set_module(nullptr);
    StderrCapture capture;
    entry<MessageFn>("mi_warning")("lost %d", 1);
    entry<NumberedFn>("mi_nwarning")(9, "lost %d", 2);
    EXPECT_EQ(capture.finish(), failure_text("mi_warning", nullptr, null_handle_error) +
                                    failure_text("mi_nwarning", nullptr, null_handle_error));
    EXPECT_EQ(record().calls, 0);
}
