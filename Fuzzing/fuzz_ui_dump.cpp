// A screen dump as an Android device may write it, and the answers made of it.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Android/AndroidCapture.h"
#include "Android/UIDump.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

std::size_t count(std::string_view text, std::string_view part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size()))
    ++found;
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view xml(reinterpret_cast<const char*>(data), size);
  const auto nodes = parseUIDump(xml);
  require(nodes.size() <= count(xml, "<node "));
  require(std::none_of(nodes.begin(), nodes.end(), [](const UINode& node) { return node.label.empty(); }));

  const auto html = convertUIXMLToHTML(xml);
  require(html == formatUIHTML(nodes));
  require(html.starts_with("<screen platform=\"android\">\n") && html.ends_with("\n</screen>"));
  require(count(html, " center=\"") >= nodes.size());

  formatUIText(nodes);
  formatUIMatches(nodes, "", false);
  for (std::size_t i = 0; i < std::min<std::size_t>(nodes.size(), 4); ++i) {
    const auto& node = nodes[i];
    const auto found = formatUIMatches(nodes, node.label, true);
    require(found.find("\n  " + node.type + " \"" + node.label + "\" at (") != std::string::npos);
  }
  return 0;
}
