// The image-file module (tavoimageio, OpenImageIO behind it): loaded on first
// use from the folder the renderer core lives in, since OpenImageIO brings a
// few hundred libraries that nothing else should wait for.
#pragma once

#include <string>

namespace tavo::host {

// An entry point of the module; raises Error saying why when the module or
// the entry cannot be had.
void *image_module_function(const char *name);

template <typename Fn>
Fn image_module_function(const char *name) {
  return reinterpret_cast<Fn>(image_module_function(name));
}

}  // namespace tavo::host
