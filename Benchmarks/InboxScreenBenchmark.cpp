// What opening the inbox screen costs: from the call to a screenful of filled cells. It must not depend on how long the
// list is, but for copying it.

#include <benchmark/benchmark.h>

#include "Benchmarks/BenchmarkDevice.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"

namespace {

constexpr long kRowsInSight = 9;

void fillInbox(std::int64_t count) {
  zn::test::benchmarkDevice();
  zn::InboxList list;
  for (std::int64_t i = 0; i < count; ++i) {
    list.push_back(ZNInboxModel::initWithNotificationPayload(
        zn::test::realisticPayload("campaign-" + std::to_string(i), 1699000000 - static_cast<double>(i))));
  }
  auto data = std::make_shared<ZNInboxData>();
  data->setInboxMessages(std::make_shared<const zn::InboxList>(std::move(list)));
  ZNInboxHandler::sharedInstance()->setInboxData(data);
}

void OpenInboxScreen(benchmark::State& state) {
  fillInbox(state.range(0));
  for (auto _ : state) {
    const auto host = std::make_shared<UIViewController>();
    const auto inbox = ZNInbox::initializeInboxOnController(host);
    host->beginAppearance(false);
    const auto cells = inbox->inboxTableView()->showRows(0, kRowsInSight);
    if (cells.size() != kRowsInSight || !cells.back()) state.SkipWithError("the screen is not filled");
  }
}

/// One row further, to the end and again from the start.
void ScrollInboxScreen(benchmark::State& state) {
  fillInbox(state.range(0));
  const auto host = std::make_shared<UIViewController>();
  const auto table = ZNInbox::initializeInboxOnController(host)->inboxTableView();
  long first = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(table->showRows(first, kRowsInSight));
    first = first + kRowsInSight < state.range(0) ? first + 1 : 0;
  }
}

BENCHMARK(OpenInboxScreen)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(ScrollInboxScreen)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
