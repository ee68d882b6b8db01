#include "binding_test_support.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>

#if defined(_WIN32)
#include <windows.h>
#include <winternl.h>
#include <io.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif

namespace bindingtest {

namespace {

[[noreturn]] void die(const char *what, const char *path)
{
    std::fprintf(stderr, "%s %s\n", what, path);
    std::abort();
}

// Symbols of a listing written by nm at build time: "value type name" lines.
std::map<std::string, std::uint64_t> read_nm_listing(const char *path)
{
    std::map<std::string, std::uint64_t> symbols;
    FILE *file = std::fopen(path, "r");
    if (file == nullptr)
        die("cannot read the symbol listing", path);
    char line[1024];
    while (std::fgets(line, sizeof line, file)) {
        unsigned long long value = 0;
        char type = 0;
        char name[900];
        if (std::sscanf(line, "%llx %c %899s", &value, &type, name) == 3)
            symbols[name] = value;
    }
    std::fclose(file);
    return symbols;
}

const std::map<std::string, std::uint64_t> &library_symbol_listing()
{
    static const auto symbols = read_nm_listing(TAVO_SYMBOLS_PATH);
    return symbols;
}

} // namespace

// ---- the platform's loader ------------------------------------------------------

#if defined(_WIN32)

const int null_handle_error = ERROR_PROC_NOT_FOUND; // a null module means the program's image
const int missing_name_error = ERROR_PROC_NOT_FOUND;
const bool records_return_in_registers = false;
const bool variadic_calls_count_vector_registers = false;

namespace {

std::string native_path(const char *path)
{
    std::string native = path;
    std::replace(native.begin(), native.end(), '/', '\\');
    return native;
}

void *open_module(const char *path)
{
    HMODULE module = LoadLibraryA(native_path(path).c_str());
    if (module == nullptr)
        die("cannot load", path);
    return module;
}

HMODULE module_of(const void *address)
{
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<LPCSTR>(address), &module);
    return module;
}

// Windows and Wine keep a module's loader record in the lists of the process
// environment block; bit 18 of its flags (at 0x68 on x64) stops the thread
// notifications.
constexpr std::size_t loader_flags_offset = 0x68;
constexpr ULONG no_thread_notifications = 0x00040000;

const ULONG *loader_flags(void *module)
{
    PROCESS_BASIC_INFORMATION process{};
    if (NtQueryInformationProcess(GetCurrentProcess(), ProcessBasicInformation, &process, sizeof process,
                                  nullptr) != 0)
        return nullptr;
    const PEB_LDR_DATA *loader = process.PebBaseAddress->Ldr;
    const LIST_ENTRY *head = &loader->InMemoryOrderModuleList;
    for (const LIST_ENTRY *link = head->Flink; link != head; link = link->Flink) {
        auto *record = CONTAINING_RECORD(link, LDR_DATA_TABLE_ENTRY, InMemoryOrderLinks);
        if (record->DllBase == module)
            return reinterpret_cast<const ULONG *>(reinterpret_cast<const char *>(record) + loader_flags_offset);
    }
    return nullptr;
}

FILE *scratch_file()
{
    wchar_t folder[MAX_PATH];
    wchar_t path[MAX_PATH];
    if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"tvb", 0, path) == 0)
        return nullptr;
    return _wfopen(path, L"w+bD"); // D: deleted when closed
}

} // namespace

void *find_symbol(void *module, const char *name)
{
    return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(module), name));
}

bool library_is_loaded()
{
    return GetModuleHandleA(native_path(TAVO_LIBRARY_PATH).c_str()) != nullptr;
}

std::set<std::string> library_export_table()
{
    const auto *image = static_cast<const unsigned char *>(library());
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(image);
    const auto *nt = reinterpret_cast<const IMAGE_NT_HEADERS64 *>(image + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY &directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    std::set<std::string> names;
    if (directory.Size == 0)
        return names;
    const auto *exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY *>(image + directory.VirtualAddress);
    const auto *name_addresses = reinterpret_cast<const DWORD *>(image + exports->AddressOfNames);
    for (DWORD k = 0; k < exports->NumberOfNames; ++k)
        names.insert(reinterpret_cast<const char *>(image + name_addresses[k]));
    // An export by ordinal only would have no name to compare: count it as one.
    for (DWORD k = exports->NumberOfNames; k < exports->NumberOfFunctions; ++k)
        names.insert("#" + std::to_string(k));
    return names;
}

bool in_library(const void *address)
{
    return module_of(address) == static_cast<HMODULE>(library());
}

bool in_test_program(const void *address)
{
    return module_of(address) == GetModuleHandleA(nullptr);
}

void *handle_that_finds_the_library()
{
    return library();
}

void *open_in_global_scope(const char *path)
{
    return open_module(path);
}

void close_module(void *module)
{
    FreeLibrary(static_cast<HMODULE>(module));
}

bool thread_notifications_off(void *module)
{
    const ULONG *flags = loader_flags(module);
    return flags != nullptr && (*flags & no_thread_notifications) != 0;
}

#else

// dlsym has no error number: the library reports EINVAL for a lookup without
// a handle and ENOENT for a name that the module lacks.
const int null_handle_error = EINVAL;
const int missing_name_error = ENOENT;
const bool records_return_in_registers = true;
const bool variadic_calls_count_vector_registers = true;

namespace {

void *open_module_with(const char *path, int flags)
{
    void *handle = dlopen(path, flags);
    if (handle == nullptr)
        die("cannot load", path);
    return handle;
}

void *open_module(const char *path)
{
    return open_module_with(path, RTLD_NOW | RTLD_LOCAL);
}

const void *module_of(const void *address)
{
    Dl_info info{};
    return dladdr(address, &info) ? info.dli_fbase : nullptr;
}

FILE *scratch_file()
{
    return std::tmpfile();
}

} // namespace

void *find_symbol(void *module, const char *name)
{
    return dlsym(module, name);
}

bool library_is_loaded()
{
    return dlopen(TAVO_LIBRARY_PATH, RTLD_LAZY | RTLD_NOLOAD) != nullptr;
}

std::set<std::string> library_export_table()
{
    std::set<std::string> names;
    for (const auto &[name, value] : read_nm_listing(TAVO_DYNAMIC_SYMBOLS_PATH))
        names.insert(name);
    return names;
}

bool in_library(const void *address)
{
    return module_of(address) == module_of(library_symbol("miSetModuleHandle"));
}

bool in_test_program(const void *address)
{
    return module_of(address) == module_of(reinterpret_cast<const void *>(&in_test_program));
}

void *handle_that_finds_the_library()
{
    // Promotes the library into the global scope; lookups through a module's
    // own handle, as every other test makes them, do not search that scope.
    open_module_with(TAVO_LIBRARY_PATH, RTLD_NOW | RTLD_GLOBAL);
    return dlopen(nullptr, RTLD_NOW);
}

void *open_in_global_scope(const char *path)
{
    return open_module_with(path, RTLD_NOW | RTLD_GLOBAL);
}

void close_module(void *module)
{
    dlclose(module);
}

#endif

// ---- on top of it ---------------------------------------------------------------

void *library()
{
    static void *const handle = open_module(TAVO_LIBRARY_PATH);
    return handle;
}

void *library_symbol(const char *name)
{
    void *symbol = find_symbol(library(), name);
    EXPECT_NE(symbol, nullptr) << name << " is not exported by tavoshaders";
    return symbol;
}

void *library_internal_symbol(const char *name)
{
    // The listing gives link-time addresses; an exported symbol tells how far
    // the loader moved them.
    const auto &symbols = library_symbol_listing();
    const auto anchor = symbols.find("miSetModuleHandle");
    const auto it = symbols.find(name);
    if (anchor == symbols.end() || it == symbols.end())
        return nullptr;
    const std::uintptr_t bias = reinterpret_cast<std::uintptr_t>(library_symbol("miSetModuleHandle")) - anchor->second;
    return reinterpret_cast<void *>(bias + it->second);
}

void *fake_module(int id)
{
    static void *const first = open_module(FAKE_RENDERER_1_PATH);
    static void *const second = open_module(FAKE_RENDERER_2_PATH);
    return id == 1 ? first : second;
}

FakeRecord *fake_record(int id)
{
    using RecordFn = FakeRecord *(*)();
    auto fn = reinterpret_cast<RecordFn>(find_symbol(fake_module(id), "fake_renderer_record"));
    if (fn == nullptr)
        std::abort();
    return fn();
}

void fake_reset(int id)
{
    using ResetFn = void (*)();
    auto fn = reinterpret_cast<ResetFn>(find_symbol(fake_module(id), "fake_renderer_reset"));
    if (fn == nullptr)
        std::abort();
    fn();
}

void set_module(void *handle)
{
    entry<void (*)(void *)>("miSetModuleHandle")(handle);
}

std::string failure_text(const char *name, void *handle, int error)
{
    std::string text;
    if (handle == nullptr)
        text = "DYNLOAD: dl_handle null\n";
    char line[512];
    std::snprintf(line, sizeof line, "dlsym failed on \"%s\" (handle: %08x error: %d)\n", name,
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)), error);
    return text + line;
}

StderrCapture::StderrCapture()
{
    std::fflush(stderr);
    file_ = scratch_file();
    if (file_ == nullptr)
        std::abort();
    saved_ = dup(2);
    dup2(fileno(file_), 2);
}

StderrCapture::~StderrCapture()
{
    if (saved_ >= 0)
        finish();
}

std::string StderrCapture::finish()
{
    std::fflush(stderr);
    dup2(saved_, 2);
    close(saved_);
    saved_ = -1;
    std::string text;
    std::rewind(file_);
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0)
        text.append(buffer, n);
    std::fclose(file_);
    file_ = nullptr;
    return text;
}

const std::vector<ListedEntry> &listed_entries()
{
    static const std::vector<ListedEntry> entries = {
#define TAVO_ENTRY(name) {#name, true, false},
#define TAVO_HIDDEN_ENTRY(name) {#name, false, false},
#define TAVO_VARIADIC_ENTRY(name) {#name, true, true},
#include "binding/entries.def"
    };
    return entries;
}

std::set<std::string> listed_exports()
{
    std::set<std::string> names = {"miSetModuleHandle"};
    for (const ListedEntry &e : listed_entries())
        if (e.exported)
            names.insert(e.name);
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

} // namespace bindingtest
