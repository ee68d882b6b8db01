#include "binding_test_support.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

namespace bindingtest {

namespace {

void *open_or_die(const char *path, int flags)
{
    void *handle = dlopen(path, flags);
    if (handle == nullptr) {
        std::fprintf(stderr, "cannot load %s: %s\n", path, dlerror());
        std::abort();
    }
    return handle;
}

} // namespace

void *library()
{
    static void *const handle = open_or_die(TAVO_LIBRARY_PATH, RTLD_LAZY | RTLD_LOCAL);
    return handle;
}

void *library_symbol(const char *name)
{
    void *symbol = dlsym(library(), name);
    EXPECT_NE(symbol, nullptr) << name << " is not exported by tavoshaders.so";
    return symbol;
}

void *fake_module(int id)
{
    static void *const first = open_or_die(FAKE_RENDERER_1_PATH, RTLD_NOW | RTLD_LOCAL);
    static void *const second = open_or_die(FAKE_RENDERER_2_PATH, RTLD_NOW | RTLD_LOCAL);
    return id == 1 ? first : second;
}

FakeRecord *fake_record(int id)
{
    using RecordFn = FakeRecord *(*)();
    auto fn = reinterpret_cast<RecordFn>(dlsym(fake_module(id), "fake_renderer_record"));
    if (fn == nullptr)
        std::abort();
    return fn();
}

void fake_reset(int id)
{
    using ResetFn = void (*)();
    auto fn = reinterpret_cast<ResetFn>(dlsym(fake_module(id), "fake_renderer_reset"));
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
    file_ = std::tmpfile();
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

} // namespace bindingtest
