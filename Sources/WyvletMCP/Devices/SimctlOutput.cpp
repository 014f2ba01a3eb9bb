#include "Devices/SimctlOutput.h"

#include <boost/json/parser.hpp>
#include <boost/json/value.hpp>

namespace wyvlet {
namespace {

/// A warning holds few braces; the limit keeps an output of nothing but braces from being parsed
/// anew from each of them.
constexpr int kMaxAttempts = 1000;

/// The first JSON object of the text that has an object under "devices"; that inner object.
std::optional<boost::json::object> devicesOf(std::string_view text) {
  auto brace = text.find('{');
  for (int attempt = 0; attempt < kMaxAttempts && brace != std::string_view::npos; ++attempt) {
    boost::json::parser parser;
    boost::json::error_code error;
    const auto read = parser.write_some(text.data() + brace, text.size() - brace, error);
    if (!error) {
      auto value = parser.release();
      if (auto* object = value.if_object()) {
        auto* devices = object->if_contains("devices");
        if (devices != nullptr && devices->is_object()) return std::move(devices->get_object());
      }
    }
    brace = text.find('{', brace + (error ? 1 : read));
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> firstDeviceUDID(std::string_view simctlOutput) {
  const auto runtimes = devicesOf(simctlOutput);
  if (!runtimes) return std::nullopt;
  for (const auto& runtime : *runtimes) {
    const auto* devices = runtime.value().if_array();
    if (devices == nullptr) continue;
    for (const auto& device : *devices) {
      const auto* fields = device.if_object();
      const auto* udid = fields != nullptr ? fields->if_contains("udid") : nullptr;
      if (udid != nullptr && udid->is_string() && !udid->get_string().empty()) {
        return std::string(std::string_view(udid->get_string()));
      }
    }
  }
  return std::nullopt;
}

}  // namespace wyvlet
