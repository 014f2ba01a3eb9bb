#include "MCP/JSONRPC.h"

#include <fmt/format.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "Support/Text.h"
#include "WyvletShared/RecordCodec.h"

namespace wyvlet {
namespace {

/// Steps through JSON text that is already known to be valid.
class ValidTextScanner {
 public:
  explicit ValidTextScanner(std::string_view text) : text_(text) {}

  void skipSpace() {
    while (at_ < text_.size() && std::string_view(" \t\r\n").find(text_[at_]) != std::string_view::npos)
      ++at_;
  }

  char current() const { return text_[at_]; }
  void step() { ++at_; }

  /// The raw text of the value that begins here.
  std::string_view value() {
    const auto begin = at_;
    int depth = 0;
    do {
      switch (text_[at_]) {
        case '"': skipString(); continue;
        case '{':
        case '[': ++depth; break;
        case '}':
        case ']': --depth; break;
        default:
          if (depth == 0) {
            at_ = std::min(text_.find_first_of(",]} \t\r\n", at_), text_.size());
            return text_.substr(begin, at_ - begin);
          }
      }
      ++at_;
    } while (depth > 0);
    return text_.substr(begin, at_ - begin);
  }

 private:
  void skipString() {
    for (++at_; text_[at_] != '"'; ++at_) {
      if (text_[at_] == '\\') ++at_;
    }
    ++at_;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

/// The raw text of the top-level member "id" of a valid JSON object; the last one where it stands
/// twice, as the parser decides too.
std::optional<std::string> rawId(std::string_view object) {
  ValidTextScanner scanner(object);
  std::optional<std::string> id;
  scanner.skipSpace();
  do {
    scanner.step();  // the opening brace or a comma
    scanner.skipSpace();
    if (scanner.current() == '}') break;
    const auto key = scanner.value();
    scanner.skipSpace();
    scanner.step();  // the colon
    scanner.skipSpace();
    const auto value = scanner.value();
    const bool isId =
        key == R"("id")" || (key.find('\\') != std::string_view::npos && boost::json::parse(key) == "id");
    if (isId) id = std::string(value);
    scanner.skipSpace();
  } while (scanner.current() == ',');
  return id;
}

}  // namespace

std::optional<JSONRPCMessage> parseMessage(std::string_view text) {
  boost::json::parse_options options;
  options.max_depth = kMaxJSONDepth;
  boost::json::error_code error;
  auto value = boost::json::parse(text, error, {}, options);
  if (error) return std::nullopt;
  auto* object = value.if_object();
  if (object == nullptr) return std::nullopt;

  JSONRPCMessage message;
  if (object->contains("id")) message.id = rawId(text);
  if (const auto* method = object->if_contains("method"); method != nullptr && method->is_string()) {
    message.method = std::string_view(method->get_string());
  }
  if (auto* params = object->if_contains("params"); params != nullptr && params->is_object()) {
    message.params = std::move(params->get_object());
  }
  return message;
}

std::string jsonRPC(const std::optional<std::string>& id, std::string_view result) {
  std::string text;
  text.reserve(result.size() + (id ? id->size() : 0) + 40);
  text += R"({"jsonrpc":"2.0",)";
  if (id) text.append(R"("id":)").append(*id).append(",");
  return text.append(R"("result":)").append(result).append("}");
}

std::string jsonRPCError(const std::optional<std::string>& id, int code, std::string_view message) {
  return fmt::format(R"({{"jsonrpc":"2.0",{}"error":{{"code":{},"message":{}}}}})",
                     id ? R"("id":)" + *id + "," : "", code, jsonString(message));
}

std::string jsonString(std::string_view text) {
  if (isValidUTF8(text)) return boost::json::serialize(boost::json::string_view(text));
  return boost::json::serialize(boost::json::string_view(validUTF8(std::string(text))));
}

}  // namespace wyvlet
