#include "platform.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#endif

namespace tavo::host::platform {

#ifdef _WIN32

const char *const kModuleSuffix = ".dll";

namespace {

std::wstring widen(const std::string &text) {
  if (text.empty()) return {};
  const int n = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), n);
  return wide;
}

std::string narrow(const wchar_t *text, int length) {
  const int n = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, length, out.data(), n, nullptr, nullptr);
  return out;
}

std::string system_message(DWORD code) {
  wchar_t *buffer = nullptr;
  const DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                     FORMAT_MESSAGE_IGNORE_INSERTS,
                                 nullptr, code, 0, reinterpret_cast<wchar_t *>(&buffer), 0, nullptr);
  std::string text = n ? narrow(buffer, static_cast<int>(n)) : "error " + std::to_string(code);
  LocalFree(buffer);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == '.')) text.pop_back();
  return text;
}

std::string module_path(HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (n == 0) return {};
    if (n < path.size()) return narrow(path.data(), static_cast<int>(n));
    path.resize(path.size() * 2);
  }
}

}  // namespace

void *load_module(const std::string &path, std::string &why) {
  // The altered search path finds a module's own dependencies beside it, as
  // the run path does on Linux.
  HMODULE module = LoadLibraryExW(widen(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (!module) why = system_message(GetLastError());
  return reinterpret_cast<void *>(module);
}

void *find_symbol(void *module, const char *name) {
  return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void *module_containing(const void *address) {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     static_cast<LPCWSTR>(address), &module);
  return reinterpret_cast<void *>(module);
}

std::string module_file(const void *address) {
  HMODULE module = static_cast<HMODULE>(module_containing(address));
  return module ? module_path(module) : std::string();
}

std::string executable_file() { return module_path(nullptr); }

void set_binary(std::FILE *stream) { _setmode(_fileno(stream), _O_BINARY); }

bool is_terminal(std::FILE *stream) { return _isatty(_fileno(stream)) != 0; }

#else

const char *const kModuleSuffix = ".so";

void *load_module(const std::string &path, std::string &why) {
  void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) {
    const char *text = dlerror();
    why = text ? text : "unknown error";
  }
  return module;
}

void *find_symbol(void *module, const char *name) { return dlsym(module, name); }

void *module_containing(const void *address) {
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_fname) return nullptr;
  return dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
}

std::string module_file(const void *address) {
  Dl_info info{};
  return dladdr(address, &info) && info.dli_fname ? info.dli_fname : "";
}

std::string executable_file() {
  std::error_code ec;
  return std::filesystem::read_symlink("/proc/self/exe", ec).string();
}

void set_binary(std::FILE *) {}

bool is_terminal(std::FILE *stream) { return isatty(fileno(stream)) != 0; }

#endif

}  // namespace tavo::host::platform
