#include "ZNPlatform/HeadlessDevice.h"

#include <pwd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include "ZNPlatform/EndOfProcess_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/TemporaryFolder_p.h"
#include "ZNPlatform/TaskQueue_p.h"

namespace zn {

/// What the threads share with the device. It outlives the device while one of its own tasks destroys it.
struct HeadlessDevice::State : std::enable_shared_from_this<HeadlessDevice::State> {
  /// A thread of the device's own.
  struct Worker {
    Worker(std::string workerName, TaskQueue& line) : name(std::move(workerName)), queue(line) {}
    const std::string name;
    TaskQueue& queue;
    std::thread thread;
    bool hasEnded = false;  // guarded by the state's endMutex
  };

  void startThreads(const Options& options);
  void start(std::string name, TaskQueue& queue);
  void work(TaskQueue& queue);
  void didEnd(Worker& worker);
  void run(TaskQueue& queue, Task task);
  std::size_t runDue();
  bool waitUntilIdle();
  bool mayPump();
  bool isOwnTask() const;
  void shutDown();
  bool takeTurn();
  void giveTurn();
  void endThreads();
  void awaitPumping();
  template <class Condition>
  bool waitFor(std::condition_variable& changed, std::unique_lock<std::mutex>& lock, const Condition& condition);
  void leave(const std::string& running);

  std::optional<FileLock> homeLock;
  std::atomic<HeadlessDevice*> owner{nullptr};  // null once it is gone
  MainQueue mainQueue = MainQueue::ownThread;
  TaskCount count;
  TaskQueue main{Queue::main, count};
  TaskQueue global{Queue::global, count};
  std::thread::id mainThread;
  std::list<Worker> workers;

  Mutex endMutex;
  std::condition_variable endChanged;
  bool isJoining = false;  // guarded by endMutex; somebody waits for the threads to end

  Mutex pumpMutex;
  std::condition_variable pumpIdle;
  int pumping ZN_GUARDED_BY(pumpMutex) = 0;  // levels of runPending
};

namespace {

/// The State whose task this thread runs.
thread_local const void* runningTaskOf = nullptr;

class RealClock final : public DeviceClock {
 public:
  RealClock() { ::tzset(); }
  Date now() const override {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return {std::chrono::duration<double>(sinceEpoch).count()};
  }
  long secondsFromGMT(Date at) const override { return secondsFromGMTInZoneOfProcess(at); }
  TimeZoneNames zoneNames(Date at) const override { return namesOfZoneOfProcess(at); }
};

class FixedDirectories final : public DeviceDirectories {
 public:
  explicit FixedDirectories(std::string home) : home_(std::move(home)) {}
  std::string home() const override { return home_; }

 private:
  const std::string home_;
};

class PooledQueues final : public DeviceQueues {
 public:
  PooledQueues(TaskQueue& main, TaskQueue& global, std::thread::id mainThread)
      : main_(main), global_(global), mainThread_(mainThread) {}
  void async(Queue queue, Task task) override { line(queue).push(std::move(task)); }
  void after(Queue queue, double seconds, Task task) override { line(queue).pushAfter(seconds, std::move(task)); }
  bool isMainThread() const override { return std::this_thread::get_id() == mainThread_; }

 private:
  TaskQueue& line(Queue queue) { return queue == Queue::main ? main_ : global_; }
  TaskQueue& main_;
  TaskQueue& global_;
  const std::thread::id mainThread_;
};

/// The user's own folder for data, as the XDG Base Directory standard has it; relative settings do not count.
std::string dataFolder() {
  if (const char* configured = ::secure_getenv("XDG_DATA_HOME"); configured && *configured == '/') return configured;
  std::string home;
  if (const char* set = ::secure_getenv("HOME"); set && *set == '/') {
    home = set;
  } else {
    passwd entry{};
    passwd* found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found || !found->pw_dir) {
      throw Exception("no home folder: neither XDG_DATA_HOME nor HOME is set");
    }
    home = found->pw_dir;
  }
  return home + "/.local/share";
}

std::string homeFor(const HeadlessDevice::Options& options) {
  if (!options.home.empty()) return absolutePath(options.home);
  const std::string& name = options.applicationID;
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
    throw Exception("\"" + name + "\" cannot be an application id: it names a folder");
  }
  return dataFolder() + "/" + name;
}

/// The home's lock, if it is wanted.
std::optional<FileLock> prepareHome(const std::string& home, bool takesLock) {
  std::string error;
  if (!createDirectoryAtPath(home, true, &error)) throw Exception(error);
  std::optional<FileLock> lock;
  if (takesLock) {
    lock = FileLock::tryNow(home + "/.lock", &error);
    if (!lock) throw Exception(error.empty() ? home + " is in use by another process" : error);
  }
  for (const char* folder : {"/Library", "/Documents", "/Preferences"}) {
    if (!createDirectoryAtPath(home + folder, false, &error)) throw Exception(error);
  }
  return lock;
}

}  // namespace

HeadlessDevice::HeadlessDevice() : HeadlessDevice(Options{}) {}

HeadlessDevice::HeadlessDevice(Options options) : HeadlessDevice(options, homeFor(options), true) {}

HeadlessDevice::HeadlessDevice(const Options& options, const std::string& home, bool withFiles)
    : state_(std::make_shared<State>()) {
  if (withFiles) state_->homeLock = prepareHome(home, !options.sharedStoresOnly);
  state_->owner.store(this);
  state_->startThreads(options);
  clock = std::make_unique<RealClock>();
  directories = std::make_unique<FixedDirectories>(home);
  TaskQueue& background = options.backgroundThreads > 0 ? state_->global : state_->main;
  queues = std::make_unique<PooledQueues>(state_->main, background, state_->mainThread);
}

HeadlessDevice::~HeadlessDevice() {
  shutDown();
  state_->owner.store(nullptr);
  state_->homeLock.reset();  // now, also where a task of its own ends the device and the state lives on
  for (State::Worker& worker : state_->workers) {
    // Only the thread whose task destroys the device is left. It cannot wait for itself; it ends with that task.
    if (worker.thread.joinable()) worker.thread.detach();
  }
}

std::shared_ptr<Device> HeadlessDevice::makeDefault(std::string& trouble) {
  // Below a file there can be no other, so all that is written there fails.
  constexpr const char* kNoFolder = "/dev/null";
  try {
    return std::make_shared<HeadlessDevice>();
  } catch (const std::exception& failure) {
    trouble = failure.what();
  }
  Options options;
  try {
    options.home = makeTemporaryFolder("zintar");
    auto device = std::make_shared<HeadlessDevice>(options);
    trouble += "; files are kept in " + options.home + " instead";
    return device;
  } catch (const std::exception& failure) {
    trouble += std::string("; ") + failure.what() + "; no files are kept";
  }
  return std::shared_ptr<Device>(new HeadlessDevice(Options{}, kNoFolder, false));
}

std::size_t HeadlessDevice::runPending() {
  const std::shared_ptr<State> state = state_;  // a task may end the device
  return state->mayPump() ? state->runDue() : 0;
}

std::size_t HeadlessDevice::runFor(double seconds) {
  const std::shared_ptr<State> state = state_;
  if (!state->mayPump()) return 0;
  state->main.waitForDue(TaskQueue::timeAfter(seconds));
  return state->runDue();
}

bool HeadlessDevice::waitUntilIdle() {
  const std::shared_ptr<State> state = state_;
  return state->waitUntilIdle();
}

int HeadlessDevice::wakeDescriptor() const { return state_->main.descriptor(); }

void HeadlessDevice::shutDown() { state_->shutDown(); }

void HeadlessDevice::State::startThreads(const Options& options) {
  mainQueue = options.mainQueue;
  try {
    if (mainQueue == MainQueue::pumped) {
      main.openDescriptor();
      mainThread = std::this_thread::get_id();
    } else {
      start("the main queue", main);
      mainThread = workers.front().thread.get_id();
    }
    for (unsigned i = 1; i <= options.backgroundThreads; ++i) start("background thread " + std::to_string(i), global);
  } catch (...) {
    shutDown();  // the threads that did start
    throw;
  }
}

void HeadlessDevice::State::start(std::string name, TaskQueue& queue) {
  Worker& worker = workers.emplace_back(std::move(name), queue);
  try {
    worker.thread = std::thread([self = shared_from_this(), &worker] {
      self->work(worker.queue);
      self->didEnd(worker);
    });
  } catch (...) {
    workers.pop_back();
    throw;
  }
}

void HeadlessDevice::State::didEnd(Worker& worker) {
  const Lock lock(endMutex);
  worker.hasEnded = true;
  endChanged.notify_all();
}

void HeadlessDevice::State::work(TaskQueue& queue) {
  while (Task task = queue.take()) run(queue, std::move(task));
}

void HeadlessDevice::State::run(TaskQueue& queue, Task task) {
  /// The device's log, as long as there is a device: the task may end it.
  class Log final : public DeviceSystemLog {
   public:
    explicit Log(State& state) : state_(state) {}
    void diagnostic(const std::string& text) override {
      if (const HeadlessDevice* device = state_.owner.load()) device->systemLog->diagnostic(text);
    }

   private:
    State& state_;
  } log(*this);
  const void* const before = std::exchange(runningTaskOf, this);
  runTask(task, log);
  task = nullptr;  // what the task holds ends as part of it
  runningTaskOf = before;
  queue.hasEnded();
}

std::size_t HeadlessDevice::State::runDue() {
  {
    const Lock lock(pumpMutex);
    ++pumping;
  }
  std::size_t ran = 0;
  while (Task task = main.takeDue()) {
    run(main, std::move(task));
    ++ran;
  }
  main.runsDry();
  const Lock lock(pumpMutex);
  if (--pumping == 0) pumpIdle.notify_all();
  return ran;
}

bool HeadlessDevice::State::waitUntilIdle() {
  if (isOwnTask()) return false;  // it would wait for itself
  if (!mayPump()) {
    count.waitForNone();
    return true;
  }
  do {
    runDue();
  } while (!count.waitForNoneOrMain());
  return true;
}

bool HeadlessDevice::State::mayPump() {
  return mainQueue == MainQueue::pumped && std::this_thread::get_id() == mainThread;
}

bool HeadlessDevice::State::isOwnTask() const { return runningTaskOf == this; }

void HeadlessDevice::State::shutDown() {
  main.close();
  global.close();
  if (!takeTurn()) return;
  endThreads();
  giveTurn();
  if (!isOwnTask()) awaitPumping();
}

/// False where somebody else waits for the threads, and waiting for that is not for this thread.
bool HeadlessDevice::State::takeTurn() {
  std::unique_lock<std::mutex> lock(endMutex.native());
  // Whoever waits for threads already waits for this task too.
  if (isOwnTask() && isJoining) return false;
  if (!waitFor(endChanged, lock, [this] { return !isJoining; })) return false;
  isJoining = true;
  return true;
}

void HeadlessDevice::State::giveTurn() {
  const Lock lock(endMutex);
  isJoining = false;
  endChanged.notify_all();
}

void HeadlessDevice::State::endThreads() {
  for (Worker& worker : workers) {
    if (!worker.thread.joinable() || worker.thread.get_id() == std::this_thread::get_id()) continue;
    std::unique_lock<std::mutex> lock(endMutex.native());
    const bool ended = waitFor(endChanged, lock, [&] { return worker.hasEnded; });
    lock.unlock();
    if (ended) {
      worker.thread.join();
    } else {
      worker.thread.detach();
      leave("a task of " + worker.name);
    }
  }
}

void HeadlessDevice::State::awaitPumping() {
  std::unique_lock<std::mutex> lock(pumpMutex.native());
  const bool ended =
      waitFor(pumpIdle, lock, [this]() ZN_THREAD_ANNOTATION(no_thread_safety_analysis) { return pumping == 0; });
  lock.unlock();
  if (!ended) leave("a task of the main queue");
}

/// As long as it takes; at the end of the process as long as that waits. False where it did not come true.
template <class Condition>
bool HeadlessDevice::State::waitFor(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                                    const Condition& condition) {
  if (const auto end = endOfProcess()) return changed.wait_until(lock, *end, condition);
  changed.wait(lock, condition);
  return true;
}

void HeadlessDevice::State::leave(const std::string& running) {
  if (const HeadlessDevice* device = owner.load()) {
    device->systemLog->diagnostic(running + " is still running; the process ends without waiting for it any longer");
  }
}

}  // namespace zn
