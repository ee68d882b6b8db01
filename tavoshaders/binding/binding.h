// Resolution cache of the renderer binding: one slot per forwarding entry,
// indexed by the entry's position in entries.def. The generic entries live in
// thunks.S and read their slot directly; the entries written in C++
// (variadic.cpp) go through tavo_binding_target().
#ifndef TAVO_BINDING_BINDING_H
#define TAVO_BINDING_BINDING_H

#include "frame/export.h"

#include <atomic>
#include <cstddef>

enum TavoSlot : unsigned {
#define TAVO_ENTRY(name) tavo_slot_##name,
#include "entries.def"
    TAVO_SLOT_COUNT
};

inline constexpr bool tavo_slot_exported[TAVO_SLOT_COUNT] = {
#define TAVO_ENTRY(name) true,
#define TAVO_HIDDEN_ENTRY(name) false,
#include "entries.def"
};

inline constexpr std::size_t tavo_exported_entry_count()
{
    std::size_t n = 0;
    for (bool exported : tavo_slot_exported)
        n += exported;
    return n;
}

static_assert(TAVO_SLOT_COUNT == 678, "the renderer interface has 678 forwarding entries");
static_assert(tavo_exported_entry_count() == 654, "654 of them are exported, 24 are not");

// The thunks read a slot with a plain aligned 64-bit load, which is exactly
// what a relaxed load of a lock-free pointer atomic is on x86-64.
static_assert(std::atomic<void *>::is_always_lock_free, "slots must be lock-free");
static_assert(sizeof(std::atomic<void *>) == sizeof(void *), "slot is one pointer");
static_assert(alignof(std::atomic<void *>) == alignof(void *), "slot is aligned as a pointer");

extern "C" {
// Read by thunks.S under these exact names.
extern TAVO_INTERNAL std::atomic<void *> tavo_binding_slots[TAVO_SLOT_COUNT];

// Looks the slot's name up in the current module, stores the result (null
// included) in the slot and returns it; writes the two diagnostics to stderr
// when there is no handle or no such name.
TAVO_INTERNAL void *tavo_binding_resolve(unsigned slot);
}

// Gives the renderer module whose functions the entries forward to and clears
// every slot, so that each entry looks its name up again on its next call.
TAVO_EXPORT void miSetModuleHandle(void *handle);

// The renderer function behind a slot, resolving it on first use; null when
// the lookup failed (the caller must then not call it).
inline void *tavo_binding_target(TavoSlot slot)
{
    void *fn = tavo_binding_slots[slot].load(std::memory_order_relaxed);
    return fn ? fn : tavo_binding_resolve(slot);
}

#endif
