// Feeds the files named on the command line, and those in the folders named there, to a fuzz target.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
  // Named before it runs: a target that finds a fault aborts.
  std::printf("%s\n", file.filename().c_str());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  int files = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    if (!std::filesystem::is_directory(path)) {
      replay(path);
      ++files;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      replay(entry.path());
      ++files;
    }
  }
  std::printf("%d inputs\n", files);
  return files == 0 ? 1 : 0;  // an empty corpus proves nothing
}
