// The library's load entry. It only turns off the per-thread attach and detach
// notifications, which the library has no use for; there is no other load-time
// work: the binding layer starts empty and fills itself on first use.
#include "frame.h"

#if defined(_WIN32)
#include <windows.h>

// The loader keeps sending thread notifications to a module with a TLS
// directory, whatever it asks. MinGW's DLL start-up brings one in only to reach
// this callback for thread-local initialisers, which the library does not have
// (no thread_local anywhere): defining the callback here, null, keeps the CRT's
// TLS support out of the link, and the start-up code skips a null callback.
extern "C" const PIMAGE_TLS_CALLBACK __dyn_tls_init_callback = nullptr;

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
#else
// The ELF loader sends no per-thread notifications, so there is nothing to turn off.
__attribute__((constructor)) static void tavo_library_load(void) {}
#endif
