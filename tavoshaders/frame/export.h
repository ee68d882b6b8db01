// What the library marks for export. The export table itself is generated from
// binding/entries.def and frame/shaders.def (exports.in): a version script on
// ELF, a .def file on Windows, where nothing is marked dllexport so that the
// .def is the only source of exports.
#ifndef TAVO_FRAME_EXPORT_H
#define TAVO_FRAME_EXPORT_H

#if defined(_WIN32)
#define TAVO_EXPORT extern "C"
#define TAVO_INTERNAL
#else
#define TAVO_EXPORT extern "C" __attribute__((visibility("default")))
#define TAVO_INTERNAL __attribute__((visibility("hidden")))
#endif

#endif
