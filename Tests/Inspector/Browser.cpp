#include "Inspector/Browser.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "WyvletShared/Base64.h"

namespace wyvlet::test {
namespace {

/// The debugging pipe is descriptors 3 and 4 of the browser, with a NUL after each message. Towards us
/// they become line feeds, which JSON never holds.
constexpr std::string_view kCommand = WYVLET_CHROMIUM_PATH
    " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking"
    " --disable-component-update --disable-sync --disable-dev-shm-usage --disable-crash-reporter"
    " --window-size=1300,800 --user-data-dir=\"$1\" --remote-debugging-pipe about:blank"
    " 3<&0 4>&1 1>&2 0</dev/null | stdbuf -oL tr '\\000' '\\n'";

}  // namespace

Browser::Browser(std::string_view url) {
  const auto profile = "/tmp/browser-profile-" + UUID::random().text();
  process_ = std::make_unique<Process>(
      Process::Options{.arguments = {"/bin/sh", "-c", std::string(kCommand), "sh", profile}});
  const auto target = call("Target.createTarget", {{"url", "about:blank"}});
  if (target.empty()) return;
  const auto attached =
      call("Target.attachToTarget", {{"targetId", target.at("targetId")}, {"flatten", true}});
  session_ = attached.at("sessionId").as_string();
  call("Page.navigate", {{"url", boost::json::string(url)}});
  EXPECT_TRUE(waitUntil("location.href !== 'about:blank' && document.readyState === 'complete'"));
}

Browser::~Browser() {
  session_.clear();
  call("Browser.close", {});
  process_->closeInput();
  EXPECT_TRUE(process_->waitForExit().has_value()) << "the browser did not end";
}

boost::json::object Browser::call(std::string_view method, boost::json::object params) {
  const int id = nextId_++;
  boost::json::object message{
      {"id", id}, {"method", boost::json::string(method)}, {"params", std::move(params)}};
  if (!session_.empty()) message["sessionId"] = session_;
  process_->write(boost::json::serialize(message) + '\0');
  // Events come in between.
  while (const auto line = process_->readLine()) {
    auto answer = boost::json::parse(*line).as_object();
    const auto* answered = answer.if_contains("id");
    if (answered == nullptr || *answered != id) continue;
    if (auto* result = answer.if_contains("result")) return std::move(result->as_object());
    ADD_FAILURE() << method << ": " << *line;
    return {};
  }
  ADD_FAILURE() << method << " was not answered\n" << process_->errorText();
  return {};
}

boost::json::value Browser::evaluate(std::string_view expression) {
  auto outcome = call(
      "Runtime.evaluate",
      {{"expression", boost::json::string(expression)}, {"awaitPromise", true}, {"returnByValue", true}});
  if (outcome.contains("exceptionDetails")) {
    ADD_FAILURE() << expression << "\n" << boost::json::serialize(outcome.at("exceptionDetails"));
    return nullptr;
  }
  auto* result = outcome.if_contains("result");
  auto* value = result == nullptr ? nullptr : result->as_object().if_contains("value");
  return value == nullptr ? boost::json::value() : std::move(*value);
}

std::string Browser::text(std::string_view expression) {
  const auto value = evaluate(expression);
  EXPECT_TRUE(value.is_string()) << expression << " is " << boost::json::serialize(value);
  return value.is_string() ? std::string(value.as_string()) : std::string();
}

bool Browser::waitUntil(std::string_view expression, double seconds) {
  const auto check = "Boolean(" + std::string(expression) + ")";
  return eventually([&] { return evaluate(check) == true; }, seconds);
}

void Browser::saveScreenshot(const std::string& path) {
  const auto shot = call("Page.captureScreenshot", {{"format", "png"}});
  const auto png = decodeBase64(shot.at("data").as_string());
  ASSERT_TRUE(png.has_value());
  std::ofstream(path, std::ios::binary) << *png;
}

std::string literal(std::string_view text) { return boost::json::serialize(boost::json::string(text)); }

}  // namespace wyvlet::test
