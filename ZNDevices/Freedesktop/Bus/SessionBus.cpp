#include "ZNDevices/Freedesktop/Bus/SessionBus_p.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <future>
#include <utility>

namespace zn {

namespace {

constexpr double kFirstPause = 0.25;  // seconds
constexpr double kLongestPause = 60;
/// Of messages that wait, so many are taken before others get their turn.
constexpr int kMessagesATurn = 64;

std::string textOf(const char* text) { return text ? text : ""; }

std::string addressOfSession() {
  if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) return address;
  if (const char* folder = std::getenv("XDG_RUNTIME_DIR"); folder && *folder) {
    return std::string("unix:path=") + folder + "/bus";
  }
  return "";
}

}  // namespace

void BusCall::answer(const std::function<void(BusMessage& answer)>& fill) {
  if (std::exchange(state_->isAnswered, true)) return;
  sd_bus_message* made = nullptr;
  if (sd_bus_message_new_method_return(state_->call.get(), &made) < 0) return;
  BusMessage message = BusMessage::taking(made);
  if (fill) fill(message);
  if (message) sd_bus_send(nullptr, message.get(), nullptr);
}

void BusCall::fail(const char* errorName, const std::string& text) {
  if (std::exchange(state_->isAnswered, true)) return;
  sd_bus_reply_method_errorf(state_->call.get(), errorName, "%s", text.c_str());
}

BusCall::State::~State() {
  if (!isAnswered) sd_bus_reply_method_errorf(call.get(), SD_BUS_ERROR_FAILED, "not handled");
}

/// What sd-bus calls back: it lives as long as the slot.
struct SessionBus::Callback {
  SessionBus& bus;
  std::function<void(BusMessage& message)> run;
};

/// An interface of one of our objects.
struct SessionBus::Exported {
  struct Unref {
    void operator()(sd_bus_slot* kept) const { sd_bus_slot_unref(kept); }
  };

  SessionBus& bus;
  std::string path;
  std::string interface;
  std::vector<BusMethod> methods;
  std::vector<sd_bus_vtable> table{};
  std::unique_ptr<sd_bus_slot, Unref> slot{};  // first to go: it reads the table

  static int called(sd_bus_message* message, void* self, sd_bus_error*) {
    const auto& exported = *static_cast<Exported*>(self);
    const std::string member = textOf(sd_bus_message_get_member(message));
    for (const BusMethod& method : exported.methods) {
      if (member == method.name) runTask([&] { method.run(BusCall(message)); }, *exported.bus.device_.systemLog);
    }
    return 1;
  }
};

SessionBus::SessionBus(Device& device, std::string address)
    : device_(device), address_(address.empty() ? addressOfSession() : std::move(address)) {
  std::promise<void> made;
  std::future<void> isMade = made.get_future();
  thread_ = std::thread([this, made = std::move(made)]() mutable {
    try {
      queue_ = std::make_shared<PooledQueues>(device_, PooledQueues::MainQueue::pumped, 0);
    } catch (...) {
      made.set_exception(std::current_exception());
      return;
    }
    made.set_value();
    run();
  });
  try {
    isMade.get();
  } catch (...) {
    thread_.join();
    throw;
  }
}

SessionBus::~SessionBus() { stop(); }

void SessionBus::connect(std::vector<Part*> parts) {
  perform([this, parts = std::move(parts)] {
    if (!parts_.empty()) return;
    parts_ = parts;
    open();
  });
}

void SessionBus::stop() {
  if (!thread_.joinable()) return;
  perform([this] { isStopping_ = true; });
  thread_.join();
}

void SessionBus::run() {
  while (!isStopping_) {
    queue_->runPending();
    if (isStopping_) break;
    if (bus_ && !process()) {
      close();
      openAgainLater();
    }
    waitForWork();
  }
  for (const Task& last : lastTasks_) runTask(last, *device_.systemLog);
  queue_->leaveDevice();
  parts_.clear();  // nobody is told of this end
  close();
}

void SessionBus::open() {
  const auto failed = [](int result) { return result < 0; };
  if (failed(sd_bus_new(&bus_)) || failed(sd_bus_set_address(bus_, address_.c_str())) ||
      failed(sd_bus_set_bus_client(bus_, 1)) || failed(sd_bus_set_connected_signal(bus_, 1))) {
    close();
    return openAgainLater();
  }
  constexpr const char* kLocal = "org.freedesktop.DBus.Local";
  auto callback = std::make_unique<Callback>(Callback{*this, [this](BusMessage&) {
                                                        isConnected_ = true;
                                                        pause_ = 0;
                                                        for (Part* part : parts_) part->connected();
                                                      }});
  sd_bus_slot* slot = nullptr;
  if (failed(sd_bus_match_signal(bus_, &slot, kLocal, "/org/freedesktop/DBus/Local", kLocal, "Connected", &received,
                                 callback.get()))) {
    close();
    return openAgainLater();
  }
  keep(slot, std::move(callback));
  if (failed(sd_bus_start(bus_))) {
    close();
    openAgainLater();
  }
}

void SessionBus::close() {
  isConnected_ = false;
  for (Part* part : parts_) runTask([part] { part->disconnected(); }, *device_.systemLog);
  if (bus_) sd_bus_close(bus_);
  exported_.clear();  // a call that waits for its answer keeps sd-bus's connection, which would read what is gone
  bus_ = sd_bus_unref(bus_);
}

void SessionBus::openAgainLater() {
  pause_ = std::clamp(pause_ * 2, kFirstPause, kLongestPause);
  performAfter(pause_, [this] {
    if (!bus_) open();
  });
}

bool SessionBus::process() {
  for (int i = 0; i < kMessagesATurn; ++i) {
    const int result = sd_bus_process(bus_, nullptr);
    if (result < 0) return false;
    if (result == 0) break;
  }
  return true;
}

void SessionBus::waitForWork() {
  pollfd descriptors[2] = {{queue_->wakeDescriptor(), POLLIN, 0}, {-1, 0, 0}};
  std::uint64_t until = UINT64_MAX;  // microseconds on the monotonic clock
  if (bus_) {
    const int events = sd_bus_get_events(bus_);
    descriptors[1] = {sd_bus_get_fd(bus_), static_cast<short>(std::max(events, 0)), 0};
    if (sd_bus_get_timeout(bus_, &until) < 0) until = UINT64_MAX;
  }
  if (until == UINT64_MAX) {
    ::ppoll(descriptors, 2, nullptr, nullptr);
    return;
  }
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t present =
      static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000;
  const std::uint64_t wait = until > present ? until - present : 0;
  const timespec patience{static_cast<time_t>(wait / 1'000'000), static_cast<long>(wait % 1'000'000 * 1'000)};
  ::ppoll(descriptors, 2, &patience, nullptr);
}

int SessionBus::received(sd_bus_message* message, void* callback, sd_bus_error*) {
  const auto& called = *static_cast<Callback*>(callback);
  runTask(
      [&] {
        BusMessage shared = BusMessage::sharing(message);
        called.run(shared);
      },
      *called.bus.device_.systemLog);
  return 0;
}

void SessionBus::keep(sd_bus_slot* slot, std::unique_ptr<Callback> callback) {
  sd_bus_slot_set_userdata(slot, callback.release());
  sd_bus_slot_set_destroy_callback(slot, [](void* kept) { delete static_cast<Callback*>(kept); });
  sd_bus_slot_set_floating(slot, 1);
  sd_bus_slot_unref(slot);
}

std::string SessionBus::identity() const {
  sd_id128_t id{};
  if (!bus_ || sd_bus_get_bus_id(bus_, &id) < 0) return "";
  char text[SD_ID128_STRING_MAX];
  return sd_id128_to_string(id, text);
}

std::string SessionBus::ownName() const {
  const char* name = nullptr;
  return bus_ && sd_bus_get_unique_name(bus_, &name) >= 0 ? textOf(name) : "";
}

BusMessage SessionBus::makeCall(const char* destination, const char* path, const char* interface, const char* member) {
  sd_bus_message* made = nullptr;
  if (isConnected_) sd_bus_message_new_method_call(bus_, &made, destination, path, interface, member);
  return BusMessage::taking(made);
}

BusMessage SessionBus::makeSignal(const char* path, const char* interface, const char* member) {
  sd_bus_message* made = nullptr;
  if (isConnected_) sd_bus_message_new_signal(bus_, &made, path, interface, member);
  return BusMessage::taking(made);
}

void SessionBus::call(BusMessage message, double seconds, Answer answer) {
  const auto failLater = [&](const char* why) {
    perform([answer, why] {
      BusMessage none;
      answer(none, why);
    });
  };
  if (!message || !isConnected_) return failLater(isConnected_ ? "the call cannot be written" : "not connected");
  auto callback = std::make_unique<Callback>(Callback{*this, [answer](BusMessage& received) {
                                                        const sd_bus_error* error =
                                                            sd_bus_message_get_error(received.get());
                                                        answer(received, error ? textOf(error->name) : "");
                                                      }});
  sd_bus_slot* slot = nullptr;
  const auto limit = static_cast<std::uint64_t>(seconds * 1e6);
  if (sd_bus_call_async(bus_, &slot, message.get(), &received, callback.get(), limit) < 0) {
    return failLater("the call cannot be sent");
  }
  keep(slot, std::move(callback));
}

void SessionBus::send(const BusMessage& message) {
  if (message && isConnected_) sd_bus_send(bus_, message.get(), nullptr);
}

void SessionBus::watchSignals(const std::string& rule, std::function<void(BusMessage& signal)> signalled) {
  if (!isConnected_) return;
  auto callback = std::make_unique<Callback>(Callback{*this, std::move(signalled)});
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_match_async(bus_, &slot, rule.c_str(), &received, nullptr, callback.get()) < 0) return;
  keep(slot, std::move(callback));
}

void SessionBus::watchOwner(const std::string& name, std::function<void(const std::string& owner)> found) {
  constexpr const char* kBus = "org.freedesktop.DBus";
  constexpr double kPatience = 10;  // seconds; the bus itself answers
  const auto changed = [name, found](BusMessage& signal) {
    if (textOf(sd_bus_message_get_sender(signal.get())) != kBus) return;
    const std::string whose = signal.readString();
    signal.readString();
    if (whose == name) found(signal.readString());
  };
  watchSignals(std::string("type='signal',sender='") + kBus + "',interface='" + kBus +
                   "',member='NameOwnerChanged',arg0='" + name + "'",
               changed);
  call(makeCall(kBus, "/org/freedesktop/DBus", kBus, "GetNameOwner").append("s", name.c_str()), kPatience,
       [found](BusMessage& answer, const std::string& error) { found(error.empty() ? answer.readString() : ""); });
}

void SessionBus::exportMethods(const std::string& path, const std::string& interface, std::vector<BusMethod> methods) {
  if (!isConnected_) return;
  Exported& added = exported_.emplace_back(Exported{*this, path, interface, std::move(methods)});
  added.table.push_back(SD_BUS_VTABLE_START(0));
  for (const BusMethod& method : added.methods) {
    added.table.push_back(
        SD_BUS_METHOD(method.name, method.arguments, method.answer, &Exported::called, SD_BUS_VTABLE_UNPRIVILEGED));
  }
  added.table.push_back(SD_BUS_VTABLE_END);
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_object_vtable(bus_, &slot, added.path.c_str(), added.interface.c_str(), added.table.data(), &added) <
      0) {
    exported_.pop_back();
    return;
  }
  added.slot.reset(slot);
}

void SessionBus::requestName(const std::string& name, std::function<void(bool isOurs)> owned) {
  if (!isConnected_) return;
  auto callback = std::make_unique<Callback>(
      Callback{*this, [owned = std::move(owned)](BusMessage& answer) {
                 const Value result = sd_bus_message_get_error(answer.get()) ? nil : answer.readValue();
                 owned(result.integer() == 1 || result.integer() == 4);  // the owner now, or already
               }});
  sd_bus_slot* slot = nullptr;
  if (sd_bus_request_name_async(bus_, &slot, name.c_str(), 0, &received, callback.get()) < 0) return;
  keep(slot, std::move(callback));
}

}  // namespace zn
