#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "Unit/SampleApp/RunningApp.h"
#include "WyvletSampleApp/ControlServer.h"

namespace wyvlet::sample {
namespace {

TEST(ControlServer, AnswersEveryLineInItsOrder) {
  RunningApp app;
  ControlPeer control(app.controlPath());
  ASSERT_TRUE(control.isConnected());
  control.write("environment\nlinks\r\nnothing\n");
  EXPECT_EQ(control.line(), "ok Production");
  EXPECT_EQ(control.line(), "ok 0");
  EXPECT_EQ(control.line(), "error unknown command nothing");
}

TEST(ControlServer, ALineMayComeByteByByte) {
  RunningApp app;
  ControlPeer control(app.controlPath());
  for (char c : std::string("environment\n")) control.write(std::string(1, c));
  EXPECT_EQ(control.line(), "ok Production");
}

TEST(ControlServer, ASlowCommandHoldsUpNobodyElse) {
  Options options;
  options.latencyFactor = 1000;
  RunningApp app(options);
  ControlPeer patient(app.controlPath());
  ControlPeer quick(app.controlPath());
  EXPECT_EQ(quick.says("tap-label Search"), "ok tapped Button \"Search\"");
  patient.write("settle 20\n");
  EXPECT_EQ(quick.says("links"), "ok 0");
}

TEST(ControlServer, AnOverlongLineEndsTheConnection) {
  RunningApp app;
  ControlPeer control(app.controlPath());
  const std::string chunk(64UL * 1024, 'x');
  while (control.tryToWrite(chunk)) {
  }
  EXPECT_EQ(control.line(), "");
  EXPECT_EQ(ControlPeer(app.controlPath()).says("links"), "ok 0");
}

TEST(ControlServer, QuitEndsTheAppAfterItsAnswer) {
  RunningApp app;
  ControlPeer control(app.controlPath());
  EXPECT_EQ(control.says("quit"), "ok");
  app.waitForEnd();
}

TEST(ControlServer, OnlyTheUserMayConnectAndTheSocketGoesWithTheApp) {
  TemporaryDirectory directory;
  const std::string path = directory.file("control.sock");
  AppLoop loop;
  {
    World world;
    PerformanceMeter meter(world.loop);
    CommandHandler commands(world.app, world.probe, meter, 1);
    CompanionServer companion(world.loop, world.probe, world.app, commands, MarkerFile(""));
    ControlHandler handler(world.loop, world.app, world.probe, world.network, companion, {});
    ControlServer server(world.loop, handler);
    ASSERT_EQ(server.listen(path), "");
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

class ControlServerPathTest : public testing::Test {
 protected:
  std::string listens(const std::string& path) {
    ControlServer server(world.loop, handler);
    return server.listen(path);
  }

  World world;
  PerformanceMeter meter{world.loop};
  CommandHandler commands{world.app, world.probe, meter, 1};
  CompanionServer companion{world.loop, world.probe, world.app, commands, MarkerFile("")};
  ControlHandler handler{world.loop, world.app, world.probe, world.network, companion, {}};
  TemporaryDirectory directory;
};

TEST_F(ControlServerPathTest, AnAbandonedSocketIsReplaced) {
  const std::string path = directory.file("control.sock");
  const int abandoned = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  ASSERT_EQ(::bind(abandoned, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(abandoned);
  EXPECT_EQ(listens(path), "");
}

TEST_F(ControlServerPathTest, ASocketInUseIsLeftAlone) {
  RunningApp app;
  EXPECT_EQ(listens(app.controlPath()), "bind " + app.controlPath() + ": Address already in use");
  EXPECT_EQ(ControlPeer(app.controlPath()).says("links"), "ok 0");
}

TEST_F(ControlServerPathTest, AFileThatIsNoSocketIsLeftAlone) {
  const std::string path = directory.file("precious");
  std::ofstream(path) << "data";
  EXPECT_NE(listens(path), "");
  EXPECT_EQ(std::filesystem::file_size(path), 4U);
}

TEST_F(ControlServerPathTest, AnImpossiblePathIsRefused) {
  EXPECT_EQ(listens(""), "the control path is empty or too long: ");
  const std::string path(200, 'x');
  EXPECT_EQ(listens(path), "the control path is empty or too long: " + path);
}

}  // namespace
}  // namespace wyvlet::sample
