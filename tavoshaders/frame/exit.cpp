#include "frame.h"

namespace tavo {

void exit_plain(miState *state, const void *paras, const char *file) {
  if (paras == nullptr) return;
  mi_mem_int_release(file, __LINE__, *user_slot(state));
}

void exit_clearing(miState *state, const void *paras, const char *file) {
  if (paras == nullptr) return;
  void **slot = user_slot(state);
  mi_mem_int_release(file, __LINE__, *slot);
  *slot = nullptr;
}

void exit_full(miState *state, const void *paras, const char *file) {
  if (paras == nullptr) return;
  void **locals = nullptr;
  miInteger count = 0;
  if (mi_query(miQ_FUNC_TLS_GETALL, state, miNULLTAG, &locals, &count) && locals != nullptr) {
    for (miInteger i = count - 1; i >= 0; --i)
      if (locals[i] != nullptr) mi_mem_int_release(file, __LINE__, locals[i]);
  }
  void **slot = user_slot(state);
  mi_mem_int_release(file, __LINE__, *slot);
  *slot = nullptr;
}

}  // namespace tavo
