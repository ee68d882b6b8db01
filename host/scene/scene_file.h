// Scene files: the renderer's scene-description syntax for libraries,
// declarations, textures, shader instances and materials, and a few compact
// statements of our own for geometry, the camera's placement and lights.
// docs/scene-format.md describes the format.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "declarations.h"
#include "frame/renderer.h"

namespace tavo::host {

class Scene;

struct LoadedScene {
  std::shared_ptr<Scene> scene;      // built and ready to trace
  std::optional<SceneData> record;   // the host's scene record, when the file sets any field of it
  std::vector<miTag> instances;      // every shader instance the file made, in order
};

// A parameter value given from outside the file (`tavo --set
// INSTANCE.PARAM=VALUE`), taken as if the file gave it to that instance.
struct Override {
  std::string instance;
  std::string path;  // "param", "param[k]", "param.field", ...
  std::vector<std::string> words;
  std::string text;  // as the user typed it, for errors
};

// Reads a scene into the renderer (libraries, declarations, textures,
// instances, materials and names) and returns its geometry, camera, options
// and lights. File names are looked up beside the file that names them, then
// in each directory of `search_path`. Malformed input raises Error
// "file:line: expected ..."; a missing image or mesh names the file.
// An override that names no instance of the scene or no parameter of it.
struct OverrideError : Error {
  using Error::Error;
};

// Every override must name a shader instance the file makes and one of its
// parameters, or the load raises Error naming it.
LoadedScene load_scene(const std::string &path, const std::vector<std::string> &search_path,
                       const std::vector<Override> &overrides = {});
LoadedScene parse_scene(std::string_view text, const std::string &file, const std::vector<std::string> &search_path,
                        const std::vector<Override> &overrides = {});

}  // namespace tavo::host
