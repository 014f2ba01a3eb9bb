// A kettle that an agent can look at: serveAgents() is all that a program needs for that.
#include <WyvletShared/CompanionConnection.h>
#include <WyvletShared/FullSync.h>
#include <WyvletShared/Responses.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>

using namespace wyvlet;

std::atomic<int> celsius = 20;

void serveAgents(CompanionListener& listener) {
  using Type = CompanionMessageType;
  const auto send = [](CompanionConnection& agent, Type type, const auto& record) {
    agent.send(CompanionMessage::make(type, record, DateEpoch::Unix1970));
  };
  while (const auto agent = listener.accept()) {  // one agent after the other
    LenientSyncPayload state;
    state.appName = "Kettle";
    state.currentScreen = "Kitchen";
    state.userDefaultsEntries = {{{"1", "target", "100", "Int"}}};
    send(*agent, Type::syncFull, state);
    while (const auto message = agent->receive()) {
      if (!message->registered || message->registered->type != Type::commandScreenText) continue;
      send(*agent, Type::responseScreenText,
           ScreenTextResponse{"Kitchen", {"Water", std::to_string(celsius) + " °C"}});
    }
  }
}

int main() {
  const auto listener = CompanionListener::listen(kDirectPort);
  if (!listener) return std::fprintf(stderr, "kettle: %s\n", listener.reason().c_str()), 1;
  std::thread(serveAgents, std::ref(**listener)).detach();
  for (;; celsius = celsius < 100 ? celsius + 1 : 20) std::this_thread::sleep_for(std::chrono::seconds(1));
}
