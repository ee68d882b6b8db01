// The preset logic of each converter, a few cells where it lives: which table
// an enumeration reads, the defaults a row or an unlisted value leaves in
// place, values that only one choice sets, and tables that act independently.
// Not every cell of every table: the tables themselves are data.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "materials/converter_fixture.h"

namespace tavo::test {
namespace {

struct Cell {
  const char *shader;      // without the "tavo_Shd_" and "_spider"
  const char *parameters;  // "name=word name=word,word,..."
  // "name", or "name.r" for a channel of a colour; integer fields as floats
  std::vector<std::pair<const char *, float>> expected;
};

const Cell kCells[] = {
    // two independent tables: an unlisted value clears only its own table's fields
    {"Fabric", "type=1 finish=-1", {{"type_b", 0.25f}, {"finish_d", 0.0f}}},
    {"Fabric", "type=2 finish=1", {{"finish_b", 0.45f}, {"type_a", 0.0f}}},
    // the finish table sets eight fields; an unlisted finish leaves the defaults
    {"Hardwood", "finish=3", {{"finish_flag", 1}}},
    {"Hardwood", "finish=-1", {{"finish_weight", 0.0f}}},
    {"Hardwood", "choice_a=1 choice_b=5", {{"choice_a_value", 0.5f}}},
    {"Hardwood", "choice_a=5 choice_b=0", {{"choice_b_value", 0.2f}}},
    // [type][finish]; the default preset_a and curve stay where no row is selected
    {"MasonryCMU", "type=1 finish=3", {{"preset_a", 0.1f}}},
    {"MasonryCMU", "type=-1 finish=2", {{"reflection_curve", 5.0f}}},
    {"MasonryCMU", "type=2 finish=0", {{"reflectivity", 0.0f}}},
    // the one finish that clears preset_c; any non-zero option weighs one
    {"MetallicPaint", "finish=2", {{"preset_c", 0.0f}}},
    {"MetallicPaint", "option_on=false", {{"option_weight", 0.0f}}},
    {"MetallicPaint", "option_on=-1", {{"option_weight", 1.0f}}},
    // only the second type sets the layer values; outside the table nothing
    {"PlasticVinyl", "type=1 finish=2", {{"preset_d", 0.4f}}},
    {"PlasticVinyl", "type=0 finish=2", {{"preset_b", 0.0f}}},
    {"PlasticVinyl", "type=1 finish=3", {{"preset_b", 0.0f}}},
    {"PlasticVinyl", "type=-1 finish=1", {{"reflectivity", 0.0f}}},
    // glossy rows keep the defaults; the reserved word is never read
    {"Stone", "finish=0 stone_reserved=3", {{"reflection_curve", 5.0f}}},
    {"Stone", "finish=3", {{"reflection_curve", 0.6f}}},
    {"Stone", "finish=-1", {{"reflection_curve", 5.0f}}},
    // [finish][application]: a flat finish stays flat whatever the application
    {"WallPaint", "finish=0 application=3", {{"flat_finish", 1}}},
    {"WallPaint", "finish=0 application=-1", {{"roughness", 0.0f}}},
    {"WallPaint", "finish=3 application=1", {{"flat_finish", 0}}},
    {"WallPaint", "finish=4 application=2", {{"reflection_curve", 2.8f}}},
    {"WallPaint", "finish=-1 application=1", {{"flat_finish", 0}}},
    // finish 0 reads the type's own row, 1 and 2 a shared one; the amount its own table
    {"Concrete", "type=2 finish=0", {{"preset_c", 3.5f}}},
    {"Concrete", "type=3 finish=1", {{"preset_f", 3.0f}}},
    {"Concrete", "type=4 finish=2 user_amount=-3.25", {{"preset_g", -3.25f}}},
    {"Concrete", "type=5 finish=0 user_amount=0.7", {{"preset_g", 0.0f}}},
    {"Concrete", "type=0 finish=3", {{"preset_a", 0.0f}}},
    {"Concrete", "type=-1 finish=1", {{"type", -1}}},
    {"Concrete", "type=9 coating=2", {{"coating_kind", 1}}},
    {"Concrete", "coating=1", {{"coating_weight", 1.0f}}},
    {"Concrete", "coating=3", {{"coating_weight", 0.0f}}},
    // type 0 keeps its own falloff colour and takes no water colour
    {"Water", "water_type=0 color_type=2", {{"falloff_color.g", 0.961f}, {"wave_offset", -1.0f / 39.37008f}}},
    // a colour row is laid over the type, some rows leaving the type's fields
    {"Water", "water_type=3 color_type=0", {{"falloff_color.r", 0.416f}}},
    {"Water",
     "water_type=3 color_type=2",
     {{"falloff_color.r", 0.0f}, {"wave_offset", -0.001f / 39.37008f}, {"wave_factor_1", 25.0f}}},
    {"Water", "water_type=3 color_type=4", {{"wave_factor_1", 1.0f}}},
    {"Water", "water_type=5 color_type=0", {{"body_color.r", 0.2f}, {"wave_count", 0}}},  // an unlisted type takes the colour
    // the custom colour is both colours, r, g and b; the alpha keeps its 0
    {"Water",
     "water_type=4 color_type=7 custom_color=0.1,0.2,0.3,0.4",
     {{"falloff_color.g", 0.2f}, {"body_color.b", 0.3f}, {"body_color.a", 0.0f}}},
    // a finish entry overwrites some of the type's fields and keeps the others;
    // finish 3 also sets metal_b, the modes and the amounts; types 1 and 7 ignore it
    {"Metal", "type=3 finish=2", {{"metal_c", 0.8f}}},
    {"Metal", "type=4 finish=3", {{"metal_c", 1.0f}, {"metal_f", 3.0f}, {"finish_amount_1", 0.6f}}},
    {"Metal", "type=1 finish=3", {{"mode_1", 4}}},
    {"Metal", "type=1 user_color=0.1,0.2,0.3,0.4", {{"metal_color.a", 0.4f}}},
    {"Metal", "type=8 finish=3", {{"metal_b", 0.0f}}},
    {"Metal", "type=-1 finish=3", {{"metal_g", 1.0f}}},
    // the pattern sets its kind
    {"Metal", "type=3 pattern=3", {{"pattern_kind", 4}, {"mode_1", 3}}},
    {"Metal", "type=3 pattern=5", {{"pattern_kind", 0}}},
    // type 5 darkens to a fixed patina, and its gloss survives any finish; others have none
    {"Metal", "type=5 patina=0", {{"patina_on", 0}}},
    {"Metal", "type=5 patina=0.4", {{"patina_on", 1}, {"patina_color.r", 0.075f}, {"patina_fade_2", 0.2f}}},
    {"Metal", "type=5 finish=4", {{"patina_gloss", 0.175f}}},
    {"Metal", "type=2 patina=0.7", {{"patina_on", 0}}},
    // only type 1 bumps, for any finish and any height but 0
    {"Ceramic", "type=1 finish=3 bump_height_mm=2", {{"bump_on", 1}, {"reflection_curve", 5.0f}}},
    {"Ceramic", "type=1 finish=2 bump_height_mm=-0", {{"bump_on", 0}}},
    {"Ceramic", "type=1 finish=1 bump_height_mm=-1", {{"bump_on", 1}}},
    {"Ceramic", "type=0 finish=1 bump_height_mm=2", {{"bump_on", 0}}},
    {"Ceramic", "type=2 finish=0", {{"reflectivity", 0.0f}}},
};

using ConverterCells = ConverterTest;

TEST_F(ConverterCells, EachCellHoldsWhatItsParametersSelect) {
  for (const Cell &c : kCells) {
    const std::string shader = std::string("tavo_Shd_") + c.shader + "_spider";
    std::vector<Assignment> assignments;
    std::istringstream in(c.parameters);
    for (std::string item; in >> item;) {
      std::vector<std::string> words;
      std::istringstream list(item.substr(item.find('=') + 1));
      for (std::string w; std::getline(list, w, ',');) words.push_back(w);
      assignments.push_back(value(item.substr(0, item.find('=')), words));
    }
    SCOPED_TRACE(shader + " " + c.parameters);
    const miTag tag = renderer().create_instance(shader, assignments);
    const host::CallResult call = renderer().run(tag, {miRAY_EYE})[0];
    for (const auto &[name, expected] : c.expected) EXPECT_EQ(result_value(shader, name, call), expected) << name;
  }
}

}  // namespace
}  // namespace tavo::test
