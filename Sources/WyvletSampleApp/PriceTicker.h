#pragma once

#include <cstdint>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/Probe.h"

namespace wyvlet::sample {

/// The app's WebSocket: live prices, subscribed to at launch and flowing while crossings are on the
/// screen. Loop thread only; loop and probe must outlive it.
class PriceTicker {
 public:
  PriceTicker(AppLoop& loop, Probe& probe) : loop_(loop), probe_(probe) {}

  void open();
  void setVisible(bool visible);

 private:
  void tick(std::uint64_t generation);

  AppLoop& loop_;
  Probe& probe_;
  UUID connection_;
  bool visible_ = false;
  std::uint64_t generation_ = 0;  // tells a timer of an earlier visit that it is over
  std::uint64_t sequence_ = 0;
};

}  // namespace wyvlet::sample
