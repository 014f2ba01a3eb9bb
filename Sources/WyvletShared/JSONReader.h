#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// Walks JSON text from front to back and hands each value to a caller who knows what it should be,
/// without building a document in between: the records of a burst of events are read several times
/// faster than through a tree of values, and nothing is allocated but what the records keep.
///
/// Strict: no comments, no trailing commas, no NaN, no raw control characters, valid UTF-8, escaped
/// surrogates in pairs, nesting up to `kMaxJSONDepth`, one value and nothing after it.
///
/// An operation that returns false has either met text that is no JSON, and `syntaxError()` says so,
/// or was told to stop by its caller's callback. Nothing is read after that.
class JSONReader {
 public:
  enum class Kind : std::uint8_t { Text, Number, True, False, Null, Object, List, Invalid };

  /// A number as it stands in the text.
  struct Number {
    std::string_view text;
    bool negative = false;
    bool integral = false;        // no fraction, no exponent, and the magnitude fits
    std::uint64_t magnitude = 0;  // only when `integral`

    /// The nearest double; infinite when it is beyond all doubles.
    double value() const;

    /// The value when it is an integer of that type, however it is written: 200.0 is one.
    template <class Integer>
    std::optional<Integer> integer() const;
  };

  /// Reads `text`, which must outlive the reader.
  explicit JSONReader(std::string_view text)
      : begin_(text.data()), at_(text.data()), end_(text.data() + text.size()) {}

  /// What the next value is, judged by its first character.
  Kind kind();

  /// Reads a value of the kind that `kind()` has announced.
  bool readLiteral();
  bool readNumber(Number& number);
  bool readText(std::string& text);

  /// As `readText`, but without a copy where the text holds no escapes; valid until the next read.
  bool readText(std::string_view& text);

  /// Reads base64 text straight into bytes. `valid` is false when the text is not base64.
  bool readBase64(std::string& bytes, bool& valid);

  /// Reads an object: `member(key)` reads the member's value and returns false to stop. The key is
  /// valid until the next read.
  template <class Member>
  bool readObject(Member&& member);

  /// Reads a list: `element()` reads one value and returns false to stop.
  template <class Element>
  bool readList(Element&& element);

  /// Reads past a value of any kind.
  bool skip();

  /// Whether nothing but white space is left.
  bool atEnd();

  /// What is wrong with the text, and at which byte; nothing while it is JSON so far.
  std::optional<std::string> syntaxError() const;

 private:
  bool fail(const char* what);
  bool enter();
  char skipWhiteSpace();  // the character that it stops at; NUL at the end
  const char* skipPlainText(const char* from) const;
  bool skipDigits();
  bool readKey(std::string_view& key);
  bool readEscape(std::string& text);
  bool readEscapedText(std::string& text, const char* from);
  std::optional<std::uint32_t> hexDigits(const char* from) const;
  enum class Step : std::uint8_t { Value, End, Fail };
  Step step(bool first, char close);  // to the next member or element, or past the closing bracket

  const char* begin_;
  const char* at_;
  const char* end_;
  const char* error_ = nullptr;  // a literal
  int depth_ = 0;
  std::string unescaped_;  // backs the views of texts that hold escapes
};

inline char JSONReader::skipWhiteSpace() {
  for (; at_ != end_; ++at_) {
    const char c = *at_;
    if (c != ' ' && c != '\n' && c != '\r' && c != '\t') return c;
  }
  return '\0';
}

inline JSONReader::Kind JSONReader::kind() {
  switch (skipWhiteSpace()) {
    case '"': return Kind::Text;
    case '{': return Kind::Object;
    case '[': return Kind::List;
    case 't': return Kind::True;
    case 'f': return Kind::False;
    case 'n': return Kind::Null;
    case '-':
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9': return Kind::Number;
    default: fail(at_ == end_ ? "unexpected end" : "unexpected character"); return Kind::Invalid;
  }
}

inline JSONReader::Step JSONReader::step(bool first, char close) {
  const char c = skipWhiteSpace();
  if (c == close) {
    ++at_;
    --depth_;
    return Step::End;
  }
  if (first) return Step::Value;
  if (c != ',') {
    fail(at_ == end_ ? "unexpected end" : "expected a comma or a closing bracket");
    return Step::Fail;
  }
  ++at_;
  return Step::Value;
}

template <class Member>
bool JSONReader::readObject(Member&& member) {
  if (!enter()) return false;
  for (bool first = true;; first = false) {
    const Step next = step(first, '}');
    if (next == Step::End) return true;
    std::string_view key;
    if (next == Step::Fail || !readKey(key) || !member(key)) return false;
  }
}

template <class Element>
bool JSONReader::readList(Element&& element) {
  if (!enter()) return false;
  for (bool first = true;; first = false) {
    const Step next = step(first, ']');
    if (next == Step::End) return true;
    if (next == Step::Fail || !element()) return false;
  }
}

}  // namespace wyvlet
