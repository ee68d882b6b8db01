#include "renderer_core.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

#include "platform.h"
#include "scene.h"
#include "texture.h"
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

// Blocks are aligned for any vector type a shader may keep in its record
// (aligned operator new: the C library's aligned_alloc is not everywhere).
constexpr std::align_val_t kBlockAlignment{16};

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

ShadingState::ShadingState(int ray_type) : sample(Renderer::get().current_scene()) {
  // A 50 mm lens on 36 mm film, 640 by 480 pixels, ray tracing on; or the
  // current scene's camera and options.
  const Scene *scene = sample.scene;
  camera = scene ? scene->camera.intrinsics : Camera().intrinsics;
  options = scene ? scene->options : default_options();
  state.type = ray_type;
  state.dir = {0.0f, 0.0f, -1.0f};
  state.point = {0.0f, 0.0f, -1.0f};
  state.normal = {0.0f, 0.0f, 1.0f};
  state.normal_geom = state.normal;
  state.dot_nd = -1.0f;
  state.dist = 1.0f;
  state.bary[0] = state.bary[1] = state.bary[2] = 1.0f / 3.0f;
  state.tex_list = tex_list;
  state.texture_spaces = 1;
  state.camera = &camera;
  state.options = &options;
  state.renderer = &sample;
}

Renderer &Renderer::get() {
  static Renderer renderer;
  return renderer;
}

Renderer::Renderer() : scene_(default_scene()) {
  // Libraries find the renderer's operations by name in this module.
  module_handle_ = platform::module_containing(reinterpret_cast<const void *>(&module_anchor));
}

SceneData Renderer::default_scene() {
  SceneData scene{};
  scene.unit_scale = 1.0f;
  return scene;
}

void Renderer::reset() {
  functions_.clear();
  instances_.clear();
  linked_.clear();
  declared_files_.clear();
  textures_.clear();
  image_records_.clear();
  materials_.clear();
  names_.clear();
  tag_names_.clear();
  scene_geometry_.reset();
  init_order_.clear();
  {
    std::lock_guard lock(memory_mutex_);
    for (auto &[block, record] : allocations_) ::operator delete(block, kBlockAlignment);
    allocations_.clear();
    releases_.clear();
  }
  {
    std::lock_guard lock(message_mutex_);
    messages_.clear();
    notes_.clear();
  }
  scene_ = default_scene();
  next_tag_ = 1;
}

// ---------------------------------------------------------------- libraries

void *Renderer::open_library(const std::string &library_path) {
  void *&handle = libraries_[library_path];
  if (!handle) {
    std::string why;
    handle = platform::load_module(library_path, why);
    if (!handle) {
      libraries_.erase(library_path);
      throw Error(library_path + ": cannot load the shader library: " + why);
    }
    using SetModuleHandle = void (*)(void *);
    if (auto set = reinterpret_cast<SetModuleHandle>(platform::find_symbol(handle, "miSetModuleHandle"))) set(module_handle_);
  }
  return handle;
}

void Renderer::declare_from(std::vector<ShaderDeclaration> decls, const std::vector<void *> &handles) {
  for (ShaderDeclaration &decl : decls)
    if (functions_.count(decl.name))
      throw Error(decl.file + ":" + std::to_string(decl.line) + ": shader \"" + decl.name +
                  "\" is already declared");
  for (ShaderDeclaration &decl : decls) {
    auto fn = std::make_unique<Function>();
    // the first library, in link order, that exports the shader provides all its entries
    // a phenomenon is made of other declarations: no library provides it
    void *handle = handles.empty() || decl.phenomenon ? nullptr : handles.front();
    for (void *candidate : handles)
      if (!decl.phenomenon && platform::find_symbol(candidate, decl.name.c_str())) {
        handle = candidate;
        break;
      }
    if (handle) {
      const auto symbol = [&](const std::string &name) { return platform::find_symbol(handle, name.c_str()); };
      fn->main = reinterpret_cast<Function::Main>(symbol(decl.name));
      fn->init = reinterpret_cast<Function::Init>(symbol(decl.name + "_init"));
      fn->exit = reinterpret_cast<Function::Exit>(symbol(decl.name + "_exit"));
      fn->version = reinterpret_cast<Function::Version>(symbol(decl.name + "_version"));
      for (const auto &[path, h] : libraries_)
        if (h == handle) fn->library = path;
    }
    fn->tag = new_tag();
    fn->decl = std::move(decl);
    functions_.emplace(fn->decl.name, std::move(fn));
  }
}

void Renderer::load_library(const std::string &library_path, const std::string &declarations_path) {
  std::vector<ShaderDeclaration> decls = read_declarations(declarations_path);
  void *handle = open_library(library_path);
  declare_from(std::move(decls), {handle});
  if (std::find(linked_.begin(), linked_.end(), handle) == linked_.end()) linked_.push_back(handle);
  std::error_code ec;
  const std::string canonical = std::filesystem::weakly_canonical(declarations_path, ec).string();
  declared_files_.push_back(ec ? declarations_path : canonical);
}

void Renderer::link(const std::string &library_path) {
  void *handle = open_library(library_path);
  if (std::find(linked_.begin(), linked_.end(), handle) == linked_.end()) linked_.push_back(handle);
}

void Renderer::declare(const std::string &declarations_path) {
  std::error_code ec;
  const std::string canonical = std::filesystem::weakly_canonical(declarations_path, ec).string();
  const std::string key = ec ? declarations_path : canonical;
  if (std::find(declared_files_.begin(), declared_files_.end(), key) != declared_files_.end()) return;
  declare_from(read_declarations(declarations_path), linked_);
  declared_files_.push_back(key);
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
  if (fn.decl.phenomenon)
    throw Error("'" + shader + "' is a phenomenon: its shaders are made where a scene file instances it");
  if (!fn.main && fn.library.empty())
    throw Error("shader '" + shader + "' is declared but no library linked before its declarations exports it");
  if (!fn.main)
    throw Error("shader '" + shader + "' is declared but " +
                std::filesystem::path(fn.library).filename().string() + " does not export it");
  auto inst = std::make_unique<Instance>();
  inst->shader = &fn;
  inst->function.tag = new_tag();
  inst->function.decl = fn.tag;
  build_block(*inst, assignments);
  const miTag tag = inst->tag();
  if (instances_.size() <= tag) instances_.resize(tag + 1);
  instances_[tag] = std::move(inst);
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
      // A top-level parameter with declared values may be given a value's
      // short name, and is checked against its values or range.
      const Control *control = path.fields.empty() && !path.index ? decl.control(path.name) : nullptr;
      std::vector<std::string> words = a.words;
      if (control && words.size() == 1)
        if (const std::optional<int> named = control->value_named(words.front())) words.front() = std::to_string(*named);
      try {
        encode_value(*type, words, block + offset);
      } catch (const Error &e) {
        throw Error(where(a) + ": " + e.what());
      }
      if (control && (type->kind == Kind::Integer || type->kind == Kind::Scalar)) {
        float value;
        if (type->kind == Kind::Integer) {
          miInteger i;
          std::memcpy(&i, block + offset, sizeof i);
          value = static_cast<float>(i);
        } else {
          std::memcpy(&value, block + offset, sizeof value);
        }
        if (!control->allows(value))
          note(where(a) + ": " + words.front() + " is " +
               (control->values.empty() ? "outside its range (" : "not one of its values (") + control->bounds() + ")");
      }
    }
  }
  std::sort(inst.connections.begin(), inst.connections.end(),
            [](const Connection &x, const Connection &y) { return x.offset < y.offset; });
}

miTag Renderer::add_texture(std::unique_ptr<Image> image) {
  const miTag tag = new_tag();
  image_records_[static_cast<const miImg_image *>(image.get())] = image.get();
  textures_.emplace(tag, std::move(image));
  return tag;
}

const Image *Renderer::texture(miTag tag) const {
  const auto it = textures_.find(tag);
  return it == textures_.end() ? nullptr : it->second.get();
}

const Image *Renderer::image(const void *record) const {
  const auto it = image_records_.find(record);
  return it == image_records_.end() ? nullptr : it->second;
}

miTag Renderer::add_material(const std::string &name, miTag shader) {
  if (!instance(shader)) throw Error("material \"" + name + "\": no shader instance with tag " + std::to_string(shader));
  const miTag tag = new_tag();
  materials_[tag] = Material{tag, name, shader};
  return tag;
}

std::vector<const Material *> Renderer::materials() const {
  std::vector<const Material *> out;
  for (const auto &[tag, m] : materials_) out.push_back(&m);
  std::sort(out.begin(), out.end(), [](const Material *a, const Material *b) { return a->tag < b->tag; });
  return out;
}

const Material *Renderer::material(miTag tag) const {
  const auto it = materials_.find(tag);
  return it == materials_.end() ? nullptr : &it->second;
}

miTag Renderer::shader_of(miTag tag) {
  if (instance(tag)) return tag;
  if (const Material *m = material(tag)) return m->shader;
  return 0;
}

void Renderer::set_name(miTag tag, const std::string &name) {
  if (names_.count(name)) throw Error("\"" + name + "\" is already the name of something else");
  names_[name] = tag;
  tag_names_[tag] = name;
}

miTag Renderer::named(const std::string &name) const {
  const auto it = names_.find(name);
  return it == names_.end() ? 0 : it->second;
}

std::string Renderer::name_of(miTag tag) const {
  const auto it = tag_names_.find(tag);
  return it == tag_names_.end() ? std::string() : it->second;
}

Instance &Renderer::running(const miState *state) {
  Instance *inst = state ? Instance::of(state->shader) : nullptr;
  if (!inst) {
    std::fprintf(stderr, "tavo renderer: a renderer operation was called without a running shader\n");
    std::abort();
  }
  return *inst;
}

// ---------------------------------------------------------------- life cycle

void Renderer::init_instance(miTag tag, miState &state) {
  std::lock_guard lock(init_mutex_);
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
  init_order_.push_back(tag);
}

void Renderer::ensure_initialized(miTag tag, miState &state) {
  Instance *inst = instance(tag);
  if (inst && !inst->initialized) init_instance(tag, state);
}

// Out of line: the message's strings would otherwise give every call a large frame.
[[gnu::cold, gnu::noinline]] void Renderer::too_deep(const Instance &inst, int limit) {
  message("error", "shader calls nested more than " + std::to_string(limit) + " deep at " + inst.shader->decl.name +
                       " (tag " + std::to_string(inst.tag()) + "): a shader calls itself");
}

miBoolean Renderer::call(miTag tag, void *result, miState &state, void *argument) {
  Instance *inst = instance(tag);
  if (!inst) return miFALSE;
  // A shader that calls itself, directly or round a loop of tags, stops here
  // instead of running off the end of the stack.
  thread_local int depth = 0;
  constexpr int kMaxCallDepth = 200;
  if (depth >= kMaxCallDepth) [[unlikely]] {
    too_deep(*inst, kMaxCallDepth);
    return miFALSE;
  }
  struct Nesting {
    explicit Nesting(int &d) : d_(d) { ++d_; }
    ~Nesting() { --d_; }
    int &d_;
  } nesting(depth);
  RunningScope running(state, *inst);
  // Every shader gets the fourth argument, null when there is none, so that a
  // shader that reads one never reads a stray register.
  const auto main = reinterpret_cast<Function::MainWithArgument>(reinterpret_cast<void *>(inst->shader->main));
  return main(result, &state, inst->parameters(), argument);
}

miBoolean Renderer::shade_material(miTag material, void *result, miState &state) {
  const miTag shader = shader_of(material);
  if (!shader || !result) return miFALSE;
  // A material may be called on a state its caller moved (a decal lays its
  // own texture coordinates): results computed there before do not hold.
  if (Sample *sample = Sample::of(&state)) sample->results.flush(&state);
  ensure_initialized(shader, state);
  const miTag saved = state.material;
  state.material = material;
  const miBoolean returned = call(shader, result, state);
  state.material = saved;
  return returned;
}

void Renderer::exit_all(miState &state) {
  const std::vector<miTag> order = std::move(init_order_);
  init_order_.clear();
  for (auto it = order.rbegin(); it != order.rend(); ++it) exit_instance(*it, state);
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

std::vector<CallResult> Renderer::run(miTag tag, const std::vector<int> &rays, const CallSetup &setup) {
  Instance *inst = instance(tag);
  if (!inst) throw Error("no shader instance with tag " + std::to_string(tag));
  std::vector<CallResult> calls;
  {
    ShadingState init_state;
    init_instance(tag, init_state.state);
  }
  // at least a colour: a shader may hand its result pointer on to a shader call
  const std::size_t words = std::max<std::size_t>((inst->shader->decl.result.size() + 3) / 4, 4);
  for (const int ray : rays) {
    ShadingState shading(ray);
    setup.apply(shading.state);
    CallResult call_result;
    call_result.ray = ray;
    call_result.result.assign(words, 0);
    call_result.returned = call(tag, call_result.result.data(), shading.state, setup.argument);
    calls.push_back(std::move(call_result));
  }
  ShadingState exit_state;
  exit_instance(tag, exit_state.state);
  exit_all(exit_state.state);  // and every other instance still initialised, as at the end of a render
  exit_shaders(exit_state.state);
  return calls;
}

// ---------------------------------------------------------------- notes

const Control *Renderer::control(const Function &fn, std::string_view parameter) const {
  if (const Control *own = fn.decl.control(parameter)) return own;
  if (!fn.decl.phenomenon) return nullptr;
  // `"inner" = interface "parameter"` at the top of a shader's parameter list.
  for (const PhenomenonShader &shader : fn.decl.phenomenon->shaders) {
    const std::vector<Token> &t = shader.parameters;
    int depth = 0;
    for (std::size_t i = 0; i + 3 < t.size(); ++i) {
      if (t[i].kind == Token::Kind::Punct) depth += t[i].text == "(" || t[i].text == "{" || t[i].text == "[" ? 1
                                                 : t[i].text == ")" || t[i].text == "}" || t[i].text == "]" ? -1 : 0;
      if (depth == 1 && t[i].kind == Token::Kind::String && t[i + 1].text == "=" && t[i + 2].text == "interface" &&
          t[i + 3].text == parameter) {
        const Function *inner = function(shader.shader);
        if (inner && inner != &fn) return control(*inner, t[i].text);
      }
    }
  }
  return nullptr;
}

void Renderer::note(std::string text) {
  std::lock_guard lock(message_mutex_);
  notes_.push_back(std::move(text));
}

std::vector<std::string> Renderer::take_notes() {
  std::lock_guard lock(message_mutex_);
  return std::exchange(notes_, {});
}

// ---------------------------------------------------------------- memory


void *Renderer::allocate(const char *file, int line, std::size_t size) {
  const std::size_t bytes = round_up(std::max<std::size_t>(size, 1), 16);
  void *block = ::operator new(bytes, kBlockAlignment, std::nothrow);
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
      ::operator delete(block, kBlockAlignment);
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
  const std::size_t words = (it->result_size + 7) / 8 + 1;
  if (Sample *sample = Sample::of(state)) {
    // once per state: later reads of the same source take what it gave
    const Instance *source = instance(it->source);
    ResultCache &cache = sample->results;
    if (const std::uint64_t *kept = cache.find(state, source))
      return reinterpret_cast<std::byte *>(const_cast<std::uint64_t *>(kept)) + it->field_offset;
    if (!cache.full()) {
      std::uint64_t *out = cache.room(words);
      ensure_initialized(it->source, *state);
      call(it->source, out, *state);
      cache.keep(state, source, out);
      return reinterpret_cast<std::byte *>(out) + it->field_offset;
    }
  }
  // A state the renderer did not make has no sample to keep results in, and a
  // sample past its room keeps no more: each thread keeps one buffer per
  // connection, valid until that connection is evaluated again on the same thread.
  thread_local std::unordered_map<const Connection *, std::vector<std::uint64_t>> buffers;
  std::vector<std::uint64_t> &buffer = buffers[&*it];
  buffer.assign(words, 0);
  ensure_initialized(it->source, *state);
  call(it->source, buffer.data(), *state);
  return reinterpret_cast<std::byte *>(buffer.data()) + it->field_offset;
}

miBoolean Renderer::query(int code, miState *state, miTag tag, void *result, void *extra) {
  if (!result) return miFALSE;
  Instance *inst = tag ? instance(tag) : state ? Instance::of(state->shader) : nullptr;
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
    case miQ_NUM_TEXTURES:
      if (!state) return miFALSE;
      *static_cast<miInteger *>(result) = std::clamp<miInteger>(state->texture_spaces, 0, kMaxTextureSpaces);
      return miTRUE;
    case miQ_PIXEL_SAMPLE: {
      // The sample's place in the image: [0] the pixel's column and [1] its
      // row (from the top-left corner), [2] the sample's number within the
      // pixel and [3] the samples taken per pixel. They are in range (0 to
      // 100000) exactly when the state descends from a camera ray through a
      // pixel of an image at most 100001 pixels wide and high; every other
      // state (one made without the camera, or at init) gets -1 four times.
      auto *out = static_cast<miInteger *>(result);
      const Sample *sample = Sample::of(state);
      if (sample && sample->has_pixel) {
        out[0] = sample->pixel_x, out[1] = sample->pixel_y;
        out[2] = sample->sample_index, out[3] = sample->samples_per_pixel;
      } else {
        out[0] = out[1] = out[2] = out[3] = -1;
      }
      return miTRUE;
    }
    case miQ_DECAL_PROJECTION:
      // 1 where decals can be laid: a surface point with at least one texture
      // space, since decal corners live in texture space 0; 0 elsewhere.
      if (!state) return miFALSE;
      *static_cast<miInteger *>(result) = state->texture_spaces > 0 && state->tex_list ? 1 : 0;
      return miTRUE;
    case miQ_ENVIRONMENT_MODE: {
      // 0 when the environment is looked up for what the camera sees
      // directly; 1 when it is looked up for lighting (light, shadow,
      // final-gather and photon rays) or below a reflection or refraction.
      if (!state) return miFALSE;
      const int type = state->type;
      const bool lighting = type == miRAY_LIGHT || type == miRAY_SHADOW || type == miRAY_FINALGATHER ||
                            (type >= 8 && type <= 15) || type == 18 || type == 19 || type == 23 || type == 24 ||
                            type == 27;
      *static_cast<miInteger *>(result) =
          lighting || state->reflection_level > 0 || state->refraction_level > 0 ? 1 : 0;
      return miTRUE;
    }
    default:
      return miFALSE;
  }
}

}  // namespace tavo::host
