/* Windows only: behind the second fake renderer's forwarded mi_db_dump. Loaded while the library
 * looks the name up, its DllMain notes the return addresses on the stack in the fake renderer's record. */
#include <windows.h>

#include "fake_renderer.h"

__declspec(dllexport) int mi_db_dump(void) { return 7; }

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  (void)module;
  (void)reserved;
  if (reason != DLL_PROCESS_ATTACH) return TRUE;
  typedef FakeRecord *(*RecordFn)(void);
  HMODULE renderer = GetModuleHandleA("binding_fake_renderer_2.dll");
  RecordFn record = renderer ? (RecordFn)(void (*)(void))GetProcAddress(renderer, "fake_renderer_record") : NULL;
  if (record != NULL) {
    FakeRecord *r = record();
    r->lookup_depth = RtlCaptureStackBackTrace(0, 64, r->lookup_frames, NULL);
  }
  return TRUE;
}
