/* A renderer module in which every function of the interface does nothing:
 * what the benchmark of the forwarding entries' first calls resolves them to. */
#define TAVO_ENTRY(name) __attribute__((visibility("default"))) void name(void) {}
#include "binding/entries.def"
