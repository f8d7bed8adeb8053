#include "response.h"

#include <algorithm>

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

void ResponseScanner::feed(std::string_view bytes) {
  while (!bytes.empty()) {
    if (where_ != Where::Block) {
      step(bytes.front());
      bytes.remove_prefix(1);
      continue;
    }
    const size_t part = std::min(missing_, bytes.size());
    bytes.remove_prefix(part);
    missing_ -= part;
    if (missing_ == 0) where_ = Where::Element;
  }
}

void ResponseScanner::step(char c) {
  ++sinceBlock_;
  tail_ += c;
  if (tail_.size() > std::max<size_t>(termination_.size(), 2)) tail_.erase(0, 1);
  switch (where_) {
  case Where::ElementStart:
    where_ = atElementStart(c);
    break;
  case Where::Element:
    where_ = inElement(c);
    break;
  case Where::Quoted:
    if (c == quote_) where_ = Where::AfterQuote;
    break;
  case Where::AfterQuote:
    // A quote inside a string is doubled.
    where_ = c == quote_ ? Where::Quoted : inElement(c);
    break;
  case Where::Hash:
    where_ = behindHash(c);
    break;
  case Where::Length:
    where_ = inLength(c);
    break;
  case Where::Block:
  case Where::Indefinite:
    break;
  }
}

ResponseScanner::Where ResponseScanner::atElementStart(char c) {
  if (c == ':' && atUnitStart_) {
    hasHeader_ = true;
    return Where::Element;
  }
  if (c == '#') return Where::Hash;
  if (c != '"' && c != '\'') return inElement(c);
  quote_ = c;
  return Where::Quoted;
}

ResponseScanner::Where ResponseScanner::inElement(char c) {
  const bool newUnit = c == ';' || c == '\n';
  if (!newUnit && c != ',' && (c != ' ' || !hasHeader_)) return Where::Element;
  atUnitStart_ = newUnit;
  hasHeader_ = false;
  return Where::ElementStart;
}

ResponseScanner::Where ResponseScanner::behindHash(char c) {
  if (!isDigit(c)) return inElement(c);
  if (c == '0') return Where::Indefinite;
  lengthDigits_ = c - '0';
  missing_ = 0;
  return Where::Length;
}

ResponseScanner::Where ResponseScanner::inLength(char c) {
  if (!isDigit(c)) {
    missing_ = 0;
    return inElement(c);
  }
  missing_ = missing_ * 10 + static_cast<size_t>(c - '0');
  if (--lengthDigits_ > 0) return Where::Length;
  hasBlock_ = true;
  sinceBlock_ = 0;
  tail_.clear();
  return missing_ > 0 ? Where::Block : Where::Element;
}

/// Whether a terminator and nothing else stands behind a block.
bool ResponseScanner::endsBehindBlock() const {
  return hasBlock_ && sinceBlock_ == tail_.size() && (tail_ == "\n" || tail_ == "\r\n" || tail_ == termination_);
}

bool ResponseScanner::ended() const {
  if (inBlock()) return false;
  if (atBlockEnd()) return termination_.empty();
  return endsBehindBlock() || (!termination_.empty() && std::string_view(tail_).ends_with(termination_));
}

std::string ResponseScanner::presentable(std::string response) const {
  if (response.empty() || inBlock() || where_ == Where::Indefinite) return response;
  if (atBlockEnd() || endsBehindBlock()) {
    response.resize(response.size() - sinceBlock_);
  } else if (!response.ends_with('\n')) {
    response += '\n';
  }
  return response;
}
