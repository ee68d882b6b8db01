// Shared helpers of the binding tests: the library and the fake renderer
// modules loaded the platform's way, the library's symbol and export tables,
// and the few facts in which the platforms differ.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "fake_renderer.h"

namespace bindingtest {

// tavoshaders, loaded once per process (on ELF with RTLD_LOCAL: no lookup finds it by accident).
void *library();
void *find_symbol(void *module, const char *name);  // an exported symbol of `module`, or null
void *library_symbol(const char *name);             // fails the test when missing
template <typename Fn>
Fn entry(const char *name) {
  return reinterpret_cast<Fn>(library_symbol(name));
}
// Any function of the library's symbol table, exported or not; null when there is none.
void *library_internal_symbol(const char *name);
// The names in the library's export table (the ELF dynamic symbol table, the PE export directory).
std::set<std::string> library_export_table();
bool in_library(const void *address);
bool in_test_program(const void *address);

// The fake renderer modules 1 and 2, loaded once per process, and what they recorded.
void *fake_module(int id);
FakeRecord *fake_record(int id);
void fake_reset(int id);
void set_module(void *handle);  // the library's miSetModuleHandle

// A handle through which a lookup finds the library's own entries: the
// program's own with the library in the global scope (ELF), or the library's (Windows).
void *handle_that_finds_the_library();
// Loads a module where a lookup with a null handle would search, if anywhere.
void *open_in_global_scope(const char *path);
void close_module(void *module);

// The error codes in the resolver's message: a null handle, a name the module lacks.
extern const int null_handle_error;
extern const int missing_name_error;
// 16-byte records in register pairs (System V, not Microsoft x64); %al counts a variadic call's vector registers.
extern const bool records_return_in_registers;
extern const bool variadic_calls_count_vector_registers;

// The two lines the resolver writes when `name` cannot be resolved.
std::string failure_text(const char *name, void *handle, int error);

using testing::internal::CaptureStderr;  // what reaches file descriptor 2
using testing::internal::GetCapturedStderr;

// One entry of entries.def.
struct ListedEntry {
  const char *name;
  bool exported;
  bool variadic;
};
const std::vector<ListedEntry> &listed_entries();
// Every name the library must export: the exported entries, miSetModuleHandle, each shader's family.
std::set<std::string> listed_exports();

}  // namespace bindingtest
