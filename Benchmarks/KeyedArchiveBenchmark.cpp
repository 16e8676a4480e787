// Writing and reading keyed archives of messages, beside libplist doing the same: the same bytes are read, and exactly
// the structure that they hold is written.

#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Foundation/KeyedArchive.h"

namespace {

using zn::Value;

/// Sixteen fields, as a stored message has.
class Message : public zn::Coding {
 public:
  static constexpr int kTextCount = 9;
  static constexpr const char* kTextKeys[kTextCount] = {
      "campaignID", "title", "subtitle", "body", "screenName", "deepLink", "category", "mediaFormat", "mediaURL"};

  const char* archivedClassName() const override { return "Message"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override {
    for (int i = 0; i < kTextCount; ++i) coder.encodeObject(texts[i], kTextKeys[i]);
    coder.encodeObject(payload, "payload");
    coder.encodeObject(screenData, "screenData");
    coder.encodeObject(receivedDate, "receivedDate");
    coder.encodeObject(expiry, "expiry");
    coder.encodeObject(clickedDate, "clickedDate");
    coder.encodeBool(isRead, "isRead");
    coder.encodeInt(priority, "priority");
  }
  static std::shared_ptr<zn::Coding> initWithCoder(zn::NSKeyedUnarchiver& coder) {
    auto message = std::make_shared<Message>();
    for (int i = 0; i < kTextCount; ++i) message->texts[i] = coder.decodeObjectForKey(kTextKeys[i]);
    message->payload = coder.decodeObjectForKey("payload");
    message->screenData = coder.decodeObjectForKey("screenData");
    message->receivedDate = coder.decodeObjectForKey("receivedDate");
    message->expiry = coder.decodeObjectForKey("expiry");
    message->clickedDate = coder.decodeObjectForKey("clickedDate");
    message->isRead = coder.decodeBoolForKey("isRead");
    message->priority = coder.decodeIntForKey("priority");
    return message;
  }

  Value texts[kTextCount], payload, screenData, receivedDate, expiry, clickedDate;
  bool isRead = false;
  std::int32_t priority = 0;
};

class Messages : public zn::Coding {
 public:
  const char* archivedClassName() const override { return "Messages"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override { coder.encodeObjects(messages, true, "messages"); }
  static std::shared_ptr<zn::Coding> initWithCoder(zn::NSKeyedUnarchiver& coder) {
    auto result = std::make_shared<Messages>();
    for (const auto& record : coder.decodeRecordsForKey("messages")) result->messages.push_back(record);
    return result;
  }

  std::vector<std::shared_ptr<const zn::Coding>> messages;
};

const zn::ArchivedClass kClasses[] = {{"Message", &Message::initWithCoder}, {"Messages", &Messages::initWithCoder}};

/// A payload of about 700 bytes of JSON; the message keeps one of its dictionaries in a field of its own, too.
std::shared_ptr<const Message> makeMessage(int number) {
  const std::string id = std::to_string(5000000 + number);
  const Value screenData = Value::dictionary({{"product", "sku-" + id},
                                              {"source", "push"},
                                              {"discount", number % 70},
                                              {"coupon", "WELCOME" + id},
                                              {"expires", 1700000000 + number}});
  const Value alert = Value::dictionary({{"title", "Offer number " + id + " ends today"},
                                         {"subtitle", "Only for you"},
                                         {"body", "Have a look at what we put aside for you, customer " + id + "."}});
  const Value aps = Value::dictionary({{"alert", alert},
                                       {"badge", 1},
                                       {"sound", "default"},
                                       {"category", "OFFERS"},
                                       {"mutable-content", 1},
                                       {"content-available", true}});
  const Value media = Value::dictionary({{"url", "https://media.example.com/campaigns/" + id + "/banner.jpg"},
                                         {"type", "image"},
                                         {"autoDownload", true}});
  auto message = std::make_shared<Message>();
  message->payload = Value::dictionary({{"aps", aps},
                                        {"media", media},
                                        {"screenData", screenData},
                                        {"campaign", "C-" + id},
                                        {"screenName", "ProductScreen"},
                                        {"deepLink", "shop://product/" + id + "?from=push"},
                                        {"tags", Value::array({"first", "second", number % 5})},
                                        {"ttl", 86400},
                                        {"sentAt", 1700000000.25 + number}})
                         .mutableCopy();
  const Value texts[] = {"C-" + id,     alert["title"],  alert["subtitle"],
                         alert["body"], "ProductScreen", message->payload["deepLink"],
                         "OFFERS",      "image",         media["url"]};
  std::copy(std::begin(texts), std::end(texts), message->texts);
  message->screenData = screenData;
  message->receivedDate = zn::Date{1700000000.5 + number};
  message->expiry = zn::Date{1710000000.0 + number};
  message->isRead = number % 3 == 0;
  message->priority = number % 10;
  return message;
}

std::shared_ptr<Messages> makeMessages(std::int64_t count) {
  auto result = std::make_shared<Messages>();
  for (int i = 0; i < count; ++i) result->messages.push_back(makeMessage(i));
  return result;
}

void writeArchive(benchmark::State& state) {
  const auto messages = makeMessages(state.range(0));
  std::size_t size = 0;
  for (auto _ : state) {
    const zn::Data bytes = zn::NSKeyedArchiver::archivedDataWithRootObject(*messages);
    size = bytes.size();
    benchmark::DoNotOptimize(bytes.data());
  }
  state.counters["bytes"] = static_cast<double>(size);
}

void writeWithLibplist(benchmark::State& state) {
  const zn::Data bytes = zn::NSKeyedArchiver::archivedDataWithRootObject(*makeMessages(state.range(0)));
  plist_t tree = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()), &tree);
  std::uint32_t size = 0;
  for (auto _ : state) {
    char* written = nullptr;
    plist_to_bin(tree, &written, &size);
    benchmark::DoNotOptimize(written);
    plist_to_bin_free(written);
  }
  plist_free(tree);
  state.counters["bytes"] = size;
}

/// Makes the records, and frees them.
void readArchive(benchmark::State& state) {
  const zn::Data bytes = zn::NSKeyedArchiver::archivedDataWithRootObject(*makeMessages(state.range(0)));
  for (auto _ : state) {
    const auto result = zn::NSKeyedUnarchiver::unarchiveObjectWithData(bytes, kClasses);
    if (!result.root || result.damaged) return state.SkipWithError("not read");
  }
}

/// Only parses, and frees the tree: making records of it would come on top.
void readWithLibplist(benchmark::State& state) {
  const zn::Data bytes = zn::NSKeyedArchiver::archivedDataWithRootObject(*makeMessages(state.range(0)));
  for (auto _ : state) {
    plist_t tree = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()), &tree);
    if (!tree) return state.SkipWithError("not read");
    plist_free(tree);
  }
}

BENCHMARK(writeArchive)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(writeWithLibplist)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(readArchive)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(readWithLibplist)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
