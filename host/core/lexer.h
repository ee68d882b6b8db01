// Tokens of the renderer's scene-description language: words, quoted strings,
// numbers and punctuation, with '#' comments to the end of the line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "declarations.h"

namespace tavo::host {

// How deep any construct of a file may nest (types in types, values in
// values): the parsers recurse, and hostile input must not exhaust the stack.
inline constexpr int kMaxNesting = 64;

class Lexer {
 public:
  Lexer(std::string_view text, std::string file) : text_(text), file_(std::move(file)) { advance(); }
  // Reads tokens kept from an earlier reading of `file` again, with their lines.
  Lexer(const std::vector<Token> &tokens, std::string file);

  const Token &peek() const { return current_; }
  Token next();

  bool at_word(std::string_view word) const;
  bool at_punct(char c) const;
  bool accept_word(std::string_view word);
  bool accept_punct(char c);

  void expect_word(std::string_view word);
  void expect_punct(char c);
  std::string expect_string(std::string_view what);
  std::string expect_number(std::string_view what);

  // Raises Error "file:line: expected <what>, found <current token>".
  [[noreturn]] void fail_expected(std::string_view what) const;
  [[noreturn]] void fail(int line, const std::string &message) const;
  const std::string &file() const { return file_; }

  // One more level of `what` nesting, held while the guard lives; past
  // kMaxNesting it raises Error "file:line: <what> nest more than 64 deep".
  class Nested {
   public:
    explicit Nested(Lexer &lex) : lex_(lex) {}
    Nested(const Nested &) = delete;
    ~Nested() { --lex_.depth_; }

   private:
    Lexer &lex_;
  };
  [[nodiscard]] Nested nest(std::string_view what);

 private:
  void advance();
  std::string_view text_;
  std::size_t pos_ = 0;
  int line_ = 1;
  std::string file_;
  Token current_;
  const std::vector<Token> *replay_ = nullptr;
  std::size_t replayed_ = 0;
  int depth_ = 0;
};

std::string describe(const Token &token);

}  // namespace tavo::host
