// The entry list, the export table of tavoshaders, and the mapping from each
// thunk to its own slot and name.
#include "binding_test_support.h"

#include <set>
#include <string>

using namespace bindingtest;

namespace {

const std::set<std::string> hidden_names = {
    "mi_rchw_flag_reset", "mi_vendor_name", "mi_vendor_string_add", "mi_hardware_tags_add",
    "mi_hardware_image_begin", "mi_hardware_image_end", "mi_rchw_hwpath_config",
    "mi_rchw_hwpath_get", "mi_hardware_file_get", "mi_rchw_echo_path", "mi_rchw_echo_get",
    "mi_rchw_compile_opt_set_from_str", "mi_rchw_compile_opt_set", "mi_rchw_compile_opt_get",
    "mi_rchw_get_options", "mi_rchw_join_image", "mi_img_image_shared", "mi_get_subverbosity",
    "mi_rc_init_lights", "mi_rc_fini_lights", "mi_rc_light_info", "mi_job_advise",
    "mi_link_lookup_module", "mi_link_info"};

const std::set<std::string> variadic_names = {
    "mi_query", "mi_scene_create", "mi_fatal", "mi_error", "mi_warning", "mi_info",
    "mi_progress", "mi_debug", "mi_vdebug", "mi_nfatal", "mi_nerror", "mi_nwarning"};

} // namespace

TEST(BindingEntryList, HasSixHundredSeventyEightUniqueEntriesOfWhichSixHundredFiftyFourExported)
{
    const auto &entries = listed_entries();
    std::set<std::string> names;
    std::size_t exported = 0;
    for (const ListedEntry &e : entries) {
        EXPECT_EQ(std::string(e.name).rfind("mi_", 0), 0u) << e.name;
        names.insert(e.name);
        exported += e.exported;
    }
    EXPECT_EQ(entries.size(), 678u);
    EXPECT_EQ(names.size(), 678u) << "a name is listed twice";
    EXPECT_EQ(exported, 654u);
    EXPECT_EQ(entries.size() - exported, 24u);
}

TEST(BindingEntryList, MarksExactlyTheTwentyFourUnexportedAndTheTwelveVariadicEntries)
{
    std::set<std::string> hidden, variadic;
    for (const ListedEntry &e : listed_entries()) {
        if (!e.exported)
            hidden.insert(e.name);
        if (e.variadic)
            variadic.insert(e.name);
        EXPECT_FALSE(e.variadic && !e.exported) << e.name;
    }
    EXPECT_EQ(hidden, hidden_names);
    EXPECT_EQ(variadic, variadic_names);
}

TEST(BindingExports, LookupFindsEveryExportedEntryAndNoneOfTheOthers)
{
    int found = 0;
    for (const ListedEntry &e : listed_entries()) {
        void *symbol = find_symbol(library(), e.name);
        if (e.exported)
            EXPECT_NE(symbol, nullptr) << e.name << " should be exported";
        else
            EXPECT_EQ(symbol, nullptr) << e.name << " must not be exported";
        found += symbol != nullptr;
    }
    EXPECT_EQ(found, 654);
    EXPECT_NE(find_symbol(library(), "miSetModuleHandle"), nullptr);
}

// 654 entries, miSetModuleHandle, 35 shaders with their versions and 29 init
// and exit pairs; nothing of the library's internals.
TEST(BindingExports, ExportTableHoldsExactlyTheListedNames)
{
    const std::set<std::string> expected = listed_exports();
    EXPECT_EQ(expected.size(), 654u + 1u + 2u * 35u + 2u * 29u);
    EXPECT_EQ(library_export_table(), expected);
}

// Every thunk must report, and so look up, its own name: a slot index that is
// off by one would show up here as the neighbour's name.
TEST(BindingThunks, EveryGenericEntryLooksUpItsOwnNameAndReturnsZeroWhenUnresolved)
{
    set_module(nullptr);
    int checked = 0;
    for (const ListedEntry &e : listed_entries()) {
        if (e.variadic)
            continue;
        using AnyFn = long long (*)();
        // Unexported entries are reached through the full symbol table.
        const auto fn = reinterpret_cast<AnyFn>(e.exported ? library_symbol(e.name)
                                                           : library_internal_symbol(e.name));
        ASSERT_NE(fn, nullptr) << e.name << " is not in the library at all";
        StderrCapture capture;
        const long long result = fn();
        EXPECT_EQ(capture.finish(), failure_text(e.name, nullptr, null_handle_error)) << e.name;
        EXPECT_EQ(result, 0) << e.name;
        ++checked;
    }
    EXPECT_EQ(checked, 678 - 12);
}

TEST(BindingThunks, UnexportedEntryResolvesAndForwardsLikeTheOthers)
{
    auto fn = reinterpret_cast<int (*)()>(library_internal_symbol("mi_get_subverbosity"));
    ASSERT_NE(fn, nullptr);

    set_module(fake_module(1));
    StderrCapture capture;
    EXPECT_EQ(fn(), 71);
    set_module(fake_module(2));
    EXPECT_EQ(fn(), 72);
    EXPECT_EQ(capture.finish(), "");
}
