// tavo: the command-line face of the reference host. `tavo list` shows what
// the shader library declares; `tavo eval` runs one shader's whole life cycle
// in the host and prints what it produced as JSON, either for a shader with
// the parameters given on the command line or for a shader instance of a
// scene file, at the point the camera sees through a pixel.
#include <CLI/CLI.hpp>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "pixel.h"
#include "render.h"
#include "renderer_core.h"
#include "report.h"
#include "scene.h"
#include "scene_file.h"
#include "values.h"

namespace fs = std::filesystem;
using namespace tavo::host;

namespace {

// A mistake in what the user typed: exit status 2.
struct UsageError : Error {
  using Error::Error;
};

fs::path default_library() {
  if (const char *env = std::getenv("TAVO_LIBRARY")) return env;
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  return exe.parent_path().parent_path() / "lib" / "tavoshaders.so";
}

void load(const fs::path &library) {
  fs::path declarations = library;
  declarations.replace_extension(".mi");
  Renderer::get().load_library(library.string(), declarations.string());
}

int ray_code(const std::string &word) {
  static const std::map<std::string, int> names = {
      {"eye", miRAY_EYE},         {"transparent", miRAY_TRANSPARENT}, {"reflection", miRAY_REFLECT},
      {"refraction", miRAY_REFRACT}, {"light", miRAY_LIGHT},         {"shadow", miRAY_SHADOW},
      {"environment", miRAY_ENVIRONMENT}};
  if (const auto it = names.find(word); it != names.end()) return it->second;
  try {
    return parse_integer(word);
  } catch (const Error &) {
    throw UsageError("unknown ray type '" + word + "' (eye, shadow, reflection, refraction or an integer code)");
  }
}

std::pair<std::string, std::string> split_assignment(const std::string &text, const char *what) {
  const std::size_t eq = text.find('=');
  if (eq == std::string::npos || eq == 0)
    throw UsageError(std::string("expected ") + what + "=VALUE, found '" + text + "'");
  return {text.substr(0, eq), text.substr(eq + 1)};
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

struct EvalOptions {
  std::string shader;
  std::vector<std::string> assignments;
  std::vector<std::string> scene;
  bool no_scene = false;
  std::vector<std::string> rays;
  std::string file;
  std::string pixel;
};

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
    out += "    {\"ray\": " + std::to_string(c.ray) + ", \"returned\": " + (c.returned ? "true" : "false") +
           ", \"result\": " + json_value(result, reinterpret_cast<const std::byte *>(c.result.data())) + "}" +
           (i + 1 < calls.size() ? ",\n" : "\n");
  }
  return out + "  ]";
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
int run_eval_file(const EvalOptions &options, const fs::path &library_dir) {
  Renderer &renderer = Renderer::get();
  if (!options.assignments.empty())
    throw UsageError("the parameters of a scene's shader instance come from the scene file, found '" +
                     options.assignments.front() + "'");
  if (options.no_scene && !options.scene.empty()) throw UsageError("--no-scene and --scene exclude each other");
  const std::vector<int> rays = ray_codes(options.rays);

  const LoadedScene loaded = load_scene(options.file, {library_dir.string()});
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

  const PixelEvaluation at = evaluate_at_pixel(*loaded.scene, loaded.instances, tag, x, y, rays);
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
  std::fputs(out.c_str(), stdout);
  return 0;
}

int run_eval(const EvalOptions &options) {
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
  const std::vector<CallResult> calls = renderer.run(tag, rays);

  std::string out = "{\n  \"shader\": " + json_string(options.shader) + ",\n  \"calls\": " +
                    calls_json(fn->decl.result, calls) + ",\n  \"messages\": " + messages_json(renderer.messages()) +
                    ",\n  \"leaked_bytes\": " + std::to_string(renderer.held_bytes()) + "\n}\n";
  std::fputs(out.c_str(), stdout);
  return 0;
}

struct RenderOptions {
  std::string file;
  std::string output;
  std::string resolution;
  int samples = 1;
  int threads = 0;
  bool quiet = false;
};

// tavo render SCENE -o OUT: the scene's image, written only once it is whole.
int run_render(const RenderOptions &options, const fs::path &library_dir) {
  Renderer &renderer = Renderer::get();
  RenderSettings settings;
  if (!options.resolution.empty()) {
    const std::vector<std::string> wh = split_words(options.resolution, ',');
    try {
      if (wh.size() != 2) throw Error("");
      settings.width = parse_integer(wh[0]);
      settings.height = parse_integer(wh[1]);
    } catch (const Error &) {
      throw UsageError("expected --resolution W,H with two integers, found '" + options.resolution + "'");
    }
    if (settings.width <= 0 || settings.height <= 0)
      throw UsageError("--resolution needs a positive width and height, found '" + options.resolution + "'");
  }
  if (options.samples < 1 || options.samples > 1024)
    throw UsageError("--samples must lie in 1..1024, found " + std::to_string(options.samples));
  if (options.threads < 0) throw UsageError("--threads must not be negative, found " + std::to_string(options.threads));
  if (fs::path(options.output).extension().empty())
    throw UsageError("cannot tell the image format of '" + options.output + "': give it an extension (.png, .exr)");
  settings.samples = options.samples;
  settings.threads = options.threads;
  settings.progress = !options.quiet;

  const LoadedScene loaded = load_scene(options.file, {library_dir.string()});
  renderer.set_current_scene(loaded.scene);
  renderer.set_scene(loaded.record.value_or(Renderer::default_scene()));
  const RenderedImage image = render(*loaded.scene, loaded.instances, settings);
  for (const Message &m : renderer.messages())
    if (m.level == "error") std::fprintf(stderr, "tavo: %s: %s\n", m.level.c_str(), m.text.c_str());
  save_image(options.output, image);
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app{"tavo: run the tavoshaders library in the reference host"};
  app.require_subcommand(1);
  std::string library;
  app.add_option("--library", library, "the shader library (its declarations beside it, .mi)");

  bool list_json = false;
  CLI::App *list = app.add_subcommand("list", "list every declared shader with its parameters and result");
  list->add_flag("--json", list_json, "print JSON");

  EvalOptions eval;
  CLI::App *ev = app.add_subcommand("eval", "run one shader's life cycle and print its results as JSON");
  ev->add_option("SHADER", eval.shader, "an exported shader name (with --file: a shader instance of the scene)")
      ->required();
  ev->add_option("--file", eval.file, "a scene file: evaluate its shader instance SHADER where the camera looks");
  ev->add_option("--pixel", eval.pixel, "with --file: the pixel X,Y (from the top-left; default: the centre)");
  ev->add_option("NAME=VALUE", eval.assignments, "parameters by their declared names");
  ev->add_option("--scene", eval.scene, "a scene record field, FIELD=VALUE (repeatable)");
  ev->add_flag("--no-scene", eval.no_scene, "the host has no scene record");
  ev->add_option("--ray", eval.rays, "one evaluation per ray type: eye, shadow, reflection, refraction or a code");

  RenderOptions render_options;
  CLI::App *rd = app.add_subcommand("render", "render a scene file to an image (.png: sRGB, .exr: linear)");
  rd->add_option("SCENE", render_options.file, "the scene file")->required();
  rd->add_option("-o,--output", render_options.output, "the image to write; its extension picks the format")
      ->required();
  rd->add_option("--resolution", render_options.resolution, "W,H (default: the camera's)");
  rd->add_option("--samples", render_options.samples, "samples per pixel (default 1)");
  rd->add_option("--threads", render_options.threads, "rendering threads (default: every core)");
  rd->add_flag("--quiet", render_options.quiet, "no progress bar");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp &e) {
    return app.exit(e);
  } catch (const CLI::ParseError &e) {
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 2;
  }

  try {
    load(library.empty() ? default_library() : fs::path(library));
    if (list->parsed()) {
      const auto functions = Renderer::get().functions();
      std::fputs((list_json ? declarations_json(functions) : declarations_text(functions)).c_str(), stdout);
      return 0;
    }
    if (rd->parsed()) {
      const fs::path lib = library.empty() ? default_library() : fs::path(library);
      return run_render(render_options, lib.parent_path());
    }
    if (!eval.file.empty()) {
      const fs::path lib = library.empty() ? default_library() : fs::path(library);
      return run_eval_file(eval, lib.parent_path());
    }
    if (!eval.pixel.empty()) throw UsageError("--pixel needs --file");
    return run_eval(eval);
  } catch (const UsageError &e) {
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 2;
  } catch (const Error &e) {
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 1;
  }
}
