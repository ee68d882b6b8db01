/* Stand-in renderer module: recording bodies for the names the binding tests call. See fake_renderer.h. */
#include "fake_renderer.h"

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#if !defined(_WIN32)
#include <execinfo.h>
#endif

#ifndef FAKE_RENDERER_ID
#error "build with FAKE_RENDERER_ID set to 1 or 2"
#endif

#if defined(_WIN32)
#define FAKE_EXPORT __declspec(dllexport)
#define FAKE_INTERNAL
#else
#define FAKE_EXPORT __attribute__((visibility("default")))
#define FAKE_INTERNAL __attribute__((visibility("hidden")))
#endif
#define FAKE_STR2(x) #x
#define FAKE_STR(x) FAKE_STR2(x)

static FakeRecord record;

FAKE_EXPORT FakeRecord *fake_renderer_record(void) { return &record; }

#define W(x) ((unsigned long long)(x))
#define P(x) ((unsigned long long)(uintptr_t)(x))
static unsigned long long bits(double d) {
  unsigned long long u;
  memcpy(&u, &d, sizeof u);
  return u;
}

static void note(const char *entry, int count, const unsigned long long *args) {
  ++record.calls;
  snprintf(record.entry, sizeof record.entry, "%s", entry);
  record.arg_count = count;
  memcpy(record.args, args, (size_t)count * sizeof *args);
}

/* Reads a fifth argument only for the codes that carry one, as the renderer does. */
FAKE_EXPORT miBoolean mi_query(int code, miState *state, miTag tag, void *result, ...) {
  if (code == 142) return FAKE_RENDERER_ID; /* records nothing, so safe from several threads; names the module */
  unsigned long long a[5] = {W(code), P(state), W(tag), P(result)};
  va_list ap;
  va_start(ap, result);
  if (code == 15) a[4] = W(va_arg(ap, int));
  if (code == 127) a[4] = P(va_arg(ap, void *));
  va_end(ap);
  note("mi_query", code == 15 || code == 127 ? 5 : 4, a);
  if (code == 51) *(void **)result = record.args; /* an answer written back */
  return 100 + code;
}

FAKE_EXPORT void *mi_scene_create(miTag *tag, int type, ...) {
  unsigned long long a[11] = {P(tag), W(type)};
  int n = 2;
  va_list ap;
  va_start(ap, type);
  if (type == 40) a[n++] = P(va_arg(ap, void *));
  for (int k = 0; k < (type == 51 ? 3 : 8); ++k) a[n++] = W(va_arg(ap, int));
  if (type == 51) a[n++] = P(va_arg(ap, void *));
  va_end(ap);
  note("mi_scene_create", n, a);
  return record.args;
}

static const int number = 0; /* what an unnumbered message records: nothing */

/* FAKE_MESSAGE(name, 0, ) or, for an entry with a number, (name, 1, int number,). */
#define FAKE_MESSAGE(name, count, ...)                         \
  FAKE_EXPORT void name(__VA_ARGS__ const char *format, ...) { \
    const unsigned long long n = W(number);                    \
    note(#name, count, &n);                                    \
    snprintf(record.format, sizeof record.format, "%s", format); \
    va_list ap;                                                \
    va_start(ap, format);                                      \
    vsnprintf(record.printed, sizeof record.printed, format, ap); \
    va_end(ap);                                                \
  }

FAKE_MESSAGE(mi_fatal, 0, )
FAKE_MESSAGE(mi_error, 0, )
FAKE_MESSAGE(mi_warning, 0, )
FAKE_MESSAGE(mi_info, 0, )
FAKE_MESSAGE(mi_progress, 0, )
FAKE_MESSAGE(mi_debug, 0, )
FAKE_MESSAGE(mi_vdebug, 0, )
FAKE_MESSAGE(mi_nfatal, 1, int number, )
FAKE_MESSAGE(mi_nerror, 1, int number, )
FAKE_MESSAGE(mi_nwarning, 1, int number, )

/* Notes the arguments of a wide entry (l0..l3, i0..i3, d0..d4, f0..f4); its value is d4 * 2 + f4. */
#define FAKE_NOTE_WIDE(entry)                                                                                   \
  (note(entry, 18,                                                                                              \
        (unsigned long long[]){W(l0), W(l1), W(l2), W(l3), W(i0), W(i1), W(i2), W(i3), bits(d0), bits(d1),      \
                               bits(d2), bits(d3), bits(d4), bits(f0), bits(f1), bits(f2), bits(f3), bits(f4)}), \
   d4 * 2.0 + f4)

/* 8 integer and 10 floating-point arguments, interleaved: System V fills 6 integer and 8 vector registers and
 * puts two of each on the stack; under Microsoft x64 the two entries give each of the first four positions both
 * its integer and its vector register. */
FAKE_EXPORT double mi_geomo_blend_surfaces(double d0, long long l0, float f0, int i0, long long l1, double d1, int i1,
                                           float f1, double d2, long long l2, float f2, int i2, long long l3, double d3,
                                           int i3, float f3, double d4, float f4) {
  return FAKE_NOTE_WIDE("mi_geomo_blend_surfaces");
}

FAKE_EXPORT double mi_geomo_u_loft(long long l0, double d0, int i0, float f0, double d1, long long l1, float f1, int i1,
                                   long long l2, double d2, int i2, float f2, double d3, long long l3, float f3, int i3,
                                   double d4, float f4) {
  return -FAKE_NOTE_WIDE("mi_geomo_u_loft");
}

/* A 16-byte record comes back in rax:rdx (System V) or through memory. */
FAKE_EXPORT FakePair mi_geomo_free_curves(long long a, long long b) { return (FakePair){b, a}; }

/* Two doubles come back in xmm0:xmm1 (System V) or through memory. */
FAKE_EXPORT FakeDoublePair mi_geomo_homogenize_curves(double a, double b) { return (FakeDoublePair){b, a}; }

/* A variadic callee (under System V %al must still count the vector registers): the stub notes rax
 * and rsp as they arrive, then runs the body. */
FAKE_INTERNAL long long fake_variadic_rax;
FAKE_INTERNAL unsigned long long fake_variadic_rsp;

FAKE_INTERNAL __attribute__((used)) double fake_echo_scene_body(int n, ...) {
  ++record.calls;
  record.variadic_rax = fake_variadic_rax;
  record.variadic_rsp = fake_variadic_rsp;
  va_list ap;
  va_start(ap, n);
  double sum = 0.0;
  for (int k = 0; k < n; ++k) sum = sum * 10.0 + va_arg(ap, double);
  va_end(ap);
  return sum;
}

/* Plain assembly: at -O0 a naked C function still spills its arguments through the caller's frame. */
#if defined(_WIN32)
#define FAKE_ECHO_SYMBOL                                                                                      \
  ".section .drectve\n\t.ascii \" -export:mi_echo_scene\"\n\t.text\n\t.def mi_echo_scene; .scl 2; .type 32; " \
  ".endef\n\t"
#define FAKE_ECHO_SIZE ""
#else
#define FAKE_ECHO_SYMBOL ".text\n\t.type mi_echo_scene, @function\n\t"
#define FAKE_ECHO_SIZE ".size mi_echo_scene, . - mi_echo_scene\n\t"
#endif
__asm__(FAKE_ECHO_SYMBOL
        ".globl mi_echo_scene\n"
        "mi_echo_scene:\n\t"
        "movq %rax, fake_variadic_rax(%rip)\n\t"
        "movq %rsp, fake_variadic_rsp(%rip)\n\t"
        "jmp fake_echo_scene_body\n\t" FAKE_ECHO_SIZE);

/* Pure functions, safe to call from several threads at once. */
FAKE_EXPORT const char *mi_raylib_version(void) { return "fake renderer " FAKE_STR(FAKE_RENDERER_ID); }

FAKE_EXPORT miScalar mi_noise_1d(miScalar x) { return x * 0.5f + (miScalar)FAKE_RENDERER_ID; }

/* An entry that the library keeps out of its export table resolves all the same. */
FAKE_EXPORT int mi_get_subverbosity(void) { return 70 + FAKE_RENDERER_ID; }

#if FAKE_RENDERER_ID == 2
/* Only the second module has these. */
FAKE_EXPORT int mi_par_nthreads(void) { return 42; }

/* Code of ours runs inside the library's lookup of mi_db_dump and walks the stack from there: on ELF
 * an IFUNC resolver that dlsym calls, on Windows a forwarded export whose DllMain runs (fake_probe.c). */
#if defined(_WIN32)
__asm__(
    ".section .drectve\n\t"
    ".ascii \" -export:mi_db_dump=binding_fake_probe.mi_db_dump\"\n\t"
    ".text\n\t");
#else
static int db_dump(void) { return 7; }

static int (*resolve_db_dump(void))(void) {
  record.lookup_depth = backtrace(record.lookup_frames, 64);
  return db_dump;
}

FAKE_EXPORT int mi_db_dump(void) __attribute__((ifunc("resolve_db_dump")));

/* backtrace() loads the unwinder on its first call: not inside a lookup. */
__attribute__((constructor)) static void load_the_unwinder(void) {
  void *frame;
  backtrace(&frame, 1);
}
#endif
#endif
