// The reference host's renderer core: the tag database of shader declarations
// and instances, parameter blocks with their ghost blocks, the shader life
// cycle, the instance memory allocator with its bookkeeping, and the message
// log. The renderer operations exported to shader libraries (operations.cpp)
// are thin C entry points into this one process-wide object.
#pragma once

#include <atomic>
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
#include "shading.h"

namespace tavo::host {

class Image;
class Scene;

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
  miFunction function{};      // the record the state's `shader` points at while it runs; first, see of()
  std::uint32_t magic = kMagic;
  const Function *shader = nullptr;
  std::vector<std::uint64_t> storage;  // parameter block, appended arrays, then the ghost block
  std::size_t block_size = 0;          // parameter block plus appended array storage
  std::vector<Connection> connections; // sorted by offset
  void *user_pointer = nullptr;        // the slot mi_query 51 hands out
  std::vector<void *> thread_locals;   // what mi_query 127 reports
  std::atomic<bool> initialized{false};

  std::byte *parameters() { return reinterpret_cast<std::byte *>(storage.data()); }
  miTag tag() const { return function.tag; }

  // The instance a running state's `shader` points into: every miFunction
  // the host hands a shader is the first member of an Instance, so no
  // lookup is needed. Null for a record that is not one of ours.
  static Instance *of(const miFunction *function) {
    auto *inst = reinterpret_cast<Instance *>(const_cast<miFunction *>(function));
    return inst && inst->magic == kMagic ? inst : nullptr;
  }
  static constexpr std::uint32_t kMagic = 0x7a5c1e0d;
  ~Instance() { magic = 0; }
};

// A host material: a name for the shader that shades it.
struct Material {
  miTag tag = 0;
  std::string name;
  miTag shader = 0;
};

// A state with the records it points at, ready for one shader call: a
// surface point at (0, 0, -1) facing the camera, with one texture space, in a
// sample of its own that belongs to no pixel and traces in the renderer's
// current scene (if any), with that scene's camera and options.
class ShadingState {
 public:
  explicit ShadingState(int ray_type = miRAY_EYE);
  ShadingState(const ShadingState &) = delete;
  ShadingState &operator=(const ShadingState &) = delete;

  Sample sample;
  miState state{};
  miCamera camera{};
  miOptions options{};
  miVector tex_list[kMaxTextureSpaces]{};
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

// What a shader sees from its caller beyond the ray type, for one evaluation:
// how deep below reflections and refractions its state lies, and the fourth
// argument that some shaders are called with (a light-map mesh record).
struct CallSetup {
  int reflection_level = 0;
  int refraction_level = 0;
  void *argument = nullptr;

  void apply(miState &state) const {
    state.reflection_level = reflection_level;
    state.refraction_level = refraction_level;
  }
};

struct CallResult {
  int ray = 0;
  miBoolean returned = miFALSE;
  std::vector<std::uint32_t> result;  // the raw 32-bit words of the result
};

class Renderer {
 public:
  static Renderer &get();

  // Forgets every declaration, instance, texture, material, name, message,
  // allocation record, the current scene and the scene record (back to the
  // default one). Loaded libraries stay loaded.
  void reset();

  // --- shader libraries and declarations
  // Loads a shader library the way a renderer does (dlopen, then
  // miSetModuleHandle with this renderer's module) and declares its shaders.
  void load_library(const std::string &library_path, const std::string &declarations_path);
  // The two halves of load_library, as a scene file has them: `link` loads a
  // library (once), `declare` reads a declarations file and finds each shader
  // in the libraries linked so far. A file that was read already is skipped.
  void link(const std::string &library_path);
  void declare(const std::string &declarations_path);
  const Function *function(const std::string &name) const;
  std::vector<const Function *> functions() const;

  // --- instances
  miTag create_instance(const std::string &shader, const std::vector<Assignment> &assignments);
  Instance *instance(miTag tag) { return tag < instances_.size() ? instances_[tag].get() : nullptr; }
  Instance &running(const miState *state);  // the instance whose function the state runs

  // --- the rest of the tag database: textures, materials, names
  miTag add_texture(std::unique_ptr<Image> image);
  const Image *texture(miTag tag) const;
  const Image *image(const void *record) const;  // the record mi_db_access handed out, or null
  miTag add_material(const std::string &name, miTag shader);
  const Material *material(miTag tag) const;
  std::vector<const Material *> materials() const;  // in the order they were made
  // The shader instance a tag stands for: the instance itself or a material's shader; 0 otherwise.
  miTag shader_of(miTag tag);
  // A new tag for something kept outside this database (objects, lights).
  miTag new_tag() { return next_tag_++; }
  // Names: every named element of a scene, in one name space.
  void set_name(miTag tag, const std::string &name);
  miTag named(const std::string &name) const;  // 0 when unknown
  std::string name_of(miTag tag) const;        // empty when unnamed

  // --- the scene that traces answer from (none by default)
  void set_current_scene(std::shared_ptr<Scene> scene) { scene_geometry_ = std::move(scene); }
  Scene *current_scene() const { return scene_geometry_.get(); }

  // --- life cycle
  void init_instance(miTag tag, miState &state);     // sources first, then shader- and instance-level
  // Inits an instance first used while rendering; safe from any thread.
  void ensure_initialized(miTag tag, miState &state);
  miBoolean call(miTag tag, void *result, miState &state, void *argument = nullptr);
  // CallMaterial: shades a material (or a shader instance) at the state, with
  // the state's `material` naming it for the duration.
  miBoolean shade_material(miTag material, void *result, miState &state);
  void exit_instance(miTag tag, miState &state);     // the instance, then its sources
  void exit_all(miState &state);                     // every instance still initialised, last first
  void exit_shaders(miState &state);                 // shader-level exits of every initialised shader
  // init, one evaluation per ray type, exit (of this instance and of every
  // other one still initialised, as at the end of a render): what `tavo eval` runs.
  std::vector<CallResult> run(miTag tag, const std::vector<int> &rays, const CallSetup &setup = {});

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

  // --- notes for the user: values outside what a declaration allows. The
  // library computes with them all the same; the tools decide what to say.
  void note(std::string text);
  std::vector<std::string> take_notes();
  // The control of a parameter: the declaration's own, or for a phenomenon's
  // parameter, that of the parameter it hands its value to (`interface`).
  const Control *control(const Function &fn, std::string_view parameter) const;

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
  void build_block(Instance &inst, const std::vector<Assignment> &assignments);
  void *open_library(const std::string &library_path);
  void declare_from(std::vector<ShaderDeclaration> decls, const std::vector<void *> &handles);
  void too_deep(const Instance &inst, int limit);

  std::map<std::string, std::unique_ptr<Function>> functions_;
  std::vector<std::unique_ptr<Instance>> instances_;  // by tag; null for tags of other things
  std::unordered_map<std::string, void *> libraries_;  // dlopen handles by path
  std::vector<void *> linked_;                         // what `link` loaded since the last reset, in order
  std::vector<std::string> declared_files_;            // what `declare` read since the last reset
  void *module_handle_ = nullptr;                      // this renderer, as handed to libraries
  miTag next_tag_ = 1;

  std::unordered_map<miTag, std::unique_ptr<Image>> textures_;
  std::unordered_map<const void *, const Image *> image_records_;
  std::unordered_map<miTag, Material> materials_;
  std::map<std::string, miTag> names_;
  std::unordered_map<miTag, std::string> tag_names_;
  std::shared_ptr<Scene> scene_geometry_;

  std::recursive_mutex init_mutex_;
  std::vector<miTag> init_order_;

  mutable std::mutex memory_mutex_;
  std::unordered_map<void *, AllocationRecord> allocations_;
  std::vector<ReleaseRecord> releases_;

  mutable std::mutex message_mutex_;
  std::vector<Message> messages_;
  std::vector<std::string> notes_;
  bool echo_messages_ = false;

  std::optional<SceneData> scene_;
};

// The instance on whose behalf the calling thread runs, for memory bookkeeping.
miTag current_owner();

}  // namespace tavo::host
