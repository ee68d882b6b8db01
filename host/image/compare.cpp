#include "compare.h"

#include "declarations.h"
#include "image_module.h"

namespace tavo::host {

ImageComparison compare_images(const std::string &a, const std::string &b, const CompareSettings &settings) {
  using Compare = int (*)(const char *, const char *, const TavoImageComparison *, TavoImageComparison *,
                          const char *, char *, std::size_t);
  const Compare compare = image_module_function<Compare>("tavo_image_compare");
  TavoImageComparison in{};
  in.fail_threshold = settings.fail, in.warn_threshold = settings.warn, in.scale = settings.scale;
  ImageComparison out{};
  char error[512] = "";
  if (!compare(a.c_str(), b.c_str(), &in, &out, settings.difference.c_str(), error, sizeof error))
    throw Error(std::string("cannot compare the images: ") + (error[0] ? error : "unknown error"));
  return out;
}

}  // namespace tavo::host
