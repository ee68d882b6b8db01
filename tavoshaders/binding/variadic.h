/* The forwarding entries that take variable arguments and are therefore
 * written in C++ (variadic.cpp) instead of being generic thunks.
 * mi_query, mi_warning and mi_error are declared with the other renderer
 * operations in frame/renderer.h; the rest are declared here. */
#ifndef TAVO_BINDING_VARIADIC_H
#define TAVO_BINDING_VARIADIC_H

#include "frame/renderer.h"

#ifdef __cplusplus
extern "C" {
#endif

void *mi_scene_create(miTag *tag, int type, ...);

void mi_fatal(const char *format, ...) __attribute__((format(printf, 1, 2)));
void mi_info(const char *format, ...) __attribute__((format(printf, 1, 2)));
void mi_progress(const char *format, ...) __attribute__((format(printf, 1, 2)));
void mi_debug(const char *format, ...) __attribute__((format(printf, 1, 2)));
void mi_vdebug(const char *format, ...) __attribute__((format(printf, 1, 2)));
void mi_nfatal(int number, const char *format, ...) __attribute__((format(printf, 2, 3)));
void mi_nerror(int number, const char *format, ...) __attribute__((format(printf, 2, 3)));
void mi_nwarning(int number, const char *format, ...) __attribute__((format(printf, 2, 3)));

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
