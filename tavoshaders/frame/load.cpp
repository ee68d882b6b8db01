// The library's load entry. A renderer on Windows would have us turn off the
// per-thread attach notifications here; the Linux loader sends none, so there
// is nothing to turn off and no other load-time work: the binding layer starts
// empty and fills itself on first use.
#include "frame.h"

__attribute__((constructor)) static void tavo_library_load(void) {}
