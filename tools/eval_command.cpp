// tavo eval: one shader's whole life cycle in the host, for a shader with the
// parameters given on the command line or for a shader instance of a scene
// file at the point the camera sees through a pixel; and --batch, many such
// evaluations in one process, one JSON document a line.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>

#include "command.h"
#include "pixel.h"
#include "renderer_core.h"
#include "report.h"
#include "scene.h"
#include "scene_file.h"
#include "host_operations.h"
#include "values.h"

namespace fs = std::filesystem;
using namespace tavo::host;

namespace tavo::tool {

namespace {

// Ray types by the names users know them by.
const std::map<std::string, int> &ray_names() {
  static const std::map<std::string, int> names = {
      {"eye", miRAY_EYE},         {"transparent", miRAY_TRANSPARENT}, {"reflection", miRAY_REFLECT},
      {"refraction", miRAY_REFRACT}, {"light", miRAY_LIGHT},         {"shadow", miRAY_SHADOW},
      {"environment", miRAY_ENVIRONMENT}, {"probe", miRAY_PROBE}, {"finalgather", miRAY_FINALGATHER},
      {"lightmap", miRAY_LM_MESH}};
  return names;
}

int ray_code(const std::string &word) {
  if (const auto it = ray_names().find(word); it != ray_names().end()) return it->second;
  try {
    return parse_integer(word);
  } catch (const Error &) {
    throw UsageError("unknown ray type '" + word + "' (eye, shadow, reflection, refraction or an integer code)");
  }
}

std::string ray_name_json(int code) {
  for (const auto &[name, value] : ray_names())
    if (value == code) return json_string(name);
  return "null";
}

SceneData scene_record(const std::vector<std::string> &fields, SceneData scene = Renderer::default_scene()) {
  for (const std::string &text : fields) {
    const auto [name, value] = split_assignment(text, "FIELD");
    try {
      if (name == "scene_flag") scene.scene_flag = parse_integer(value);
      else if (name == "passthrough_value") scene.passthrough_value = parse_integer(value);
      else if (name == "unit_scale") scene.unit_scale = parse_scalar(value);
      else if (name == "blurred_reflection_multiplier") scene.blurred_reflection_multiplier = parse_scalar(value);
      else if (name == "blurred_refraction_multiplier") scene.blurred_refraction_multiplier = parse_scalar(value);
      else if (name == "area_shadow_samples") scene.area_shadow_samples = parse_integer(value);
      else throw UsageError("unknown scene field '" + name + "'");
    } catch (const UsageError &) {
      throw;
    } catch (const Error &e) {
      throw UsageError("scene field '" + name + "': " + e.what());
    }
  }
  return scene;
}

std::string messages_json(const std::vector<Message> &messages) {
  std::string out = "[";
  for (std::size_t i = 0; i < messages.size(); ++i)
    out += std::string(i ? ", " : "") + "{\"level\": " + json_string(messages[i].level) +
           ", \"text\": " + json_string(messages[i].text) + "}";
  return out + "]";
}

std::string calls_json(const Type &result, const std::vector<CallResult> &calls) {
  std::string out = "[\n";
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const CallResult &c = calls[i];
    out += "    {\"ray\": " + std::to_string(c.ray) + ", \"ray_name\": " + ray_name_json(c.ray) + ", \"returned\": " + (c.returned ? "true" : "false") +
           ", \"result\": " + json_value(result, reinterpret_cast<const std::byte *>(c.result.data())) + "}" +
           (i + 1 < calls.size() ? ",\n" : "\n");
  }
  return out + "  ]";
}

// The caller's side of each call: --state fields and --argument. The mesh
// lives as long as the setup that points at it.
struct Caller {
  CallSetup setup;
  std::vector<miVector> vertices;
  std::vector<miInteger> triangles;
  MeshRecord mesh{};
};

void set_up_caller(const EvalOptions &options, Caller &caller) {
  for (const std::string &text : options.states) {
    const auto [name, value] = split_assignment(text, "FIELD");
    int *field = name == "reflection_level" ? &caller.setup.reflection_level
               : name == "refraction_level" ? &caller.setup.refraction_level
               : nullptr;
    if (!field) throw UsageError("unknown state field '" + name + "' (reflection_level, refraction_level)");
    try {
      *field = parse_integer(value);
    } catch (const Error &e) {
      throw UsageError("state field '" + name + "': " + e.what());
    }
  }
  if (options.argument.empty()) return;
  const std::vector<std::string> counts =
      options.argument.rfind("mesh=", 0) == 0 ? split_words(options.argument.substr(5), ',') : std::vector<std::string>{};
  try {
    if (counts.size() != 2) throw Error("");
    const int v = parse_integer(counts[0]), t = parse_integer(counts[1]);
    if (v < 0 || t < 0 || v > 1 << 20 || t > 1 << 20) throw Error("");
    caller.vertices.assign(static_cast<std::size_t>(v), miVector{0, 0, 0});
    caller.triangles.assign(3 * static_cast<std::size_t>(t), 0);
    caller.mesh = {caller.vertices.data(), v, caller.triangles.data(), t};
  } catch (const Error &) {
    throw UsageError("expected --argument mesh=V,T with two counts from 0 to 1048576, found '" + options.argument + "'");
  }
  caller.setup.argument = &caller.mesh;
}

std::vector<int> ray_codes(const std::vector<std::string> &words) {
  std::vector<int> rays;
  for (const std::string &word : words) rays.push_back(ray_code(word));
  if (rays.empty()) rays.push_back(miRAY_EYE);
  return rays;
}

std::string vector_json(const miVector &v) {
  Type vector;
  vector.kind = Kind::Vector;
  return json_value(vector, reinterpret_cast<const std::byte *>(&v));
}

// tavo eval --file SCENE INSTANCE [--pixel X,Y]
std::string evaluate_in_scene(const EvalOptions &options, const fs::path &library_dir) {
  Renderer &renderer = Renderer::get();
  if (!options.assignments.empty())
    throw UsageError("the parameters of a scene's shader instance come from the scene file, found '" +
                     options.assignments.front() + "'");
  if (options.no_scene && !options.scene.empty()) throw UsageError("--no-scene and --scene exclude each other");
  const std::vector<int> rays = ray_codes(options.rays);

  const LoadedScene loaded = load_scene_with(options.file, library_dir, options.sets);
  report_notes(options.strict);
  renderer.set_current_scene(loaded.scene);
  if (options.no_scene) renderer.clear_scene();
  else renderer.set_scene(scene_record(options.scene, loaded.record.value_or(Renderer::default_scene())));

  const miTag named = renderer.named(options.shader);
  const miTag tag = renderer.shader_of(named);
  if (!tag) throw UsageError(options.file + " has no shader instance or material named '" + options.shader + "'");
  const miCamera &image = loaded.scene->camera.intrinsics;
  int x = image.x_resolution / 2, y = image.y_resolution / 2;
  if (!options.pixel.empty()) {
    const std::vector<std::string> xy = split_words(options.pixel, ',');
    try {
      if (xy.size() != 2) throw Error("");
      x = parse_integer(xy[0]);
      y = parse_integer(xy[1]);
    } catch (const Error &) {
      throw UsageError("expected --pixel X,Y with two integers, found '" + options.pixel + "'");
    }
    if (x < 0 || y < 0 || x >= image.x_resolution || y >= image.y_resolution)
      throw UsageError("pixel " + options.pixel + " lies outside the " + std::to_string(image.x_resolution) + "x" +
                       std::to_string(image.y_resolution) + " image");
  }

  Caller caller;
  set_up_caller(options, caller);
  const PixelEvaluation at = evaluate_at_pixel(*loaded.scene, loaded.instances, tag, x, y, rays, caller.setup);
  const Function &fn = *renderer.instance(tag)->shader;
  std::string out = "{\n  \"shader\": " + json_string(fn.decl.name) + ",\n  \"instance\": " +
                    json_string(options.shader) + ",\n  \"pixel\": [" + std::to_string(x) + ", " + std::to_string(y) +
                    "],\n  \"hit\": ";
  if (at.hit) {
    out += "{\"object\": " + json_string(at.object) + ", \"point\": " + vector_json(at.point) +
           ", \"normal\": " + vector_json(at.normal) + ", \"texture\": " +
           (at.texture_spaces > 0 ? vector_json(at.texture) : std::string("null")) + "}";
  } else {
    out += "null";
  }
  out += ",\n  \"calls\": " + calls_json(fn.decl.result, at.calls) + ",\n  \"messages\": " +
         messages_json(renderer.messages()) + ",\n  \"leaked_bytes\": " + std::to_string(renderer.held_bytes()) +
         "\n}\n";
  return out;
}

// tavo eval --file SCENE without a name: what the scene has to evaluate.
std::string scene_contents(const EvalOptions &options, const fs::path &library_dir) {
  Renderer &renderer = Renderer::get();
  const LoadedScene loaded = load_scene_with(options.file, library_dir, options.sets);
  report_notes(options.strict);
  std::string out = "{\n  \"file\": " + json_string(options.file) + ",\n  \"instances\": [";
  bool first = true;
  for (const miTag tag : loaded.instances) {
    const std::string name = renderer.name_of(tag);
    if (name.empty()) continue;
    out += std::string(first ? "\n" : ",\n") + "    {\"name\": " + json_string(name) + ", \"shader\": " +
           json_string(renderer.instance(tag)->shader->decl.name) + "}";
    first = false;
  }
  out += std::string(first ? "" : "\n  ") + "],\n  \"materials\": [";
  first = true;
  for (const Material *m : renderer.materials()) {
    const Instance *shader = renderer.instance(m->shader);
    out += std::string(first ? "\n" : ",\n") + "    {\"name\": " + json_string(m->name) + ", \"shader\": " +
           json_string(shader ? shader->shader->decl.name : "") + "}";
    first = false;
  }
  return out + std::string(first ? "" : "\n  ") + "]\n}\n";
}

std::string evaluate_shader(const EvalOptions &options) {
  Renderer &renderer = Renderer::get();
  const Function *fn = renderer.function(options.shader);
  if (!fn) throw UsageError("unknown shader '" + options.shader + "'");

  std::vector<Assignment> assignments;
  for (const std::string &text : options.assignments) {
    const auto [name, value] = split_assignment(text, "NAME");
    assignments.push_back({name, split_words(value, ','), 0, {}});
  }
  if (options.no_scene && !options.scene.empty()) throw UsageError("--no-scene and --scene exclude each other");
  if (options.no_scene) renderer.clear_scene();
  else renderer.set_scene(scene_record(options.scene));
  const std::vector<int> rays = ray_codes(options.rays);

  miTag tag = 0;
  try {
    tag = renderer.create_instance(options.shader, assignments);
  } catch (const Error &e) {
    if (!fn->main && !fn->decl.phenomenon) throw;  // declared but not exported: not the user's typing
    throw UsageError(e.what());
  }
  report_notes(options.strict);
  Caller caller;
  set_up_caller(options, caller);
  const std::vector<CallResult> calls = renderer.run(tag, rays, caller.setup);

  std::string out = "{\n  \"shader\": " + json_string(options.shader) + ",\n  \"calls\": " +
                    calls_json(fn->decl.result, calls) + ",\n  \"messages\": " + messages_json(renderer.messages()) +
                    ",\n  \"leaked_bytes\": " + std::to_string(renderer.held_bytes()) + "\n}\n";
  return out;
}

// Splits a line into words as a POSIX shell would, without expansions:
// blanks separate words, '...' keeps everything, "..." keeps all but \" \\ \$
// and \` escapes, a backslash outside quotes keeps the next character, and
// a # that starts a word starts a comment.
std::vector<std::string> shell_words(const std::string &line) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      if (in_word) words.push_back(std::move(word));
      word.clear();
      in_word = false;
    } else if (c == '#' && !in_word) {
      break;
    } else if (c == '\'') {
      const std::size_t end = line.find('\'', i + 1);
      if (end == std::string::npos) throw UsageError("unterminated ' quote");
      word.append(line, i + 1, end - i - 1);
      i = end;
      in_word = true;
    } else if (c == '"') {
      for (++i;; ++i) {
        if (i >= line.size()) throw UsageError("unterminated \" quote");
        if (line[i] == '"') break;
        if (line[i] == '\\' && i + 1 < line.size() && std::string_view("\"\\$`").find(line[i + 1]) != std::string_view::npos)
          ++i;
        word += line[i];
      }
      in_word = true;
    } else if (c == '\\') {
      if (i + 1 < line.size()) word += line[++i];
      in_word = true;
    } else {
      word += c;
      in_word = true;
    }
  }
  if (in_word) words.push_back(std::move(word));
  return words;
}

// The document on one line: the pretty form breaks lines only between
// tokens (strings escape their own line breaks), so dropping each break
// with its indentation leaves the same JSON.
std::string one_line(const std::string &document) {
  std::string out;
  for (std::size_t i = 0; i < document.size(); ++i) {
    if (document[i] != '\n') {
      out += document[i];
      continue;
    }
    while (i + 1 < document.size() && document[i + 1] == ' ') ++i;
    if (!out.empty() && out.back() == ',' && i + 1 < document.size()) out += ' ';
  }
  return out;
}

std::string batch_error(long line, const std::string &text, int status) {
  return "{\"line\": " + std::to_string(line) + ", \"error\": " + json_string(text) +
         ", \"status\": " + std::to_string(status) + "}";
}

}  // namespace

std::pair<std::string, std::string> split_assignment(const std::string &text, const char *what) {
  const std::size_t eq = text.find('=');
  if (eq == std::string::npos || eq == 0)
    throw UsageError(std::string("expected ") + what + "=VALUE, found '" + text + "'");
  return {text.substr(0, eq), text.substr(eq + 1)};
}

void add_eval_options(CLI::App &app, EvalOptions &eval) {
  app.add_option("SHADER", eval.shader, "an exported shader name (with --file: a shader instance of the scene)");
  app.add_option("--file", eval.file, "a scene file: evaluate its shader instance SHADER where the camera looks");
  app.add_option("--pixel", eval.pixel, "with --file: the pixel X,Y (from the top-left; default: the centre)");
  app.add_option("NAME=VALUE", eval.assignments, "parameters by their declared names");
  app.add_option("--scene", eval.scene, "a scene record field, FIELD=VALUE (repeatable)");
  app.add_flag("--no-scene", eval.no_scene, "the host has no scene record");
  app.add_option("--ray", eval.rays, "one evaluation per ray type: eye, shadow, reflection, refraction or a code");
  app.add_option("--set", eval.sets, "with --file: INSTANCE.PARAM=VALUE, a value the scene's instance gets "
                                      "as if its file gave it (repeatable)");
  app.add_option("--state", eval.states, "what the shader's caller set: reflection_level=N or refraction_level=N "
                                          "(repeatable)");
  app.add_option("--argument", eval.argument, "mesh=V,T: call with a light-map mesh record of V vertices and "
                                              "T triangles as the fourth argument");
  app.add_flag("--strict", eval.strict, "a value outside its declared values or range is an error, not a warning");
}

std::vector<Override> overrides(const std::vector<std::string> &sets) {
  std::vector<Override> out;
  for (const std::string &text : sets) {
    const auto [target, value] = split_assignment(text, "INSTANCE.PARAM");
    const std::size_t dot = target.find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == target.size())
      throw UsageError("expected --set INSTANCE.PARAM=VALUE, found '" + text + "'");
    out.push_back({target.substr(0, dot), target.substr(dot + 1), split_words(value, ','), text});
  }
  return out;
}

LoadedScene load_scene_with(const std::string &file, const fs::path &library_dir, const std::vector<std::string> &sets) {
  const std::vector<Override> given = overrides(sets);
  try {
    return load_scene(file, {library_dir.string()}, given);
  } catch (const OverrideError &e) {
    throw UsageError(e.what());
  }
}

void report_notes(bool strict) {
  for (const std::string &note : Renderer::get().take_notes()) {
    if (strict) throw UsageError(note);
    std::fprintf(stderr, "tavo: warning: %s\n", note.c_str());
  }
}

void load_library(const fs::path &library) {
  fs::path declarations = library;
  declarations.replace_extension(".mi");
  Renderer::get().load_library(library.string(), declarations.string());
}

std::string evaluate(const EvalOptions &options, const fs::path &library_dir) {
  if (!options.file.empty()) {
#if !TAVO_TRACING
    throw UsageError("--file needs ray tracing, which this build of tavo does not have (Linux only)");
#endif
    return options.shader.empty() ? scene_contents(options, library_dir) : evaluate_in_scene(options, library_dir);
  }
  if (options.shader.empty()) throw UsageError("eval needs a SHADER");
  if (!options.pixel.empty()) throw UsageError("--pixel needs --file");
  if (!options.sets.empty()) throw UsageError("--set needs --file");
  return evaluate_shader(options);
}

// The longest line a batch may have: an endless one (a device, a runaway
// generator) ends the batch instead of filling the memory.
constexpr std::size_t kMaxBatchLine = std::size_t{1} << 20;

// The next line of `in` without its end; false at the end of the input.
bool read_line(std::istream &in, std::string &line, const std::string &source, long number) {
  line.clear();
  for (int c; (c = in.get()) != std::char_traits<char>::eof();) {
    if (c == '\n') return true;
    if (line.size() == kMaxBatchLine)
      throw UsageError("line " + std::to_string(number) + " of the batch file '" + source + "' is longer than 1 MiB");
    line.push_back(static_cast<char>(c));
  }
  return !line.empty();
}

int run_batch(const std::string &source, const fs::path &library) {
  std::ifstream file;
  std::istream *in = &std::cin;
  if (source != "-") {
    errno = 0;
    file.open(source);
    if (!file) throw UsageError("cannot read the batch file '" + source + "': " + std::strerror(errno ? errno : EIO));
    in = &file;
  }
  int status = 0;
  long number = 0;
  for (std::string line; read_line(*in, line, source, number + 1);) {
    ++number;
    std::string document;
    try {
      const std::vector<std::string> words = shell_words(line);
      if (words.empty()) continue;  // blank lines and comments evaluate nothing
      EvalOptions options;
      CLI::App app{"one evaluation"};
      add_eval_options(app, options);
      try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
      } catch (const CLI::ParseError &e) {
        throw UsageError(e.what());
      }
      // Each line starts from nothing, as a process of its own would.
      Renderer::get().reset();
      load_library(library);
      document = one_line(evaluate(options, library.parent_path()));
    } catch (const UsageError &e) {
      document = batch_error(number, e.what(), 2);
      status = 2;
    } catch (const Error &e) {
      document = batch_error(number, e.what(), 1);
      status = std::max(status, 1);
    }
    std::fputs((document + "\n").c_str(), stdout);
    std::fflush(stdout);
  }
  if (in->bad()) throw Error("cannot read the batch file '" + source + "': " + std::strerror(errno ? errno : EIO));
  return status;
}

}  // namespace tavo::tool
