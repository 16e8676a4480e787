// What the inbox costs: encoding, saving, loading, a click, a merge, a synchronisation and start-up, beside libplist,
// nlohmann's JSON and the bare disk.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "Benchmarks/BareWrite.h"
#include "Benchmarks/BenchmarkDevice.h"
#include "Benchmarks/Libplist.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;

zn::test::TestDevice& device() { return zn::test::benchmarkDevice(); }

std::shared_ptr<ZNInboxModel> clickedEntry(const std::string& campaign, double received) {
  auto entry = ZNInboxModel::initWithNotificationPayload(zn::test::realisticPayload(campaign, received));
  entry->updateClickedDate();  // gives it a clicked date and a shared "zintar" dictionary, as real inboxes have them
  return entry;
}

zn::InboxListPtr entries(std::int64_t count, const char* prefix = "campaign-") {
  zn::InboxList list;
  for (std::int64_t i = 0; i < count; ++i) {
    list.push_back(clickedEntry(prefix + std::to_string(i), 1699000000 - static_cast<double>(i)));
  }
  return std::make_shared<const zn::InboxList>(std::move(list));
}

std::shared_ptr<ZNInboxData> inboxOf(std::int64_t count) {
  device();
  auto data = std::make_shared<ZNInboxData>();
  data->setInboxMessages(entries(count));
  data->setLastUpdatedFromServerSync(zn::Date{1699000000});
  return data;
}

void EncodeInbox(benchmark::State& state) {
  const auto data = inboxOf(state.range(0));
  std::size_t bytes = 0;
  for (auto _ : state) {
    const zn::Data archive = zn::NSKeyedArchiver::archivedDataWithRootObject(*data);
    bytes = archive.size();
    benchmark::DoNotOptimize(archive.data());
  }
  state.counters["bytes"] = static_cast<double>(bytes);
  state.SetComplexityN(state.range(0));
}

void EncodeSameWithLibplist(benchmark::State& state) {
  zn::test::writeSameWithLibplist(state, zn::NSKeyedArchiver::archivedDataWithRootObject(*inboxOf(state.range(0))));
  state.SetComplexityN(state.range(0));
}

void LoadInbox(benchmark::State& state) {
  const zn::Data archive = zn::NSKeyedArchiver::archivedDataWithRootObject(*inboxOf(state.range(0)));
  for (auto _ : state) {
    const auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithData(archive, ZNInboxData::archivedClasses());
    if (!read.root || read.damaged) state.SkipWithError("the archive was not read");
  }
  state.SetComplexityN(state.range(0));
}

void ParseSameWithLibplist(benchmark::State& state) {
  zn::test::parseWithLibplist(state, zn::NSKeyedArchiver::archivedDataWithRootObject(*inboxOf(state.range(0))));
  state.SetComplexityN(state.range(0));
}

std::shared_ptr<ZNInboxHandler> storeOf(std::int64_t count) {
  device();
  auto store = std::make_shared<ZNInboxHandler>();
  store->setInboxData(inboxOf(count));
  return store;
}

void SaveInbox(benchmark::State& state) {
  const auto store = storeOf(state.range(0));
  for (auto _ : state) {
    if (!store->updateInboxStorage()) state.SkipWithError("the inbox was not saved");
  }
}

void writeSameBytes(benchmark::State& state, zn::test::BareWrite how) {
  zn::test::writeBare(state, zn::NSKeyedArchiver::archivedDataWithRootObject(*inboxOf(state.range(0))), how);
}

void WriteSameBytes(benchmark::State& state) { writeSameBytes(state, zn::test::BareWrite::renamed); }

void WriteSameBytesSafely(benchmark::State& state) { writeSameBytes(state, zn::test::BareWrite::safely); }

/// As they come from a server or an extension: the keys of records that are alike share their storage.
Value received(const std::vector<Value>& payloads) { return *zn::parseJson(zn::jsonText(Value::array(payloads))); }

void clickOnStoredPush(benchmark::State& state, const std::shared_ptr<ZNInboxHandler>& store) {
  const Value payload = zn::test::realisticPayload("campaign-5");
  for (auto _ : state) store->updateClickedNotificationInStorageWithPayload(payload);
  state.SetComplexityN(state.range(0));
}

void ClickOnStoredPush(benchmark::State& state) { clickOnStoredPush(state, storeOf(state.range(0))); }

struct Observer final : zn::InboxObserver {
  void inboxChanged(const zn::InboxChange& change) override { reads += change.read.size(); }
  std::size_t reads = 0;
};

/// An inbox that is observed has to find out what each click changed.
void ClickOnStoredPushObserved(benchmark::State& state) {
  const auto store = storeOf(state.range(0));
  const auto observer = std::make_shared<Observer>();
  store->addObserver(observer);
  clickOnStoredPush(state, store);
}

/// That alone, and telling it: one entry becomes read, without a save.
void ObserveOneRead(benchmark::State& state) {
  const auto store = storeOf(state.range(0));
  const auto observer = std::make_shared<Observer>();
  const auto noteChange = [&] { store->setInboxData(store->inboxData()); };
  const auto entry = (*store->getAllNotificationModelObjs())[5];
  store->addObserver(observer);
  for (auto _ : state) {
    state.PauseTiming();
    entry->setIsRead(false);
    noteChange();
    state.ResumeTiming();
    entry->setIsRead(true);
    noteChange();
    device().device().runPending();
  }
  if (observer->reads != static_cast<std::size_t>(state.iterations())) state.SkipWithError("not all was told");
  state.SetComplexityN(state.range(0));
}

void CountUnread(benchmark::State& state) {
  const auto store = storeOf(state.range(0));
  for (const auto& entry : *store->getAllNotificationModelObjs()) entry->setIsRead(false);
  for (auto _ : state) benchmark::DoNotOptimize(store->getUnreadNotifictionCount());
  state.SetComplexityN(state.range(0));
}

/// What a synchronisation does with as many pushes as are stored: makes entries of them, merges and sorts.
void MergeAsManyNewPushes(benchmark::State& state) {
  device();
  const auto stored = entries(state.range(0));
  std::vector<Value> sent;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    sent.push_back(zn::test::realisticPayload("new-" + std::to_string(i), 1699500000 - static_cast<double>(i)));
  }
  const Value payloads = received(sent);
  zn::InboxList fresh;
  zn::InboxList merged;
  for (auto _ : state) {
    fresh = zn::entriesOf(payloads.elements(),
                          [](const Value& payload) { return ZNInboxModel::initWithNotificationPayload(payload); });
    merged = zn::sortedNewestFirst(zn::mergedWithNewEntries(*stored, fresh));
    state.PauseTiming();  // an inbox keeps its entries; freeing them is no part of a merge
    fresh.clear();
    merged.clear();
    state.ResumeTiming();
  }
  state.SetComplexityN(state.range(0));
}

/// The merge and the sort alone, of entries that exist already: this is little but pointer chasing, so it grows faster
/// than the number of entries where these outgrow the processor's second-level cache.
void MergeAlone(benchmark::State& state) {
  device();
  const auto stored = entries(state.range(0));
  const auto fresh = entries(state.range(0), "new-");
  for (auto _ : state) {
    benchmark::DoNotOptimize(zn::sortedNewestFirst(zn::mergedWithNewEntries(*stored, *fresh)));
  }
  state.SetComplexityN(state.range(0));
}

/// What a click does to the list, without the save: one of its entries is replaced, and takes the old one's place.
void MergeOne(benchmark::State& state) {
  device();
  const auto stored = entries(state.range(0));
  const zn::InboxList clicked{clickedEntry("campaign-5", 0)};
  for (auto _ : state) {
    benchmark::DoNotOptimize(zn::sortedNewestFirst(zn::mergedWithNewEntries(*stored, clicked)));
  }
  state.SetComplexityN(state.range(0));
}

std::vector<Value> messages(std::int64_t count) {
  std::vector<Value> all;
  for (std::int64_t i = 0; i < count; ++i) {
    all.push_back(Value::dictionary({{"data", zn::test::realisticPayload("new-" + std::to_string(i))},
                                     {"c_cr_t", 1699500000 - i},
                                     {"isRead", i % 2 == 0}}));
  }
  return all;
}

std::string answerText(std::int64_t count) {
  return zn::jsonText(Value::dictionary({{"messagesInfo", Value::array(messages(count))}}));
}

/// From the text of a server's answer to its values; "memory": the heap that these take, as a multiple of the text.
void ReadServerAnswer(benchmark::State& state) {
  const std::string text = answerText(state.range(0));
  const auto heapInUse = [] { return ::mallinfo2().uordblks + ::mallinfo2().hblkhd; };
  const std::size_t before = heapInUse();
  const auto kept = zn::parseJson(text);
  state.counters["memory"] = static_cast<double>(heapInUse() - before) / static_cast<double>(text.size());
  for (auto _ : state) benchmark::DoNotOptimize(zn::parseJson(text));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

/// Answers every request at once; what the answer costs on its way is no part of a synchronisation.
class Answer final : public ZNNetworkTransport {
 public:
  explicit Answer(Value response) : response_(std::move(response)) {}
  void execute(const ZNNetworkRequest&, std::function<void(Value)> completion) override { completion(response_); }

 private:
  const Value response_;
};

/// A store that is to be synchronised with a server that has as many new messages as are stored.
class Synchronised {
 public:
  explicit Synchronised(std::int64_t count) : store(storeOf(0)), stored_(entries(count)) {
    ZNNetworkRequest::setTransport(std::make_shared<Answer>(*zn::parseJson(answerText(count))));
  }
  ~Synchronised() { ZNNetworkRequest::setTransport(nullptr); }
  void putBack() { store->inboxData()->setInboxMessages(stored_); }

  const std::shared_ptr<ZNInboxHandler> store;

 private:
  const zn::InboxListPtr stored_;
};

/// To be seen beside the next two together: what a parser that is widely used takes for the answer's text, and what the
/// disk takes for the file that is left.
void SynchroniseServerAnswer(benchmark::State& state) {
  Synchronised synchronised(state.range(0));
  const auto& store = synchronised.store;
  for (auto _ : state) {
    state.PauseTiming();
    synchronised.putBack();
    state.ResumeTiming();
    store->syncInboxNotificationsWithCompletionHandler(nullptr);
  }
  if (store->getAllNotificationCount() != static_cast<std::size_t>(2 * state.range(0))) {
    state.SkipWithError("the answer was not merged");
  }
  state.SetComplexityN(state.range(0));
}

void ParseSameAnswerWithNlohmann(benchmark::State& state) {
  device();
  const std::string text = answerText(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(text));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void WriteBytesOfSynchronisation(benchmark::State& state) {
  Synchronised synchronised(state.range(0));
  synchronised.putBack();
  synchronised.store->syncInboxNotificationsWithCompletionHandler(nullptr);
  const auto bytes = zn::readFile(synchronised.store->getFilePathForInbox());
  if (!bytes) return state.SkipWithError("there is no inbox file");
  zn::test::writeBare(state, *bytes, zn::test::BareWrite::renamed);
  state.counters["bytes"] = static_cast<double>(bytes->size());
}

double residentMegabytes() {
  std::ifstream file("/proc/self/statm");
  long total = 0;
  long resident = 0;
  file >> total >> resident;
  return static_cast<double>(resident * sysconf(_SC_PAGESIZE)) / 1e6;
}

/// The first call of a process returned, with that many entries on disk. Only the first iteration of a process is a
/// start-up: `./test bench` runs the program for each.
void StartUp(benchmark::State& state) {
  static bool hasStarted = false;
  if (std::exchange(hasStarted, true)) state.SkipWithError("a process starts once: run this one alone");
  storeOf(state.range(0))->updateInboxStorage();
  const double before = residentMegabytes();
  for (auto _ : state) ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);
  state.counters["entries"] = static_cast<double>(ZNInboxHandler::sharedInstance()->getAllNotificationCount());
  state.counters["resident_MB"] = residentMegabytes();
  state.counters["grown_MB"] = residentMegabytes() - before;
}

/// "memory": what an inbox takes that was read from its file, as a multiple of the file. Another process makes the
/// file, so that nothing that this one used before is used again for it; what it does not hold any more is given back.
void LoadedMemory(benchmark::State& state) {
  const auto path = storeOf(1)->getFilePathForInbox();
  storeOf(1)->updateInboxStorage();
  ZNInboxHandler();  // code and tables that any inbox needs
  if (const pid_t maker = ::fork(); maker == 0) ::_exit(storeOf(state.range(0))->updateInboxStorage() ? 0 : 1);
  int status = 0;
  if (::wait(&status) < 0 || status != 0) return state.SkipWithError("the inbox was not saved");
  for (auto _ : state) {
    ::malloc_trim(0);
    const double before = residentMegabytes();
    const auto store = std::make_shared<ZNInboxHandler>();
    ::malloc_trim(0);
    state.counters["grown_MB"] = residentMegabytes() - before;
    state.counters["memory"] = (residentMegabytes() - before) * 1e6 / std::filesystem::file_size(path);
    if (store->getAllNotificationCount() != static_cast<std::size_t>(state.range(0))) {
      state.SkipWithError("the inbox was not read");
    }
  }
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(StartUp)->Arg(0)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadedMemory)->Arg(10000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(EncodeInbox)->Apply(sizes);
// A third size would take twenty seconds.
BENCHMARK(EncodeSameWithLibplist)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadInbox)->Apply(sizes);
BENCHMARK(ParseSameWithLibplist)->Apply(sizes);
BENCHMARK(SaveInbox)->Apply(sizes)->UseRealTime();
BENCHMARK(WriteSameBytes)->Apply(sizes)->UseRealTime();
BENCHMARK(WriteSameBytesSafely)->Apply(sizes)->UseRealTime();
BENCHMARK(ClickOnStoredPush)->Apply(sizes)->UseRealTime();
BENCHMARK(ClickOnStoredPushObserved)->Apply(sizes)->UseRealTime();
BENCHMARK(ObserveOneRead)->Apply(sizes);
BENCHMARK(CountUnread)->Apply(sizes);
BENCHMARK(MergeAsManyNewPushes)->Apply(sizes);
BENCHMARK(MergeAlone)->Apply(sizes);
BENCHMARK(MergeOne)->Apply(sizes);
BENCHMARK(ReadServerAnswer)->Apply(sizes);
BENCHMARK(SynchroniseServerAnswer)->Apply(sizes)->UseRealTime();
BENCHMARK(ParseSameAnswerWithNlohmann)->Apply(sizes)->UseRealTime();
BENCHMARK(WriteBytesOfSynchronisation)->Apply(sizes)->UseRealTime();

}  // namespace
