// What device triggers cost: an event that nothing waits for, a whole evaluation, saving, a showing, and a
// synchronisation, beside libplist and the bare disk.

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "Benchmarks/BareWrite.h"
#include "Benchmarks/BenchmarkDevice.h"
#include "Benchmarks/Libplist.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {
std::atomic<std::size_t> allocations{0};
}

// Out of line: the compiler would take the pair for a mismatch of malloc and delete.
__attribute__((noinline)) void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using zn::Value;

constexpr std::int64_t kFarFuture = 4070908800000;

/// Takes the requests and never answers.
class SilentTransport : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest&, std::function<void(Value)>) override { ++requests; }
  std::int64_t requests = 0;
};

Value comparison(const char* attribute, const char* is, const Value& value) {
  return Value::dictionary({{"attribute", attribute}, {"is", is}, {"value", value}});
}

Value fourTests() {
  return Value::dictionary(
      {{"filter",
        Value::dictionary({{"and", Value::array({comparison("price", "atLeast", 50),
                                                 comparison("category", "in", Value::array({"shoes", "bags"})),
                                                 comparison("currency", "equals", "EUR"),
                                                 comparison("brand", "startsWith", "Al")})}})}});
}

Value sentCampaign(std::int64_t number, const std::string& event, bool isTest) {
  return Value::dictionary({{"campaign_id", "campaign-" + std::to_string(number)},
                            {"trigger_event_name", event},
                            {"type", isTest ? "test" : "general"},
                            {"status", "active"},
                            {"expiry", kFarFuture},
                            {"max_times", -9090909},
                            {"priority", number % 7},
                            {"last_updated", number},
                            {"show_delay", 1500},
                            {"max_sync_delay", kFarFuture},
                            {"min_delay_between_notifications", 60000},
                            {"should_support_offline", true},
                            {"condition", fourTests()},
                            {"payload", zn::test::realisticPayload("campaign-" + std::to_string(number))}});
}

/// `count` campaigns of which ten wait for ADDED_TO_CART; only the last of these to be considered may be shown. As they
/// come from a server: the keys of records that are alike share their storage.
Value answerOf(std::int64_t count) {
  std::vector<Value> campaigns;
  for (std::int64_t i = 0; i < count; ++i) {
    const bool waits = i < 10;
    campaigns.push_back(sentCampaign(i, waits ? "ADDED_TO_CART" : "EVENT_" + std::to_string(i), waits && i > 0));
  }
  return *zn::parseJson(zn::jsonText(Value::array(std::move(campaigns))));
}

ZNDeviceTriggersDataManager& storeOf(std::int64_t count) {
  zn::test::benchmarkDevice();
  auto& store = *ZNDeviceTriggersDataManager::sharedInstance();
  store.setActiveDeviceTriggers(ZNDeviceTriggers::init());
  store.saveDeviceTriggerCampaigns(answerOf(count), true);
  return store;
}

Value trackedAttributes() {
  return Value::dictionary(
      {{"EVENT_ATTRS", Value::dictionary()},
       {"EVENT_ATTRS_CUST",
        Value::dictionary(
            {{"price", 79.9}, {"category", "shoes"}, {"currency", "EUR"}, {"brand", "Alpine"}, {"size", 42}})}});
}

void EventThatNothingWaitsFor(benchmark::State& state) {
  storeOf(state.range(0));
  const auto& facade = ZNMessaging::sharedInstance();
  const Value name = "APP_OPENED";
  const Value attributes = trackedAttributes();
  const std::size_t before = allocations.load();
  for (auto _ : state) facade->eventTrackedWithName(name, attributes);
  state.counters["allocations"] =
      static_cast<double>(allocations.load() - before) / static_cast<double>(state.iterations());
}

void EvaluateUpToTheSegmentRequest(benchmark::State& state) {
  storeOf(state.range(0));
  const auto transport = std::make_shared<SilentTransport>();
  ZNNetworkRequest::setTransport(transport);
  const auto& engine = ZNDeviceTriggersHandler::sharedInstance();
  const Value name = "ADDED_TO_CART";
  const Value attributes = trackedAttributes();
  for (auto _ : state) engine->checkPreconditionsForDeviceTriggerWithEvent(name, attributes);
  if (transport->requests != static_cast<std::int64_t>(state.iterations()))
    state.SkipWithError("no campaign was chosen");
}

void EncodeTriggers(benchmark::State& state) {
  const auto triggers = storeOf(state.range(0)).activeDeviceTriggers();
  for (auto _ : state) benchmark::DoNotOptimize(zn::NSKeyedArchiver::archivedDataWithRootObject(*triggers));
}

void EncodeTriggersWithLibplist(benchmark::State& state) {
  const auto triggers = storeOf(state.range(0)).activeDeviceTriggers();
  zn::test::writeSameWithLibplist(state, zn::NSKeyedArchiver::archivedDataWithRootObject(*triggers));
}

void SaveTriggers(benchmark::State& state) {
  auto& store = storeOf(state.range(0));
  for (auto _ : state) {
    if (!store.updateDeviceTriggersInPersistentStorage()) state.SkipWithError("the triggers were not saved");
  }
}

void writeSameBytes(benchmark::State& state, zn::test::BareWrite how) {
  const auto triggers = storeOf(state.range(0)).activeDeviceTriggers();
  zn::test::writeBare(state, zn::NSKeyedArchiver::archivedDataWithRootObject(*triggers), how);
}

void WriteSameTriggerBytes(benchmark::State& state) { writeSameBytes(state, zn::test::BareWrite::renamed); }

void WriteSameTriggerBytesSafely(benchmark::State& state) { writeSameBytes(state, zn::test::BareWrite::safely); }

/// What showing a notification costs the store: one more showing of one campaign is counted and saved, where all
/// campaigns have been shown before.
void CountShowingAndSave(benchmark::State& state) {
  auto& store = storeOf(state.range(0));
  const auto triggers = store.activeDeviceTriggers();
  const auto campaigns = triggers->deviceTriggers();
  triggers->update([&](ZNDeviceTriggers::Fields& fields) {
    zn::StatusList shown;
    for (const auto& campaign : *campaigns) {
      const auto status = ZNDeviceTriggerStatus::initWithDictionary(
          Value::dictionary({{"campaign_id", campaign->campaignID()}, {"expiry", campaign->expiry()}}));
      status->setNumberOfTimesShown(1);
      status->setLastShownTime(1699000000000);
      shown.push_back(status);
    }
    fields.deviceTriggerStatus = std::make_shared<const zn::StatusList>(std::move(shown));
  });
  const auto& one = *campaigns->at(campaigns->size() / 2);
  for (auto _ : state) store.updateCampaignShownForCampaign(one);
  const std::int64_t counted = triggers->statusForCampaign(one.campaignID())->numberOfTimesShown().integer();
  if (counted != 1 + static_cast<std::int64_t>(state.iterations()))
    state.SkipWithError("not every showing was counted");
}

/// What a synchronisation makes of campaigns that are stored already and came unchanged: it reads and compares them.
void ReadUnchangedCampaigns(benchmark::State& state) {
  zn::test::benchmarkDevice();
  const Value stored = answerOf(state.range(0));
  const Value answer = answerOf(state.range(0));
  zn::CampaignList known;
  for (const Value& each : stored.elements()) known.push_back(ZNDeviceTriggerCampaign::initWithDictionary(each));
  std::size_t kept = 0;
  for (auto _ : state) {
    auto next = known.begin();
    for (const Value& each : answer.elements()) {
      kept += ZNDeviceTriggerCampaign::initWithDictionary(each, *next) == *next;
      ++next;
    }
  }
  if (kept != known.size() * static_cast<std::size_t>(state.iterations())) state.SkipWithError("some were made anew");
}

/// A server's answer of as many campaigns as are stored, all known already, with the file.
void MergeAnswerAndSave(benchmark::State& state) {
  auto& store = storeOf(state.range(0));
  const Value answer = answerOf(state.range(0));
  for (auto _ : state) store.saveDeviceTriggerCampaigns(answer, true);
}

BENCHMARK(EventThatNothingWaitsFor)->Arg(1000)->Arg(10000);
BENCHMARK(EvaluateUpToTheSegmentRequest)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(EncodeTriggers)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(EncodeTriggersWithLibplist)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveTriggers)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(WriteSameTriggerBytes)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(WriteSameTriggerBytesSafely)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CountShowingAndSave)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ReadUnchangedCampaigns)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(MergeAnswerAndSave)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
