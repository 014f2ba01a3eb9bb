#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

/// What the benchmark drivers share: percentiles, and the row format that script/bench collects.
namespace wyvlet::bench {

/// The value below which `share` (0 to 1) of the samples lie.
inline double percentile(std::vector<double> samples, double share) {
  if (samples.empty()) return 0;
  std::sort(samples.begin(), samples.end());
  const auto index = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1) + 0.5);
  return samples[index];
}

/// One line of the table. `holds` says whether the bar was reached in this run.
inline void printRow(const std::string& work, const std::string& ours, const std::string& beside,
                     const std::string& ratio, const std::string& bar, bool holds) {
  std::printf("ROW\t%s\t%s\t%s\t%s\t%s\t%s\n", work.c_str(), ours.c_str(), beside.c_str(), ratio.c_str(),
              bar.c_str(), holds ? "yes" : "NO");
  std::fflush(stdout);
}

inline std::string number(double value, int decimals, const char* unit = "") {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f%s", decimals, value, unit);
  return text;
}

}  // namespace wyvlet::bench
