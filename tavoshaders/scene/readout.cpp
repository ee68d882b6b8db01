#include "scene/readout.h"

#include <math.h>

namespace tavo::readout {

miInteger scaled_samples(miInteger samples, const SceneData *scene, miScalar SceneData::*multiplier) {
  if (scene == nullptr || !(scene->*multiplier > 0.0f)) return samples;
  return static_cast<miInteger>(ceilf(static_cast<miScalar>(samples) * (scene->*multiplier)));
}

miScalar aspect_ratio(miState *state, ImageParams *paras, bool height_per_width) {
  const miTag image = tavo::eval(state, &paras->image);
  const miScalar multiplier = tavo::eval(state, &paras->multiplier);
  if (image == miNULLTAG) return multiplier;
  // A tag that names no image gives no record: as an unusable image.
  const auto *record = static_cast<const miImg_image *>(mi_db_access(image));
  if (record == nullptr) return multiplier;
  const int w = mi_img_get_width(record);
  const int h = mi_img_get_height(record);
  if (w == 0 || h == 0) return multiplier;
  const miScalar ratio = height_per_width ? static_cast<miScalar>(h) / static_cast<miScalar>(w)
                                          : static_cast<miScalar>(w) / static_cast<miScalar>(h);
  return ratio * multiplier;
}

}  // namespace tavo::readout
