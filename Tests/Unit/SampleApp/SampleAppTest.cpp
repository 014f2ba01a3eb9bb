#include <gtest/gtest.h>

#include "Unit/SampleApp/RunningApp.h"
#include "WyvletSampleApp/SampleApp.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::sample {
namespace {

TEST(SampleApp, AWholeBookingIsSeenByAServer) {
  RunningApp app;
  Peer server(app.port());
  server.sync();
  ControlPeer user(app.controlPath());

  EXPECT_EQ(user.says("tap-id toField"), "ok tapped TextField \"To\"");
  server.sends("command.typeText", R"({"text":"Faro"})");
  EXPECT_TRUE(server.next<InputResult>("response.typeText").success);
  EXPECT_EQ(user.says("tap-label Search"), "ok tapped Button \"Search\"");
  EXPECT_EQ(user.says("settle"), "ok");
  EXPECT_EQ(user.says("tap-id fareHB101"), "ok tapped Button \"HB101 06:15-09:20 €46.50\"");
  EXPECT_EQ(user.says("settle"), "ok");
  EXPECT_EQ(user.says("tap-label Confirm Booking"), "ok tapped Button \"Confirm Booking\"");
  EXPECT_EQ(user.says("settle"), "ok");

  server.sends("command.screenText");
  bool searched = false;
  bool booked = false;
  bool created = false;
  for (Message message = server.next(); message.type != "response.screenText"; message = server.next()) {
    ASSERT_FALSE(message.type.empty());
    if (message.type == "event.httpRequest") {
      const auto request = decodeRecord<TransferableNetworkRequest>(message.payload);
      ASSERT_TRUE(request);
      searched =
          searched || (request->path == "/v1/search" && request->url.find("to=Faro") != std::string::npos);
      booked = booked || (request->path == "/v1/bookings" && request->statusCode == 201);
    } else if (message.type == "event.log") {
      const auto entry = decodeRecord<TransferableLogEntry>(message.payload);
      ASSERT_TRUE(entry);
      created = created || (entry->message.starts_with("booking_created {") &&
                            entry->category == "Analytics" && entry->level == "INFO");
    }
  }
  EXPECT_TRUE(searched);
  EXPECT_TRUE(booked);
  EXPECT_TRUE(created);
}

TEST(SampleApp, AMockedFailureIsSeenOnTheScreen) {
  RunningApp app;
  Peer server(app.port());
  server.sync();
  server.sends("command.addMockRule",
               R"({"urlPattern":"/v1/bookings","statusCode":500,"responseBody":"{}","httpMethod":"POST"})");
  server.sync();
  ControlPeer user(app.controlPath());
  EXPECT_EQ(user.says("deep-link harbor://booking/HB101"), "ok Confirm Booking Details");
  EXPECT_EQ(user.says("settle"), "ok");
  EXPECT_EQ(user.says("tap-id confirmButton"), "ok tapped Button \"Confirm Booking\"");
  EXPECT_EQ(user.says("settle"), "ok");
  server.sends("command.findElement", R"json({"text":"Booking failed (500)","exact":false})json");
  const auto found = server.next<FindResponse>("response.findElement");
  ASSERT_EQ(found.results.size(), 1U);
  EXPECT_EQ(found.results[0].type, "Alert");
}

TEST(SampleApp, TheSameScreenIsTheSamePicture) {
  RunningApp app;
  Peer server(app.port());
  server.sends("command.requestScreenshot");
  const auto first = server.next<ScreenshotResponse>("response.screenshot");
  server.sends("command.showOverlay", R"({"category":"data"})");
  server.sends("command.requestScreenshot");
  const auto second = server.next<ScreenshotResponse>("response.screenshot");
  EXPECT_EQ(first, second);
  ControlPeer user(app.controlPath());
  EXPECT_EQ(user.says("tap-label Profile"), "ok tapped Button \"Profile\"");
  server.sends("command.requestScreenshot");
  EXPECT_NE(server.next<ScreenshotResponse>("response.screenshot").base64PNG, first.base64PNG);
}

TEST(SampleApp, StartingFailsWithAReason) {
  TemporaryDirectory directory;
  Options options;
  options.port = 0;
  options.announce = false;
  options.marker = "";
  options.control = directory.file("missing") + "/control.sock";
  SampleApp app(options);
  EXPECT_EQ(app.start(), "bind " + options.control + ": No such file or directory");
}

TEST(SampleApp, AnAppThatCannotListenForServersTakesNoCommands) {
  const auto other = CompanionListener::listen(0);
  ASSERT_TRUE(other);
  TemporaryDirectory directory;
  Options options;
  options.port = (*other)->port();
  options.announce = false;
  options.marker = "";
  options.control = directory.file("control.sock");
  SampleApp app(options);
  EXPECT_NE(app.start(), "");
  // A command taken now would never be carried out, and whoever sent it would wait for ever.
  EXPECT_FALSE(std::filesystem::exists(options.control));
}

}  // namespace
}  // namespace wyvlet::sample
