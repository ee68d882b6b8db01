/* A stand-in renderer module, built twice (FAKE_RENDERER_ID 1 and 2): a few renderer names with
 * recording bodies, some with deliberately wide signatures, and fake_renderer_record() to read them. */
#ifndef TAVO_TESTS_FAKE_RENDERER_H
#define TAVO_TESTS_FAKE_RENDERER_H

#include "frame/renderer.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { FAKE_TEXT_SIZE = 4096, FAKE_NO_NUMBER = -999999 };

/* 16-byte records: in a register pair (System V) or through memory (Microsoft x64). */
typedef struct FakePair {
  long long first, second;
} FakePair;
typedef struct FakeDoublePair {
  double first, second;
} FakeDoublePair;

typedef struct FakeRecord {
  int id;    /* FAKE_RENDERER_ID of this build */
  int calls; /* calls into any recording function */

  int query_code; /* mi_query */
  miState *query_state;
  miTag query_tag;
  void *query_result;
  int query_extra_kind; /* 0: none read, 1: int read, 2: pointer read */
  int query_extra_int;
  void *query_extra_ptr;

  miTag *scene_tag; /* mi_scene_create */
  int scene_type;
  void *scene_ptr;
  int scene_ints[8];
  int scene_int_count;

  long long wide_l[4]; /* the wide entries: 8 integer and 10 floating-point arguments */
  int wide_i[4];
  double wide_d[5];
  float wide_f[5];

  long long variadic_rax; /* the variadic generic entry: rax and rsp as the callee found them */
  unsigned long long variadic_rsp;

  void *lookup_frames[64]; /* the return addresses while the library looked up mi_db_dump */
  int lookup_depth;

  char message_entry[64];               /* the renderer function that was called */
  int message_number;                   /* FAKE_NO_NUMBER for unnumbered messages */
  char message_format[FAKE_TEXT_SIZE];  /* the format argument as received */
  char message_printed[FAKE_TEXT_SIZE]; /* what a printf-like renderer prints from it */
} FakeRecord;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
