/* The generic forwarding entries: one thunk per line of entries.def, in list
 * order, so that each thunk's slot index is its line's position. The code of
 * a thunk depends on the calling convention and comes from the platform file. */

#if defined(__x86_64__) && defined(_WIN32)
#include "thunk_x86_64_win64.h"
#elif defined(__x86_64__)
#include "thunk_x86_64_sysv.h"
#else
#error "no forwarding thunks for this platform yet: add a thunk_<platform>.h beside thunk_x86_64_sysv.h"
#endif

TAVO_THUNKS_BEGIN

#define TAVO_ENTRY(name) TAVO_THUNK(name)
#define TAVO_HIDDEN_ENTRY(name) TAVO_HIDDEN_THUNK(name)
#define TAVO_VARIADIC_ENTRY(name) TAVO_NO_THUNK(name)
#include "entries.def"

TAVO_THUNKS_END
