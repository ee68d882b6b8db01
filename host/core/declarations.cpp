#include "declarations.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <set>

#include "files.h"
#include "lexer.h"
#include "values.h"
#include "frame/renderer.h"

namespace tavo::host {

std::size_t Type::size() const {
  switch (kind) {
    case Kind::Vector: return sizeof(miVector);
    case Kind::Color: return sizeof(miColor);
    case Kind::Transform: return sizeof(miMatrix);
    case Kind::Struct: {
      std::size_t end = 0;
      for (const Field &f : fields) end = f.offset + f.type.size();
      return end;
    }
    case Kind::Array: return kArrayStorageOffset + element->size();
    default: return 4;
  }
}

std::string Type::name() const {
  switch (kind) {
    case Kind::Boolean: return "boolean";
    case Kind::Integer: return "integer";
    case Kind::Scalar: return "scalar";
    case Kind::Vector: return "vector";
    case Kind::Color: return "color";
    case Kind::Transform: return "transform";
    case Kind::Tag: return tag_kind;
    case Kind::Struct: return "struct";
    case Kind::Array: return "array " + element->name();
  }
  return "?";
}

const Field *ShaderDeclaration::parameter(std::string_view wanted) const {
  for (const Field &f : parameters.fields)
    if (f.name == wanted) return &f;
  return nullptr;
}

const Control *ShaderDeclaration::control(std::string_view wanted) const {
  for (const Control &c : controls)
    if (c.parameter == wanted) return &c;
  return nullptr;
}

bool Control::allows(double value) const {
  if (!values.empty())
    return std::any_of(values.begin(), values.end(), [&](const EnumValue &v) { return v.value == value; });
  return (!minimum || value >= *minimum) && (!maximum || value <= *maximum);  // NaN lies in no range
}

std::string Control::bounds() const {
  if (!values.empty()) {
    // A run without gaps reads best as a range.
    bool consecutive = true;
    for (std::size_t i = 1; i < values.size(); ++i) consecutive &= values[i].value == values[i - 1].value + 1;
    if (consecutive && values.size() > 2)
      return std::to_string(values.front().value) + " to " + std::to_string(values.back().value);
    std::string out = "one of ";
    for (std::size_t i = 0; i < values.size(); ++i) out += (i ? ", " : "") + std::to_string(values[i].value);
    return out;
  }
  if (minimum && maximum) return format_scalar(static_cast<float>(*minimum)) + " to " + format_scalar(static_cast<float>(*maximum));
  if (minimum) return "at least " + format_scalar(static_cast<float>(*minimum));
  if (maximum) return "at most " + format_scalar(static_cast<float>(*maximum));
  return {};
}

std::optional<int> Control::value_named(std::string_view wanted) const {
  for (const EnumValue &v : values)
    if (!v.name.empty() && v.name == wanted) return v.value;
  return std::nullopt;
}

void lay_out(Type &record) {
  std::size_t offset = 0;
  for (Field &f : record.fields) {
    f.offset = offset;  // every renderer type is a multiple of 4 bytes and 4-byte aligned
    offset += f.type.size();
  }
}

namespace {

const std::set<std::string> kTagWords = {"shader", "material", "lightmap", "light", "data",
                                         "string", "geometry", "texture"};

class DeclarationParser {
 public:
  DeclarationParser(std::string_view text, const std::string &file) : lex_(text, file) {}

  std::vector<ShaderDeclaration> parse() {
    std::vector<ShaderDeclaration> result;
    std::set<std::string> names;
    while (lex_.peek().kind != Token::Kind::End) {
      const int line = lex_.peek().line;
      ShaderDeclaration decl = declaration();
      if (!names.insert(decl.name).second)
        lex_.fail(line, "shader \"" + decl.name + "\" is declared twice");
      result.push_back(std::move(decl));
    }
    return result;
  }

 private:
  ShaderDeclaration declaration() {
    if (!lex_.at_word("declare")) lex_.fail_expected("'declare'");
    ShaderDeclaration decl;
    decl.file = lex_.file();
    decl.line = lex_.next().line;
    const bool phenomenon = lex_.accept_word("phenomenon");
    if (!phenomenon) lex_.expect_word("shader");
    decl.result = type(/*in_result=*/true);
    if (decl.result.kind == Kind::Array) lex_.fail(decl.line, "a shader cannot return an array");
    decl.name = lex_.expect_string("the shader's name in quotes");
    lex_.expect_punct('(');
    decl.parameters.kind = Kind::Struct;
    fields(decl.parameters, ')', /*allow_defaults=*/true, /*allow_arrays=*/true);
    if (phenomenon) decl.phenomenon = network(decl);
    for (;;) {
      if (lex_.accept_word("version")) {
        decl.version = parse_integer(lex_.expect_number("a version number"));
      } else if (lex_.accept_word("apply")) {
        while (lex_.peek().kind == Token::Kind::Word && !lex_.at_word("end") && !lex_.at_word("version") &&
               !lex_.at_word("gui"))
          lex_.next();
      } else if (lex_.at_word("gui")) {
        gui(decl);
      } else {
        break;
      }
    }
    lex_.expect_word("end");
    lex_.expect_word("declare");
    return decl;
  }

  // gui "name" { control "parameter" "type" ( attribute, ... ) ... }: the
  // hints a person needs. Attributes the host does not use are skipped, so a
  // file written for a richer interface still reads.
  void gui(ShaderDeclaration &decl) {
    const int line = lex_.next().line;
    if (!decl.controls.empty() || !decl.description.empty())
      lex_.fail(line, "shader \"" + decl.name + "\" has two gui blocks");
    lex_.expect_string("the gui block's name in quotes");
    lex_.expect_punct('{');
    while (!lex_.accept_punct('}')) {
      if (!lex_.at_word("control")) lex_.fail_expected("'control' or '}' closing the gui block");
      Control c;
      c.line = lex_.next().line;
      c.parameter = lex_.expect_string("the controlled parameter's name in quotes");
      const Token type_token = lex_.peek();
      const std::string type_word = lex_.expect_string("the parameter's type in quotes");
      const bool global = c.parameter == "Global";
      const Field *field = global ? nullptr : decl.parameter(c.parameter);
      if (!global && !field)
        lex_.fail(c.line, "shader \"" + decl.name + "\" has no parameter \"" + c.parameter + "\"");
      if (field ? type_word != field->type.name() : type_word != "Global")
        lex_.fail(type_token.line, "\"" + c.parameter + "\" is " + (field ? field->type.name() : "Global") +
                                       ", not " + type_word);
      if (decl.control(c.parameter) || (global && !decl.description.empty()))
        lex_.fail(c.line, "\"" + c.parameter + "\" has two controls");
      lex_.expect_punct('(');
      if (!lex_.accept_punct(')')) {
        do control_attribute(c, field);
        while (lex_.accept_punct(','));
        lex_.expect_punct(')');
      }
      if (global) decl.description = c.description;
      else decl.controls.push_back(std::move(c));
    }
  }

  void control_attribute(Control &c, const Field *field) {
    const Token key = lex_.peek();
    const std::string name = lex_.expect_string("a control attribute in quotes");
    const auto number = [&](std::string_view what) {
      const Token t = lex_.peek();
      const std::string text = lex_.expect_number(what);
      try {
        return parse_scalar(text);
      } catch (const Error &e) {
        lex_.fail(t.line, e.what());
      }
    };
    if (name == "description") {
      c.description = lex_.expect_string("the description in quotes");
    } else if (name == "range") {
      c.minimum = number("the range's minimum");
      c.maximum = number("the range's maximum");
      if (*c.minimum > *c.maximum) lex_.fail(key.line, "the range of \"" + c.parameter + "\" is empty");
    } else if (name == "item") {
      if (!field || field->type.kind != Kind::Integer)
        lex_.fail(key.line, "only an integer parameter has items, not \"" + c.parameter + "\"");
      EnumValue v;
      const Token t = lex_.peek();
      v.value = parse_integer(lex_.expect_number("the item's integer value"));
      for (const EnumValue &other : c.values)
        if (other.value == v.value) lex_.fail(t.line, "\"" + c.parameter + "\" lists " + t.text + " twice");
      v.meaning = lex_.expect_string("the item's meaning in quotes");
      if (lex_.peek().kind == Token::Kind::String) v.name = lex_.next().text;
      c.values.push_back(std::move(v));
    } else {
      while (!lex_.at_punct(',') && !lex_.at_punct(')')) {
        if (lex_.peek().kind == Token::Kind::End) lex_.fail_expected("')' closing the control");
        lex_.next();
      }
    }
  }

  // The body of a phenomenon: its shaders, then `root = "name"`. Parameter
  // lists are kept as tokens; only the names they use are checked here.
  std::shared_ptr<const Phenomenon> network(const ShaderDeclaration &decl) {
    auto net = std::make_shared<Phenomenon>();
    std::set<std::string> names;
    while (lex_.at_word("shader")) {
      PhenomenonShader shader;
      shader.line = lex_.next().line;
      shader.name = lex_.expect_string("the name of the phenomenon's shader in quotes");
      if (names.count(shader.name))
        lex_.fail(shader.line, "phenomenon \"" + decl.name + "\" has two shaders named \"" + shader.name + "\"");
      shader.shader = lex_.expect_string("the declared shader's name in quotes");
      if (!lex_.at_punct('(')) lex_.fail_expected("'('");
      parameter_tokens(decl, names, shader.parameters);
      names.insert(shader.name);
      net->shaders.push_back(std::move(shader));
    }
    if (net->shaders.empty()) lex_.fail_expected("the phenomenon's first shader ('shader \"name\" \"declared\" (...)')");
    net->root_line = lex_.peek().line;
    lex_.expect_word("root");
    lex_.expect_punct('=');
    net->root = lex_.expect_string("the root shader's name in quotes");
    if (!names.count(net->root))
      lex_.fail(net->root_line, "phenomenon \"" + decl.name + "\" has no shader named \"" + net->root + "\"");
    return net;
  }

  // Copies a parameter list, brackets balanced, checking that every
  // `interface "p"` names a parameter of the phenomenon and every connection
  // one of its shaders defined before.
  void parameter_tokens(const ShaderDeclaration &decl, const std::set<std::string> &shaders,
                        std::vector<Token> &out) {
    std::string open;
    do {
      const Token tok = lex_.peek();
      if (tok.kind == Token::Kind::End) lex_.fail_expected("')' closing the parameters");
      if (tok.kind == Token::Kind::Punct && std::string("([{").find(tok.text[0]) != std::string::npos) {
        open.push_back(tok.text[0]);
      } else if (tok.kind == Token::Kind::Punct && std::string(")]}").find(tok.text[0]) != std::string::npos) {
        const char expected = open.back() == '(' ? ')' : open.back() == '[' ? ']' : '}';
        if (tok.text[0] != expected) lex_.fail_expected(std::string("'") + expected + "'");
        open.pop_back();
      }
      out.push_back(lex_.next());
      if (tok.kind == Token::Kind::Punct && tok.text[0] == '=') {
        if (lex_.at_word("interface")) {
          out.push_back(lex_.next());
          const Token name = lex_.peek();
          const std::string p = lex_.expect_string("the interface parameter's name in quotes");
          if (!decl.parameter(p))
            lex_.fail(name.line, "phenomenon \"" + decl.name + "\" has no parameter \"" + p + "\"");
          out.push_back(name);
        } else {
          const Token name = lex_.peek();
          const std::string source = lex_.expect_string("a shader of the phenomenon in quotes, or interface \"name\"");
          const std::string shader = shaders.count(source) ? source : source.substr(0, source.rfind('.'));
          if (!shaders.count(shader))
            lex_.fail(name.line, "phenomenon \"" + decl.name + "\" has no shader \"" + shader +
                                     "\" defined before this one");
          out.push_back(name);
        }
      }
    } while (!open.empty());
  }

  // type := simple | tag | "color texture" | struct { fields } | array type
  Type type(bool in_result, bool *body_after_name = nullptr) {
    Type t;
    const Token &tok = lex_.peek();
    if (tok.kind != Token::Kind::Word) lex_.fail_expected("a type");
    const std::string word = lex_.next().text;
    if (word == "boolean") t.kind = Kind::Boolean;
    else if (word == "integer") t.kind = Kind::Integer;
    else if (word == "scalar") {
      t.kind = Kind::Scalar;
      if (lex_.accept_word("texture")) { t.kind = Kind::Tag; t.tag_kind = "scalar texture"; }
    } else if (word == "vector") {
      t.kind = Kind::Vector;
      if (lex_.accept_word("texture")) { t.kind = Kind::Tag; t.tag_kind = "vector texture"; }
    } else if (word == "color" || word == "colour") {
      t.kind = Kind::Color;
      if (lex_.accept_word("texture")) { t.kind = Kind::Tag; t.tag_kind = "color texture"; }
    } else if (word == "transform") t.kind = Kind::Transform;
    else if (kTagWords.count(word)) { t.kind = Kind::Tag; t.tag_kind = word; }
    else if (word == "struct") {
      // A result struct has its fields right away; a struct parameter names
      // itself first, `struct "name" { ... }`, and its fields follow the name.
      t.kind = Kind::Struct;
      if (lex_.accept_punct('{')) fields(t, '}', /*allow_defaults=*/!in_result, /*allow_arrays=*/false);
      else if (body_after_name) *body_after_name = true;
      else lex_.fail_expected("'{'");
    } else if (word == "array") {
      if (in_result) lex_.fail(tok.line, "a result cannot hold an array");
      t.kind = Kind::Array;
      const Lexer::Nested level = lex_.nest("types");
      Type element = type(false, body_after_name);
      if (element.kind == Kind::Array) lex_.fail(tok.line, "arrays of arrays are not supported");
      t.element = std::make_shared<const Type>(std::move(element));
    } else {
      lex_.fail(tok.line, "expected a type, found '" + word + "'");
    }
    return t;
  }

  void fields(Type &record, char close, bool allow_defaults, bool allow_arrays) {
    const Lexer::Nested level = lex_.nest("types");
    std::set<std::string> names;
    if (!lex_.accept_punct(close)) {
      do {
        Field f;
        const int line = lex_.peek().line;
        bool body_after_name = false;
        f.type = type(!allow_defaults, &body_after_name);
        if (f.type.kind == Kind::Array && !allow_arrays)
          lex_.fail(line, "arrays are allowed only as parameters, not inside a struct");
        f.name = lex_.expect_string("a field name in quotes");
        if (body_after_name) {
          Type body;
          body.kind = Kind::Struct;
          lex_.expect_punct('{');
          fields(body, '}', allow_defaults, /*allow_arrays=*/false);
          if (f.type.kind == Kind::Array) f.type.element = std::make_shared<const Type>(std::move(body));
          else f.type = std::move(body);
        }
        if (!names.insert(f.name).second) lex_.fail(line, "field \"" + f.name + "\" appears twice");
        if (lex_.at_word("default")) {
          if (!allow_defaults || !f.type.is_scalar_like())
            lex_.fail(lex_.peek().line, "no default is allowed for \"" + f.name + "\"");
          lex_.next();
          default_value(f);
        }
        record.fields.push_back(std::move(f));
      } while (lex_.accept_punct(','));
      lex_.expect_punct(close);
    }
    lay_out(record);
  }

  void default_value(Field &f) {
    const int line = lex_.peek().line;
    std::size_t max_words = 1;
    if (f.type.kind == Kind::Vector) max_words = 3;
    if (f.type.kind == Kind::Color) max_words = 4;
    if (f.type.kind == Kind::Transform) max_words = 16;
    while (f.default_words.size() < max_words &&
           (lex_.peek().kind == Token::Kind::Number || lex_.at_word("on") || lex_.at_word("off") ||
            lex_.at_word("true") || lex_.at_word("false") || lex_.at_word("nan") || lex_.at_word("inf")))
      f.default_words.push_back(lex_.next().text);
    std::byte scratch[sizeof(miMatrix)];
    try {
      encode_value(f.type, f.default_words, scratch);
    } catch (const Error &e) {
      lex_.fail(line, std::string("default of \"") + f.name + "\": " + e.what());
    }
  }

  Lexer lex_;
};

}  // namespace

std::vector<ShaderDeclaration> parse_declarations(std::string_view text, const std::string &file) {
  return DeclarationParser(text, file).parse();
}

std::vector<ShaderDeclaration> read_declarations(const std::string &path) {
  std::string text = read_file(path, "declarations file");

  // A long-lived host (a batch of evaluations, a test program) declares the
  // same files again and again: the last parse of each file is kept and
  // reused while the file's text is the same, to the byte.
  struct Parsed {
    std::string text;
    std::vector<ShaderDeclaration> declarations;
  };
  static std::mutex mutex;
  static std::map<std::string, Parsed> parsed;
  {
    std::lock_guard lock(mutex);
    if (const auto it = parsed.find(path); it != parsed.end() && it->second.text == text)
      return it->second.declarations;
  }
  std::vector<ShaderDeclaration> declarations = parse_declarations(text, path);
  std::lock_guard lock(mutex);
  parsed[path] = {std::move(text), declarations};
  return declarations;
}

}  // namespace tavo::host
