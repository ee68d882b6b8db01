// What the tools print: values and declarations as text and JSON.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "declarations.h"
#include "renderer_core.h"

namespace tavo::host {

std::string json_string(const std::string &text);

// A value of a result type as JSON: a struct as an object of its fields in
// declaration order, a colour [r, g, b, a], a vector [x, y, z], a scalar with
// %.9g (non-finite values as strings), integers, booleans and tags as integers.
std::string json_value(const Type &type, const std::byte *value);

// Every declared shader with its parameters and result, as text or JSON.
std::string declarations_text(const std::vector<const Function *> &functions);
std::string declarations_json(const std::vector<const Function *> &functions);

}  // namespace tavo::host
