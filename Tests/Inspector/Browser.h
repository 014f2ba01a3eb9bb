#pragma once

#include <boost/json.hpp>
#include <memory>
#include <string>
#include <string_view>

#include "EndToEnd/Harness.h"

namespace wyvlet::test {

/// A headless browser with one page, steered over its debugging pipe.
class Browser {
 public:
  /// Starts the browser and opens `url`; fails the test when that does not succeed.
  explicit Browser(std::string_view url);
  ~Browser();
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;

  /// The value of a JavaScript expression on the page; a promise's outcome. Fails the test when it throws.
  boost::json::value evaluate(std::string_view expression);
  std::string text(std::string_view expression);

  /// Waits until the expression is true; false when it does not become so in time.
  bool waitUntil(std::string_view expression, double seconds = kPatience);

  /// Saves a picture of the page.
  void saveScreenshot(const std::string& path);

 private:
  boost::json::object call(std::string_view method, boost::json::object params);

  std::unique_ptr<Process> process_;
  std::string session_;
  int nextId_ = 1;
};

/// A JavaScript string literal.
std::string literal(std::string_view text);

}  // namespace wyvlet::test
