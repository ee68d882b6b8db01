// Shader declarations as the renderer reads them from a declarations file, and
// the parameter-block layout that follows from them.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavo::host {

// Every failure the host reports to its user: already phrased for a person,
// naming the file and line, the word, or the thing that was expected.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class Kind { Boolean, Integer, Scalar, Vector, Color, Transform, Tag, Struct, Array };

struct Field;

struct Type {
  Kind kind = Kind::Integer;
  std::string tag_kind;                 // for tags: "shader", "color texture", "material", ...
  std::vector<Field> fields;            // for structs, with their offsets inside the struct
  std::shared_ptr<const Type> element;  // for arrays

  // Bytes the type occupies in a parameter block or result. An array occupies
  // its index field, its count field and the storage of one element inline;
  // further elements are appended after the block.
  std::size_t size() const;
  std::string name() const;  // as written in a declaration: "color texture", "array vector", "struct"
  bool is_scalar_like() const { return kind != Kind::Struct && kind != Kind::Array; }
};

struct Field {
  std::string name;
  Type type;
  std::size_t offset = 0;        // bytes from the start of the enclosing block or struct
  std::vector<std::string> default_words;  // the default as written, empty when none
};

// A word, quoted string, number or punctuation mark of the scene-description
// language, with the line it stands on.
struct Token {
  enum class Kind { Word, String, Number, Punct, End } kind = Kind::End;
  std::string text;
  int line = 0;
};

// One shader of a phenomenon's network: `shader "name" "declared" ( ... )`.
// Its parameter list is kept as tokens and read when the phenomenon is
// instanced, once every shader it names can be declared.
struct PhenomenonShader {
  std::string name;
  std::string shader;
  int line = 0;
  std::vector<Token> parameters;  // from '(' to the matching ')'
};

// The network a phenomenon declaration wires; its result is the root's.
struct Phenomenon {
  std::vector<PhenomenonShader> shaders;
  std::string root;
  int root_line = 0;
};

// What a declaration tells a person about one parameter (the file's `gui`
// block): a line of description and, where the parameter is bounded, the
// values it takes or the range it lies in. A renderer that reads the file
// skips all of it; nothing here changes a layout.
struct EnumValue {
  int value = 0;
  std::string meaning;  // may be empty
  std::string name;     // a short name a user may type instead of the number; may be empty
};

struct Control {
  std::string parameter;
  std::string description;
  std::vector<EnumValue> values;       // non-empty: the parameter takes only these
  std::optional<double> minimum, maximum;
  int line = 0;

  // Whether `value` is one the control allows (any value when it sets no bounds).
  bool allows(double value) const;
  // "0 to 7", "one of 0, 2, 5", or empty when unbounded.
  std::string bounds() const;
  // The value of a short name, or nothing.
  std::optional<int> value_named(std::string_view name) const;
};

struct ShaderDeclaration {
  std::string name;
  std::string description;        // the gui block's "Global" line
  std::vector<Control> controls;  // in the order the gui block gives them
  Type result;
  Type parameters;  // a struct: the parameter record
  int version = 0;
  std::string file;
  int line = 0;
  std::shared_ptr<const Phenomenon> phenomenon;  // set for a phenomenon

  const Field *parameter(std::string_view name) const;
  const Control *control(std::string_view parameter) const;
};

// Offset of an array's element storage relative to the array field.
inline constexpr std::size_t kArrayStorageOffset = 8;

// Lays out a struct's fields one after the other; every type is 4-byte aligned.
void lay_out(Type &record);

// Parses a declarations file. Malformed input raises Error with "file:line: expected ...".
std::vector<ShaderDeclaration> parse_declarations(std::string_view text, const std::string &file);
std::vector<ShaderDeclaration> read_declarations(const std::string &path);

}  // namespace tavo::host
