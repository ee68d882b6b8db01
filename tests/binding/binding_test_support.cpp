#include "binding_test_support.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>

#include "platform.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace bindingtest {

namespace platform = tavo::host::platform;

namespace {

[[noreturn]] void die(const char *what, const char *path) {
  std::fprintf(stderr, "%s %s\n", what, path);
  std::abort();
}

// A listing that nm wrote at build time: "value type name" lines.
std::map<std::string, std::uint64_t> read_nm_listing(const char *path) {
  std::ifstream in(path);
  if (!in) die("cannot read the symbol listing", path);
  std::map<std::string, std::uint64_t> symbols;
  for (std::string value, type, name; in >> value >> type >> name;) symbols[name] = std::stoull(value, nullptr, 16);
  return symbols;
}

}  // namespace

#if defined(_WIN32)

const int null_handle_error = ERROR_PROC_NOT_FOUND;  // a null module means the program's image
const int missing_name_error = ERROR_PROC_NOT_FOUND;
const bool records_return_in_registers = false;
const bool variadic_calls_count_vector_registers = false;

namespace {

void *open_module(const char *path, bool = false) {
  std::string native = path, why;  // LoadLibrary wants backslashes
  std::replace(native.begin(), native.end(), '/', '\\');
  void *module = platform::load_module(native, why);
  if (module == nullptr) die(why.c_str(), path);
  return module;
}

}  // namespace

std::set<std::string> library_export_table() {
  const auto *image = static_cast<const unsigned char *>(library());
  const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(image);
  const auto *nt = reinterpret_cast<const IMAGE_NT_HEADERS64 *>(image + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY &directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  std::set<std::string> names;
  if (directory.Size == 0) return names;
  const auto *exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY *>(image + directory.VirtualAddress);
  const auto *name_addresses = reinterpret_cast<const DWORD *>(image + exports->AddressOfNames);
  for (DWORD k = 0; k < exports->NumberOfNames; ++k)
    names.insert(reinterpret_cast<const char *>(image + name_addresses[k]));
  // an export by ordinal only has no name: count it as one
  for (DWORD k = exports->NumberOfNames; k < exports->NumberOfFunctions; ++k) names.insert("#" + std::to_string(k));
  return names;
}

void *handle_that_finds_the_library() { return library(); }

void close_module(void *module) { FreeLibrary(static_cast<HMODULE>(module)); }

#else

// dlsym has no error number: the library reports EINVAL without a handle, ENOENT for a missing name.
const int null_handle_error = EINVAL;
const int missing_name_error = ENOENT;
const bool records_return_in_registers = true;
const bool variadic_calls_count_vector_registers = true;

namespace {

void *open_module(const char *path, bool global = false) {
  std::string why;
  void *handle = global ? dlopen(path, RTLD_NOW | RTLD_GLOBAL) : platform::load_module(path, why);
  if (handle == nullptr) die(why.c_str(), path);
  return handle;
}

}  // namespace

std::set<std::string> library_export_table() {
  std::set<std::string> names;
  for (const auto &[name, value] : read_nm_listing(TAVO_DYNAMIC_SYMBOLS_PATH)) names.insert(name);
  return names;
}

void *handle_that_finds_the_library() {
  // the library in the global scope, which lookups through a module's own handle do not search
  open_module(TAVO_LIBRARY_PATH, true);
  return dlopen(nullptr, RTLD_NOW);
}

void close_module(void *module) { dlclose(module); }

#endif

void *library() {
  static void *const handle = open_module(TAVO_LIBRARY_PATH);
  return handle;
}

void *library_symbol(const char *name) {
  void *symbol = find_symbol(library(), name);
  EXPECT_NE(symbol, nullptr) << name << " is not exported by tavoshaders";
  return symbol;
}

void *library_internal_symbol(const char *name) {
  // link-time addresses, moved as far as the loader moved an exported symbol
  static const auto symbols = read_nm_listing(TAVO_SYMBOLS_PATH);
  const auto anchor = symbols.find("miSetModuleHandle");
  const auto it = symbols.find(name);
  if (anchor == symbols.end() || it == symbols.end()) return nullptr;
  const std::uintptr_t bias = reinterpret_cast<std::uintptr_t>(library_symbol("miSetModuleHandle")) - anchor->second;
  return reinterpret_cast<void *>(bias + it->second);
}

void *find_symbol(void *module, const char *name) { return platform::find_symbol(module, name); }

bool in_library(const void *address) {
  return platform::module_file(address) == platform::module_file(library_symbol("miSetModuleHandle"));
}

bool in_test_program(const void *address) {
  return platform::module_file(address) == platform::module_file(reinterpret_cast<const void *>(&in_test_program));
}

void *open_in_global_scope(const char *path) { return open_module(path, true); }

void *fake_module(int id) {
  static void *const first = open_module(FAKE_RENDERER_1_PATH);
  static void *const second = open_module(FAKE_RENDERER_2_PATH);
  return id == 1 ? first : second;
}

FakeRecord *fake_record(int id) {
  auto fn = reinterpret_cast<FakeRecord *(*)()>(find_symbol(fake_module(id), "fake_renderer_record"));
  if (fn == nullptr) std::abort();
  return fn();
}

void fake_reset(int id) { *fake_record(id) = FakeRecord{}; }

void set_module(void *handle) { entry<void (*)(void *)>("miSetModuleHandle")(handle); }

std::string recorded() {
  const FakeRecord *r = fake_record(1);
  std::string text = r->entry;
  for (int k = 0; k < r->arg_count; ++k) text += " " + std::to_string(r->args[k]);
  return text;
}

std::string failure_text(const char *name, void *handle, int error) {
  char line[512];
  std::snprintf(line, sizeof line, "dlsym failed on \"%s\" (handle: %08x error: %d)\n", name,
                static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)), error);
  return (handle == nullptr ? "DYNLOAD: dl_handle null\n" : "") + std::string(line);
}

const std::vector<ListedEntry> &listed_entries() {
  static const std::vector<ListedEntry> entries = {
#define TAVO_ENTRY(name) {#name, true, false},
#define TAVO_HIDDEN_ENTRY(name) {#name, false, false},
#define TAVO_VARIADIC_ENTRY(name) {#name, true, true},
#include "binding/entries.def"
  };
  return entries;
}

std::set<std::string> listed_exports() {
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
