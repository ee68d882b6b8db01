// The entry list, the export table of tavoshaders.so, and the mapping from each
// thunk to its own slot and name.
#include "binding_test_support.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <link.h>
#include <map>
#include <set>
#include <string>

using namespace bindingtest;

namespace {

struct Symbol {
    char type;
    std::uint64_t value;
};

// Defined symbols of the library as nm lists them (dynamic table or full symbol table).
std::map<std::string, Symbol> nm_symbols(bool dynamic)
{
    std::string command = std::string("'") + TAVO_NM_PATH + "' --defined-only " +
                          (dynamic ? "-D " : "") + "'" + TAVO_LIBRARY_PATH + "'";
    std::map<std::string, Symbol> symbols;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return symbols;
    char line[1024];
    while (std::fgets(line, sizeof line, pipe)) {
        unsigned long long value = 0;
        char type = 0;
        char name[900];
        if (std::sscanf(line, "%llx %c %899s", &value, &type, name) == 3)
            symbols[name] = {type, value};
    }
    pclose(pipe);
    return symbols;
}

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

TEST(BindingExports, DlsymFindsEveryExportedEntryAndNoneOfTheOthers)
{
    int found = 0;
    for (const ListedEntry &e : listed_entries()) {
        void *symbol = dlsym(library(), e.name);
        if (e.exported)
            EXPECT_NE(symbol, nullptr) << e.name << " should be exported";
        else
            EXPECT_EQ(symbol, nullptr) << e.name << " must not be exported";
        found += symbol != nullptr;
    }
    EXPECT_EQ(found, 654);
    EXPECT_NE(dlsym(library(), "miSetModuleHandle"), nullptr);
}

TEST(BindingExports, DynamicTableHoldsExactlyTheExportedEntriesAndSetModuleHandle)
{
    const auto symbols = nm_symbols(true);
    ASSERT_FALSE(symbols.empty()) << "nm listed nothing";

    std::set<std::string> expected = {"miSetModuleHandle"};
    for (const ListedEntry &e : listed_entries())
        if (e.exported)
            expected.insert(e.name);

    std::set<std::string> actual;
    for (const auto &[name, symbol] : symbols) {
        if (name.rfind("mi", 0) == 0) {
            actual.insert(name);
            EXPECT_EQ(symbol.type, 'T') << name << " should be a global function";
        }
        EXPECT_NE(name.rfind("tavo_binding", 0), 0u) << name << " is internal";
    }
    EXPECT_EQ(actual.size(), 655u);
    EXPECT_EQ(actual, expected);
}

// Every thunk must report, and so look up, its own name: a slot index that is
// off by one would show up here as the neighbour's name.
TEST(BindingThunks, EveryGenericEntryLooksUpItsOwnNameAndReturnsZeroWhenUnresolved)
{
    set_module(nullptr);
    const auto symtab = nm_symbols(false);
    ASSERT_FALSE(symtab.empty()) << "nm listed nothing";
    link_map *map = nullptr;
    ASSERT_EQ(dlinfo(library(), RTLD_DI_LINKMAP, &map), 0);

    int checked = 0;
    for (const ListedEntry &e : listed_entries()) {
        if (e.variadic)
            continue;
        using AnyFn = long (*)();
        AnyFn fn;
        if (e.exported) {
            fn = entry<AnyFn>(e.name);
        } else {
            // Unexported entries are reached through the full symbol table.
            auto it = symtab.find(e.name);
            ASSERT_NE(it, symtab.end()) << e.name << " is not in the library at all";
            EXPECT_EQ(it->second.type, 't') << e.name << " should be a local function";
            fn = reinterpret_cast<AnyFn>(map->l_addr + it->second.value);
        }
        ASSERT_NE(fn, nullptr) << e.name;
        StderrCapture capture;
        const long result = fn();
        EXPECT_EQ(capture.finish(), failure_text(e.name, nullptr, EINVAL)) << e.name;
        EXPECT_EQ(result, 0) << e.name;
        ++checked;
    }
    EXPECT_EQ(checked, 678 - 12);
}

TEST(BindingThunks, UnexportedEntryResolvesAndForwardsLikeTheOthers)
{
    const auto symtab = nm_symbols(false);
    auto it = symtab.find("mi_get_subverbosity");
    ASSERT_NE(it, symtab.end());
    link_map *map = nullptr;
    ASSERT_EQ(dlinfo(library(), RTLD_DI_LINKMAP, &map), 0);
    auto fn = reinterpret_cast<int (*)()>(map->l_addr + it->second.value);

    set_module(fake_module(1));
    StderrCapture capture;
    EXPECT_EQ(fn(), 71);
    set_module(fake_module(2));
    EXPECT_EQ(fn(), 72);
    EXPECT_EQ(capture.finish(), "");
}
