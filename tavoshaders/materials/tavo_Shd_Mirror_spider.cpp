// Mirror converter: a mirror needs no presets, so there is no init, no exit
// and no ready record; every call only passes the map through.
#include "materials/tavo_Shd_Mirror_spider.h"

#include "materials/converter.h"

using tavo::mirror::Params;
using tavo::mirror::Result;

TAVO_EXPORT miBoolean tavo_Shd_Mirror_spider(Result *result, miState *state, Params *paras);

miBoolean tavo_Shd_Mirror_spider(Result *result, miState *state, Params *paras) {
  tavo::converter::pass_map_through(result, state, paras);
  return miTRUE;
}
