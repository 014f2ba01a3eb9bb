#include "WyvletSampleApp/Options.h"

#include <charconv>
#include <optional>
#include <system_error>

namespace wyvlet::sample {
namespace {

template <class Number>
bool read(std::string_view text, Number least, Number most, Number& into) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !(value >= least) || !(value <= most))
    return false;
  into = value;
  return true;
}

/// Sets the option `name` from its value; false when the value does not fit, nothing when there is no
/// such option.
std::optional<bool> set(Options& options, std::string_view name, const std::string& value) {
  constexpr double kMostSeconds = 86400;
  constexpr double kMostFactor = 1000;
  if (name == "--port") return read<std::uint16_t>(value, 0, 65535, options.port);
  if (name == "--hold-seconds") return read(value, 0.0, kMostSeconds, options.holdSeconds);
  if (name == "--latency") return read(value, 0.0, kMostFactor, options.latencyFactor);
  if (name == "--scale") return read(value, 1, 3, options.scale);
  std::string* text = name == "--name"        ? &options.name
                      : name == "--marker"    ? &options.marker
                      : name == "--control"   ? &options.control
                      : name == "--bundle-id" ? &options.bundleId
                      : name == "--crash-dir" ? &options.crashDirectory
                                              : nullptr;
  if (text == nullptr) return {};
  *text = value;
  return true;
}

}  // namespace

Result<Options> parseOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    if (name == "--help" || name == "-h") {
      options.help = true;
    } else if (name == "--no-announce") {
      options.announce = false;
    } else if (name == "--no-marker") {
      options.marker.clear();
    } else {
      const bool hasValue = i + 1 < arguments.size();
      const auto known = set(options, name, hasValue ? arguments[i + 1] : "");
      if (!known) return Failure{"unknown option " + name};
      if (!hasValue) return Failure{name + " needs a value"};
      if (!*known) return Failure{"bad value for " + name + ": " + arguments[i + 1]};
      ++i;
    }
  }
  return options;
}

std::string_view usageText() {
  return "usage: WyvletSampleApp [OPTIONS]\n"
         "  --port N           listen for servers on this port (54321; 0 takes a free one)\n"
         "  --no-announce      do not announce the app by DNS-SD; listen on 127.0.0.1 only\n"
         "  --name NAME        the name to announce (Harbor Travel)\n"
         "  --marker PATH      the file that says that the app listens (/tmp/wyvletprobe_ready)\n"
         "  --no-marker        no such file\n"
         "  --control PATH     the socket of the control channel (a fresh one in a temporary directory)\n"
         "  --bundle-id ID     the app's bundle identifier (com.harbor.travel)\n"
         "  --crash-dir DIR    where a crash report goes (/tmp)\n"
         "  --hold-seconds S   how long an intercept rule holds a call (30)\n"
         "  --latency F        stretches the backend's answering times (1)\n"
         "  --scale N          pixels of a screenshot to a point, 1 to 3 (1)\n"
         "Prints \"ready port=N control=PATH\" when it listens.\n";
}

}  // namespace wyvlet::sample
