#pragma once

// What the targets share.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Tests/Support/TestHome.h"
#include "ZNDevices/Simulator/Simulator.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZintarCore/ZNLogger.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace zn::fuzz {

/// Ends the process where something does not hold that must; the fuzzer keeps the input.
inline void require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: what must hold does not\n", file, line);
  std::abort();
}

inline std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Damaged files are the rule here.
struct SilentLog final : DeviceSystemLog {
  void write(const std::string&) override {}
  void diagnostic(const std::string&) override {}
};

/// The process's device: one thread, virtual time, files in memory. Nothing is formatted for a log.
inline Simulator& device() {
  static const test::MemoryFolder folder;
  static const std::shared_ptr<Simulator> simulator = [] {
    auto made = Simulator::install({folder / "home"});
    made->systemLog = std::make_unique<SilentLog>();
    ZNLogger::sharedInstance()->setObserver(nullptr);
    return made;
  }();
  return *simulator;
}

/// A new file in the place of the one before: who compares files by their inode sees that.
inline void writeFile(const std::string& path, std::span<const std::uint8_t> bytes) {
  const std::string fresh = path + ".fresh";
  std::FILE* const file = std::fopen(fresh.c_str(), "wb");
  require(file != nullptr);
  require(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
  require(std::fclose(file) == 0 && std::rename(fresh.c_str(), path.c_str()) == 0);
}

/// What was read can be written, and then reads as the same.
template <class Record>
void checkRoundTrip(const Record& record, std::span<const ArchivedClass> classes) {
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(record);
  const auto again = NSKeyedUnarchiver::unarchiveObjectWithData(archive, classes);
  require(again.root && !again.damaged);
  require(NSKeyedArchiver::archivedDataWithRootObject(*again.root) == archive);
}

/// A server that answers every request with what `answer` says.
class Server final : public ZNNetworkTransport {
 public:
  using Answer = std::function<NetworkAnswer(const ZNNetworkRequest& request)>;

  /// Installs one.
  static void answerWith(Answer answer) {
    device();
    ZNNetworkRequest::setTransport(std::make_shared<Server>(std::move(answer)));
  }
  explicit Server(Answer answer) : answer_(std::move(answer)) {}

  void execute(const ZNNetworkRequest& request, std::function<void(Value response)> completion) override {
    dispatchAsync(Queue::global, [completion, answer = answer_(request)] { completion(answer.response); });
  }
  void executeForAnswer(const ZNNetworkRequest& request,
                        std::function<void(const NetworkAnswer& answer)> completion) override {
    dispatchAsync(Queue::global, [completion, answer = answer_(request)] { completion(answer); });
  }

 private:
  const Answer answer_;
};

}  // namespace zn::fuzz
