#include "ZintarCore/ZNLogger.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "Platform/Device.h"
#include "Platform/Foundation/Exception.h"
#include "ZintarCore/ExceptionGuard.h"

struct ZNLogger::Sinks {
  Observer observer;
  std::shared_ptr<std::FILE> file;
  bool standardError = false;
};

namespace {

const char* baseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

std::string printed(const ZNLogger::Line& line) {
  const double now = zn::secondsSince1970();
  if (line.operation.empty()) return zn::format("%0.3f [%d] %@\n", now, line.type, line.text);
  std::string text = zn::format("%0.3f [error] %@:%d %@: %@\n", now, line.file, line.line, line.operation, line.text);
  for (const std::string& frame : line.callStack) text += "    " + frame + "\n";
  return text;
}

}  // namespace

const std::shared_ptr<ZNLogger>& ZNLogger::sharedInstance() {
  static const auto& instance = *new std::shared_ptr<ZNLogger>(std::make_shared<ZNLogger>());
  return instance;
}

ZNLogger::ZNLogger() : sinks_(std::make_shared<const Sinks>()) {
  const char* wanted = std::getenv("ZN_LOG");
  if (wanted && std::string_view(wanted) == "1") setStandardError(true);
}

ZNLogger::~ZNLogger() = default;

template <class Change>
void ZNLogger::changeSinks(const Change& change) {
  std::shared_ptr<const Sinks> before;  // ends without the lock: an observer may own anything, and log as it ends
  zn::Lock lock(mutex_);
  auto changed = std::make_shared<Sinks>(*sinks_);
  change(*changed);
  enabled_.store(changed->observer || changed->file || changed->standardError, std::memory_order_relaxed);
  before = std::exchange(sinks_, std::move(changed));
}

void ZNLogger::setObserver(Observer observer) {
  changeSinks([&](Sinks& sinks) { sinks.observer = std::move(observer); });
}

bool ZNLogger::setFile(const std::string& path) {
  std::shared_ptr<std::FILE> file;
  if (!path.empty()) {
    std::FILE* opened = std::fopen(path.c_str(), "ae");
    if (!opened) return false;
    file.reset(opened, &std::fclose);
  }
  changeSinks([&](Sinks& sinks) { sinks.file = std::move(file); });
  return true;
}

void ZNLogger::setStandardError(bool enabled) {
  changeSinks([&](Sinks& sinks) { sinks.standardError = enabled; });
}

void ZNLogger::writeText(int type, std::string text) {
  Line line;
  line.type = type;
  line.text = std::move(text);
  write(line);
}

void ZNLogger::write(const Line& line) {
  std::shared_ptr<const Sinks> sinks;
  {
    zn::Lock lock(mutex_);
    sinks = sinks_;
  }
  if (sinks->standardError || sinks->file) {
    const std::string text = printed(line);
    if (sinks->standardError) std::fwrite(text.data(), 1, text.size(), stderr);
    if (sinks->file) {
      std::fwrite(text.data(), 1, text.size(), sinks->file.get());
      std::fflush(sinks->file.get());
    }
  }
  if (sinks->observer) sinks->observer(line);
}

void ZNLogger::logErrorWithFormatArgs(const char* file, int line, const char* operation, std::string message,
                                      std::vector<std::string> callStack) {
  if (!isEnabled()) return;
  write({.type = kError,
         .text = std::move(message),
         .operation = operation,
         .file = baseName(file),
         .line = line,
         .callStack = std::move(callStack)});
}

void zn::logCaughtException(const char* file, int line, const char* selector, const std::string& message) {
  const auto& logger = ZNLogger::sharedInstance();
  if (!logger->isEnabled()) return;
  std::vector<std::string> stack;
  try {
    throw;
  } catch (const Exception& error) {
    stack = error.callStackSymbols();
  } catch (...) {
    // exceptions of other libraries carry no call stack
  }
  logger->logErrorWithFormatArgs(file, line, selector, message, std::move(stack));
}
