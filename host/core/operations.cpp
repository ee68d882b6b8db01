// The renderer operations, exported with C linkage under the names shader
// libraries look up. Each is a thin entry into the renderer core.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "renderer_core.h"
#include "scene.h"
#include "shading.h"
#include "texture.h"

using tavo::host::Renderer;
namespace host = tavo::host;

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

// Out of line, so that mi_query's common answer needs no stack frame.
[[gnu::noinline]] miBoolean query(int code, miState *state, miTag tag, void *result, void *extra) {
  return Renderer::get().query(code, state, tag, result, extra);
}

extern "C" {

void *mi_phen_eval(miState *state, void *parameter) { return Renderer::get().phen_eval(state, parameter); }

miBoolean mi_query(int code, miState *state, miTag tag, void *result, ...) {
  // the user slot of the running instance, asked on every call of most
  // shaders: answered here, without the renderer's general query
  if (code == miQ_FUNC_USERPTR && tag == miNULLTAG && state && result)
    if (host::Instance *inst = host::Instance::of(state->shader)) {
      *static_cast<void ***>(result) = &inst->user_pointer;
      return miTRUE;
    }
  if (code != miQ_FUNC_TLS_GETALL) return query(code, state, tag, result, nullptr);
  va_list args;
  va_start(args, result);
  void *extra = va_arg(args, void *);
  va_end(args);
  return query(code, state, tag, result, extra);
}

void *mi_mem_int_allocate(const char *file, int line, size_t size) {
  return Renderer::get().allocate(file, line, size);
}

void mi_mem_int_release(const char *file, int line, void *block) { Renderer::get().release(file, line, block); }

// ---- shader calls

miBoolean mi_call_shader(miColor *result, int type, miState *state, miTag shader) {
  return host::call_shader(result, type, state, shader, nullptr);
}

miBoolean mi_call_shader_x(miColor *result, int type, miState *state, miTag shader, void *arg) {
  return host::call_shader(result, type, state, shader, arg);
}

// ---- database and images

// A texture's tag gives its image record, a shader instance's its function
// record; anything else has no record to hand out.
void *mi_db_access(miTag tag) {
  Renderer &renderer = Renderer::get();
  if (const host::Image *image = renderer.texture(tag))
    return const_cast<miImg_image *>(static_cast<const miImg_image *>(image));
  if (host::Instance *inst = renderer.instance(tag)) return &inst->function;
  return nullptr;
}

void mi_db_unpin(miTag) {}  // records stay put while the scene lives

int mi_img_get_width(const miImg_image *image) {
  const host::Image *record = Renderer::get().image(image);
  return record ? record->width() : 0;
}

int mi_img_get_height(const miImg_image *image) {
  const host::Image *record = Renderer::get().image(image);
  return record ? record->height() : 0;
}

// ---- textures

miBoolean mi_lookup_color_texture(miColor *color, miState *state, miTag tex, miVector *coord) {
  return host::lookup_color_texture(color, state, tex, coord);
}

miBoolean mi_lookup_filter_color_texture(miColor *color, miState *state, miTag tex, miTexfilter *paras,
                                         miMatrix ST) {
  return host::lookup_filter_color_texture(color, state, tex, paras, ST);
}

miBoolean mi_texture_filter_project(miVector p[3], miVector t[3], miState *state, miScalar disc_r, miUint space) {
  return host::texture_filter_project(p, t, state, disc_r, space);
}

miBoolean mi_texture_filter_transform(miMatrix ST, miVector p[3], miVector t[3]) {
  return host::texture_filter_transform(ST, p, t);
}

// ---- rays

miBoolean mi_trace_eye(miColor *result, miState *state, miVector *origin, miVector *direction) {
  if (!origin || !direction) return miFALSE;
  return host::trace_eye(result, state, *origin, *direction);
}

miBoolean mi_trace_reflection(miColor *result, miState *state, miVector *direction) {
  if (!direction) return miFALSE;
  return host::trace_reflection(result, state, *direction);
}

miBoolean mi_trace_refraction(miColor *result, miState *state, miVector *direction) {
  if (!direction) return miFALSE;
  return host::trace_refraction(result, state, *direction);
}

miBoolean mi_trace_transparent(miColor *result, miState *state) { return host::trace_transparent(result, state); }

miBoolean mi_trace_probe(miState *state, miVector *direction, miVector *origin) {
  if (!origin || !direction) return miFALSE;
  return host::trace_probe(state, *direction, *origin);
}

miBoolean mi_tri_vectors(miState *state, int which, int ntex, miVector **a, miVector **b, miVector **c) {
  return host::tri_vectors(state, which, ntex, a, b, c);
}

// ---- shader state and caches

// A shader moved the state: the results of connected shaders computed for it
// no longer hold. Counted too, so that tests see where a shader flushes.
void mi_flush_cache(miState *state) {
  if (host::Sample *sample = host::Sample::of(state)) {
    ++sample->flushes;
    sample->results.flush(state);
  }
}

miBoolean mi_shaderstate_set(miState *state, const char *key, void *value, int size, int lifetime) {
  host::Sample *sample = host::Sample::of(state);
  if (!sample || !key) return miFALSE;
  return sample->set_value(key, value, size, lifetime, host::depth_of(state)) ? miTRUE : miFALSE;
}

void *mi_shaderstate_get(miState *state, const char *key, int *size) {
  host::Sample *sample = host::Sample::of(state);
  if (!sample || !key) {
    if (size) *size = 0;
    return nullptr;
  }
  return sample->value(key, size);
}

miBoolean tavo_host_direct_light(miColor *light, miState *state) {
  if (!light || !state) return miFALSE;
  const host::Sample *sample = host::Sample::of(state);
  const host::Scene *scene = sample ? sample->scene : Renderer::get().current_scene();
  if (!scene) {
    *light = miColor{0, 0, 0, 1};
    return miFALSE;
  }
  if (sample && sample->answering_shadow) {
    *light = miColor{0, 0, 0, 1};
    return miTRUE;
  }
  *light = scene->direct_light(*state);
  return miTRUE;
}

miBoolean tavo_host_transmit(miState *state, const miColor *through) {
  host::Sample *sample = host::Sample::of(state);
  if (!sample || !through || !state || state->type != miRAY_SHADOW) return miFALSE;
  sample->transmit = *through;
  sample->transmit_set = true;
  return miTRUE;
}

miBoolean tavo_host_random(miState *state, int kind, int index, float out[2]) {
  if (!state || !out) return miFALSE;
  host::shader_random_2d(state, static_cast<std::uint32_t>(kind), static_cast<std::uint32_t>(index), out);
  return miTRUE;
}

void tavo_host_ray_density(miState *state, float density) {
  if (host::Sample *sample = host::Sample::of(state)) sample->next_ray_density = density > 0.0f ? density : 0.0f;
}

miBoolean tavo_host_light_samples(miState *state, tavo_host_light_fn take, void *data) {
  if (!state || !take) return miFALSE;
  const host::Sample *sample = host::Sample::of(state);
  const host::Scene *scene = sample ? sample->scene : Renderer::get().current_scene();
  if (!scene || (sample && sample->answering_shadow)) return miFALSE;
  scene->sample_lights(*state, [&](const host::LightSample &s) {
    take(data, &s.direction, s.cosine, &s.value, s.density);
  });
  return miTRUE;
}

}  // extern "C"
