// What the inbox window costs, drawn without a display: from its making to its first picture, and the frames of
// scrolling through a long list. A frame has 16 ms.

#include <benchmark/benchmark.h>

#include <QAbstractScrollArea>
#include <QApplication>
#include <QScrollBar>
#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

#include "Benchmarks/BenchmarkDevice.h"
#include "ZNDevices/Qt/InboxWindow.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"

namespace {

constexpr QSize kWindow(480, 900);
constexpr std::int64_t kStep = 120;  // pixels, of one notch of a mouse wheel

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

QAbstractScrollArea& listOf(zn::InboxWindow& window) { return *window.findChild<QAbstractScrollArea*>(); }

/// Makes the window and draws it.
void OpenInboxWindow(benchmark::State& state) {
  fillInbox(state.range(0));
  for (auto _ : state) {
    zn::InboxWindow window;
    window.resize(kWindow);
    window.show();
    QCoreApplication::processEvents();
    listOf(window).viewport()->repaint();
  }
}

/// Milliseconds of each frame: as the clock has them, and those that this thread worked.
struct Frames {
  std::vector<double> passed;
  std::vector<double> worked;

  static double workedUntilNow() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
  }
  void add(QAbstractScrollArea& list, int place) {
    const auto start = std::chrono::steady_clock::now();
    const double before = workedUntilNow();
    list.verticalScrollBar()->setValue(place);
    list.viewport()->repaint();
    worked.push_back(workedUntilNow() - before);
    passed.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  static double share(std::vector<double>& all, double part) {
    std::sort(all.begin(), all.end());
    return all[static_cast<std::size_t>(part * static_cast<double>(all.size() - 1))];
  }
  void report(benchmark::State& state) {
    state.counters["frames"] = static_cast<double>(passed.size());
    state.counters["median_ms"] = share(passed, 0.5);
    state.counters["p99_ms"] = share(passed, 0.99);
    state.counters["worst_ms"] = share(passed, 1);
    state.counters["worst_work_ms"] = share(worked, 1);  // without what else the machine did
  }
};

void scroll(benchmark::State& state, const std::function<int(QScrollBar& bar, std::int64_t frame)>& next,
            std::int64_t most) {
  fillInbox(state.range(0));
  zn::InboxWindow window;
  window.resize(kWindow);
  window.show();
  QCoreApplication::processEvents();
  QAbstractScrollArea& list = listOf(window);
  Frames frames;
  for (auto _ : state) {
    list.verticalScrollBar()->setValue(0);
    for (std::int64_t frame = 0; frame < most; ++frame) {
      const int place = next(*list.verticalScrollBar(), frame);
      if (place == list.verticalScrollBar()->value()) break;  // the end
      frames.add(list, place);
    }
  }
  frames.report(state);
}

void ScrollByWheel(benchmark::State& state) {
  scroll(
      state,
      [](QScrollBar& bar, std::int64_t) { return std::min(bar.value() + static_cast<int>(kStep), bar.maximum()); },
      INT32_MAX);
}

/// To a place far away in each frame.
void DragTheScrollBar(benchmark::State& state) {
  scroll(
      state,
      [](QScrollBar& bar, std::int64_t frame) { return static_cast<int>((frame + 1) * 7919 * 613 % bar.maximum()); },
      500);
}

BENCHMARK(OpenInboxWindow)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(ScrollByWheel)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(DragTheScrollBar)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

int main(int count, char** arguments) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(count, arguments);
  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
}
