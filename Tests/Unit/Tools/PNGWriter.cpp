#include "Unit/Tools/PNGWriter.h"

#include <algorithm>
#include <array>

namespace wyvlet::test {
namespace {

constexpr std::array<std::uint32_t, 256> crcTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
    table[byte] = crc;
  }
  return table;
}

std::uint32_t crc32(std::string_view bytes) {
  static constexpr auto kTable = crcTable();
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) crc = (crc >> 8) ^ kTable[(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  return ~crc;
}

std::uint32_t adler32(std::string_view bytes) {
  std::uint32_t low = 1;
  std::uint32_t high = 0;
  for (const char byte : bytes) {
    low = (low + static_cast<unsigned char>(byte)) % 65521;
    high = (high + low) % 65521;
  }
  return high << 16 | low;
}

/// Where the pixels of one pass of an interlaced picture lie.
struct Pass {
  std::uint32_t left;
  std::uint32_t top;
  std::uint32_t stepX;
  std::uint32_t stepY;
};
constexpr Pass kWhole = {0, 0, 1, 1};
constexpr std::array<Pass, 7> kPasses = {
    {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}}};

void appendPass(std::string& out, const PNGFormat& format, const PNGSamples& samples, const Pass& pass) {
  if (pass.left >= format.width) return;
  for (std::uint32_t y = pass.top; y < format.height; y += pass.stepY) {
    out += '\0';  // the row is not filtered
    unsigned gathered = 0;
    int bits = 0;
    for (std::uint32_t x = pass.left; x < format.width; x += pass.stepX) {
      for (int channel = 0; channel < format.channels(); ++channel) {
        const unsigned sample = samples(x, y, channel);
        if (format.bitDepth == 16) {
          out += static_cast<char>(sample >> 8);
          out += static_cast<char>(sample & 0xFF);
          continue;
        }
        gathered = gathered << format.bitDepth | sample;
        bits += format.bitDepth;
        if (bits == 8) {
          out += static_cast<char>(gathered & 0xFF);
          gathered = 0;
          bits = 0;
        }
      }
    }
    if (bits > 0) out += static_cast<char>(gathered << (8 - bits));
  }
}

}  // namespace

int PNGFormat::channels() const {
  switch (colourType) {
    case 2: return 3;
    case 4: return 2;
    case 6: return 4;
    default: return 1;
  }
}

std::string bigEndian32(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::string pngChunk(std::string_view type, std::string_view data) {
  const std::string covered = std::string(type) + std::string(data);
  return bigEndian32(static_cast<std::uint32_t>(data.size())) + covered + bigEndian32(crc32(covered));
}

std::string pngHeader(const PNGFormat& format) {
  std::string data = bigEndian32(format.width) + bigEndian32(format.height);
  data += static_cast<char>(format.bitDepth);
  data += static_cast<char>(format.colourType);
  data += std::string(2, '\0');
  data += format.interlaced ? '\1' : '\0';
  return pngChunk("IHDR", data);
}

std::string storedZlibStream(std::string_view data) {
  constexpr std::size_t kMaxBlock = 65535;
  std::string stream = "\x78\x01";
  std::string_view rest = data;
  do {
    const auto block = rest.substr(0, kMaxBlock);
    rest.remove_prefix(block.size());
    const auto size = static_cast<unsigned>(block.size());
    stream += rest.empty() ? '\1' : '\0';
    for (const unsigned value : {size, ~size}) {
      stream += static_cast<char>(value & 0xFF);
      stream += static_cast<char>(value >> 8 & 0xFF);
    }
    stream += block;
  } while (!rest.empty());
  return stream + bigEndian32(adler32(data));
}

std::string writePNG(const PNGFormat& format, const PNGSamples& samples) {
  std::string rows;
  if (format.interlaced) {
    for (const Pass& pass : kPasses) appendPass(rows, format, samples, pass);
  } else {
    appendPass(rows, format, samples, kWhole);
  }
  std::string png(kPNGSignature);
  png += pngHeader(format);
  if (!format.palette.empty()) png += pngChunk("PLTE", format.palette);
  if (!format.transparency.empty()) png += pngChunk("tRNS", format.transparency);
  return png + pngChunk("IDAT", storedZlibStream(rows)) + pngChunk("IEND", "");
}

std::string plainPNG(std::uint32_t width, std::uint32_t height, std::uint8_t red, std::uint8_t green,
                     std::uint8_t blue) {
  const std::array<unsigned, 3> colour = {red, green, blue};
  return writePNG({.width = width, .height = height, .colourType = 2},
                  [&](std::uint32_t, std::uint32_t, int channel) {
                    return colour.at(static_cast<std::size_t>(channel));
                  });
}

}  // namespace wyvlet::test
