#include "ZNPlatform/PooledQueues.h"

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include "ZNPlatform/EndOfProcess_p.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/TaskQueue_p.h"

namespace zn {

namespace {

/// The State whose task this thread runs.
thread_local const void* runningTaskOf = nullptr;

}  // namespace

/// What the threads share with the device. It outlives the device while one of its own tasks destroys it.
struct PooledQueues::State : std::enable_shared_from_this<PooledQueues::State> {
  /// A thread of the device's own.
  struct Worker {
    Worker(std::string workerName, TaskQueue& line) : name(std::move(workerName)), queue(line) {}
    const std::string name;
    TaskQueue& queue;
    std::thread thread;
    bool hasEnded = false;  // guarded by the state's endMutex
  };

  State(Device& device, MainQueue kind) : owner(&device), mainQueue(kind) {}
  TaskQueue& line(Queue queue) { return queue == Queue::main || !hasPool ? main : global; }

  void startThreads(unsigned backgroundThreads) {
    hasPool = backgroundThreads > 0;
    try {
      if (mainQueue == MainQueue::pumped) {
        main.openDescriptor();
        mainThread = std::this_thread::get_id();
      } else {
        start("the main queue", main);
        mainThread = workers.front().thread.get_id();
      }
      for (unsigned i = 1; i <= backgroundThreads; ++i) start("background thread " + std::to_string(i), global);
    } catch (...) {
      shutDown();  // the threads that did start
      throw;
    }
  }

  void start(std::string name, TaskQueue& queue) {
    Worker& worker = workers.emplace_back(std::move(name), queue);
    try {
      worker.thread = std::thread([self = shared_from_this(), &worker] {
        while (Task task = worker.queue.take()) self->run(worker.queue, std::move(task));
        self->didEnd(worker);
      });
    } catch (...) {
      workers.pop_back();
      throw;
    }
  }

  void didEnd(Worker& worker) {
    const Lock lock(endMutex);
    worker.hasEnded = true;
    endChanged.notify_all();
  }

  void run(TaskQueue& queue, Task task) {
    struct Log final : DeviceSystemLog {
      explicit Log(State& reporter) : state(reporter) {}
      void diagnostic(const std::string& text) override { state.report(text); }
      State& state;
    } log(*this);
    const void* const before = std::exchange(runningTaskOf, this);
    runTask(task, log);
    task = nullptr;  // what the task holds ends as part of it
    runningTaskOf = before;
    queue.hasEnded();
  }

  std::size_t runDue() {
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

  bool waitUntilIdle() {
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

  bool mayPump() { return mainQueue == MainQueue::pumped && std::this_thread::get_id() == mainThread; }
  bool isOwnTask() const { return runningTaskOf == this; }

  void shutDown() {
    main.close();
    global.close();
    if (!takeTurn()) return;
    endThreads();
    giveTurn();
    if (!isOwnTask()) awaitPumping();
  }

  /// False where somebody else waits for the threads, and waiting for that is not for this thread.
  bool takeTurn() {
    std::unique_lock<std::mutex> lock(endMutex.native());
    // Whoever waits for threads already waits for this task too.
    if (isOwnTask() && isJoining) return false;
    if (!waitFor(endChanged, lock, [this] { return !isJoining; })) return false;
    isJoining = true;
    return true;
  }

  void giveTurn() {
    const Lock lock(endMutex);
    isJoining = false;
    endChanged.notify_all();
  }

  void endThreads() {
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

  void awaitPumping() {
    std::unique_lock<std::mutex> lock(pumpMutex.native());
    const bool ended =
        waitFor(pumpIdle, lock, [this]() ZN_THREAD_ANNOTATION(no_thread_safety_analysis) { return pumping == 0; });
    lock.unlock();
    if (!ended) leave("a task of the main queue");
  }

  /// As long as it takes; at the end of the process as long as that waits. False where it did not come true.
  template <class Condition>
  bool waitFor(std::condition_variable& changed, std::unique_lock<std::mutex>& lock, const Condition& condition) {
    if (const auto end = endOfProcess()) return changed.wait_until(lock, *end, condition);
    changed.wait(lock, condition);
    return true;
  }

  void leave(const std::string& running) {
    report(running + " is still running; the process ends without waiting for it any longer");
  }

  /// As long as there is a device: a task may end it.
  void report(const std::string& text) {
    if (const Device* device = owner.load()) device->systemLog->diagnostic(text);
  }

  std::atomic<Device*> owner;  // null once it is gone
  const MainQueue mainQueue;
  TaskCount count;
  TaskQueue main{Queue::main, count};
  TaskQueue global{Queue::global, count};
  bool hasPool = false;
  std::thread::id mainThread;
  std::list<Worker> workers;

  Mutex endMutex;
  std::condition_variable endChanged;
  bool isJoining = false;  // guarded by endMutex; somebody waits for the threads to end

  Mutex pumpMutex;
  std::condition_variable pumpIdle;
  int pumping ZN_GUARDED_BY(pumpMutex) = 0;  // levels of runPending
};

PooledQueues::PooledQueues(Device& device, MainQueue mainQueue, unsigned backgroundThreads)
    : state_(std::make_shared<State>(device, mainQueue)) {
  state_->startThreads(backgroundThreads);
}

void PooledQueues::leaveDevice() {
  shutDown();
  state_->owner.store(nullptr);
  for (State::Worker& worker : state_->workers) {
    // Only the thread whose task destroys the device is left. It cannot wait for itself; it ends with that task.
    if (worker.thread.joinable()) worker.thread.detach();
  }
}

void PooledQueues::async(Queue queue, Task task) { state_->line(queue).push(0, std::move(task)); }

void PooledQueues::after(Queue queue, double seconds, Task task) { state_->line(queue).push(seconds, std::move(task)); }

bool PooledQueues::isMainThread() const { return std::this_thread::get_id() == state_->mainThread; }

std::size_t PooledQueues::runPending() {
  const std::shared_ptr<State> state = state_;  // a task may end the device
  return state->mayPump() ? state->runDue() : 0;
}

std::size_t PooledQueues::runFor(double seconds) {
  const std::shared_ptr<State> state = state_;
  if (!state->mayPump()) return 0;
  state->main.waitForDue(TaskQueue::timeAfter(seconds));
  return state->runDue();
}

bool PooledQueues::waitUntilIdle() {
  const std::shared_ptr<State> state = state_;
  return state->waitUntilIdle();
}

int PooledQueues::wakeDescriptor() const { return state_->main.descriptor(); }

void PooledQueues::shutDown() { state_->shutDown(); }

}  // namespace zn
