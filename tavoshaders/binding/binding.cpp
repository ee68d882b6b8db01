// The module handle, the resolution cache and the slow path that fills it.
#include "binding/binding.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <dlfcn.h>

extern "C" {
// Constant-initialised to null, so every entry starts unresolved even for a
// call made before the library's constructors have run.
TAVO_INTERNAL std::atomic<void *> tavo_binding_slots[TAVO_SLOT_COUNT];
}

namespace {

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

    void *fn = nullptr;
    // dlsym has no error number, only dlerror()'s text, so the message carries
    // the errno value naming the cause: EINVAL when no module handle was given,
    // ENOENT when the module has no such name.
    int error = EINVAL;
    if (handle == nullptr) {
        std::fputs("DYNLOAD: dl_handle null\n", stderr);
        // No dlsym here: glibc reads a null handle as RTLD_DEFAULT and would
        // find this library's own entry.
    } else {
        dlerror();
        fn = dlsym(handle, name);
        error = ENOENT;
    }

    // Racing first calls store the same address; a plain store is enough.
    tavo_binding_slots[slot].store(fn, std::memory_order_relaxed);

    if (fn == nullptr) {
        if (handle != nullptr)
            dlerror(); // don't leave our failure pending for the host's next dlerror()
        std::fprintf(stderr, "dlsym failed on \"%s\" (handle: %08x error: %d)\n", name,
                     static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(handle)), error);
    }
    return fn;
}
