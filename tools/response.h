/// The shape of a response: where it ends, whether it's whole, how it is shown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Follows a response while its bytes come in. A response is made of text and of IEEE 488.2 definite-length blocks
/// (`#15abcde`), which hold any byte and stand at its beginning, behind a `;` or `,`, or behind a header that begins
/// with a colon (`:CURVE #15abcde`). A `#` that no length follows (`#H1F`) and one inside a quoted string is text.
class ResponseScanner {
public:
  /// @param termination  what a response ends with; an empty one ends nothing but blocks
  explicit ResponseScanner(std::string_view termination) : termination_(termination) {}

  void feed(std::string_view bytes);

  /// Whether what has come could be the whole response: it ends with the termination or, without one, with a block.
  bool ended() const;
  /// Whether a block has ended with the last byte; some instruments send nothing behind it.
  bool atBlockEnd() const { return hasBlock_ && sinceBlock_ == 0; }
  /// Whether a block has begun and lacks bytes.
  bool inBlock() const { return where_ == Where::Length || where_ == Where::Block; }
  /// How many bytes the block lacks, as far as its length is known.
  size_t missing() const { return missing_; }
  bool isBinary() const { return hasBlock_ || inBlock() || where_ == Where::Indefinite; }

  /// The whole response as the user gets it. One that ends in a block goes without the terminator behind it, which may
  /// or may not have come; a text gets the newline that it lacks.
  std::string presentable(std::string response) const;

private:
  enum class Where { ElementStart, Element, Quoted, AfterQuote, Hash, Length, Block, Indefinite };

  void step(char c);
  Where inElement(char c);
  Where atElementStart(char c);
  Where behindHash(char c);
  Where inLength(char c);
  bool endsBehindBlock() const;

  std::string termination_;
  Where where_ = Where::ElementStart;
  bool atUnitStart_ = true;
  bool hasHeader_ = false;  ///< the unit began with a colon: its first blank starts an element
  char quote_ = 0;
  int lengthDigits_ = 0;  ///< that are still to come
  size_t missing_ = 0;
  bool hasBlock_ = false;
  size_t sinceBlock_ = 0;  ///< bytes behind the last block, or all bytes
  std::string tail_;       ///< the last of them
};
