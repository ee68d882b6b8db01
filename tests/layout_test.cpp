// Every shader's C records against the declarations file: sizes and alignment
// for all, and offsets by name where a record mixes types so that a reordering
// would keep its size.
#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "host_fixture.h"
#include "platform.h"
#include "materials/tavo_Shd_Ceramic_spider.h"
#include "materials/tavo_Shd_Concrete_spider.h"
#include "materials/tavo_Shd_Fabric_spider.h"
#include "materials/tavo_Shd_Glazing_spider.h"
#include "materials/tavo_Shd_Hardwood_spider.h"
#include "materials/tavo_Shd_MasonryCMU_spider.h"
#include "materials/tavo_Shd_Metal_spider.h"
#include "materials/tavo_Shd_MetallicPaint_spider.h"
#include "materials/tavo_Shd_Mirror_spider.h"
#include "materials/tavo_Shd_PlasticVinyl_spider.h"
#include "materials/tavo_Shd_SSS_spider.h"
#include "materials/tavo_Shd_SolidGlass_spider.h"
#include "materials/tavo_Shd_Stone_spider.h"
#include "materials/tavo_Shd_WallPaint_spider.h"
#include "materials/tavo_Shd_Water_spider.h"
#include "scene/readout.h"
#include "scene/tavo_Core_Glossy_Sampler.h"
#include "scene/tavo_decal.h"
#include "scene/tavo_environment.h"
#include "scene/to_bw.h"
#include "scene/unit_scaling.h"
#include "utility/tavo_Utility_BumpLookup.h"
#include "utility/tavo_Utility_ColorCorrection.h"
#include "utility/tavo_Utility_LightmapSwitcher.h"
#include "utility/tavo_Utility_MultiMixer.h"
#include "utility/tavo_Utility_TexLookup.h"
#include "utility/value_converters.h"

namespace tavo::test {
namespace {

struct FieldLayout {
  std::string name;  // as declared; "array.field" for a field of an array's element
  std::size_t offset;
};

using Shape = std::pair<std::size_t, std::size_t>;  // size, alignment

// A shader without a record (void) has an empty block, aligned as every block is.
template <typename T>
constexpr Shape shape() {
  if constexpr (std::is_void_v<T>) return {0, 4};
  else return {sizeof(T), alignof(T)};
}

struct Row {
  std::string shader;
  Shape params, result;             // a result of size 0: no result record
  std::vector<FieldLayout> pinned;  // parameter offsets by declared name
};

template <typename Params, typename Result = void>
Row row(const char *shader, std::vector<FieldLayout> pinned = {}) {
  return {shader, shape<Params>(), shape<Result>(), pinned};
}

#define PIN(Record, name, member) FieldLayout{name, offsetof(Record, member)}

const std::vector<Row> &rows() {
  using namespace value_converters;
  static const std::vector<Row> all = {
      row<ceramic::Params, ceramic::Ready>("tavo_Shd_Ceramic_spider"),
      row<concrete::Params, concrete::Ready>("tavo_Shd_Concrete_spider"),
      row<fabric::Params, fabric::Ready>("tavo_Shd_Fabric_spider"),
      row<glazing::Params, glazing::Ready>("tavo_Shd_Glazing_spider"),
      row<hardwood::Params, hardwood::Ready>("tavo_Shd_Hardwood_spider"),
      row<masonry_cmu::Params, masonry_cmu::Ready>("tavo_Shd_MasonryCMU_spider"),
      row<metal::Params, metal::Ready>("tavo_Shd_Metal_spider"),
      row<metallic_paint::Params, metallic_paint::Ready>("tavo_Shd_MetallicPaint_spider"),
      row<mirror::Params, mirror::Result>("tavo_Shd_Mirror_spider"),
      row<plastic_vinyl::Params, plastic_vinyl::Ready>("tavo_Shd_PlasticVinyl_spider"),
      row<solid_glass::Params, solid_glass::Ready>("tavo_Shd_SolidGlass_spider"),
      row<sss::Params, sss::Ready>("tavo_Shd_SSS_spider"),
      row<stone::Params, stone::Ready>("tavo_Shd_Stone_spider"),
      row<wall_paint::Params, wall_paint::Ready>("tavo_Shd_WallPaint_spider"),
      row<water::Params, water::Ready>("tavo_Shd_Water_spider"),
      row<unit_scaling::Params>("tavo_scale_meters_to_internal"),
      row<unit_scaling::Params>("tavo_scale_internal_to_meters"),
      row<unit_scaling::Params>("tavo_scale_meters_to_internal_inverse"),
      row<void>("tavo_area_shadow_samples"),
      row<readout::SamplesParams>("tavo_blurred_reflection_multiplier"),
      row<readout::SamplesParams>("tavo_blurred_refraction_multiplier"),
      row<readout::ImageParams>("tavo_aspect_ratio_height_per_width"),
      row<readout::ImageParams>("tavo_aspect_ratio_width_per_height"),
      row<to_bw::Params>("to_bw"),
      row<BoolToIntParams>("tavo_Utility_bool_to_int"),
      row<ScaleZeroUpParams>("tavo_Utility_scale_zero_up"),
      row<bump_lookup::Params>("tavo_Utility_BumpLookup"),
      row<tex_lookup::Params>("tavo_Utility_TexLookup"),
      row<color_correction::Params>("tavo_Utility_ColorCorrection"),
      row<lightmap_switcher::Params>("tavo_Utility_LightmapSwitcher"),
      // A colour and a scalar: swapped, still 20 bytes.
      row<ColorToBoolParams, ColorToBoolResult>("tavo_Utility_color_to_bool",
                                                {PIN(ColorToBoolParams, "threshold", threshold)}),
      // A boolean and a scalar: swapped, the flag would read the factor's bits.
      row<glossy_sampler::Params>("tavo_core_glossy_sampler",
                                  {PIN(glossy_sampler::Params, "outlier_factor", outlier_factor)}),
      // A tag and an integer ahead of a colour: swapped, the same size.
      row<environment::Params>("tavo_environment",
                               {PIN(environment::Params, "use_background_color", use_background_color),
                                PIN(environment::Params, "background_color", background_color)}),
      // The layers' inline element decides where the integers after it fall; inside
      // it an integer, a scalar and a boolean sit side by side.
      row<multi_mixer::Params>("tavo_Utility_MultiMixer",
                               {PIN(multi_mixer::Params, "layer_index", layer_index), PIN(multi_mixer::Params, "mode", mode),
                                PIN(multi_mixer::MixerLayer, "layers.blend", blend),
                                PIN(multi_mixer::MixerLayer, "layers.weight", weight),
                                PIN(multi_mixer::MixerLayer, "layers.mute", mute)}),
      // Four arrays of vectors behind one of tags: any two vector arrays swap unseen by size.
      row<decal::Params>("tavo_decal", {PIN(decal::Params, "corner_0_1", i_corner_0_1),
                                        PIN(decal::Params, "corner_1_0", i_corner_1_0),
                                        PIN(decal::Params, "corner_0_0", i_corner_0_0)}),
  };
  return all;
}

TEST(Layouts, EveryRecordHasItsDeclaredSizeAlignmentAndPinnedOffsets) {
  for (const Row &r : rows()) {
    SCOPED_TRACE(r.shader);
    const host::ShaderDeclaration *d = declared(r.shader);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(r.params, Shape(d->parameters.size(), 4));  // the host lays every field out on 4 bytes
    if (r.result.first) {
      EXPECT_EQ(r.result, Shape(d->result.size(), 4));
    }
    for (const FieldLayout &pin : r.pinned) {
      const host::Field *f = field(d->parameters, pin.name);
      ASSERT_NE(f, nullptr) << pin.name;
      EXPECT_EQ(pin.offset, f->offset) << pin.name;
    }
  }
}

// Every exported shader has a row above, and a version function that says 1.
TEST(Layouts, EveryExportedShaderHasARowAndAVersion) {
  std::string why;
  void *lib = host::platform::load_module(TAVO_LIBRARY, why);
  ASSERT_NE(lib, nullptr) << why;
  std::set<std::string> listed;
  for (const Row &r : rows()) listed.insert(r.shader);
  int exported = 0;
  for (const host::ShaderDeclaration &d : declarations()) {
    const std::string &name = d.name;
    if (!host::platform::find_symbol(lib, name.c_str())) continue;
    ++exported;
    EXPECT_TRUE(listed.count(name)) << name << " is exported but its records are not checked";
    // one version function serves every shader
    const auto version = reinterpret_cast<int (*)()>(host::platform::find_symbol(lib, (name + "_version").c_str()));
    EXPECT_EQ(reinterpret_cast<void *>(version), host::platform::find_symbol(lib, "tavo_scale_meters_to_internal_version"));
    EXPECT_TRUE(version && version() == 1) << name;
  }
  EXPECT_EQ(exported, static_cast<int>(rows().size()));
}

}  // namespace
}  // namespace tavo::test
