// The file of events that wait to be sent, as an earlier process left it, and a server that takes and refuses them as
// it likes before it takes all: each event is taken once, in order, or set aside once; nothing stays.

#include <algorithm>
#include <fstream>

#include "Fuzz/FuzzDevice.h"
#include "ZNAnalytics/EventQueue_p.h"
#include "ZNAnalytics/EventSender_p.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using Lines = std::vector<std::string>;
using zn::fuzz::require;

/// One that had no id has got one.
std::string textOf(zn::Value event) {
  if (event.isDictionary()) event.removeValidObjectForKey("id");
  return zn::jsonText(event);
}

Lines eventsIn(std::string_view text) {
  Lines all;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (const auto event = zn::parseJson(text.substr(0, end))) all.push_back(textOf(*event));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return all;
}

Lines takeLines(const std::string& path) {
  Lines all;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) all.push_back(textOf(*zn::parseJson(line)));
  file.close();
  std::remove(path.c_str());
  return all;
}

/// How the server answers the first requests; later ones are taken.
int statusOf(std::span<const std::uint8_t> bytes, std::size_t request) {
  constexpr std::size_t kTroubled = 4;
  constexpr int kStatuses[] = {200, 413, 400, 429, 503, 0, 401, 422};
  if (request >= kTroubled || bytes.empty()) return 200;
  return kStatuses[(bytes[request * 7 % bytes.size()] + request) % std::size(kStatuses)];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string folder = zn::fuzz::device().directories->library() + "/ZNAnalytics";
  static const std::string path = folder + "/Events.jsonl";
  const std::span<const std::uint8_t> bytes(data, size);
  zn::createDirectoryAtPath(folder, true);
  zn::fuzz::writeFile(path, bytes);

  Lines taken;
  std::size_t requests = 0;
  zn::fuzz::Server::answerWith([&](const ZNNetworkRequest& request) {
    const int status = statusOf(bytes, requests++);
    if (status != 200) return zn::NetworkAnswer{zn::nil, status, 1};
    for (const zn::Value& event : request.requestBody()["events"].elements()) taken.push_back(textOf(event));
    return zn::NetworkAnswer{zn::Value::dictionary(), status, 0};
  });
  const auto queue = std::make_shared<zn::EventQueue>();
  std::make_shared<zn::EventSender>(queue)->flush(nullptr);
  constexpr double kAllPausesTogether = 100'000;
  zn::fuzz::device().advance(kAllPausesTogether);
  require(queue->bytes() == 0 && queue->read(1, 1).events.isEmpty());

  const Lines expected = eventsIn(zn::fuzz::textOf(bytes));
  const Lines refused = takeLines(path + ".refused");
  auto next = refused.begin();
  std::size_t used = 0;
  for (const std::string& event : expected) {  // both lists keep the order
    if (used < taken.size() && taken[used] == event) {
      ++used;
    } else {
      require(next != refused.end() && *next++ == event);
    }
  }
  require(used == taken.size() && next == refused.end());
  return 0;
}
