#include "WyvletSampleApp/ControlHandler.h"

#include <fmt/format.h>

#include <array>
#include <boost/json.hpp>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "Support/Text.h"
#include "WyvletSampleApp/ControlLine.h"
#include "WyvletSampleApp/CrashReport.h"
#include "WyvletSampleApp/ScreenRenderer.h"
#include "WyvletSampleApp/Screens.h"

namespace wyvlet::sample {
namespace {

namespace json = boost::json;

constexpr double kSettleSeconds = 5;
constexpr double kSettlePoll = 0.01;
constexpr int kMostLogs = 100'000;

ControlAnswer refused(std::string why) { return {false, std::move(why), {}}; }

ControlAnswer from(const Result<std::string>& result) {
  return result ? ControlAnswer{true, *result, {}} : refused(result.reason());
}

template <class Number>
std::optional<Number> number(std::string_view word) {
  Number value{};
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size()) return {};
  return value;
}

/// The words of `text` as whole numbers, when there are as many as asked for and all are numbers.
template <std::size_t kCount>
std::optional<std::array<int, kCount>> integers(std::string_view text) {
  std::array<int, kCount> values{};
  std::size_t count = 0;
  for (std::string_view word : split(text, " ")) {
    if (word.empty()) continue;
    const auto value = number<int>(word);
    if (!value || count == kCount) return {};
    values.at(count++) = *value;
  }
  if (count != kCount) return {};
  return values;
}

/// The text up to its first space, and what follows that space when there is one.
std::pair<std::string_view, std::optional<std::string_view>> cutWord(std::string_view text) {
  const auto space = text.find(' ');
  if (space == std::string_view::npos) return {text, std::nullopt};
  return {text.substr(0, space), text.substr(space + 1)};
}

json::object frameJSON(const Frame& frame) {
  return {{"x", frame.x}, {"y", frame.y}, {"width", frame.width}, {"height", frame.height}};
}

/// Writes a file in one go; "" or why it failed.
std::string writeFile(const std::string& path, std::string_view bytes) {
  std::FILE* file = std::fopen(path.c_str(), "we");
  if (file == nullptr) return std::generic_category().message(errno);
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = std::fclose(file) == 0;
  return written && closed ? "" : std::generic_category().message(errno);
}

}  // namespace

std::string ControlAnswer::line() const {
  return (ok ? "ok" : "error") + (text.empty() ? "" : " " + escapedLine(text));
}

struct ControlHandler::Command {
  std::string_view name;
  ControlAnswer (ControlHandler::*run)(const std::string&);
};

const ControlHandler::Command ControlHandler::kCommands[] = {
    {"tap", &ControlHandler::tap},
    {"tap-label", &ControlHandler::tapLabel},
    {"tap-id", &ControlHandler::tapIdentifier},
    {"touch-down", &ControlHandler::touchDown},
    {"touch-up", &ControlHandler::touchUp},
    {"swipe", &ControlHandler::swipe},
    {"type", &ControlHandler::type},
    {"button", &ControlHandler::button},
    {"activate", &ControlHandler::activate},
    {"screen", &ControlHandler::screen},
    {"describe-ui", &ControlHandler::describeUI},
    {"screenshot", &ControlHandler::screenshot},
    {"overlays", &ControlHandler::overlays},
    {"held", &ControlHandler::held},
    {"approve", &ControlHandler::approve},
    {"emit-log", &ControlHandler::emitLog},
    {"log", &ControlHandler::log},
    {"emit-request", &ControlHandler::emitRequest},
    {"environment", &ControlHandler::environment},
    {"deep-link", &ControlHandler::deepLink},
    {"record", &ControlHandler::record},
    {"stop-recording", &ControlHandler::stopRecording},
    {"links", &ControlHandler::links},
    {"restart-link", &ControlHandler::restartLink},
    {"crash", &ControlHandler::crash},
    {"quit", &ControlHandler::quit},
    {"help", &ControlHandler::help},
};

void ControlHandler::handle(std::string_view line, const Reply& reply) {
  const std::string text = unescapedLine(line);
  const auto space = text.find(' ');
  const std::string name = text.substr(0, space);
  const std::string rest = space == std::string::npos ? "" : text.substr(space + 1);
  if (name == "settle") {
    const auto seconds = rest.empty() ? kSettleSeconds : number<double>(rest);
    if (!seconds || !std::isfinite(*seconds)) return reply(refused("usage: settle [SECONDS]"));
    return settle(loop_.now() + *seconds, reply);
  }
  for (const Command& command : kCommands) {
    if (command.name == name) return reply((this->*command.run)(rest));
  }
  reply(refused("unknown command " + name));
}

void ControlHandler::settle(double deadline, const Reply& reply) {
  if (network_.inFlight() == 0 && server_.isDrained()) return reply({});
  if (loop_.now() >= deadline) return reply(refused("still busy"));
  loop_.after(kSettlePoll, [this, deadline, reply] { settle(deadline, reply); });
}

ControlAnswer ControlHandler::tap(const std::string& rest) {
  const auto at = integers<2>(rest);
  return at ? from(app_.tap((*at)[0], (*at)[1])) : refused("usage: tap X Y");
}

ControlAnswer ControlHandler::tapLabel(const std::string& rest) { return from(app_.tapLabel(rest)); }

ControlAnswer ControlHandler::tapIdentifier(const std::string& rest) {
  return from(app_.tapIdentifier(rest));
}

ControlAnswer ControlHandler::touchDown(const std::string& rest) {
  const auto at = integers<2>(rest);
  return at ? from(app_.touchDown((*at)[0], (*at)[1])) : refused("usage: touch-down X Y");
}

ControlAnswer ControlHandler::touchUp(const std::string& rest) {
  const auto at = integers<2>(rest);
  return at ? from(app_.touchUp((*at)[0], (*at)[1])) : refused("usage: touch-up X Y");
}

ControlAnswer ControlHandler::swipe(const std::string& rest) {
  const auto at = integers<4>(rest);
  return at ? from(app_.swipe((*at)[0], (*at)[1], (*at)[2], (*at)[3])) : refused("usage: swipe X1 Y1 X2 Y2");
}

ControlAnswer ControlHandler::type(const std::string& rest) { return from(app_.type(rest)); }

ControlAnswer ControlHandler::button(const std::string& rest) { return from(app_.pressButton(rest)); }

ControlAnswer ControlHandler::activate(const std::string&) {
  app_.activate();
  return {};
}

ControlAnswer ControlHandler::screen(const std::string&) {
  json::array elements;
  for (const Element& element : app_.elements()) {
    elements.push_back({{"type", typeName(element.kind)},
                        {"identifier", element.identifier},
                        {"label", element.label},
                        {"text", element.text},
                        {"value", element.value},
                        {"frame", frameJSON(element.frame)},
                        {"isButton", element.isButton()},
                        {"enabled", element.enabled},
                        {"selected", element.selected},
                        {"focused", element.focused}});
  }
  return {
      true, json::serialize(json::object{{"screen", app_.screen()}, {"elements", std::move(elements)}}), {}};
}

ControlAnswer ControlHandler::describeUI(const std::string&) {
  json::array children;
  for (const Element& element : app_.elements()) {
    children.push_back(
        {{"type", typeName(element.kind)},
         {"AXLabel", element.label},
         {"AXUniqueId", element.identifier},
         {"AXValue", element.value.empty() ? json::value(nullptr) : json::value(element.value)},
         {"enabled", element.enabled},
         {"frame", frameJSON(element.frame)},
         {"children", json::array()}});
  }
  const json::array tree = {{{"type", "Application"},
                             {"AXLabel", "Harbor Travel"},
                             {"enabled", true},
                             {"frame", frameJSON({0, 0, kScreenWidth, kScreenHeight})},
                             {"children", std::move(children)}}};
  return {true, json::serialize(tree), {}};
}

ControlAnswer ControlHandler::screenshot(const std::string& rest) {
  if (rest.empty()) return refused("usage: screenshot PATH");
  const std::string failure = writeFile(rest, drawScreen(app_.state(), settings_.scale).png());
  return failure.empty() ? ControlAnswer{true, rest, {}} : refused(failure);
}

ControlAnswer ControlHandler::overlays(const std::string&) {
  json::array notices;
  for (const OverlayNotice& notice : probe_.overlays()) {
    json::object item = {{"category", notice.category}};
    if (notice.detail) item["detail"] = *notice.detail;
    if (notice.passed) item["passed"] = *notice.passed;
    notices.push_back(std::move(item));
  }
  return {
      true,
      json::serialize(json::object{{"visible", probe_.overlayVisible()}, {"notices", std::move(notices)}}),
      {}};
}

ControlAnswer ControlHandler::held(const std::string&) {
  json::array calls;
  for (const auto& [id, text] : network_.held()) {
    calls.push_back(json::object{{"id", id.text()}, {"request", text}});
  }
  return {true, json::serialize(calls), {}};
}

ControlAnswer ControlHandler::approve(const std::string& rest) {
  const std::size_t count = network_.release(rest == "all" ? "" : rest);
  if (count == 0) return refused("nothing is held");
  return {true, fmt::format("released {}", count), {}};
}

ControlAnswer ControlHandler::emitLog(const std::string& rest) {
  const auto count = number<int>(rest);
  if (!count || *count < 0 || *count > kMostLogs)
    return refused(fmt::format("usage: emit-log N, at most {}", kMostLogs));
  for (int i = 1; i <= *count; ++i) {
    probe_.log("DEBUG", "Bulk", fmt::format("bulk entry {} of {}", i, *count), app_.screen());
  }
  return {true, fmt::format("logged {}", *count), {}};
}

ControlAnswer ControlHandler::log(const std::string& rest) {
  const auto levelEnd = rest.find(' ');
  const auto categoryEnd = levelEnd == std::string::npos ? levelEnd : rest.find(' ', levelEnd + 1);
  if (categoryEnd == std::string::npos) return refused("usage: log LEVEL CATEGORY MESSAGE");
  probe_.log(rest.substr(0, levelEnd), rest.substr(levelEnd + 1, categoryEnd - levelEnd - 1),
             rest.substr(categoryEnd + 1), app_.screen());
  return {};
}

ControlAnswer ControlHandler::emitRequest(const std::string& rest) {
  const auto isURL = [](std::string_view word) { return word.find("://") != std::string_view::npos; };
  HTTPCall call;
  auto [word, words] = cutWord(rest);
  if (!isURL(word) && words) {
    call.method = word;
    std::tie(word, words) = cutWord(*words);
  }
  if (!isURL(word) || call.method.empty()) return refused("usage: emit-request [METHOD] URL [BODY]");
  call.url = word;
  if (words) call.body = std::string(*words);
  app_.send(std::move(call));
  return {};
}

ControlAnswer ControlHandler::environment(const std::string& rest) {
  if (rest.empty()) return {true, probe_.environments().active().name, {}};
  if (!app_.switchEnvironment(std::string_view(rest))) return refused("no environment " + rest);
  return {true, probe_.environments().active().name, {}};
}

ControlAnswer ControlHandler::deepLink(const std::string& rest) {
  if (!app_.openDeepLink(rest)) return refused("no screen for " + rest);
  return {true, std::string(app_.screen()), {}};
}

ControlAnswer ControlHandler::record(const std::string& rest) {
  app_.startRecording(rest.empty() ? "Recorded flow" : rest);
  return {};
}

ControlAnswer ControlHandler::stopRecording(const std::string&) { return from(app_.stopRecording()); }

ControlAnswer ControlHandler::links(const std::string&) {
  return {true, std::to_string(server_.linkCount()), {}};
}

ControlAnswer ControlHandler::restartLink(const std::string&) {
  server_.dropLinks();
  return {};
}

ControlAnswer ControlHandler::crash(const std::string& rest) {
  CrashReport report;
  report.type = "Signal";
  report.name = "SIGABRT";
  report.reason = rest.empty() ? "Crash requested on the control channel" : rest;
  report.screen = std::string(app_.screen());
  report.lastRequest = probe_.lastRequestText();
  const std::string path = crashFilePath(settings_.crashDirectory, settings_.bundleId);
  return {true, path, [report = std::move(report), path]() mutable { crashWith(std::move(report), path); }};
}

ControlAnswer ControlHandler::quit(const std::string&) {
  return {true, "", [this] { loop_.stop(); }};
}

ControlAnswer ControlHandler::help(const std::string&) {
  std::string names = "settle";
  for (const Command& command : kCommands) names += " " + std::string(command.name);
  return {true, std::move(names), {}};
}

}  // namespace wyvlet::sample
