#include "renderer_core.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "values.h"

namespace tavo::host {

namespace {

thread_local miTag t_owner = 0;

// Marks the calling thread as running on behalf of an instance, so that the
// allocator can say whose blocks are still held.
class OwnerScope {
 public:
  explicit OwnerScope(miTag owner) : saved_(t_owner) { t_owner = owner; }
  ~OwnerScope() { t_owner = saved_; }
  OwnerScope(const OwnerScope &) = delete;
  OwnerScope &operator=(const OwnerScope &) = delete;

 private:
  miTag saved_;
};

// Runs a shader function with the state's `shader` pointing at the instance.
class RunningScope {
 public:
  RunningScope(miState &state, Instance &inst) : state_(state), saved_(state.shader), owner_(inst.tag()) {
    state.shader = &inst.function;
  }
  ~RunningScope() { state_.shader = saved_; }
  RunningScope(const RunningScope &) = delete;
  RunningScope &operator=(const RunningScope &) = delete;

 private:
  miState &state_;
  miFunction *saved_;
  OwnerScope owner_;
};

void module_anchor() {}

// A parameter path: name, name[k], name.field, name[k].field, ...
struct Path {
  std::string name;
  std::optional<std::size_t> index;
  std::vector<std::string> fields;
};

Path parse_path(const std::string &text) {
  Path path;
  std::size_t i = text.find_first_of("[.");
  path.name = text.substr(0, i);
  if (path.name.empty()) throw Error("expected a parameter name, found '" + text + "'");
  if (i != std::string::npos && text[i] == '[') {
    const std::size_t close = text.find(']', i);
    if (close == std::string::npos) throw Error("expected ']' in '" + text + "'");
    const std::string digits = text.substr(i + 1, close - i - 1);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos || digits.size() > 6)
      throw Error("expected an element index in '" + text + "'");
    path.index = std::stoul(digits);
    i = close + 1;
  }
  while (i != std::string::npos && i < text.size()) {
    if (text[i] != '.') throw Error("expected '.' or the end in '" + text + "'");
    const std::size_t next = text.find('.', i + 1);
    const std::string field = text.substr(i + 1, next == std::string::npos ? next : next - i - 1);
    if (field.empty()) throw Error("expected a field name in '" + text + "'");
    path.fields.push_back(field);
    i = next;
  }
  return path;
}

std::size_t round_up(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

void write_defaults(const Type &type, std::byte *dest) {
  if (type.kind == Kind::Struct) {
    for (const Field &f : type.fields) {
      if (!f.default_words.empty()) encode_value(f.type, f.default_words, dest + f.offset);
      else if (f.type.kind == Kind::Struct) write_defaults(f.type, dest + f.offset);
    }
  }
}

}  // namespace

miTag current_owner() { return t_owner; }

ShadingState::ShadingState(int ray_type) {
  // A 50 mm lens on 36 mm film, 640 by 480 pixels, ray tracing on.
  camera.focal = 50.0f;
  camera.aperture = 36.0f;
  camera.aspect = 4.0f / 3.0f;
  camera.x_resolution = 640;
  camera.y_resolution = 480;
  options.trace = miTRUE;
  options.reflection_depth = 2;
  options.refraction_depth = 2;
  options.trace_depth = 4;
  state.type = ray_type;
  state.dir = {0.0f, 0.0f, -1.0f};
  state.point = {0.0f, 0.0f, -1.0f};
  state.normal = {0.0f, 0.0f, 1.0f};
  state.normal_geom = state.normal;
  state.dot_nd = -1.0f;
  state.dist = 1.0f;
  state.bary[0] = state.bary[1] = state.bary[2] = 1.0f / 3.0f;
  state.tex_list = tex_list;
  state.camera = &camera;
  state.options = &options;
}

Renderer &Renderer::get() {
  static Renderer renderer;
  return renderer;
}

Renderer::Renderer() : scene_(default_scene()) {
  // Libraries find the renderer's operations by name in this module.
  Dl_info info{};
  if (dladdr(reinterpret_cast<void *>(&module_anchor), &info) && info.dli_fname)
    module_handle_ = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
}

SceneData Renderer::default_scene() {
  SceneData scene{};
  scene.unit_scale = 1.0f;
  return scene;
}

void Renderer::reset() {
  functions_.clear();
  instances_.clear();
  {
    std::lock_guard lock(memory_mutex_);
    for (auto &[block, record] : allocations_) std::free(block);
    allocations_.clear();
    releases_.clear();
  }
  {
    std::lock_guard lock(message_mutex_);
    messages_.clear();
  }
  scene_ = default_scene();
  next_tag_ = 1;
}

// ---------------------------------------------------------------- libraries

void Renderer::load_library(const std::string &library_path, const std::string &declarations_path) {
  std::vector<ShaderDeclaration> decls = read_declarations(declarations_path);
  void *&handle = libraries_[library_path];
  if (!handle) {
    handle = dlopen(library_path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
      const char *why = dlerror();
      libraries_.erase(library_path);
      throw Error(library_path + ": cannot load the shader library: " + (why ? why : "unknown error"));
    }
    using SetModuleHandle = void (*)(void *);
    if (auto set = reinterpret_cast<SetModuleHandle>(dlsym(handle, "miSetModuleHandle"))) set(module_handle_);
  }
  for (ShaderDeclaration &decl : decls) {
    if (functions_.count(decl.name))
      throw Error(decl.file + ":" + std::to_string(decl.line) + ": shader \"" + decl.name +
                  "\" is already declared");
    auto fn = std::make_unique<Function>();
    const auto symbol = [&](const std::string &name) { return dlsym(handle, name.c_str()); };
    fn->main = reinterpret_cast<Function::Main>(symbol(decl.name));
    fn->init = reinterpret_cast<Function::Init>(symbol(decl.name + "_init"));
    fn->exit = reinterpret_cast<Function::Exit>(symbol(decl.name + "_exit"));
    fn->version = reinterpret_cast<Function::Version>(symbol(decl.name + "_version"));
    fn->library = library_path;
    fn->tag = new_tag();
    fn->decl = std::move(decl);
    functions_.emplace(fn->decl.name, std::move(fn));
  }
}

const Function *Renderer::function(const std::string &name) const {
  const auto it = functions_.find(name);
  return it == functions_.end() ? nullptr : it->second.get();
}

std::vector<const Function *> Renderer::functions() const {
  std::vector<const Function *> all;
  for (const auto &[name, fn] : functions_) all.push_back(fn.get());
  std::sort(all.begin(), all.end(), [](const Function *a, const Function *b) {
    return a->decl.file != b->decl.file ? a->decl.file < b->decl.file : a->decl.line < b->decl.line;
  });
  return all;
}

// ---------------------------------------------------------------- instances

miTag Renderer::create_instance(const std::string &shader, const std::vector<Assignment> &assignments) {
  const auto it = functions_.find(shader);
  if (it == functions_.end()) throw Error("unknown shader '" + shader + "'");
  Function &fn = *it->second;
  if (!fn.main)
    throw Error("shader '" + shader + "' is declared but " +
                std::filesystem::path(fn.library).filename().string() + " does not export it");
  auto inst = std::make_unique<Instance>();
  inst->shader = &fn;
  inst->function.tag = new_tag();
  inst->function.decl = fn.tag;
  build_block(*inst, assignments);
  const miTag tag = inst->tag();
  instances_.emplace(tag, std::move(inst));
  return tag;
}

void Renderer::build_block(Instance &inst, const std::vector<Assignment> &assignments) {
  const ShaderDeclaration &decl = inst.shader->decl;
  const auto where = [&](const Assignment &a) { return "parameter '" + a.path + "' of " + decl.name; };

  // The element count of every array is the highest element given, plus one.
  std::vector<Path> paths;
  std::map<const Field *, std::size_t> counts;
  for (const Assignment &a : assignments) {
    Path path = parse_path(a.path);
    const Field *field = decl.parameter(path.name);
    if (!field) throw Error("unknown parameter '" + path.name + "' of " + decl.name);
    if (field->type.kind == Kind::Array) {
      if (!path.index) throw Error(where(a) + ": an array takes its elements as " + path.name + "[k]");
      counts[field] = std::max(counts[field], *path.index + 1);
    } else if (path.index) {
      throw Error(where(a) + ": '" + path.name + "' is not an array");
    }
    paths.push_back(std::move(path));
  }

  // Element storage goes after the block, at a whole number of elements from
  // the array's inline storage, so that element k lies at index + k.
  const std::size_t param_size = decl.parameters.size();
  std::size_t end = param_size;
  struct Placement { std::size_t index, count, start; };
  std::map<const Field *, Placement> placements;
  for (const Field &f : decl.parameters.fields) {
    if (f.type.kind != Kind::Array) continue;
    const std::size_t n = counts.count(&f) ? counts[&f] : 0;
    const std::size_t inline_start = f.offset + kArrayStorageOffset;
    const std::size_t esize = f.type.element->size();
    const std::size_t k = n ? (end - inline_start + esize - 1) / esize : 0;
    placements[&f] = {k, n, inline_start + k * esize};
    if (n) end = inline_start + (k + n) * esize;
  }
  const bool connected = std::any_of(assignments.begin(), assignments.end(),
                                     [](const Assignment &a) { return a.source != 0; });
  inst.block_size = end;
  const std::size_t ghost = round_up(std::max<std::size_t>(end, 8), 8);
  inst.storage.assign((connected ? 2 * ghost : ghost) / 8, 0);
  inst.function.ghost_offs = connected ? static_cast<miInteger>(ghost) : 0;
  inst.function.parameter_size = static_cast<miInteger>(end);
  std::byte *block = inst.parameters();

  write_defaults(decl.parameters, block);
  for (const auto &[field, place] : placements) {
    const miInteger header[2] = {static_cast<miInteger>(place.index), static_cast<miInteger>(place.count)};
    std::memcpy(block + field->offset, header, sizeof header);
    for (std::size_t k = 0; k < place.count; ++k)
      write_defaults(*field->type.element, block + place.start + k * field->type.element->size());
  }

  for (std::size_t i = 0; i < assignments.size(); ++i) {
    const Assignment &a = assignments[i];
    const Path &path = paths[i];
    const Field *field = decl.parameter(path.name);
    const Type *type = &field->type;
    std::size_t offset = field->offset;
    if (type->kind == Kind::Array) {
      const Placement &place = placements[field];
      type = type->element.get();
      offset = place.start + *path.index * type->size();
    }
    for (const std::string &name : path.fields) {
      if (type->kind != Kind::Struct) throw Error(where(a) + ": '" + name + "' is not a field of a struct");
      const auto f = std::find_if(type->fields.begin(), type->fields.end(),
                                  [&](const Field &candidate) { return candidate.name == name; });
      if (f == type->fields.end()) throw Error(where(a) + ": no field '" + name + "'");
      offset += f->offset;
      type = &f->type;
    }

    if (a.source) {
      Instance *source = instance(a.source);
      if (!source) throw Error(where(a) + ": no shader instance with tag " + std::to_string(a.source));
      const Type &result = source->shader->decl.result;
      const Type *given = &result;
      std::size_t field_offset = 0;
      if (!a.field.empty()) {
        const auto f = std::find_if(result.fields.begin(), result.fields.end(),
                                    [&](const Field &candidate) { return candidate.name == a.field; });
        if (result.kind != Kind::Struct || f == result.fields.end())
          throw Error(where(a) + ": " + source->shader->decl.name + " has no result field '" + a.field + "'");
        given = &f->type;
        field_offset = f->offset;
      }
      if (given->name() != type->name() || given->size() != type->size())
        throw Error(where(a) + ": cannot connect a " + type->name() + " parameter to a " + given->name() +
                    " result of " + source->shader->decl.name);
      const miTag tag = a.source;
      std::memcpy(block + offset + ghost, &tag, sizeof tag);
      inst.connections.push_back({offset, a.source, field_offset, result.size()});
    } else {
      if (!type->is_scalar_like())
        throw Error(where(a) + ": a " + type->name() + " takes its values field by field");
      try {
        encode_value(*type, a.words, block + offset);
      } catch (const Error &e) {
        throw Error(where(a) + ": " + e.what());
      }
    }
  }
  std::sort(inst.connections.begin(), inst.connections.end(),
            [](const Connection &x, const Connection &y) { return x.offset < y.offset; });
}

Instance *Renderer::instance(miTag tag) {
  const auto it = instances_.find(tag);
  return it == instances_.end() ? nullptr : it->second.get();
}

Instance &Renderer::running(const miState *state) {
  Instance *inst = state && state->shader ? instance(state->shader->tag) : nullptr;
  if (!inst) {
    std::fprintf(stderr, "tavo renderer: a renderer operation was called without a running shader\n");
    std::abort();
  }
  return *inst;
}

// ---------------------------------------------------------------- life cycle

void Renderer::init_instance(miTag tag, miState &state) {
  Instance *inst = instance(tag);
  if (!inst || inst->initialized) return;
  for (const Connection &c : inst->connections) init_instance(c.source, state);
  Function &fn = *const_cast<Function *>(inst->shader);
  if (fn.init) {
    RunningScope running(state, *inst);
    if (!fn.shader_initialized) {
      miBoolean request = miFALSE;
      fn.init(&state, nullptr, &request);
      fn.shader_initialized = true;
      fn.instance_init_requested = request != miFALSE;
    }
    if (fn.instance_init_requested) {
      miBoolean unused = miFALSE;
      fn.init(&state, inst->parameters(), &unused);
    }
  }
  inst->initialized = true;
}

miBoolean Renderer::call(miTag tag, void *result, miState &state, void *argument) {
  Instance *inst = instance(tag);
  if (!inst) return miFALSE;
  RunningScope running(state, *inst);
  if (argument)
    return reinterpret_cast<Function::MainWithArgument>(reinterpret_cast<void *>(inst->shader->main))(result, &state, inst->parameters(),
                                                                           argument);
  return inst->shader->main(result, &state, inst->parameters());
}

void Renderer::exit_instance(miTag tag, miState &state) {
  Instance *inst = instance(tag);
  if (!inst || !inst->initialized) return;
  const Function &fn = *inst->shader;
  if (fn.exit && fn.instance_init_requested) {
    RunningScope running(state, *inst);
    fn.exit(&state, inst->parameters());
  }
  inst->initialized = false;
  for (const Connection &c : inst->connections) exit_instance(c.source, state);
}

void Renderer::exit_shaders(miState &state) {
  for (auto &[name, fn] : functions_) {
    if (!fn->shader_initialized) continue;
    if (fn->exit) fn->exit(&state, nullptr);
    fn->shader_initialized = false;
    fn->instance_init_requested = false;
  }
}

std::vector<CallResult> Renderer::run(miTag tag, const std::vector<int> &rays) {
  Instance *inst = instance(tag);
  if (!inst) throw Error("no shader instance with tag " + std::to_string(tag));
  std::vector<CallResult> calls;
  {
    ShadingState init_state;
    init_instance(tag, init_state.state);
  }
  const std::size_t words = (inst->shader->decl.result.size() + 3) / 4;
  for (const int ray : rays) {
    ShadingState shading(ray);
    CallResult call_result;
    call_result.ray = ray;
    call_result.result.assign(words, 0);
    call_result.returned = call(tag, call_result.result.data(), shading.state);
    calls.push_back(std::move(call_result));
  }
  ShadingState exit_state;
  exit_instance(tag, exit_state.state);
  exit_shaders(exit_state.state);
  return calls;
}

// ---------------------------------------------------------------- memory

void *Renderer::allocate(const char *file, int line, std::size_t size) {
  const std::size_t bytes = round_up(std::max<std::size_t>(size, 1), 16);
  void *block = std::aligned_alloc(16, bytes);
  if (!block) {
    std::fprintf(stderr, "tavo renderer: out of memory allocating %zu bytes for %s:%d\n", size,
                 file ? file : "?", line);
    std::abort();
  }
  // A fresh block is never zero, so a shader that relies on cleared memory
  // without clearing it shows up at once.
  std::memset(block, 0xA5, bytes);
  std::lock_guard lock(memory_mutex_);
  allocations_[block] = {file ? file : "", line, size, t_owner};
  return block;
}

void Renderer::release(const char *file, int line, void *block) {
  if (!block) return;
  {
    std::lock_guard lock(memory_mutex_);
    const auto it = allocations_.find(block);
    if (it != allocations_.end()) {
      allocations_.erase(it);
      releases_.push_back({file ? file : "", line, block});
      std::free(block);
      return;
    }
  }
  char text[160];
  std::snprintf(text, sizeof text, "mi_mem_int_release: %s:%d releases a block that is not allocated",
                file ? file : "?", line);
  message("error", text);
}

std::size_t Renderer::held_bytes() const {
  std::lock_guard lock(memory_mutex_);
  std::size_t total = 0;
  for (const auto &[block, record] : allocations_) total += record.size;
  return total;
}

std::size_t Renderer::held_bytes(miTag owner) const {
  std::lock_guard lock(memory_mutex_);
  std::size_t total = 0;
  for (const auto &[block, record] : allocations_)
    if (record.owner == owner) total += record.size;
  return total;
}

std::vector<ReleaseRecord> Renderer::releases() const {
  std::lock_guard lock(memory_mutex_);
  return releases_;
}

// ---------------------------------------------------------------- messages

void Renderer::message(const std::string &level, std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  if (echo_messages_) std::fprintf(stderr, "%s: %s\n", level.c_str(), text.c_str());
  std::lock_guard lock(message_mutex_);
  messages_.push_back({level, std::move(text)});
}

std::vector<Message> Renderer::messages() const {
  std::lock_guard lock(message_mutex_);
  return messages_;
}

// ---------------------------------------------------------------- operations

void *Renderer::phen_eval(miState *state, void *parameter) {
  Instance &inst = running(state);
  const std::size_t offset = static_cast<std::size_t>(static_cast<std::byte *>(parameter) - inst.parameters());
  const auto it = std::lower_bound(inst.connections.begin(), inst.connections.end(), offset,
                                   [](const Connection &c, std::size_t o) { return c.offset < o; });
  if (it == inst.connections.end() || it->offset != offset) return parameter;
  // Each thread keeps one result buffer per connection; the address stays
  // valid until that connection is evaluated again on the same thread.
  thread_local std::unordered_map<const Connection *, std::vector<std::uint64_t>> buffers;
  std::vector<std::uint64_t> &buffer = buffers[&*it];
  buffer.assign((it->result_size + 7) / 8 + 1, 0);
  call(it->source, buffer.data(), *state);
  return reinterpret_cast<std::byte *>(buffer.data()) + it->field_offset;
}

miBoolean Renderer::query(int code, miState *state, miTag tag, void *result, void *extra) {
  if (!result) return miFALSE;
  Instance *inst = tag ? instance(tag) : (state && state->shader ? instance(state->shader->tag) : nullptr);
  switch (code) {
    case miQ_FUNC_USERPTR:
      if (!inst) return miFALSE;
      *static_cast<void ***>(result) = &inst->user_pointer;
      return miTRUE;
    case miQ_FUNC_TLS_GETALL:
      if (!inst || !extra) return miFALSE;
      *static_cast<void ***>(result) = inst->thread_locals.data();
      *static_cast<miInteger *>(extra) = static_cast<miInteger>(inst->thread_locals.size());
      return miTRUE;
    default:
      return miFALSE;
  }
}

}  // namespace tavo::host
