#include "lexer.h"

#include <cctype>

namespace tavo::host {

std::string describe(const Token &token) {
  switch (token.kind) {
    case Token::Kind::End: return "end of file";
    case Token::Kind::String: return "\"" + token.text + "\"";
    default: return "'" + token.text + "'";
  }
}

void Lexer::fail(int line, const std::string &message) const {
  throw Error(file_ + ":" + std::to_string(line) + ": " + message);
}

void Lexer::fail_expected(std::string_view what) const {
  fail(current_.line, "expected " + std::string(what) + ", found " + describe(current_));
}

Lexer::Nested Lexer::nest(std::string_view what) {
  if (depth_ >= kMaxNesting)
    fail(current_.line, std::string(what) + " nest more than " + std::to_string(kMaxNesting) + " deep");
  ++depth_;
  return Nested(*this);
}

Lexer::Lexer(const std::vector<Token> &tokens, std::string file) : file_(std::move(file)), replay_(&tokens) {
  advance();
}

void Lexer::advance() {
  if (replay_) {
    if (replayed_ < replay_->size()) {
      current_ = (*replay_)[replayed_++];
    } else {
      current_ = Token{};
      current_.line = replay_->empty() ? 0 : replay_->back().line;
    }
    return;
  }
  for (;;) {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) {
      if (text_[pos_] == '\n') ++line_;
      ++pos_;
    }
    if (pos_ < text_.size() && text_[pos_] == '#') {
      while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
      continue;
    }
    break;
  }
  current_ = Token{};
  current_.line = line_;
  if (pos_ >= text_.size()) return;

  const char c = text_[pos_];
  const std::size_t start = pos_;
  if (c == '"') {
    ++pos_;
    while (pos_ < text_.size() && text_[pos_] != '"' && text_[pos_] != '\n') ++pos_;
    if (pos_ >= text_.size() || text_[pos_] != '"') fail(line_, "unterminated string");
    current_.kind = Token::Kind::String;
    current_.text = std::string(text_.substr(start + 1, pos_ - start - 1));
    ++pos_;
    return;
  }
  const auto word_char = [](char ch) {
    return std::isalnum(static_cast<unsigned char>(ch)) || ch == '_' || ch == '.' || ch == '+' ||
           ch == '-' || ch == '$' || ch == '/';
  };
  if (word_char(c)) {
    while (pos_ < text_.size() && word_char(text_[pos_])) ++pos_;
    current_.text = std::string(text_.substr(start, pos_ - start));
    const char first = current_.text[0];
    const bool numeric = std::isdigit(static_cast<unsigned char>(first)) ||
                         ((first == '-' || first == '+' || first == '.') && current_.text.size() > 1);
    current_.kind = numeric ? Token::Kind::Number : Token::Kind::Word;
    return;
  }
  current_.kind = Token::Kind::Punct;
  current_.text = std::string(1, c);
  ++pos_;
}

Token Lexer::next() {
  Token token = current_;
  advance();
  return token;
}

bool Lexer::at_word(std::string_view word) const {
  return current_.kind == Token::Kind::Word && current_.text == word;
}

bool Lexer::at_punct(char c) const {
  return current_.kind == Token::Kind::Punct && current_.text[0] == c;
}

bool Lexer::accept_word(std::string_view word) {
  if (!at_word(word)) return false;
  advance();
  return true;
}

bool Lexer::accept_punct(char c) {
  if (!at_punct(c)) return false;
  advance();
  return true;
}

void Lexer::expect_word(std::string_view word) {
  if (!accept_word(word)) fail_expected("'" + std::string(word) + "'");
}

void Lexer::expect_punct(char c) {
  if (!accept_punct(c)) fail_expected(std::string("'") + c + "'");
}

std::string Lexer::expect_string(std::string_view what) {
  if (current_.kind != Token::Kind::String) fail_expected(what);
  return next().text;
}

std::string Lexer::expect_number(std::string_view what) {
  // nan and inf are words to the lexer but numbers to a declaration
  if (current_.kind == Token::Kind::Number ||
      (current_.kind == Token::Kind::Word && (current_.text == "nan" || current_.text == "inf")))
    return next().text;
  fail_expected(what);
}

}  // namespace tavo::host
