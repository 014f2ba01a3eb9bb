#include "WyvletSampleApp/ControlLine.h"

namespace wyvlet::sample {

std::string escapedLine(std::string_view text) {
  std::string line;
  for (char c : text) {
    switch (c) {
      case '\n': line += "\\n"; break;
      case '\r': line += "\\r"; break;
      case '\\': line += "\\\\"; break;
      default: line += c;
    }
  }
  return line;
}

std::string unescapedLine(std::string_view line) {
  std::string text;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char next = line[i] == '\\' && i + 1 < line.size() ? line[i + 1] : '\0';
    switch (next) {
      case 'n': text += '\n'; break;
      case 'r': text += '\r'; break;
      case '\\': text += '\\'; break;
      default: text += line[i]; continue;
    }
    ++i;
  }
  return text;
}

}  // namespace wyvlet::sample
