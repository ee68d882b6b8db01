// The renderer operations, exported with C linkage under the names shader
// libraries look up. Each is a thin entry into the renderer core.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "renderer_core.h"

using tavo::host::Renderer;

namespace {

void log_message(const char *level, const char *format, va_list args) {
  char text[4096];
  std::vsnprintf(text, sizeof text, format ? format : "", args);
  Renderer::get().message(level, text);
}

}  // namespace

#define TAVO_MESSAGE_OPERATION(name, level)       \
  extern "C" void name(const char *format, ...) { \
    va_list args;                                 \
    va_start(args, format);                       \
    log_message(level, format, args);             \
    va_end(args);                                 \
  }

#define TAVO_NUMBERED_MESSAGE_OPERATION(name, level)          \
  extern "C" void name(int number, const char *format, ...) { \
    va_list args;                                             \
    va_start(args, format);                                   \
    log_message(level, (std::string(std::to_string(number)) + ": " + (format ? format : "")).c_str(), args); \
    va_end(args);                                             \
  }

TAVO_MESSAGE_OPERATION(mi_fatal, "fatal")
TAVO_MESSAGE_OPERATION(mi_error, "error")
TAVO_MESSAGE_OPERATION(mi_warning, "warning")
TAVO_MESSAGE_OPERATION(mi_info, "info")
TAVO_MESSAGE_OPERATION(mi_progress, "progress")
TAVO_MESSAGE_OPERATION(mi_debug, "debug")
TAVO_MESSAGE_OPERATION(mi_vdebug, "debug")
TAVO_NUMBERED_MESSAGE_OPERATION(mi_nfatal, "fatal")
TAVO_NUMBERED_MESSAGE_OPERATION(mi_nerror, "error")
TAVO_NUMBERED_MESSAGE_OPERATION(mi_nwarning, "warning")

extern "C" {

void *mi_phen_eval(miState *state, void *parameter) { return Renderer::get().phen_eval(state, parameter); }

miBoolean mi_query(int code, miState *state, miTag tag, void *result, ...) {
  void *extra = nullptr;
  if (code == miQ_FUNC_TLS_GETALL) {
    va_list args;
    va_start(args, result);
    extra = va_arg(args, void *);
    va_end(args);
  }
  return Renderer::get().query(code, state, tag, result, extra);
}

void *mi_mem_int_allocate(const char *file, int line, size_t size) {
  return Renderer::get().allocate(file, line, size);
}

void mi_mem_int_release(const char *file, int line, void *block) { Renderer::get().release(file, line, block); }

}  // extern "C"
