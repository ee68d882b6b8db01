// The module handle, the resolution cache and the slow path that fills it.
#include "binding/binding.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

extern "C" {
// Constant-initialised to null, so every entry starts unresolved even for a
// call made before the library's constructors have run.
TAVO_INTERNAL std::atomic<void *> tavo_binding_slots[TAVO_SLOT_COUNT];
}

namespace {

// ---- the platform's symbol lookup ------------------------------------------

#if defined(_WIN32)

extern "C" IMAGE_DOS_HEADER __ImageBase; // the linker's name for this image's first byte

// GetProcAddress reads a null module as the program's own image; the lookup
// goes ahead and fails like any other unless the program exports the name.
void *look_up(void *handle, const char *name, int &error)
{
    void *fn = reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(handle), name));
    error = fn ? 0 : static_cast<int>(GetLastError());
    return fn;
}

bool inside_this_library(void *address)
{
    HMODULE module = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              static_cast<LPCWSTR>(address), &module) &&
           module == reinterpret_cast<HMODULE>(&__ImageBase);
}

// A name that resolved to this library itself is reported as not found.
constexpr int self_resolution_error = ERROR_PROC_NOT_FOUND;

#else

// dlsym has no error number, only dlerror()'s text, so the message carries the
// errno value naming the cause: EINVAL when no module handle was given, ENOENT
// when the module has no such name (or only this library's own entry).
void *look_up(void *handle, const char *name, int &error)
{
    // No dlsym on a null handle: glibc reads it as RTLD_DEFAULT and would find
    // this library's own entry.
    if (handle == nullptr) {
        error = EINVAL;
        return nullptr;
    }
    dlerror();
    void *fn = dlsym(handle, name);
    if (fn == nullptr)
        dlerror(); // don't leave our failure pending for the host's next dlerror()
    error = fn ? 0 : ENOENT;
    return fn;
}

// The linker's marks of this library's own image, from its ELF header to the
// end of its data; hidden, so they are this library's and no other module's.
extern "C" char __ehdr_start[] __attribute__((visibility("hidden")));
extern "C" char _end[] __attribute__((visibility("hidden")));

// A range check, not dladdr: dladdr walks every loaded module, and a render
// resolves hundreds of entries while a program with hundreds of modules loads.
bool inside_this_library(void *address)
{
    const auto at = reinterpret_cast<std::uintptr_t>(address);
    return at >= reinterpret_cast<std::uintptr_t>(__ehdr_start) && at < reinterpret_cast<std::uintptr_t>(_end);
}

constexpr int self_resolution_error = ENOENT;

#endif

// ---- the cache ---------------------------------------------------------------

std::atomic<void *> module_handle{nullptr};

constexpr const char *entry_names[TAVO_SLOT_COUNT] = {
#define TAVO_ENTRY(name) #name,
#include "entries.def"
};

} // namespace

TAVO_EXPORT void miSetModuleHandle(void *handle)
{
    module_handle.store(handle, std::memory_order_relaxed);
    for (std::atomic<void *> &slot : tavo_binding_slots)
        slot.store(nullptr, std::memory_order_relaxed);
}

extern "C" TAVO_INTERNAL void *tavo_binding_resolve(unsigned slot)
{
    if (slot >= TAVO_SLOT_COUNT)
        return nullptr;
    const char *name = entry_names[slot];
    void *handle = module_handle.load(std::memory_order_relaxed);

    if (handle == nullptr)
        std::fputs("DYNLOAD: dl_handle null\n", stderr);
    int error = 0;
    void *fn = look_up(handle, name, error);
    // A module handle through which this library finds itself (the program's
    // own with the library loaded globally, or the library's) would turn the
    // entry into an endless call of itself.
    if (fn != nullptr && inside_this_library(fn)) {
        fn = nullptr;
        error = self_resolution_error;
    }

    // Racing first calls store the same address; a plain store is enough.
    tavo_binding_slots[slot].store(fn, std::memory_order_relaxed);

    if (fn == nullptr)
        std::fprintf(stderr, "dlsym failed on \"%s\" (handle: %08x error: %d)\n", name,
                     static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)), error);
    return fn;
}
