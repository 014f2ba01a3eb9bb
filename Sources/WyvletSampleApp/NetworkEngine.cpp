#include "WyvletSampleApp/NetworkEngine.h"

#include <algorithm>
#include <memory>

#include "Support/Text.h"
#include "WyvletSampleApp/Backend.h"
#include "WyvletSampleApp/URLText.h"

namespace wyvlet::sample {
namespace {

constexpr double kMockSeconds = 0.004;

std::optional<std::string> mimeTypeOf(const std::map<std::string, std::string>& headers) {
  for (const auto& [name, value] : headers) {
    if (equalIgnoringCase(name, "Content-Type"))
      return std::string(trimmed(value.substr(0, value.find(';'))));
  }
  return {};
}

void setURL(TransferableNetworkRequest& record, const std::string& url) {
  record.url = url;
  const auto parts = parseURL(url);
  record.host = parts ? parts->host : "";
  record.path = parts ? parts->path : "";
}

}  // namespace

NetworkEngine::NetworkEngine(AppLoop& loop, const EnvironmentBook& environments, const RuleBook& rules,
                             Settings settings, Capture captured)
    : loop_(loop),
      environments_(environments),
      rules_(rules),
      settings_(settings),
      captured_(std::move(captured)) {}

void NetworkEngine::send(HTTPCall call, Completion completion) {
  Exchange exchange;
  exchange.completion = std::move(completion);
  exchange.startedAt = loop_.now();
  TransferableNetworkRequest& record = exchange.record;
  record.id = UUID::random();
  record.timestamp = loop_.wallTime();
  record.method = std::move(call.method);
  record.requestHeaders = std::move(call.headers);
  if (call.body) record.requestBody = Bytes{std::move(*call.body)};
  record.source = std::move(call.source);
  if (!call.screenName.empty()) record.screenName = std::move(call.screenName);

  std::string url = call.url;
  if (!call.verbatim) {
    url = environments_.mapped(url);
    if (const auto* rule = rules_.rewriteFor(url)) {
      if (auto parts = parseURL(url)) {
        parts->host = rule->replacementHost;
        url = parts->text();
      }
    }
  }
  setURL(record, url);
  if (url != call.url) {
    record.isEnvironmentRewritten = true;
    record.originalURL = call.url;
  }

  if (const auto* rule = rules_.mockFor(record.method, record.url)) {
    record.isMocked = true;
    record.statusCode = rule->mockStatusCode;
    record.responseHeaders = rule->mockResponseHeaders;
    record.responseBody = rule->mockResponseBody;
    finishAfter(kMockSeconds, std::move(exchange));
    return;
  }
  if (rules_.interceptFor(record.method, record.url) != nullptr) {
    record.isIntercepted = true;
    const std::string id = record.id.text();
    held_.push_back(std::move(exchange));
    loop_.after(settings_.holdSeconds, [this, id] { release(id); });
    return;
  }
  goOut(std::move(exchange));
}

void NetworkEngine::goOut(Exchange exchange) {
  TransferableNetworkRequest& record = exchange.record;
  const std::string body = record.requestBody ? record.requestBody->data : "";
  BackendResponse response =
      respond({record.method, record.url, record.requestHeaders, body, record.timestamp});
  record.statusCode = response.status;
  record.responseHeaders = std::move(response.headers);
  if (response.body) record.responseBody = Bytes{std::move(*response.body)};
  record.errorDescription = std::move(response.error);
  finishAfter(response.seconds * settings_.latencyFactor, std::move(exchange));
}

void NetworkEngine::finishAfter(double seconds, Exchange exchange) {
  ++inFlight_;
  exchange.record.mimeType = mimeTypeOf(exchange.record.responseHeaders);
  auto shared = std::make_shared<Exchange>(std::move(exchange));
  loop_.after(seconds, [this, shared] {
    --inFlight_;
    TransferableNetworkRequest& record = shared->record;
    record.duration = loop_.now() - shared->startedAt;
    const HTTPReply reply{record.statusCode, record.responseBody ? record.responseBody->data : "",
                          record.errorDescription};
    captured_(std::move(record));
    if (shared->completion) shared->completion(reply);
  });
}

std::vector<std::pair<UUID, std::string>> NetworkEngine::held() const {
  std::vector<std::pair<UUID, std::string>> calls;
  for (const Exchange& exchange : held_) {
    calls.emplace_back(exchange.record.id, exchange.record.method + " " + exchange.record.url);
  }
  return calls;
}

std::size_t NetworkEngine::release(std::string_view id) {
  const std::string wanted = upperCased(id);
  const auto firstReleased = std::stable_partition(held_.begin(), held_.end(), [&](const Exchange& exchange) {
    return !exchange.record.id.text().starts_with(wanted);
  });
  std::vector<Exchange> released(std::make_move_iterator(firstReleased),
                                 std::make_move_iterator(held_.end()));
  held_.erase(firstReleased, held_.end());
  for (Exchange& exchange : released) goOut(std::move(exchange));
  return released.size();
}

}  // namespace wyvlet::sample
