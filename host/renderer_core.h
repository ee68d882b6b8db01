// The reference host's renderer core: the tag database of shader declarations
// and instances, parameter blocks with their ghost blocks, the shader life
// cycle, the instance memory allocator with its bookkeeping, and the message
// log. The renderer operations exported to shader libraries (operations.cpp)
// are thin C entry points into this one process-wide object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "declarations.h"
#include "frame/renderer.h"

namespace tavo::host {

struct Message {
  std::string level;  // "warning", "error", "info", ...
  std::string text;
};

// A declared shader and, when its library exports it, its entry points.
struct Function {
  using Main = miBoolean (*)(void *result, miState *state, void *parameters);
  using MainWithArgument = miBoolean (*)(void *result, miState *state, void *parameters, void *argument);
  using Init = void (*)(miState *state, void *parameters, miBoolean *instance_init_request);
  using Exit = void (*)(miState *state, void *parameters);
  using Version = int (*)();

  ShaderDeclaration decl;
  miTag tag = 0;
  std::string library;  // the file it was declared for
  Main main = nullptr;
  Init init = nullptr;
  Exit exit = nullptr;
  Version version = nullptr;
  bool shader_initialized = false;        // the shader-level init has run
  bool instance_init_requested = false;   // ... and asked for instance-level inits
};

// One value given to an instance's parameter: a literal (words) or a
// connection to another instance's result (or one field of it).
// The path names a parameter, "name", "name.field", "name[k]" or "name[k].field".
struct Assignment {
  std::string path;
  std::vector<std::string> words;
  miTag source = 0;    // non-zero: connected to this instance's result
  std::string field;   // with source: one field of a struct result, empty for the whole result
};

struct Connection {
  std::size_t offset;        // of the parameter within the block
  miTag source;
  std::size_t field_offset;  // within the source's result
  std::size_t result_size;   // of the source's whole result
};

struct Instance {
  miFunction function{};      // the record the state's `shader` points at while it runs
  const Function *shader = nullptr;
  std::vector<std::uint64_t> storage;  // parameter block, appended arrays, then the ghost block
  std::size_t block_size = 0;          // parameter block plus appended array storage
  std::vector<Connection> connections; // sorted by offset
  void *user_pointer = nullptr;        // the slot mi_query 51 hands out
  std::vector<void *> thread_locals;   // what mi_query 127 reports
  bool initialized = false;

  std::byte *parameters() { return reinterpret_cast<std::byte *>(storage.data()); }
  miTag tag() const { return function.tag; }
};

// A state with the records it points at, ready for one shader call.
class ShadingState {
 public:
  explicit ShadingState(int ray_type = miRAY_EYE);
  ShadingState(const ShadingState &) = delete;
  ShadingState &operator=(const ShadingState &) = delete;

  miState state{};
  miCamera camera{};
  miOptions options{};
  miVector tex_list[4]{};
};

struct AllocationRecord {
  std::string file;
  int line = 0;
  std::size_t size = 0;
  miTag owner = 0;  // the instance that was running when the block was allocated
};

struct ReleaseRecord {
  std::string file;
  int line = 0;
  void *block = nullptr;
};

struct CallResult {
  int ray = 0;
  miBoolean returned = miFALSE;
  std::vector<std::uint32_t> result;  // the raw 32-bit words of the result
};

class Renderer {
 public:
  static Renderer &get();

  // Forgets every declaration, instance, message, allocation record and the
  // scene record (back to the default one). Loaded libraries stay loaded.
  void reset();

  // --- shader libraries and declarations
  // Loads a shader library the way a renderer does (dlopen, then
  // miSetModuleHandle with this renderer's module) and declares its shaders.
  void load_library(const std::string &library_path, const std::string &declarations_path);
  const Function *function(const std::string &name) const;
  std::vector<const Function *> functions() const;

  // --- instances
  miTag create_instance(const std::string &shader, const std::vector<Assignment> &assignments);
  Instance *instance(miTag tag);
  Instance &running(const miState *state);  // the instance whose function the state runs

  // --- life cycle
  void init_instance(miTag tag, miState &state);     // sources first, then shader- and instance-level
  miBoolean call(miTag tag, void *result, miState &state, void *argument = nullptr);
  void exit_instance(miTag tag, miState &state);     // the instance, then its sources
  void exit_shaders(miState &state);                 // shader-level exits of every initialised shader
  // init, one evaluation per ray type, exit: what `tavo eval` runs.
  std::vector<CallResult> run(miTag tag, const std::vector<int> &rays);

  // --- memory
  void *allocate(const char *file, int line, std::size_t size);
  void release(const char *file, int line, void *block);
  std::size_t held_bytes() const;
  std::size_t held_bytes(miTag owner) const;
  std::vector<ReleaseRecord> releases() const;

  // --- messages
  void message(const std::string &level, std::string text);
  std::vector<Message> messages() const;
  void set_echo_messages(bool echo) { echo_messages_ = echo; }

  // --- host application side
  void set_scene(const SceneData &scene) { scene_ = scene; }
  void clear_scene() { scene_.reset(); }
  SceneData *scene() { return scene_ ? &*scene_ : nullptr; }
  static SceneData default_scene();

  // --- renderer operations
  void *phen_eval(miState *state, void *parameter);
  miBoolean query(int code, miState *state, miTag tag, void *result, void *extra);

 private:
  Renderer();
  miTag new_tag() { return next_tag_++; }
  void build_block(Instance &inst, const std::vector<Assignment> &assignments);

  std::map<std::string, std::unique_ptr<Function>> functions_;
  std::unordered_map<miTag, std::unique_ptr<Instance>> instances_;
  std::unordered_map<std::string, void *> libraries_;  // dlopen handles by path
  void *module_handle_ = nullptr;                      // this renderer, as handed to libraries
  miTag next_tag_ = 1;

  mutable std::mutex memory_mutex_;
  std::unordered_map<void *, AllocationRecord> allocations_;
  std::vector<ReleaseRecord> releases_;

  mutable std::mutex message_mutex_;
  std::vector<Message> messages_;
  bool echo_messages_ = false;

  std::optional<SceneData> scene_;
};

// The instance on whose behalf the calling thread runs, for memory bookkeeping.
miTag current_owner();

}  // namespace tavo::host
