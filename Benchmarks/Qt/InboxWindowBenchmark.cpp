// What windows cost, drawn without a display: the inbox window from its making to its first picture, the frames of
// scrolling through a long list (a frame has 16 ms), and zinhost from its start to its first picture.

#include <benchmark/benchmark.h>

#include <QAbstractScrollArea>
#include <QApplication>
#include <QProcess>
#include <QScrollBar>
#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <vector>

#include "Benchmarks/BenchmarkDevice.h"
#include "ZNDevices/Qt/InboxWindow.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"

namespace {

constexpr QSize kWindow(480, 900);
constexpr std::int64_t kStep = 120;  // pixels, of one notch of a mouse wheel

void fillInbox(std::int64_t count) {
  zn::test::benchmarkDevice();
  const auto now = static_cast<double>(std::time(nullptr));  // zinhost drops what has expired
  zn::InboxList list;
  for (std::int64_t i = 0; i < count; ++i) {
    list.push_back(ZNInboxModel::initWithNotificationPayload(
        zn::test::realisticPayload("campaign-" + std::to_string(i), now - static_cast<double>(i))));
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

/// With that many entries in its inbox. The counters are the parts that it tells itself; the rest is the process's.
void StartZinhost(benchmark::State& state) {
  fillInbox(state.range(0));
  ZNInboxHandler::sharedInstance()->updateInboxStorage();
  const zn::test::MemoryFolder folder;
  const std::string home = folder / "home";
  std::filesystem::create_directories(home + "/Library");
  std::filesystem::copy(zn::test::benchmarkDevice().home() + "/Library/ZNInbox", home + "/Library/ZNInbox",
                        std::filesystem::copy_options::recursive);
  QByteArray told;
  for (auto _ : state) {
    QProcess process;
    const auto start = std::chrono::steady_clock::now();
    process.start(QStringLiteral(ZN_ZINHOST),
                  {QStringLiteral("--time-start"), QStringLiteral("--home"), QString::fromStdString(home)});
    told.clear();
    while (!told.contains("first picture") && process.waitForReadyRead()) told += process.readAll();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    process.waitForFinished();
    if (!told.contains("first picture")) return state.SkipWithError("zinhost did not start");
  }
  for (const QByteArray& line : told.trimmed().split('\n')) {
    const auto words = line.simplified().split(' ');
    state.counters[words.mid(0, words.size() - 2).join('_').toStdString() + "_ms"] = words[words.size() - 2].toDouble();
  }
}

BENCHMARK(OpenInboxWindow)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(ScrollByWheel)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(DragTheScrollBar)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(StartZinhost)->Arg(1000)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(20);

}  // namespace

int main(int count, char** arguments) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const zn::test::TemporaryFolder runtime;  // of the session, where Qt keeps files
  qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(runtime / ""));
  qputenv("DBUS_SESSION_BUS_ADDRESS", QByteArray::fromStdString("unix:path=" + (runtime / "no-bus")));
  const QApplication application(count, arguments);
  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
}
