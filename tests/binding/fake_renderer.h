/* A stand-in renderer module for the binding tests. The same source is built
 * twice (FAKE_RENDERER_ID 1 and 2); each build exports a few renderer names
 * with recording bodies and fake_renderer_record(), through which the tests
 * read what arrived. Entries forward without knowing signatures, so some names
 * get deliberately wide signatures here to exercise every argument path. */
#ifndef TAVO_TESTS_FAKE_RENDERER_H
#define TAVO_TESTS_FAKE_RENDERER_H

#include "frame/renderer.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { FAKE_TEXT_SIZE = 4096, FAKE_NO_NUMBER = -999999 };

/* 16-byte records: System V returns them in a register pair, the Microsoft
 * convention through memory that the caller provides. */
typedef struct FakePair {
  long long first, second;
} FakePair;
typedef struct FakeDoublePair {
  double first, second;
} FakeDoublePair;

typedef struct FakeRecord {
  int id;    /* FAKE_RENDERER_ID of this build */
  int calls; /* calls into any recording function */

  /* mi_query */
  int query_code;
  miState *query_state;
  miTag query_tag;
  void *query_result;
  int query_extra_kind; /* 0: none read, 1: int read, 2: pointer read */
  int query_extra_int;
  void *query_extra_ptr;

  /* mi_scene_create */
  miTag *scene_tag;
  int scene_type;
  void *scene_ptr;
  int scene_ints[8];
  int scene_int_count;

  /* the wide entries: 8 integer and 10 floating-point arguments */
  long long wide_l[4];
  int wide_i[4];
  double wide_d[5];
  float wide_f[5];

  /* the variadic generic entry: rax and rsp as the callee found them */
  long long variadic_rax;
  unsigned long long variadic_rsp;

  /* the return addresses on the stack while the library looked up
   * mi_db_dump, as code run inside the lookup walked them */
  void *lookup_frames[64];
  int lookup_depth;

  /* messages */
  char message_entry[64];               /* the renderer function that was called */
  int message_number;                   /* FAKE_NO_NUMBER for unnumbered messages */
  char message_format[FAKE_TEXT_SIZE];  /* the format argument as received */
  char message_printed[FAKE_TEXT_SIZE]; /* what a printf-like renderer prints from it */
} FakeRecord;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
