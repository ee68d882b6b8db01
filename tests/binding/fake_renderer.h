/* A stand-in renderer module, built twice (FAKE_RENDERER_ID 1 and 2): renderer names whose bodies record their call. */
#ifndef TAVO_TESTS_FAKE_RENDERER_H
#define TAVO_TESTS_FAKE_RENDERER_H

#include "frame/renderer.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 16-byte records: in a register pair (System V) or through memory (Microsoft x64). */
typedef struct FakePair {
  long long first, second;
} FakePair;
typedef struct FakeDoublePair {
  double first, second;
} FakeDoublePair;

typedef struct FakeRecord {
  int calls;                   /* calls into any recording function */
  char entry[32];              /* the recording function called last */
  unsigned long long args[20]; /* its arguments as read: integers sign-extended, pointers, the bits of doubles */
  int arg_count;
  char format[4096], printed[4096]; /* a message's format as received, and what printf makes of it */
  long long variadic_rax;           /* rax and rsp as the variadic mi_echo_scene found them */
  unsigned long long variadic_rsp;
  void *lookup_frames[64]; /* the return addresses while the library looked up mi_db_dump */
  int lookup_depth;
} FakeRecord;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
