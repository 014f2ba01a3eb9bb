#include "WyvletSampleApp/PriceTicker.h"

#include <fmt/format.h>

#include "WyvletSampleApp/TravelData.h"

namespace wyvlet::sample {
namespace {

constexpr double kTickSeconds = 2;

}  // namespace

void PriceTicker::open() {
  connection_ = probe_.openSocket("wss://ticker.harbor.travel/v1/prices");
  probe_.socketFrame(connection_, "Sent", "Text", R"({"op":"subscribe","channel":"prices"})");
  probe_.socketFrame(connection_, "Received", "Text", R"({"op":"subscribed","channel":"prices"})");
  probe_.socketFrame(connection_, "Received", "Ping", std::string("\x01\x9f", 2));
}

void PriceTicker::setVisible(bool visible) {
  if (visible == visible_) return;
  visible_ = visible;
  ++generation_;
  if (visible_) loop_.after(kTickSeconds, [this, generation = generation_] { tick(generation); });
}

void PriceTicker::tick(std::uint64_t generation) {
  if (generation != generation_) return;
  ++sequence_;
  const std::int64_t cents = 4000 + static_cast<std::int64_t>(sequence_ * 37 % 19) * 25;
  probe_.socketFrame(connection_, "Received", "Text",
                     fmt::format(R"({{"seq":{},"fare":"HB101","price":{}}})", sequence_, amountText(cents)));
  loop_.after(kTickSeconds, [this, generation] { tick(generation); });
}

}  // namespace wyvlet::sample
