/* Stand-in renderer module: recording bodies for the names the binding tests call. See fake_renderer.h. */
#include "fake_renderer.h"

#include <stdarg.h>
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

static FakeRecord record = {.id = FAKE_RENDERER_ID};

FAKE_EXPORT FakeRecord *fake_renderer_record(void) { return &record; }

/* Reads its fifth argument only for the codes that carry one, as the renderer does. */
FAKE_EXPORT miBoolean mi_query(int code, miState *state, miTag tag, void *result, ...) {
  if (code == 142) return 100 + code; /* records nothing: safe to ask from several threads at once */
  ++record.calls;
  record.query_code = code;
  record.query_state = state;
  record.query_tag = tag;
  record.query_result = result;
  record.query_extra_kind = 0;
  va_list ap;
  va_start(ap, result);
  if (code == 15) {
    record.query_extra_kind = 1;
    record.query_extra_int = va_arg(ap, int);
  } else if (code == 127) {
    record.query_extra_kind = 2;
    record.query_extra_ptr = va_arg(ap, void *);
  }
  va_end(ap);
  if (code == 51) *(void ***)result = (void **)&record.query_extra_ptr;
  return 100 + code; /* any value: the test checks that it comes back unchanged */
}

FAKE_EXPORT void *mi_scene_create(miTag *tag, int type, ...) {
  ++record.calls;
  record.scene_tag = tag;
  record.scene_type = type;
  record.scene_ptr = NULL;
  record.scene_int_count = 0;
  va_list ap;
  va_start(ap, type);
  if (type == 51) {
    for (int k = 0; k < 3; ++k) record.scene_ints[record.scene_int_count++] = va_arg(ap, int);
    record.scene_ptr = va_arg(ap, void *);
  } else {
    if (type == 40) record.scene_ptr = va_arg(ap, void *);
    for (int k = 0; k < 8; ++k) record.scene_ints[record.scene_int_count++] = va_arg(ap, int);
  }
  va_end(ap);
  return &record.scene_type;
}

static void record_message(const char *entry, int number, const char *format, va_list ap) {
  ++record.calls;
  snprintf(record.message_entry, sizeof record.message_entry, "%s", entry);
  record.message_number = number;
  snprintf(record.message_format, sizeof record.message_format, "%s", format);
  vsnprintf(record.message_printed, sizeof record.message_printed, format, ap);
}

/* FAKE_MESSAGE(name, FAKE_NO_NUMBER), or (name, number, int number,) for an entry with a number. */
#define FAKE_MESSAGE(name, number, ...)                        \
  FAKE_EXPORT void name(__VA_ARGS__ const char *format, ...) { \
    va_list ap;                                                \
    va_start(ap, format);                                      \
    record_message(#name, number, format, ap);                 \
    va_end(ap);                                                \
  }

FAKE_MESSAGE(mi_fatal, FAKE_NO_NUMBER)
FAKE_MESSAGE(mi_error, FAKE_NO_NUMBER)
FAKE_MESSAGE(mi_warning, FAKE_NO_NUMBER)
FAKE_MESSAGE(mi_info, FAKE_NO_NUMBER)
FAKE_MESSAGE(mi_progress, FAKE_NO_NUMBER)
FAKE_MESSAGE(mi_debug, FAKE_NO_NUMBER)
FAKE_MESSAGE(mi_vdebug, FAKE_NO_NUMBER)
FAKE_MESSAGE(mi_nfatal, number, int number, )
FAKE_MESSAGE(mi_nerror, number, int number, )
FAKE_MESSAGE(mi_nwarning, number, int number, )

FAKE_EXPORT miScalar mi_spline(miScalar t, int n, miScalar *control) {
  ++record.calls;
  return t * (miScalar)n + control[n - 1];
}

/* Notes the arguments of a wide entry (names l0..l3, i0..i3, d0..d4, f0..f4); its value is d4 * 2 + f4. */
#define FAKE_RECORD_WIDE()                                                                     \
  (++record.calls, memcpy(record.wide_l, (long long[]){l0, l1, l2, l3}, sizeof record.wide_l), \
   memcpy(record.wide_i, (int[]){i0, i1, i2, i3}, sizeof record.wide_i),                       \
   memcpy(record.wide_d, (double[]){d0, d1, d2, d3, d4}, sizeof record.wide_d),                \
   memcpy(record.wide_f, (float[]){f0, f1, f2, f3, f4}, sizeof record.wide_f), d4 * 2.0 + f4)

/* 8 integer and 10 floating-point arguments, interleaved: System V fills 6 integer and 8 vector
 * registers and puts two of each on the stack; Microsoft x64 gives each of the first four positions
 * its integer or vector register (rcx/xmm0 and r8/xmm2 one entry, the others the second one). */
FAKE_EXPORT double mi_geomo_blend_surfaces(double d0, long long l0, float f0, int i0, long long l1, double d1, int i1,
                                           float f1, double d2, long long l2, float f2, int i2, long long l3, double d3,
                                           int i3, float f3, double d4, float f4) {
  return FAKE_RECORD_WIDE();
}

FAKE_EXPORT double mi_geomo_u_loft(long long l0, double d0, int i0, float f0, double d1, long long l1, float f1, int i1,
                                   long long l2, double d2, int i2, float f2, double d3, long long l3, float f3, int i3,
                                   double d4, float f4) {
  return -FAKE_RECORD_WIDE();
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
