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

// tavoshaders, loaded once per process (on ELF with RTLD_LOCAL: nothing of it
// leaks into the global scope where a lookup could find it by accident).
void *library();

// The address of an exported symbol of `module`, or null.
void *find_symbol(void *module, const char *name);

// An exported symbol of tavoshaders; fails the test when missing.
void *library_symbol(const char *name);

template <typename Fn>
Fn entry(const char *name) {
  return reinterpret_cast<Fn>(library_symbol(name));
}

// Any function that the library's symbol table names, exported or not; null when there is none.
void *library_internal_symbol(const char *name);

// The names in the library's export table (the ELF dynamic symbol table, the PE export directory).
std::set<std::string> library_export_table();

bool in_library(const void *address);
bool in_test_program(const void *address);

// The fake renderer modules 1 and 2, loaded once per process, and what they recorded.
void *fake_module(int id);
FakeRecord *fake_record(int id);
void fake_reset(int id);

// Calls the library's miSetModuleHandle.
void set_module(void *handle);

// A handle through which a lookup finds the library's own entries: the
// program's own handle with the library in the global scope (ELF), or the
// library's module handle (Windows).
void *handle_that_finds_the_library();

// Loads a module where a lookup with a null handle would search, if anywhere.
void *open_in_global_scope(const char *path);
void close_module(void *module);

// The error codes in the resolver's message: lookup with a null handle, and a
// name that the module does not have.
extern const int null_handle_error;
extern const int missing_name_error;

// Whether 16-byte records come back in register pairs (System V) rather than
// through memory (Microsoft x64), and whether a variadic call carries its
// vector register count in %al (System V only).
extern const bool records_return_in_registers;
extern const bool variadic_calls_count_vector_registers;

// The two lines the resolver writes when `name` cannot be resolved.
std::string failure_text(const char *name, void *handle, int error);

// What reaches file descriptor 2 between the two calls.
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// One entry of entries.def.
struct ListedEntry {
  const char *name;
  bool exported;
  bool variadic;
};
const std::vector<ListedEntry> &listed_entries();

// Every name that the library must export: the exported entries,
// miSetModuleHandle, and each shader's family from shaders.def.
std::set<std::string> listed_exports();

}  // namespace bindingtest
