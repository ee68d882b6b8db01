// The binding tests' helpers: the library and the fake renderers loaded the platform's way, the library's
// symbol and export tables, and the few facts in which the platforms differ.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "fake_renderer.h"
#include "platform.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace bindingtest {

namespace platform = tavo::host::platform;
using testing::internal::CaptureStderr;  // what reaches file descriptor 2
using testing::internal::GetCapturedStderr;

[[noreturn]] inline void die(const char *what, const char *path) {
  std::fprintf(stderr, "%s %s\n", what, path);
  std::abort();
}

// A listing that nm wrote at build time: "value type name" lines.
inline std::map<std::string, std::uint64_t> read_nm_listing(const char *path) {
  std::ifstream in(path);
  if (!in) die("cannot read the symbol listing", path);
  std::map<std::string, std::uint64_t> symbols;
  for (std::string value, type, name; in >> value >> type >> name;) symbols[name] = std::stoull(value, nullptr, 16);
  return symbols;
}

// Loaded the host's way (on ELF with RTLD_LOCAL: no lookup finds it by accident), or `global`ly, where a lookup with
// a null handle would search if anywhere (ELF only).
inline void *open_module(const char *path, bool global = false) {
  std::string native = path, why;
#if defined(_WIN32)
  std::replace(native.begin(), native.end(), '/', '\\');  // LoadLibrary wants backslashes
  (void)global;
  void *module = platform::load_module(native, why);
#else
  void *module = global ? dlopen(path, RTLD_NOW | RTLD_GLOBAL) : platform::load_module(native, why);
#endif
  if (module == nullptr) die(why.c_str(), path);
  return module;
}

inline void *library() {
  static void *const handle = open_module(TAVO_LIBRARY_PATH);
  return handle;
}

inline void *find_symbol(void *module, const char *name) { return platform::find_symbol(module, name); }

inline void *library_symbol(const char *name) {  // fails the test when missing
  void *symbol = find_symbol(library(), name);
  EXPECT_NE(symbol, nullptr) << name << " is not exported by tavoshaders";
  return symbol;
}

template <typename Fn>
Fn entry(const char *name) {
  return reinterpret_cast<Fn>(library_symbol(name));
}

// Any function of the library's symbol table, or null: link-time addresses, moved as far as the loader moved an
// exported symbol.
inline void *library_internal_symbol(const char *name) {
  static const auto symbols = read_nm_listing(TAVO_SYMBOLS_PATH);
  const auto anchor = symbols.find("miSetModuleHandle");
  const auto it = symbols.find(name);
  if (anchor == symbols.end() || it == symbols.end()) return nullptr;
  const std::uintptr_t bias = reinterpret_cast<std::uintptr_t>(library_symbol("miSetModuleHandle")) - anchor->second;
  return reinterpret_cast<void *>(bias + it->second);
}

inline bool in_library(const void *address) {
  return platform::module_file(address) == platform::module_file(library_symbol("miSetModuleHandle"));
}

inline bool in_test_program(const void *address) {
  return platform::module_file(address) == platform::module_file(reinterpret_cast<const void *>(&in_test_program));
}

#if defined(_WIN32)

// The error codes in the resolver's message: a null handle (the program's image), a name the module lacks.
const int null_handle_error = ERROR_PROC_NOT_FOUND, missing_name_error = ERROR_PROC_NOT_FOUND;
// 16-byte records come back in register pairs (System V, not Microsoft x64); %al counts a variadic call's vector
// registers.
const bool records_return_in_registers = false, variadic_calls_count_vector_registers = false;

// The PE export directory; an export by ordinal only has no name: it counts as one.
inline std::set<std::string> library_export_table() {
  const auto *image = static_cast<const unsigned char *>(library());
  const auto *nt = reinterpret_cast<const IMAGE_NT_HEADERS64 *>(
      image + reinterpret_cast<const IMAGE_DOS_HEADER *>(image)->e_lfanew);
  const IMAGE_DATA_DIRECTORY &directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  std::set<std::string> names;
  if (directory.Size == 0) return names;
  const auto *exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY *>(image + directory.VirtualAddress);
  const auto *name_addresses = reinterpret_cast<const DWORD *>(image + exports->AddressOfNames);
  for (DWORD k = 0; k < exports->NumberOfNames; ++k)
    names.insert(reinterpret_cast<const char *>(image + name_addresses[k]));
  for (DWORD k = exports->NumberOfNames; k < exports->NumberOfFunctions; ++k) names.insert("#" + std::to_string(k));
  return names;
}

// A handle through which a lookup finds the library's own entries.
inline void *handle_that_finds_the_library() { return library(); }

inline void close_module(void *module) { FreeLibrary(static_cast<HMODULE>(module)); }

#else

// dlsym has no error number: the library reports EINVAL without a handle, ENOENT for a missing name.
const int null_handle_error = EINVAL, missing_name_error = ENOENT;
const bool records_return_in_registers = true, variadic_calls_count_vector_registers = true;

// On ELF the dynamic symbol table is the export table.
inline std::set<std::string> library_export_table() {
  std::set<std::string> names;
  for (const auto &[name, value] : read_nm_listing(TAVO_DYNAMIC_SYMBOLS_PATH)) names.insert(name);
  return names;
}

// The program's own handle with the library in the global scope, which lookups through a module's own handle do not
// search.
inline void *handle_that_finds_the_library() {
  open_module(TAVO_LIBRARY_PATH, true);
  return dlopen(nullptr, RTLD_NOW);
}

inline void close_module(void *module) { dlclose(module); }

#endif

inline void *fake_module(int id) {  // fake renderer 1 or 2, loaded once per process
  static void *const first = open_module(FAKE_RENDERER_1_PATH);
  static void *const second = open_module(FAKE_RENDERER_2_PATH);
  return id == 1 ? first : second;
}

inline FakeRecord *fake_record(int id) {
  auto fn = reinterpret_cast<FakeRecord *(*)()>(find_symbol(fake_module(id), "fake_renderer_record"));
  if (fn == nullptr) std::abort();
  return fn();
}

inline void fake_reset(int id) { *fake_record(id) = FakeRecord{}; }

inline void set_module(void *handle) { entry<void (*)(void *)>("miSetModuleHandle")(handle); }

// What fake renderer 1 recorded of its last call: the function's name, then its arguments.
inline std::string recorded() {
  const FakeRecord *r = fake_record(1);
  std::string text = r->entry;
  for (int k = 0; k < r->arg_count; ++k) text += " " + std::to_string(r->args[k]);
  return text;
}

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

// The two lines the resolver writes when `name` cannot be resolved.
inline std::string failure_text(const char *name, void *handle, int error) {
  char line[512];
  std::snprintf(line, sizeof line, "dlsym failed on \"%s\" (handle: %08x error: %d)\n", name,
                static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)), error);
  return (handle == nullptr ? "DYNLOAD: dl_handle null\n" : "") + std::string(line);
}

struct ListedEntry {  // one entry of entries.def
  const char *name;
  bool exported, variadic;
};

inline const std::vector<ListedEntry> &listed_entries() {
  static const std::vector<ListedEntry> entries = {
#define TAVO_ENTRY(name) {#name, true, false},
#define TAVO_HIDDEN_ENTRY(name) {#name, false, false},
#define TAVO_VARIADIC_ENTRY(name) {#name, true, true},
#include "binding/entries.def"
  };
  return entries;
}

// Every name the library must export: the exported entries, miSetModuleHandle, each shader's family.
inline std::set<std::string> listed_exports() {
  std::set<std::string> names = {"miSetModuleHandle"};
  for (const ListedEntry &e : listed_entries())
    if (e.exported) names.insert(e.name);
  for (const char *shader : {
#define TAVO_SHADER(name) #name,
#include "frame/shaders.def"
       })
    names.insert({shader, std::string(shader) + "_version"});
  for (const char *shader : {
#define TAVO_SHADER(name)
#define TAVO_SHADER_WITH_INIT(name) #name,
#include "frame/shaders.def"
       })
    names.insert({std::string(shader) + "_init", std::string(shader) + "_exit"});
  return names;
}

}  // namespace bindingtest
