#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Mutex.h"

/// The log of the whole library family. A line goes to every sink that is set: standard error (when the environment
/// says ZN_LOG=1), a file, an observer; the first two get control characters escaped, so that no payload forges a line.
/// Without a sink nothing is formatted, and a call costs one relaxed load.
/// Thread: any. Lines of one thread keep their order. A sink must not call the library and must not throw.
class ZN_EXPORT ZNLogger {
 public:
  /// Types of lines: smaller is more important to see in the ordinary course of things.
  static constexpr int kInfo = 1;
  static constexpr int kError = 3;
  /// For people who look for a cause. Not among the simulated device's effects, so that more can be said here without a
  /// change of what a scenario prints.
  static constexpr int kDetail = 4;

  struct Line {
    int type = kInfo;
    std::string text{};
    /// Of a failure caught by an exception guard; empty for an ordinary line.
    std::string operation{};  ///< full selector
    std::string file{};       ///< base name of the source file
    int line = 0;
    std::vector<std::string> callStack{};
  };
  using Observer = std::function<void(const Line&)>;

  static const std::shared_ptr<ZNLogger>& sharedInstance();

  /// `logWithType:andFormatArgs:`: formats and writes one line, if any sink is set. Placeholders as for zn::format.
  template <class... Arguments>
  void logWithType(int type, const char* text, const Arguments&... arguments) {
    if (isEnabled()) writeText(type, zn::format(text, arguments...));
  }

  /// `logErrorWithFormatArgs:andStackTrace:`: what exception guards log: source file, line, operation and message, with
  /// the exception's call stack.
  void logErrorWithFormatArgs(const char* file, int line, const char* operation, std::string message,
                              std::vector<std::string> callStack);

  bool isEnabled() const noexcept { return enabled_.load(std::memory_order_relaxed); }

  void setObserver(Observer observer);    ///< replaces the observer; an empty one removes it
  bool setFile(const std::string& path);  ///< appends to it, made private (0600); "" ends that; false: it cannot
  void setStandardError(bool enabled);

  ZNLogger();
  ~ZNLogger();

 private:
  struct Sinks;
  void writeText(int type, std::string text);
  void write(const Line& line);
  template <class Change>
  void changeSinks(const Change& change);

  std::atomic<bool> enabled_{false};
  zn::Mutex mutex_;
  std::shared_ptr<const Sinks> sinks_ ZN_GUARDED_BY(mutex_);
};

namespace zn {

/// An ordinary line of the log; see ZNLogger::logWithType.
template <class... Arguments>
void log(const char* text, const Arguments&... arguments) {
  ZNLogger::sharedInstance()->logWithType(ZNLogger::kInfo, text, arguments...);
}

/// A line of type ZNLogger::kDetail.
template <class... Arguments>
void logDetail(const char* text, const Arguments&... arguments) {
  ZNLogger::sharedInstance()->logWithType(ZNLogger::kDetail, text, arguments...);
}

/// A line about something that went wrong without an exception.
template <class... Arguments>
void logError(const char* text, const Arguments&... arguments) {
  ZNLogger::sharedInstance()->logWithType(ZNLogger::kError, text, arguments...);
}

}  // namespace zn
