// The export table of tavoshaders against the entry list, and each thunk's own slot and name.
#include <set>
#include <string>

#include "binding_test_support.h"

using namespace bindingtest;

// 654 exported entries, miSetModuleHandle, 35 shaders and versions, 29 init and exit pairs; none of the 24 hidden.
TEST(BindingExports, ExportTableHoldsExactlyTheListedNames) {
  const std::set<std::string> expected = listed_exports();
  EXPECT_EQ(expected.size(), 654u + 1u + 2u * 35u + 2u * 29u);
  EXPECT_EQ(library_export_table(), expected);
  int variadic = 0;
  for (const ListedEntry &e : listed_entries()) {
    EXPECT_EQ(find_symbol(library(), e.name) != nullptr, e.exported) << e.name;
    EXPECT_TRUE(e.exported || !e.variadic) << e.name;
    variadic += e.variadic;
  }
  EXPECT_EQ(variadic, 12);
}

// A slot index off by one would show up here as the neighbour's name.
TEST(BindingThunks, EveryGenericEntryLooksUpItsOwnNameAndReturnsZeroWhenUnresolved) {
  set_module(nullptr);
  int checked = 0;
  for (const ListedEntry &e : listed_entries()) {
    if (e.variadic) continue;
    const auto fn =
        reinterpret_cast<long long (*)()>(e.exported ? library_symbol(e.name) : library_internal_symbol(e.name));
    ASSERT_NE(fn, nullptr) << e.name << " is not in the library at all";
    CaptureStderr();
    EXPECT_EQ(fn(), 0) << e.name;
    EXPECT_EQ(GetCapturedStderr(), failure_text(e.name, nullptr, null_handle_error)) << e.name;
    ++checked;
  }
  EXPECT_EQ(checked, 678 - 12);
}
