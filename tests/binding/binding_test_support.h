// The binding tests' helpers: the library and the fake renderers loaded the platform's way, the library's
// symbol and export tables, and the few facts in which the platforms differ.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "fake_renderer.h"

namespace bindingtest {

void *library();  // loaded once per process (on ELF with RTLD_LOCAL: no lookup finds it by accident)
void *find_symbol(void *module, const char *name);  // an exported symbol of `module`, or null
void *library_symbol(const char *name);             // fails the test when missing
template <typename Fn>
Fn entry(const char *name) {
  return reinterpret_cast<Fn>(library_symbol(name));
}
void *library_internal_symbol(const char *name);  // any function of the library's symbol table, or null
std::set<std::string> library_export_table();     // the ELF dynamic symbol table, the PE export directory
bool in_library(const void *address);
bool in_test_program(const void *address);

void *fake_module(int id);  // fake renderer 1 or 2, loaded once per process
FakeRecord *fake_record(int id);
void fake_reset(int id);
void set_module(void *handle);  // the library's miSetModuleHandle

// What fake renderer 1 recorded of its last call: the function's name, then its arguments.
std::string recorded();
// The same written from the caller's side: integers sign-extended, pointers, floating point by a double's bits.
template <typename... T>
std::string call(const char *entry, T... values) {
  const auto word = [](auto v) -> unsigned long long {
    if constexpr (std::is_pointer_v<decltype(v)>) return reinterpret_cast<std::uintptr_t>(v);
    else if constexpr (std::is_floating_point_v<decltype(v)>) return std::bit_cast<unsigned long long>(double(v));
    else return static_cast<unsigned long long>(v);
  };
  std::string text = entry;
  for (const unsigned long long w : {word(values)...}) text += " " + std::to_string(w);
  return text;
}

// A handle through which a lookup finds the library's own entries: the program's own with the library in the
// global scope (ELF), or the library's (Windows).
void *handle_that_finds_the_library();
void *open_in_global_scope(const char *path);  // where a lookup with a null handle would search, if anywhere
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

struct ListedEntry {  // one entry of entries.def
  const char *name;
  bool exported, variadic;
};
const std::vector<ListedEntry> &listed_entries();
// Every name the library must export: the exported entries, miSetModuleHandle, each shader's family.
std::set<std::string> listed_exports();

}  // namespace bindingtest
