#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Support/Files.h"

namespace wyvlet {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kPlenty = 1024 * 1024;

class Files : public ::testing::Test {
 protected:
  Files() {
    std::string pattern = (fs::temp_directory_path() / "wyvlet-files-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~Files() override { fs::remove_all(folder_); }

  std::string at(const std::string& name) const { return folder_ + "/" + name; }

  std::string writePlainly(const std::string& name, const std::string& bytes) {
    std::ofstream(at(name), std::ios::binary) << bytes;
    return at(name);
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder_))
      found.push_back(entry.path().filename().string());
    return found;
  }

  std::string folder_;
};

TEST_F(Files, AreReadWhole) {
  for (const std::size_t size : {0U, 1U, 4096U, 65535U, 65536U, 65537U, 300'000U}) {
    std::string bytes(size, 'x');
    if (!bytes.empty()) bytes.front() = '\0';
    const auto contents = readFile(writePlainly("file", bytes), kPlenty);
    ASSERT_TRUE(contents);
    EXPECT_EQ(contents->bytes, bytes);
    EXPECT_EQ(contents->stamp.size, size);
    EXPECT_TRUE(contents->steady);
  }
}

TEST_F(Files, AreReadUpToTheLimitOnly) {
  const auto path = writePlainly("file", "12345");
  EXPECT_TRUE(readFile(path, 6));
  EXPECT_TRUE(readFile(path, 5));
  EXPECT_FALSE(readFile(path, 4));
}

TEST_F(Files, ThatAreNotThereGiveNothing) {
  EXPECT_FALSE(readFile(at("missing"), kPlenty));
  EXPECT_FALSE(fileStamp(at("missing")));
}

TEST_F(Files, ThatAreNoRegularFilesAreNotWaitedFor) {
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  EXPECT_FALSE(readFile(at("pipe"), kPlenty));
  EXPECT_FALSE(fileStamp(at("pipe")));
  EXPECT_FALSE(readFile(folder_, kPlenty));
  EXPECT_FALSE(readFile("/dev/zero", kPlenty));
}

TEST_F(Files, BehindALinkAreRead) {
  fs::create_symlink(writePlainly("file", "text"), at("link"));
  EXPECT_EQ(readFile(at("link"), kPlenty)->bytes, "text");
}

TEST_F(Files, KeepTheirStampUntilTheyChange) {
  const auto path = writePlainly("file", "text");
  const auto stamp = fileStamp(path);
  ASSERT_TRUE(stamp);
  EXPECT_EQ(fileStamp(path), stamp);
  EXPECT_EQ(readFile(path, kPlenty)->stamp, stamp);
  writePlainly("file", "other text");
  EXPECT_NE(fileStamp(path), stamp);
}

TEST_F(Files, ReplacedByOneOfTheSameSizeAndTimeHaveAnotherStamp) {
  const auto path = writePlainly("file", "one");
  const auto stamp = fileStamp(path);
  const fs::file_time_type modified = fs::last_write_time(path);
  writePlainly("other", "two");
  fs::rename(at("other"), path);
  fs::last_write_time(path, modified);
  const auto later = fileStamp(path);
  ASSERT_TRUE(stamp && later);
  EXPECT_EQ(later->modifiedNanoseconds, stamp->modifiedNanoseconds);
  EXPECT_EQ(later->size, stamp->size);
  EXPECT_NE(later, stamp);
}

TEST_F(Files, AreWrittenInFoldersMadeForThem) {
  const auto path = at("a/b/c.json");
  EXPECT_TRUE(writeFileAtomically(path, "text"));
  EXPECT_EQ(readFile(path, kPlenty)->bytes, "text");
}

TEST_F(Files, AreReplacedWithoutLeavingAnythingBehind) {
  const auto path = writePlainly("file", "a longer earlier text");
  EXPECT_TRUE(writeFileAtomically(path, "text"));
  EXPECT_TRUE(writeFileAtomically(path, ""));
  EXPECT_EQ(readFile(path, kPlenty)->bytes, "");
  EXPECT_THAT(names(), ::testing::ElementsAre("file"));
}

TEST_F(Files, OpenInAReaderStayWhatTheyWereWhenReplaced) {
  const auto path = writePlainly("file", "earlier");
  std::ifstream reader(path);
  EXPECT_TRUE(writeFileAtomically(path, "later"));
  std::string read;
  std::getline(reader, read);
  EXPECT_EQ(read, "earlier");
}

TEST_F(Files, ThatCannotBeWrittenStayAsTheyAre) {
  writePlainly("file", "text");
  EXPECT_FALSE(writeFileAtomically(at("file/below"), "other"));
  fs::create_directories(at("folder/full"));
  EXPECT_FALSE(writeFileAtomically(at("folder"), "other"));
  EXPECT_EQ(readFile(at("file"), kPlenty)->bytes, "text");
  EXPECT_THAT(names(), ::testing::UnorderedElementsAre("file", "folder"));
}

TEST_F(Files, AreWrittenToTheCurrentFolderByABareName) {
  const auto earlier = fs::current_path();
  fs::current_path(folder_);
  EXPECT_TRUE(writeFileAtomically("bare", "text"));
  fs::current_path(earlier);
  EXPECT_THAT(names(), ::testing::ElementsAre("bare"));
}

}  // namespace
}  // namespace wyvlet
