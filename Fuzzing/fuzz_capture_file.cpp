// What the Android bridge may have written, and the answers of every tool that reads it.

#include <boost/json.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Android/AndroidTools.h"
#include "Android/BridgeCommands.h"
#include "Android/CaptureFile.h"
#include "Support/Text.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

void requireAnswer(const std::string& answer) { require(!answer.empty() && isValidUTF8(answer)); }

/// Asks with a text out of the capture itself, so that the questions find something.
void ask(const boost::json::object* capture, std::string_view word) {
  const std::string text(word);
  for (const std::int64_t limit : {-1, 0, 1, 20}) {
    requireAnswer(AndroidTools::networkLogs(capture, limit, text));
    requireAnswer(AndroidTools::appLogs(capture, limit, text));
  }
  requireAnswer(AndroidTools::requestDetail(capture, text));
  requireAnswer(AndroidTools::assertRequest(capture, text, text));
  requireAnswer(AndroidTools::prefs(capture, text));
}

/// Any text below the value.
std::string_view firstText(const boost::json::value& value) {
  if (const auto* text = value.if_string()) return *text;
  if (const auto* array = value.if_array()) {
    for (const auto& element : *array) {
      if (const auto text = firstText(element); !text.empty()) return text;
    }
  }
  if (const auto* object = value.if_object()) {
    for (const auto& member : *object) {
      if (const auto text = firstText(member.value()); !text.empty()) return text;
    }
  }
  return "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto capture = parseCapture({reinterpret_cast<const char*>(data), size});
  AndroidTools::isLive(capture.get(), 1'700'000'000'000);
  requireAnswer(AndroidTools::status(capture.get()));
  requireAnswer(AndroidTools::networkLogs(capture.get(), 20, std::nullopt));
  requireAnswer(AndroidTools::appLogs(capture.get(), 20, std::nullopt));
  requireAnswer(AndroidTools::assertRequest(capture.get(), "", std::nullopt));
  requireAnswer(AndroidTools::prefs(capture.get(), std::nullopt));
  ask(capture.get(), "");
  if (!capture) return 0;
  for (const auto& member : *capture) ask(capture.get(), firstText(member.value()));
  requireAnswer(AndroidTools::formatRequestDetail(*capture));
  // The arguments of a tool are an object from outside as well.
  if (const auto rule = mockRuleFromArguments(*capture, "ID")) {
    requireAnswer(formatMockRuleAdded(*rule));
    require(parseCapture(boost::json::serialize(addMockRuleCommand(*rule))) != nullptr);
  }
  return 0;
}
