// The shader frame every shader of the library stands on: export marking,
// the parameter-reading rule, the two-stage init, the instance record in the
// renderer's user-pointer slot, and the three exit variants.
#ifndef TAVO_FRAME_FRAME_H
#define TAVO_FRAME_FRAME_H

#include <string.h>

#include "export.h"
#include "renderer.h"

// Declares the three entries of a shader that keeps instance data.
#define TAVO_SHADER_ENTRIES(name, Result, Params)                                \
  TAVO_EXPORT miBoolean name(Result *result, miState *state, Params *paras);     \
  TAVO_EXPORT void name##_init(miState *state, Params *paras, miBoolean *init_req); \
  TAVO_EXPORT void name##_exit(miState *state, Params *paras)

namespace tavo {

// The shared `_version` function: every shader reports version 1.
extern "C" int tavo_shader_version(void);

// Reads a parameter: when the running shader has connections and the word at
// the parameter's ghost offset is set, the value comes from the connected
// shader through the renderer; otherwise it is the parameter's own storage.
template <typename T>
inline T *mi_eval(miState *state, T *parameter) {
  const miInteger ghost = state->shader->ghost_offs;
  if (ghost != 0) {
    miInteger connected;
    memcpy(&connected, reinterpret_cast<const char *>(parameter) + ghost, sizeof connected);
    if (connected != 0) return static_cast<T *>(mi_phen_eval(state, const_cast<void *>(static_cast<const void *>(parameter))));
  }
  return parameter;
}

// The value of a parameter, read by the rule above.
template <typename T>
inline T eval(miState *state, T *parameter) {
  return *mi_eval(state, parameter);
}

// Element `index` of an array parameter, counted from the array's inline
// storage: the renderer appends the elements after the parameter block, so
// the index runs past the one element the record declares.
template <typename T>
inline T *array_element(T *storage, miInteger index) {
  return storage + index;
}

// The shader-level init (parameter record NULL) only asks the renderer for
// instance-level inits. Returns true when this was that call.
inline bool shader_level_init(const void *paras, miBoolean *init_req) {
  if (paras != nullptr) return false;
  *init_req = miTRUE;
  return true;
}

// The address of the running instance's user-pointer slot.
inline void **user_slot(miState *state) {
  void **slot = nullptr;
  mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &slot);
  return slot;
}

// The instance record kept in the slot.
template <typename Record>
inline const Record *instance_record(miState *state) {
  return static_cast<const Record *>(*user_slot(state));
}

// Allocates a record from the renderer, tagged with the shader's source file
// and line. The renderer's memory is not cleared: callers that need zeros clear.
template <typename Record>
inline Record *allocate_record(const char *file, int line) {
  return static_cast<Record *>(mi_mem_int_allocate(file, line, sizeof(Record)));
}

// The standard instance-level init order: allocate, store in the slot, and
// hand the record back to be filled.
template <typename Record>
inline Record *create_instance_record(miState *state, const char *file, int line) {
  Record *record = allocate_record<Record>(file, line);
  *user_slot(state) = record;
  return record;
}

// Exit variants, for a non-NULL parameter record (the shader-level exit does nothing).
// plain: release the record in the slot and leave the slot as it is.
void exit_plain(miState *state, const void *paras, const char *file);
// clearing: as plain, then clear the slot.
void exit_clearing(miState *state, const void *paras, const char *file);
// full: release every non-NULL thread-local pointer of the instance, last
// first, then the record, and clear the slot.
void exit_full(miState *state, const void *paras, const char *file);

}  // namespace tavo

#endif
