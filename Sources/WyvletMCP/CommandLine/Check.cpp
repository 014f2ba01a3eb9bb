#include "CommandLine/Check.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "Support/Text.h"

namespace wyvlet {
namespace {

struct Mark {
  std::string_view word;
  std::string_view colour;
};

Mark markOf(Check::State state) {
  switch (state) {
    case Check::State::Fine: return {"ok", "32"};
    case Check::State::Note: return {"note", "33"};
    case Check::State::Failed: return {"FAIL", "31"};
    case Check::State::NotNeeded: return {"skip", "2"};
  }
  return {"", ""};
}

/// Without anything that a terminal would obey: the C0 and C1 controls and DEL become spaces.
std::string harmless(std::string_view text) {
  std::string clean = validUTF8(std::string(text));
  for (std::size_t i = 0; i < clean.size(); ++i) {
    const auto byte = static_cast<unsigned char>(clean[i]);
    if (byte < 0x20 || byte == 0x7F) clean[i] = ' ';
    const bool isC1 = byte == 0xC2 && static_cast<unsigned char>(clean[i + 1]) < 0xA0;
    if (isC1) clean.replace(i, 2, " ");
  }
  return clean;
}

std::string coloured(std::string_view text, std::string_view colour, bool withColours) {
  return withColours ? fmt::format("\033[{}m{}\033[0m", colour, text) : std::string(text);
}

std::string counted(long count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string summary(const std::vector<Check>& checks) {
  const auto count = [&](Check::State state) {
    return static_cast<long>(std::ranges::count(checks, state, &Check::state));
  };
  const auto failed = count(Check::State::Failed);
  const auto notes = count(Check::State::Note);
  auto text = failed == 0 ? "Everything needed is in place" : counted(failed, "check", "checks") + " failed";
  if (notes > 0) text += "; " + counted(notes, "thing", "things") + " to note";
  return text + ".";
}

}  // namespace

std::string formatReport(const std::vector<Check>& checks, bool withColours) {
  std::size_t width = 0;
  for (const auto& check : checks) width = std::max(width, check.name.size());

  std::string report;
  for (const auto& check : checks) {
    const auto mark = markOf(check.state);
    report += coloured(fmt::format("{:<4}", mark.word), mark.colour, withColours);
    report += fmt::format("  {:<{}}  {}", check.name, width, harmless(check.detail));
    if (!check.remedy.empty()) report += " → " + harmless(check.remedy);
    report += '\n';
  }
  return report + "\n" + summary(checks) + "\n";
}

int exitStatus(const std::vector<Check>& checks) {
  return std::ranges::count(checks, Check::State::Failed, &Check::state) > 0 ? 1 : 0;
}

bool usesColours(bool isTerminal, const std::string& noColor, const std::string& term) {
  return isTerminal && noColor.empty() && !term.empty() && term != "dumb";
}

}  // namespace wyvlet
