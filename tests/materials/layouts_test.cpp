// The records of every material converter, field by field as the library
// reads and writes them; layout_test.cpp compares them with the declarations.
#include <cstddef>

#include "layout_registry.h"
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

namespace tavo::test {
namespace {

#define PARAM(field) TAVO_FIELD(Params, field)
#define RESULT(field) TAVO_FIELD(Ready, field)

namespace ceramic_records {
using ceramic::Params, ceramic::Ready;
TAVO_LAYOUT("tavo_Shd_Ceramic_spider", Parameters, Params, PARAM(type), PARAM(finish), PARAM(custom_map_on),
            PARAM(custom_map), PARAM(map_mode_on), PARAM(bump_height_mm), PARAM(color));
TAVO_LAYOUT("tavo_Shd_Ceramic_spider", Result, Ready, RESULT(roughness), RESULT(reflectivity), RESULT(glossiness),
            RESULT(reflection_curve), RESULT(texture_scale), RESULT(pattern_scale_u), RESULT(pattern_scale_v),
            RESULT(custom_map), RESULT(map_mode), RESULT(bump_height), RESULT(bump_vector_x), RESULT(bump_vector_y),
            RESULT(bump_vector_z), RESULT(scene_value), RESULT(bump_on), RESULT(tint_color), RESULT(deep_color));
}  // namespace ceramic_records

namespace concrete_records {
using concrete::Params, concrete::Ready;
TAVO_LAYOUT("tavo_Shd_Concrete_spider", Parameters, Params, PARAM(type), PARAM(finish), PARAM(coating),
            PARAM(custom_map_on), PARAM(custom_map), PARAM(map_mode_on), PARAM(user_amount), PARAM(feature_size));
TAVO_LAYOUT("tavo_Shd_Concrete_spider", Result, Ready, RESULT(coating_weight), RESULT(coating_kind), RESULT(preset_a),
            RESULT(preset_color_1), RESULT(preset_color_2), RESULT(preset_b), RESULT(preset_switch),
            RESULT(preset_color_3), RESULT(preset_color_4), RESULT(preset_c), RESULT(preset_d), RESULT(preset_e),
            RESULT(preset_f), RESULT(preset_g), RESULT(type), RESULT(custom_map), RESULT(map_mode),
            RESULT(pattern_scale_1), RESULT(pattern_scale_2), RESULT(pattern_scale_3), RESULT(pattern_scale_4),
            RESULT(pattern_scale_5), RESULT(pattern_scale_6), RESULT(pattern_scale_7), RESULT(pattern_scale_8),
            RESULT(pattern_scale_9), RESULT(texture_scale_1), RESULT(texture_scale_2), RESULT(texture_scale_3),
            RESULT(texture_scale_4), RESULT(texture_scale_5), RESULT(texture_scale_6), RESULT(length_14in),
            RESULT(length_6in), RESULT(length_24in), RESULT(feature_size));
}  // namespace concrete_records

namespace fabric_records {
using fabric::Params, fabric::Ready;
TAVO_LAYOUT("tavo_Shd_Fabric_spider", Parameters, Params, PARAM(type), PARAM(finish), PARAM(size_1_mm),
            PARAM(size_2_mm));
TAVO_LAYOUT("tavo_Shd_Fabric_spider", Result, Ready, RESULT(finish_a), RESULT(finish_b), RESULT(finish_c),
            RESULT(finish_d), RESULT(type_a), RESULT(type_b), RESULT(size_1), RESULT(size_2));
}  // namespace fabric_records

namespace glazing_records {
using glazing::Params, glazing::Ready;
TAVO_LAYOUT("tavo_Shd_Glazing_spider", Parameters, Params, PARAM(layer_count), PARAM(glass_color), PARAM(custom_color),
            PARAM(front_reflectance));
TAVO_LAYOUT("tavo_Shd_Glazing_spider", Result, Ready, RESULT(layer_transmittance), RESULT(reflectance_color),
            RESULT(layer_reflectance_color), RESULT(brdf_0_degree), RESULT(glass_color));
}  // namespace glazing_records

namespace hardwood_records {
using hardwood::Params, hardwood::Ready;
TAVO_LAYOUT("tavo_Shd_Hardwood_spider", Parameters, Params, PARAM(choice_a), PARAM(finish), PARAM(choice_b),
            PARAM(custom_map_on), PARAM(custom_map), PARAM(map_mode_on));
TAVO_LAYOUT("tavo_Shd_Hardwood_spider", Result, Ready, RESULT(choice_a_value), RESULT(choice_b_value),
            RESULT(finish_extra), RESULT(finish_weight), RESULT(finish_flag), RESULT(finish_gloss), RESULT(finish_c),
            RESULT(finish_b), RESULT(finish_curve), RESULT(finish_switch), RESULT(length_14in), RESULT(length_6in),
            RESULT(length_24in), RESULT(custom_map), RESULT(map_mode));
}  // namespace hardwood_records

namespace masonry_cmu_records {
using masonry_cmu::Params, masonry_cmu::Ready;
TAVO_LAYOUT("tavo_Shd_MasonryCMU_spider", Parameters, Params, PARAM(type), PARAM(finish), PARAM(custom_map_on),
            PARAM(custom_map), PARAM(map_mode_on));
TAVO_LAYOUT("tavo_Shd_MasonryCMU_spider", Result, Ready, RESULT(roughness), RESULT(reflectivity), RESULT(glossiness),
            RESULT(preset_a), RESULT(reflection_curve), RESULT(preset_switch), RESULT(texture_scale),
            RESULT(pattern_scale_u), RESULT(pattern_scale_v), RESULT(custom_map), RESULT(map_mode));
}  // namespace masonry_cmu_records

namespace metal_records {
using metal::Params, metal::Ready;
TAVO_LAYOUT("tavo_Shd_Metal_spider", Parameters, Params, PARAM(type), PARAM(user_color), PARAM(patina), PARAM(finish),
            PARAM(pattern), PARAM(custom_map_on), PARAM(custom_map), PARAM(map_mode_on), PARAM(feature_size));
TAVO_LAYOUT("tavo_Shd_Metal_spider", Result, Ready, RESULT(metal_a), RESULT(metal_b), RESULT(patina_bias),
            RESULT(metal_c), RESULT(finish_gloss), RESULT(fixed_mode), RESULT(metal_d), RESULT(metal_e),
            RESULT(finish_detail), RESULT(reserved_1), RESULT(reserved_2), RESULT(mode_1), RESULT(pattern_kind),
            RESULT(mode_2), RESULT(mode_3), RESULT(metal_f), RESULT(metal_color), RESULT(patina_color),
            RESULT(tint_color), RESULT(metal_g), RESULT(second_color), RESULT(finish_amount_1), RESULT(reserved_3),
            RESULT(reserved_4), RESULT(reserved_5), RESULT(reserved_6), RESULT(finish_amount_2), RESULT(custom_map),
            RESULT(map_mode), RESULT(texture_scale_1), RESULT(fine_scale_1), RESULT(fine_scale_2),
            RESULT(texture_scale_2), RESULT(texture_scale_3), RESULT(texture_scale_4), RESULT(texture_scale_5),
            RESULT(mid_scale_1), RESULT(mid_scale_2), RESULT(length_5in), RESULT(length_half_in), RESULT(patina_on),
            RESULT(patina_fade), RESULT(patina_gloss), RESULT(patina_weight), RESULT(patina_fade_2),
            RESULT(patina_square), RESULT(feature_size), RESULT(feature_size_10));
}  // namespace metal_records

namespace metallic_paint_records {
using metallic_paint::Params, metallic_paint::Ready;
TAVO_LAYOUT("tavo_Shd_MetallicPaint_spider", Parameters, Params, PARAM(finish), PARAM(option_on), PARAM(custom_map_on),
            PARAM(custom_map), PARAM(map_mode_on));
TAVO_LAYOUT("tavo_Shd_MetallicPaint_spider", Result, Ready, RESULT(preset_a), RESULT(preset_b), RESULT(preset_switch),
            RESULT(option_weight), RESULT(length_1mm), RESULT(preset_c), RESULT(custom_map), RESULT(map_mode));
}  // namespace metallic_paint_records

namespace mirror_records {
using mirror::Params;
using Ready = mirror::Result;
TAVO_LAYOUT("tavo_Shd_Mirror_spider", Parameters, Params, PARAM(custom_map_on), PARAM(custom_map));
TAVO_LAYOUT("tavo_Shd_Mirror_spider", Result, Ready, RESULT(custom_map));
}  // namespace mirror_records

namespace plastic_vinyl_records {
using plastic_vinyl::Params, plastic_vinyl::Ready;
TAVO_LAYOUT("tavo_Shd_PlasticVinyl_spider", Parameters, Params, PARAM(type), PARAM(finish), PARAM(custom_map_on),
            PARAM(custom_map), PARAM(map_mode_on));
TAVO_LAYOUT("tavo_Shd_PlasticVinyl_spider", Result, Ready, RESULT(roughness), RESULT(reflectivity), RESULT(glossiness),
            RESULT(preset_a), RESULT(reflection_curve), RESULT(preset_b), RESULT(preset_c), RESULT(preset_switch),
            RESULT(preset_d), RESULT(custom_map), RESULT(map_mode));
}  // namespace plastic_vinyl_records

namespace solid_glass_records {
using solid_glass::Params, solid_glass::Ready;
TAVO_LAYOUT("tavo_Shd_SolidGlass_spider", Parameters, Params, PARAM(glass_color), PARAM(custom_color),
            PARAM(front_reflectance), PARAM(falloff_distance), PARAM(roughness), PARAM(custom_map_on),
            PARAM(custom_map));
TAVO_LAYOUT("tavo_Shd_SolidGlass_spider", Result, Ready, RESULT(reflection_color), RESULT(brdf_0_degree),
            RESULT(refraction_color), RESULT(falloff_distance), RESULT(refraction_falloff_color), RESULT(glossiness),
            RESULT(reserved), RESULT(custom_map), RESULT(texture_scale), RESULT(pattern_scale_u),
            RESULT(pattern_scale_v), RESULT(inch_scale_1), RESULT(inch_scale_2), RESULT(inch_scale_3),
            RESULT(refresh_per_call));
}  // namespace solid_glass_records

namespace sss_records {
using sss::Params, sss::Ready;
TAVO_LAYOUT("tavo_Shd_SSS_spider", Parameters, Params, PARAM(length_1_mm), PARAM(length_2_mm), PARAM(length_3_mm),
            PARAM(length_4_mm));
TAVO_LAYOUT("tavo_Shd_SSS_spider", Result, Ready, RESULT(length_1), RESULT(length_2), RESULT(length_3),
            RESULT(length_4), RESULT(scene_value));
}  // namespace sss_records

namespace stone_records {
using stone::Params, stone::Ready;
TAVO_LAYOUT("tavo_Shd_Stone_spider", Parameters, Params, PARAM(stone_reserved), PARAM(finish), PARAM(custom_map_on),
            PARAM(custom_map), PARAM(map_mode_on), PARAM(feature_size));
TAVO_LAYOUT("tavo_Shd_Stone_spider", Result, Ready, RESULT(roughness), RESULT(reflectivity), RESULT(glossiness),
            RESULT(preset_a), RESULT(reflection_curve), RESULT(preset_switch), RESULT(texture_scale),
            RESULT(pattern_scale_u), RESULT(pattern_scale_v), RESULT(feature_size_a), RESULT(feature_size_b),
            RESULT(custom_map), RESULT(map_mode));
}  // namespace stone_records

namespace wall_paint_records {
using wall_paint::Params, wall_paint::Ready;
TAVO_LAYOUT("tavo_Shd_WallPaint_spider", Parameters, Params, PARAM(finish), PARAM(application), PARAM(custom_map_on),
            PARAM(custom_map), PARAM(map_mode_on));
TAVO_LAYOUT("tavo_Shd_WallPaint_spider", Result, Ready, RESULT(roughness), RESULT(reflectivity), RESULT(glossiness),
            RESULT(reflection_curve), RESULT(flat_finish), RESULT(application_amount), RESULT(application_flag),
            RESULT(custom_map), RESULT(map_mode), RESULT(inch_scale_1), RESULT(inch_scale_2), RESULT(inch_scale_3),
            RESULT(inch_scale_4), RESULT(inch_scale_5), RESULT(inch_scale_6), RESULT(inch_scale_7),
            RESULT(inch_scale_8), RESULT(inch_scale_9), RESULT(inch_scale_10), RESULT(inch_scale_11),
            RESULT(inch_scale_12));
}  // namespace wall_paint_records

namespace water_records {
using water::Params, water::Ready;
TAVO_LAYOUT("tavo_Shd_Water_spider", Parameters, Params, PARAM(water_type), PARAM(color_type), PARAM(custom_color),
            PARAM(wave_height));
TAVO_LAYOUT("tavo_Shd_Water_spider", Result, Ready, RESULT(tint_color), RESULT(tint_weight), RESULT(falloff_enable),
            RESULT(falloff_distance), RESULT(falloff_color_enable), RESULT(falloff_color), RESULT(body_color),
            RESULT(wave_factor_1), RESULT(wave_factor_2), RESULT(wave_offset), RESULT(wave_length_max),
            RESULT(wave_length_min), RESULT(wave_count), RESULT(wave_extra_length), RESULT(wave_height));
}  // namespace water_records

}  // namespace
}  // namespace tavo::test
