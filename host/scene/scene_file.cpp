#include "scene_file.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "color_space.h"
#include "files.h"
#include "geometry.h"
#include "lexer.h"
#include "work_limits.h"
#include "renderer_core.h"
#include "scene.h"
#include "texture.h"
#include "values.h"

namespace fs = std::filesystem;

namespace tavo::host {

namespace {

constexpr int kMaxIncludeDepth = 16;
// Shader instances one scene may make, phenomena expanded included: a few
// lines that nest phenomena must not make the host work for days.
constexpr int kMaxInstances = 100000;

enum class ElementKind { Shader, Texture, Material, Light, Object, Camera, Options };

const char *kind_name(ElementKind kind) {
  switch (kind) {
    case ElementKind::Shader: return "a shader";
    case ElementKind::Texture: return "a texture";
    case ElementKind::Material: return "a material";
    case ElementKind::Light: return "a light";
    case ElementKind::Object: return "an object";
    case ElementKind::Camera: return "a camera";
    case ElementKind::Options: return "an options block";
  }
  return "something";
}

struct Named {
  miTag tag = 0;
  ElementKind kind = ElementKind::Shader;
  std::string where;  // file:line of the definition
};

// What the camera block said, applied once the block is complete.
struct CameraSettings {
  bool seen = false;
  bool aspect_given = false;
  std::optional<miVector> direction, look_at;
  miVector up{0, 1, 0};
};

class SceneParser {
 public:
  SceneParser(Renderer &renderer, LoadedScene &out, const std::vector<std::string> &search_path,
              const std::vector<Override> &overrides)
      : renderer_(renderer), out_(out), search_path_(search_path), overrides_(overrides),
        overridden_(overrides.size(), false) {}

  void parse(std::string_view text, const std::string &file, int depth) {
    Lexer lex(text, file);
    Lexer *outer = lex_;
    lex_ = &lex;
    depth_ = depth;
    while (lex.peek().kind != Token::Kind::End) statement();
    lex_ = outer;
  }

  // Raises Error for an override whose instance the scene never made.
  void check_overrides() const {
    for (std::size_t i = 0; i < overrides_.size(); ++i)
      if (!overridden_[i])
        throw OverrideError("--set " + overrides_[i].text + ": the scene has no shader instance \"" +
                    overrides_[i].instance + "\"");
  }
  void finish() {
    Camera &camera = out_.scene->camera;
    camera.fixed_aspect = settings_.aspect_given;
    if (!settings_.aspect_given)
      camera.intrinsics.aspect =
          static_cast<float>(camera.intrinsics.x_resolution) / static_cast<float>(camera.intrinsics.y_resolution);
    if (settings_.look_at) settings_.direction = *settings_.look_at - camera.position;
    try {
      camera.aim(settings_.direction.value_or(camera.forward), settings_.up);
    } catch (const Error &e) {
      throw Error(camera_where_ + ": " + e.what());
    }
    out_.scene->commit();
  }

 private:
  Lexer &lex() { return *lex_; }
  std::string here(int line) const { return lex_->file() + ":" + std::to_string(line); }

  // --- the statements

  void statement() {
    const Token tok = lex().peek();
    if (lex().accept_word("link")) return link(tok.line);
    if (lex().accept_word("$include")) return include(tok.line);
    if (lex().accept_word("shader")) {
      const std::string name = lex().expect_string("the shader instance's name in quotes");
      define(name, ElementKind::Shader, tok.line, instance(name, tok.line));
      return;
    }
    if (lex().at_word("color") || lex().at_word("colour")) return texture();
    if (lex().accept_word("material")) return material(tok.line);
    if (lex().accept_word("light")) return light(tok.line);
    if (lex().accept_word("object")) return object(tok.line);
    if (lex().accept_word("camera")) return camera(tok.line);
    if (lex().accept_word("options")) return options(tok.line);
    if (lex().accept_word("caption")) return caption();
    lex().fail_expected(
        "a statement (link, $include, shader, color texture, material, light, object, camera, options or caption)");
  }

  void link(int line) {
    const std::string path = locate(lex().expect_string("the shader library's file name in quotes"));
    try {
      // A name the loader does not find here it looks up in the system's folders.
      std::error_code ec;
      if (fs::exists(path, ec)) regular_file_size(path, "shader library", UINTMAX_MAX);
      renderer_.link(path);
    } catch (const Error &e) {
      lex().fail(line, e.what());
    }
  }

  // A declarations file (only `declare` blocks) or another scene file.
  void include(int line) {
    const std::string path = locate(lex().expect_string("the file name to include in quotes"));
    std::string text;
    try {
      text = read_file(path, "included file");
    } catch (const Error &e) {
      lex().fail(line, e.what());
    }
    if (Lexer(text, path).at_word("declare")) {
      renderer_.declare(path);  // its errors name the declarations file and line
      return;
    }
    if (depth_ + 1 > kMaxIncludeDepth) lex().fail(line, "files include each other more than 16 deep");
    const int depth = depth_;
    parse(text, path, depth + 1);
    depth_ = depth;
  }

  // color [filter] texture "name" "file" [colorspace "srgb" | "linear"]
  void texture() {
    const int line = lex().next().line;
    lex().accept_word("filter");  // every texture gets its mip levels
    lex().expect_word("texture");
    const std::string name = lex().expect_string("the texture's name in quotes");
    const std::string file = lex().expect_string("the image file's name in quotes");
    ColorSpace space = stored_color_space(file);
    if (lex().accept_word("colorspace")) {
      const int at = lex().peek().line;
      try {
        space = color_space_named(lex().expect_string("the colour space in quotes (\"srgb\" or \"linear\")"));
      } catch (const Error &e) {
        lex().fail(at, e.what());
      }
    }
    const std::string path = locate(file);
    std::unique_ptr<Image> image;
    try {
      image = std::make_unique<Image>(read_image(path, name));
      if (space == ColorSpace::Srgb) *image = decoded_from_srgb(*image);  // the renderer works in linear light
    } catch (const Error &e) {
      lex().fail(line, e.what());
    }
    define(name, ElementKind::Texture, line, renderer_.add_texture(std::move(image)));
  }

  // caption "text" at x y z: a label drawn under where the point appears
  void caption() {
    Caption c;
    c.text = lex().expect_string("the caption's text in quotes");
    lex().expect_word("at");
    c.point = vector3("the captioned point: x y z");
    out_.scene->captions.push_back(std::move(c));
  }

  // material "name" (= "shader" | "declaration" ( parameters )) end material
  void material(int line) {
    const std::string name = lex().expect_string("the material's name in quotes");
    miTag shader = 0;
    if (lex().accept_punct('=')) {
      shader = reference(lex().expect_string("the material shader's name in quotes"), ElementKind::Shader, line);
    } else {
      shader = instance(name, line);
    }
    lex().expect_word("end");
    lex().expect_word("material");
    define(name, ElementKind::Material, line, renderer_.add_material(name, shader));
  }

  void light(int line) {
    Light light;
    light.name = lex().expect_string("the light's name in quotes");
    std::map<std::string, int> placed;  // settings of one kind of light -> line, checked against the kind
    std::string environment_file;
    bool studio = true;
    float rotate = 0.0f;
    while (!lex().accept_word("end")) {
      const int at = lex().peek().line;
      const std::string word = lex().peek().kind == Token::Kind::Word ? lex().peek().text : std::string();
      if (lex().accept_word("point")) light.kind = Light::Kind::Point;
      else if (lex().accept_word("directional")) light.kind = Light::Kind::Directional;
      else if (lex().accept_word("area")) light.kind = Light::Kind::Area;
      else if (lex().accept_word("environment")) light.kind = Light::Kind::Environment;
      else if (lex().accept_word("studio")) environment_file.clear(), studio = true;
      else if (lex().accept_word("image")) environment_file = lex().expect_string("the environment image's name in quotes"), studio = false;
      else if (lex().accept_word("rotate")) rotate = number("the environment's rotation in degrees");
      else if (lex().accept_word("origin")) light.origin = vector3("the light's origin: x y z");
      else if (lex().accept_word("direction")) light.direction = vector3("the light's direction: x y z");
      else if (lex().accept_word("u")) light.u = vector3("the area light's first edge: x y z");
      else if (lex().accept_word("v")) light.v = vector3("the area light's second edge: x y z");
      else if (lex().accept_word("samples")) {
        light.samples = integer("the area light's samples along each edge");
        if (light.samples < 1 || light.samples > 64)
          lex().fail(at, "the samples of an area light must lie between 1 and 64");
      } else if (lex().accept_word("color") || lex().accept_word("colour")) {
        const miVector c = vector3("the light's colour: r g b");
        light.color = {c.x, c.y, c.z, 1.0f};
      } else if (lex().accept_word("intensity")) light.intensity = number("the light's intensity");
      else if (lex().accept_word("shadow")) light.shadow = boolean("on or off");
      else
        lex().fail_expected(
            "a light setting (point, directional, area, environment, origin, direction, u, v, samples, studio, "
            "image, rotate, color, intensity, shadow) or 'end'");
      if (word == "origin" || word == "direction" || word == "u" || word == "v" || word == "samples" ||
          word == "studio" || word == "image" || word == "rotate")
        placed.emplace(word, at);
    }
    lex().expect_word("light");
    static const std::map<Light::Kind, std::vector<std::string>> allowed = {
        {Light::Kind::Point, {"origin"}},
        {Light::Kind::Directional, {"direction"}},
        {Light::Kind::Area, {"origin", "u", "v", "samples"}},
        {Light::Kind::Environment, {"studio", "image", "rotate", "samples"}}};
    const std::vector<std::string> &ok = allowed.at(light.kind);
    for (const auto &[setting, at] : placed)
      if (std::find(ok.begin(), ok.end(), setting) == ok.end())
        lex().fail(at, "'" + setting + "' is not a setting of this kind of light \"" + light.name + "\"");
    if (light.kind == Light::Kind::Directional && length(light.direction) == 0.0f)
      lex().fail(line, "the directional light \"" + light.name + "\" needs a direction");
    if (light.kind == Light::Kind::Area && !(length(cross(light.u, light.v)) > 0.0f))
      lex().fail(line, "the area light \"" + light.name + "\" needs two edges that span an area");
    if (light.kind == Light::Kind::Environment) {
      if (!placed.count("samples")) light.samples = 1;
      light.environment = std::make_shared<const Environment>(environment_light(environment_file, studio, rotate, light, line));
    }
    light.tag = renderer_.new_tag();
    define(light.name, ElementKind::Light, line, light.tag);
    out_.scene->lights.push_back(light);
  }

  // The generated studio, or a latitude-longitude image, tinted by the light's colour.
  Environment environment_light(const std::string &file, bool studio, float rotate, const Light &light, int line) {
    const float intensity = light.intensity;
    if (studio) return Environment::studio(rotate, intensity);
    std::vector<miColor> texels;
    int width = 0, height = 0;
    try {
      Image image = read_image(locate(file), light.name);
      if (stored_color_space(file) == ColorSpace::Srgb) image = decoded_from_srgb(image);
      const Image::Level &base = image.levels().front();
      width = base.width, height = base.height;
      texels.resize(base.texels.size());
      for (int j = 0; j < height; ++j)  // the image keeps its bottom row first
        for (int i = 0; i < width; ++i) {
          const miColor &c = base.texels[static_cast<std::size_t>(height - 1 - j) * width + i];
          texels[static_cast<std::size_t>(j) * width + i] = {c.r * light.color.r, c.g * light.color.g, c.b * light.color.b, 1};
        }
    } catch (const Error &e) {
      lex().fail(line, e.what());
    }
    return Environment(width, height, std::move(texels), rotate, intensity);
  }

  void object(int line) {
    const std::string name = lex().expect_string("the object's name in quotes");
    enum class Shape { None, Sphere, Plane, Box, Mesh } shape = Shape::None;
    std::string mesh_file;
    int shape_line = line;
    miVector centre{0, 0, 0}, origin{0, 0, 0}, u{1, 0, 0}, v{0, 0, -1}, lo{-0.5f, -0.5f, -0.5f}, hi{0.5f, 0.5f, 0.5f};
    miVector translate{0, 0, 0};
    float radius = 1.0f, scale = 1.0f;
    int segments_u = 32, segments_v = 16;
    miTag material = 0;
    std::map<std::string, int> settings;  // setting -> line, to check them against the shape
    const auto set_shape = [&](Shape s, int at) {
      if (shape != Shape::None) lex().fail(at, "object \"" + name + "\" already has a shape");
      shape = s;
      shape_line = at;
    };
    while (!lex().accept_word("end")) {
      const int at = lex().peek().line;
      const std::string word = lex().peek().kind == Token::Kind::Word ? lex().peek().text : std::string();
      if (lex().accept_word("sphere")) set_shape(Shape::Sphere, at);
      else if (lex().accept_word("plane")) set_shape(Shape::Plane, at);
      else if (lex().accept_word("box")) set_shape(Shape::Box, at);
      else if (lex().accept_word("mesh")) {
        set_shape(Shape::Mesh, at);
        mesh_file = lex().expect_string("the OBJ file's name in quotes");
      } else if (lex().accept_word("centre") || lex().accept_word("center")) centre = vector3("the centre: x y z");
      else if (lex().accept_word("radius")) radius = number("the radius");
      else if (lex().accept_word("segments")) {
        segments_u = integer("segments around the sphere");
        segments_v = integer("segments from pole to pole");
      } else if (lex().accept_word("origin")) origin = vector3("the corner: x y z");
      else if (lex().accept_word("u")) u = vector3("the first edge: x y z");
      else if (lex().accept_word("v")) v = vector3("the second edge: x y z");
      else if (lex().accept_word("min")) lo = vector3("the lowest corner: x y z");
      else if (lex().accept_word("max")) hi = vector3("the highest corner: x y z");
      else if (lex().accept_word("translate")) translate = vector3("the offset: x y z");
      else if (lex().accept_word("scale")) scale = number("the scale");
      else if (lex().accept_word("material")) {
        material = reference(lex().expect_string("the material's name in quotes"), ElementKind::Material, at);
        continue;
      } else {
        lex().fail_expected("a shape (sphere, plane, box, mesh), one of its settings, material or 'end'");
      }
      if (word != "sphere" && word != "plane" && word != "box" && word != "mesh") settings[word] = at;
    }
    lex().expect_word("object");

    static const std::map<Shape, std::vector<std::string>> allowed = {
        {Shape::Sphere, {"centre", "center", "radius", "segments"}},
        {Shape::Plane, {"origin", "u", "v"}},
        {Shape::Box, {"min", "max"}},
        {Shape::Mesh, {"translate", "scale"}}};
    if (shape == Shape::None) lex().fail(line, "object \"" + name + "\" needs a shape: sphere, plane, box or mesh");
    const std::vector<std::string> &ok = allowed.at(shape);
    for (const auto &[setting, at] : settings)
      if (std::find(ok.begin(), ok.end(), setting) == ok.end())
        lex().fail(at, "'" + setting + "' is not a setting of this shape of object \"" + name + "\"");

    Object built;
    try {
      switch (shape) {
        case Shape::Sphere: built = make_sphere(centre, radius, segments_u, segments_v); break;
        case Shape::Plane: built = make_parallelogram(origin, u, v); break;
        case Shape::Box: built = make_box(lo, hi); break;
        case Shape::Mesh:
          if (!(scale > 0.0f) || !std::isfinite(scale)) throw Error("a mesh needs a positive scale");
          built = read_obj(locate(mesh_file), scale, translate);
          break;
        case Shape::None: break;
      }
    } catch (const Error &e) {
      lex().fail(shape_line, "object \"" + name + "\": " + e.what());
    }
    built.name = name;
    built.tag = renderer_.new_tag();
    built.material = material;
    define(name, ElementKind::Object, line, built.tag);
    out_.scene->add(std::move(built));
  }

  void camera(int line) {
    if (settings_.seen) lex().fail(line, "a scene has one camera; the first is at " + camera_where_);
    settings_.seen = true;
    camera_where_ = here(line);
    Camera &camera = out_.scene->camera;
    const std::string name = lex().expect_string("the camera's name in quotes");
    while (!lex().accept_word("end")) {
      const int at = lex().peek().line;
      if (lex().accept_word("resolution")) {
        camera.intrinsics.x_resolution = integer("the image width in pixels");
        camera.intrinsics.y_resolution = integer("the image height in pixels");
        try {
          check_resolution(camera.intrinsics.x_resolution, camera.intrinsics.y_resolution);
        } catch (const Error &e) {
          lex().fail(at, e.what());
        }
      } else if (lex().accept_word("aspect")) {
        camera.intrinsics.aspect = positive("the image aspect (width per height)", at);
        settings_.aspect_given = true;
      } else if (lex().accept_word("aperture")) {
        camera.intrinsics.aperture = positive("the film width", at);
      } else if (lex().accept_word("focal")) {
        camera.intrinsics.focal = positive("the focal length", at);
      } else if (lex().accept_word("orthographic")) {
        camera.intrinsics.orthographic = boolean("on or off");
      } else if (lex().accept_word("position")) {
        camera.position = vector3("the camera's position: x y z");
      } else if (lex().accept_word("direction")) {
        settings_.direction = vector3("the viewing direction: x y z");
      } else if (lex().accept_word("look_at")) {
        settings_.look_at = vector3("the point looked at: x y z");
      } else if (lex().accept_word("up")) {
        settings_.up = vector3("the up direction: x y z");
      } else if (lex().accept_word("environment")) {
        lex().expect_punct('=');
        out_.scene->environment =
            reference(lex().expect_string("the environment shader's name in quotes"), ElementKind::Shader, at);
      } else if (lex().accept_word("lens")) {
        lex().expect_punct('=');  // each one more lens, after those given before
        out_.scene->lenses.push_back(
            reference(lex().expect_string("the lens shader's name in quotes"), ElementKind::Shader, at));
      } else {
        lex().fail_expected(
            "a camera setting (resolution, aspect, aperture, focal, orthographic, position, direction, look_at, "
            "up, environment, lens) or 'end'");
      }
    }
    lex().expect_word("camera");
    define(name, ElementKind::Camera, line, renderer_.new_tag());
  }

  void options(int line) {
    if (!options_where_.empty()) lex().fail(line, "a scene has one options block; the first is at " + options_where_);
    options_where_ = here(line);
    miOptions &options = out_.scene->options;
    const std::string name = lex().expect_string("the options block's name in quotes");
    while (!lex().accept_word("end")) {
      const int at = lex().peek().line;
      if (lex().accept_word("trace")) {
        if (lex().accept_word("depth")) {
          options.reflection_depth = count("the reflection depth", at);
          options.refraction_depth = count("the refraction depth", at);
          options.trace_depth = count("the total depth", at);
        } else {
          options.trace = boolean("on or off");
        }
      } else if (lex().accept_word("host")) {
        host_field(at);
      } else {
        lex().fail_expected("an option (trace on|off, trace depth R F T, host \"field\" value) or 'end'");
      }
    }
    lex().expect_word("options");
    define(name, ElementKind::Options, line, renderer_.new_tag());
  }

  // host "field" value: a field of the host application's scene record
  void host_field(int line) {
    const std::string field = lex().expect_string("a scene record field in quotes");
    SceneData &record = out_.record ? *out_.record : out_.record.emplace(Renderer::default_scene());
    if (field == "scene_flag") record.scene_flag = integer("an integer");
    else if (field == "passthrough_value") record.passthrough_value = integer("an integer");
    else if (field == "unit_scale") record.unit_scale = number("the length of a scene unit in metres");
    else if (field == "blurred_reflection_multiplier") record.blurred_reflection_multiplier = number("a number");
    else if (field == "blurred_refraction_multiplier") record.blurred_refraction_multiplier = number("a number");
    else if (field == "area_shadow_samples") record.area_shadow_samples = integer("an integer");
    else
      lex().fail(line, "unknown scene record field \"" + field +
                           "\" (scene_flag, passthrough_value, unit_scale, blurred_reflection_multiplier, "
                           "blurred_refraction_multiplier, area_shadow_samples)");
  }

  // --- shader instances

  // "declaration" ( "parameter" value, ... ): creates the instance.
  miTag instance(const std::string &name, int line) {
    const int decl_line = lex().peek().line;
    const std::string decl_name = lex().expect_string("the declared shader's name in quotes");
    const Function *fn = renderer_.function(decl_name);
    if (!fn)
      lex().fail(decl_line, "unknown shader \"" + decl_name + "\" (is its declarations file included?)");
    std::vector<Assignment> assignments = parameters(fn->decl);
    override_values(name, fn->decl, assignments);
    return make(name, fn->decl, assignments, line);
  }

  // The overrides of instance `name` replace what the file gave the same path.
  void override_values(const std::string &name, const ShaderDeclaration &decl, std::vector<Assignment> &assignments) {
    for (std::size_t i = 0; i < overrides_.size(); ++i) {
      const Override &o = overrides_[i];
      if (o.instance != name) continue;
      const std::string parameter = o.path.substr(0, o.path.find_first_of(".["));
      if (!decl.parameter(parameter))
        throw OverrideError("--set " + o.text + ": shader instance \"" + name + "\" (" + decl.name +
                    ") has no parameter \"" + parameter + "\"");
      std::erase_if(assignments, [&](const Assignment &a) { return a.path == o.path; });
      assignments.push_back({o.path, o.words, 0, {}});
      overridden_[i] = true;
    }
  }



  // ( "parameter" value, ... ) of a shader declared as `decl`.
  std::vector<Assignment> parameters(const ShaderDeclaration &decl) {
    std::vector<Assignment> assignments;
    lex().expect_punct('(');
    if (!lex().accept_punct(')')) {
      do {
        const int at = lex().peek().line;
        const std::string parameter = lex().expect_string("a parameter name in quotes");
        const Field *field = decl.parameter(parameter);
        if (!field) lex().fail(at, "shader \"" + decl.name + "\" has no parameter \"" + parameter + "\"");
        value(field->type, parameter, assignments);
      } while (lex().accept_punct(','));
      lex().expect_punct(')');
    }
    return assignments;
  }

  miTag make(const std::string &name, const ShaderDeclaration &decl, const std::vector<Assignment> &assignments,
             int line) {
    if (decl.phenomenon) return expand(name, decl, assignments, line);
    if (++made_ > kMaxInstances)
      lex().fail(line, "the scene makes more than " + std::to_string(kMaxInstances) + " shader instances");
    try {
      const miTag tag = renderer_.create_instance(decl.name, assignments);
      out_.instances.push_back(tag);
      return tag;
    } catch (const Error &e) {
      lex().fail(line, "shader \"" + name + "\": " + e.what());
    }
  }

  // --- phenomena

  // What the shaders of a phenomenon being instanced see: each other by
  // name, and the instance's own parameters through `interface "name"`.
  struct Network {
    const ShaderDeclaration *phenomenon = nullptr;
    const std::vector<Assignment> *given = nullptr;
    std::map<std::string, miTag> shaders;  // made so far
    const Network *outer = nullptr;        // the phenomenon this one is part of
  };

  // Instances a phenomenon: makes its shaders in order, each reading its
  // parameter list from the declaration, and stands for its root. The other
  // shaders are named "instance:shader", so that they can be evaluated too.
  miTag expand(const std::string &name, const ShaderDeclaration &decl, const std::vector<Assignment> &given,
               int line) {
    if (nesting_ >= kMaxIncludeDepth)
      lex().fail(line, "phenomena nest more than " + std::to_string(kMaxIncludeDepth) + " deep");
    for (const Network *outer = network_; outer; outer = outer->outer)
      if (outer->phenomenon == &decl) lex().fail(line, "phenomenon \"" + decl.name + "\" uses itself");
    Network network{&decl, &given, {}, network_};
    Lexer *const outer_lex = lex_;
    Network *const outer_network = network_;
    const auto restore = [&] {
      lex_ = outer_lex;
      network_ = outer_network;
      --nesting_;
    };
    ++nesting_;
    try {
      for (const PhenomenonShader &shader : decl.phenomenon->shaders) {
        const Function *fn = renderer_.function(shader.shader);
        if (!fn)
          throw Error(decl.file + ":" + std::to_string(shader.line) + ": phenomenon \"" + decl.name +
                      "\" uses shader \"" + shader.shader + "\", which is not declared (is its declarations file "
                      "included?)");
        Lexer body(shader.parameters, decl.file);
        lex_ = &body;
        network_ = &network;
        const std::string inner = name + ":" + shader.name;
        const std::vector<Assignment> assignments = parameters(fn->decl);
        const miTag tag = make(inner, fn->decl, assignments, shader.line);
        network.shaders[shader.name] = tag;
        if (shader.name != decl.phenomenon->root) renderer_.set_name(tag, inner);
      }
    } catch (const Error &e) {
      restore();
      lex().fail(line, "shader \"" + name + "\" (" + decl.name + "): " + e.what());
    }
    restore();
    return network.shaders.at(decl.phenomenon->root);
  }

  // `= interface "name"` inside a phenomenon: what the instance gave its
  // parameter, element by element, and its declared default (or zero) for
  // every part it left out.
  void interface_value(const Type &type, const std::string &path, std::vector<Assignment> &out, int line) {
    const std::string name = lex().expect_string("the interface parameter's name in quotes");
    const ShaderDeclaration &decl = *network_->phenomenon;
    const Field *field = decl.parameter(name);
    if (!field) lex().fail(line, "phenomenon \"" + decl.name + "\" has no parameter \"" + name + "\"");
    if (field->type.name() != type.name() || field->type.size() != type.size())
      lex().fail(line, "\"" + path + "\" is " + type.name() + " but the interface parameter \"" + name + "\" is " +
                           field->type.name());
    std::vector<std::string> given;
    for (const Assignment &a : *network_->given) {
      if (a.path != name && !a.path.starts_with(name + ".") && !a.path.starts_with(name + "[")) continue;
      Assignment copy = a;
      copy.path = path + a.path.substr(name.size());
      given.push_back(copy.path);
      out.push_back(std::move(copy));
    }
    fill_defaults(field->type, field->default_words, path, given, out);
  }

  // Defaults (or zeros) for the scalar-like parts of `path` that no given path covers.
  static void fill_defaults(const Type &type, const std::vector<std::string> &default_words, const std::string &path,
                            const std::vector<std::string> &given, std::vector<Assignment> &out) {
    for (const std::string &g : given)
      if (path == g || path.starts_with(g + ".") || path.starts_with(g + "[")) return;
    if (type.kind == Kind::Array) return;  // elements not given: an empty array
    if (type.kind == Kind::Struct) {
      for (const Field &f : type.fields) fill_defaults(f.type, f.default_words, path + "." + f.name, given, out);
      return;
    }
    std::vector<std::string> words = default_words;
    if (words.empty()) {
      const std::size_t n = type.kind == Kind::Vector ? 3 : type.kind == Kind::Color ? 4
                            : type.kind == Kind::Transform ? 16 : 1;
      words.assign(n, "0");
    }
    out.push_back({path, std::move(words), 0, {}});
  }

  // The tag of a shader of the phenomenon being instanced.
  miTag network_shader(const std::string &name, int line) {
    const auto it = network_->shaders.find(name);
    if (it == network_->shaders.end())
      lex().fail(line, "phenomenon \"" + network_->phenomenon->name + "\" has no shader \"" + name +
                           "\" defined before this one");
    return it->second;
  }

  // The value of a parameter (or element, or field) at `path`.
  void value(const Type &type, const std::string &path, std::vector<Assignment> &out) {
    const int line = lex().peek().line;
    if (lex().accept_punct('=')) {
      if (network_ && lex().accept_word("interface")) return interface_value(type, path, out, line);
      const std::string source = lex().expect_string("the connected shader's name in quotes, \"name\" or \"name.field\"");
      std::string instance = source, field;
      if (network_) {
        if (!network_->shaders.count(source) && source.rfind('.') != std::string::npos)
          instance = source.substr(0, source.rfind('.')), field = source.substr(source.rfind('.') + 1);
        out.push_back({path, {}, network_shader(instance, line), field});
        return;
      }
      const auto it = named_.find(source);
      if (it == named_.end()) {
        const std::size_t dot = source.rfind('.');
        if (dot != std::string::npos) instance = source.substr(0, dot), field = source.substr(dot + 1);
      }
      out.push_back({path, {}, reference(instance, ElementKind::Shader, line), field});
      return;
    }
    if (type.kind == Kind::Array) {
      lex().expect_punct('[');
      std::size_t k = 0;
      if (!lex().accept_punct(']')) {
        do value(*type.element, path + "[" + std::to_string(k++) + "]", out);
        while (lex().accept_punct(','));
        lex().expect_punct(']');
      }
      return;
    }
    if (type.kind == Kind::Struct) {
      lex().expect_punct('{');
      if (!lex().accept_punct('}')) {
        do {
          const int at = lex().peek().line;
          const std::string name = lex().expect_string("a field name in quotes");
          const auto f = std::find_if(type.fields.begin(), type.fields.end(),
                                      [&](const Field &candidate) { return candidate.name == name; });
          if (f == type.fields.end()) lex().fail(at, "\"" + path + "\" has no field \"" + name + "\"");
          value(f->type, path + "." + name, out);
        } while (lex().accept_punct(','));
        lex().expect_punct('}');
      }
      return;
    }
    if (type.kind == Kind::Tag) {
      // No element at all: an empty slot of a tag array, or a tag left unset.
      if (lex().accept_word("null") || (lex().peek().kind == Token::Kind::Number && lex().peek().text == "0")) {
        if (lex().peek().kind == Token::Kind::Number) lex().next();
        out.push_back({path, {"0"}, 0, {}});
        return;
      }
      const std::string name = lex().expect_string("the name of " + tag_kind_text(type) + " in quotes, or null");
      const miTag tag = network_ ? network_shader(name, line) : tagged(type, name, line);
      out.push_back({path, {std::to_string(tag)}, 0, {}});
      return;
    }
    std::vector<std::string> words;
    while (lex().peek().kind == Token::Kind::Number || lex().at_word("on") || lex().at_word("off") ||
           lex().at_word("true") || lex().at_word("false") || lex().at_word("nan") || lex().at_word("inf"))
      words.push_back(lex().next().text);
    if (words.empty()) lex().fail_expected("a value for \"" + path + "\" (" + type.name() + ")");
    std::byte scratch[sizeof(miMatrix)];
    try {
      encode_value(type, words, scratch);
    } catch (const Error &e) {
      lex().fail(line, "\"" + path + "\": " + e.what());
    }
    out.push_back({path, std::move(words), 0, {}});
  }

  static std::string tag_kind_text(const Type &type) {
    const std::string &k = type.tag_kind;
    if (k.find("texture") != std::string::npos) return "a texture";
    if (k == "material") return "a material";
    if (k == "light") return "a light";
    if (k == "geometry") return "an object";
    return "a shader";
  }

  // The tag a tag-typed parameter gets for a name, checked against what the parameter takes.
  miTag tagged(const Type &type, const std::string &name, int line) {
    const auto it = named_.find(name);
    if (it == named_.end()) lex().fail(line, "nothing is named \"" + name + "\" (yet)");
    const ElementKind kind = it->second.kind;
    const std::string &k = type.tag_kind;
    bool fits;
    if (k.find("texture") != std::string::npos) fits = kind == ElementKind::Texture;
    else if (k == "material" || k == "shader" || k == "lightmap")
      fits = kind == ElementKind::Material || kind == ElementKind::Shader;
    else if (k == "light") fits = kind == ElementKind::Light;
    else if (k == "geometry") fits = kind == ElementKind::Object;
    else fits = true;
    if (!fits)
      lex().fail(line, "expected " + tag_kind_text(type) + ", but \"" + name + "\" is " + kind_name(kind) +
                           " (defined at " + it->second.where + ")");
    return it->second.tag;
  }

  // The tag of an element that must be of `kind` (materials also stand in for shaders).
  miTag reference(const std::string &name, ElementKind kind, int line) {
    const auto it = named_.find(name);
    if (it == named_.end()) lex().fail(line, "nothing is named \"" + name + "\" (yet)");
    if (it->second.kind != kind)
      lex().fail(line, "expected " + std::string(kind_name(kind)) + ", but \"" + name + "\" is " +
                           kind_name(it->second.kind) + " (defined at " + it->second.where + ")");
    return it->second.tag;
  }

  void define(const std::string &name, ElementKind kind, int line, miTag tag) {
    if (const auto it = named_.find(name); it != named_.end())
      lex().fail(line, "\"" + name + "\" is already defined at " + it->second.where);
    named_[name] = {tag, kind, here(line)};
    try {
      renderer_.set_name(tag, name);
    } catch (const Error &e) {
      lex().fail(line, e.what());
    }
  }

  // --- values of our own statements

  float number(const std::string &what) {
    const Token &tok = lex().peek();
    if (tok.kind != Token::Kind::Number && !lex().at_word("nan") && !lex().at_word("inf")) lex().fail_expected(what);
    try {
      return parse_scalar(lex().next().text);
    } catch (const Error &e) {
      lex().fail(tok.line, what + ": " + e.what());
    }
  }

  float positive(const std::string &what, int line) {
    const float v = number(what);
    if (!(v > 0.0f) || !std::isfinite(v)) lex().fail(line, what + " must be a positive number");
    return v;
  }

  int integer(const std::string &what) {
    const Token &tok = lex().peek();
    if (tok.kind != Token::Kind::Number) lex().fail_expected(what);
    try {
      return parse_integer(lex().next().text);
    } catch (const Error &e) {
      lex().fail(tok.line, what + ": " + e.what());
    }
  }

  int count(const std::string &what, int line) {
    const int v = integer(what);
    if (v < 0 || v > kMaxRayDepth) lex().fail(line, what + " must lie between 0 and " + std::to_string(kMaxRayDepth));
    return v;
  }

  bool boolean(const std::string &what) {
    if (lex().accept_word("on") || lex().accept_word("true")) return true;
    if (lex().accept_word("off") || lex().accept_word("false")) return false;
    lex().fail_expected(what);
  }

  miVector vector3(const std::string &what) {
    miVector v;
    v.x = number(what);
    v.y = number(what);
    v.z = number(what);
    if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z))
      lex().fail(lex().peek().line, what + " must be finite");
    return v;
  }

  // A file named in the scene: beside the file being read, then in the search
  // path. A name the system cannot look up (too long, say) is left for the
  // reading to report.
  std::string locate(const std::string &name) {
    const fs::path given(name);
    if (given.is_absolute()) return name;
    const fs::path beside = fs::path(lex().file()).parent_path() / given;
    std::error_code ec;
    if (fs::exists(beside, ec)) return beside.string();
    for (const std::string &dir : search_path_)
      if (fs::exists(fs::path(dir) / given, ec)) return (fs::path(dir) / given).string();
    return beside.string();
  }

  Renderer &renderer_;
  LoadedScene &out_;
  const std::vector<std::string> &search_path_;
  const std::vector<Override> &overrides_;
  std::vector<bool> overridden_;
  Lexer *lex_ = nullptr;
  int depth_ = 0;
  std::map<std::string, Named> named_;
  Network *network_ = nullptr;  // the phenomenon being instanced, if any
  int nesting_ = 0;             // of phenomena inside phenomena
  int made_ = 0;                // shader instances so far
  CameraSettings settings_;
  std::string camera_where_ = "the default camera";
  std::string options_where_;
};

}  // namespace

LoadedScene parse_scene(std::string_view text, const std::string &file, const std::vector<std::string> &search_path,
                        const std::vector<Override> &overrides) {
  LoadedScene out;
  out.scene = std::make_shared<Scene>();
  SceneParser parser(Renderer::get(), out, search_path, overrides);
  parser.parse(text, file, 0);
  parser.check_overrides();
  parser.finish();
  return out;
}

LoadedScene load_scene(const std::string &path, const std::vector<std::string> &search_path,
                       const std::vector<Override> &overrides) {
  return parse_scene(read_file(path, "scene file"), path, search_path, overrides);
}

}  // namespace tavo::host
