#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ZNDevices/Freedesktop/Bus/BusMessage_p.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/PooledQueues.h"

namespace zn {

/// A call of one of our methods. It is answered once, now or later; one that is never answered fails when the last copy
/// is gone. Thread: the bus's.
class BusCall {
 public:
  explicit BusCall(sd_bus_message* message) : state_(std::make_shared<State>(BusMessage::sharing(message))) {}

  BusMessage& arguments() { return state_->call; }
  /// Takes what `fill` appends to the answer.
  void answer(const std::function<void(BusMessage& answer)>& fill = nullptr);
  void fail(const char* errorName, const std::string& text);

 private:
  struct State {
    explicit State(BusMessage message) : call(std::move(message)) {}
    ~State();
    BusMessage call;
    bool isAnswered = false;
  };
  std::shared_ptr<State> state_;
};

/// A method of an object of ours.
struct BusMethod {
  const char* name;
  const char* arguments;  ///< as a signature, like the next
  const char* answer;
  std::function<void(BusCall call)> run;
};

/// A connection to the session's bus on a thread of its own. It may be missing, go away and come back: it is looked for
/// again, with growing pauses. All that is sent, exported and watched belongs to one connection; `Part::connected` sets
/// it up again on the next.
///
/// Thread: any for the first block of operations, the bus's own for the second and for everything that is called back.
/// An exception that leaves a callback is stopped and reported. Ownership: parts outlive `stop`.
class SessionBus {
 public:
  /// What of a program is on the bus.
  class Part {
   public:
    virtual ~Part() = default;
    virtual void connected() {}
    /// The connection ended, or there is none to be had for now. Answers that were waited for have been told that they
    /// will not come.
    virtual void disconnected() {}
  };

  /// `address`: empty for the session's. Nothing is connected before `connect`. Throws what a thread that cannot be
  /// made throws.
  SessionBus(Device& device, std::string address);
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  void connect(std::vector<Part*> parts);
  void perform(Task task) { queue_->async(Queue::main, std::move(task)); }
  void performAfter(double seconds, Task task) { queue_->after(Queue::main, seconds, std::move(task)); }
  /// Runs a task as one of the thread's last, at `stop`: what it needs lives until then.
  void performAtEnd(Task task) {
    perform([this, task = std::move(task)] { lastTasks_.push_back(task); });
  }
  /// Ends the connection and the thread, after the task that is running; nothing is called back from then on. What was
  /// performed before and has not run is dropped.
  void stop();

  bool isConnected() const { return isConnected_; }
  /// Which bus this is: another one has another name, and so has the same one after its end.
  std::string identity() const;
  std::string ownName() const;  ///< the connection's, such as ":1.42"

  /// What came back. Where `error` is not empty, nothing did: the error's name on the bus, or of the system.
  using Answer = std::function<void(BusMessage& answer, const std::string& error)>;
  /// Null without a connection.
  BusMessage makeCall(const char* destination, const char* path, const char* interface, const char* member);
  BusMessage makeSignal(const char* path, const char* interface, const char* member);
  /// Sends, and calls `answer` once, later: at the latest after so many seconds.
  void call(BusMessage message, double seconds, Answer answer);
  void send(const BusMessage& message);

  /// Calls `found` with the unique name of who owns a name, or "" where nobody does: soon, and whenever that changes.
  void watchOwner(const std::string& name, std::function<void(const std::string& owner)> found);
  /// As a match rule of the bus, such as "type='signal',interface='…'".
  void watchSignals(const std::string& rule, std::function<void(BusMessage& signal)> received);
  void exportMethods(const std::string& path, const std::string& interface, std::vector<BusMethod> methods);
  /// Calls `owned` with whether the name is ours now; asking does not take it from another.
  void requestName(const std::string& name, std::function<void(bool isOurs)> owned);

 private:
  struct Callback;
  struct Exported;

  void run();
  void open();
  void close();
  void openAgainLater();
  bool process();
  void waitForWork();
  static int received(sd_bus_message* message, void* callback, sd_bus_error* error);
  /// Hands a slot, which calls `received`, over to the connection.
  void keep(sd_bus_slot* slot, std::unique_ptr<Callback> callback);

  Device& device_;
  const std::string address_;
  std::shared_ptr<PooledQueues> queue_;  // made on the thread, whose tasks it holds
  std::thread thread_;
  bool isStopping_ = false;  // the rest is the thread's
  bool isConnected_ = false;
  double pause_ = 0;  // seconds
  sd_bus* bus_ = nullptr;
  std::vector<Part*> parts_;
  std::list<Exported> exported_;
  std::vector<Task> lastTasks_;
};

}  // namespace zn
