#include "ZintarCore/ZNLogger.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/Unicode.h"
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
  const std::string message = zn::singleLine(line.text);
  if (line.operation.empty()) return zn::format("%0.3f [%d] %@\n", now, line.type, message);
  std::string text = zn::format("%0.3f [error] %@:%d %@: %@\n", now, line.file, line.line, line.operation, message);
  for (const std::string& frame : line.callStack) text += "    " + zn::singleLine(frame) + "\n";
  return text;
}

/// Opens a file to append to it that nobody but its owner may read: the lines hold what the user was sent and did.
std::shared_ptr<std::FILE> openPrivate(const std::string& path) {
  constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
  zn::Descriptor opened(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, kOwnerOnly));
  struct stat status {};
  if (!opened || ::fstat(opened.get(), &status) != 0) return nullptr;
  const bool isOpenToOthers = S_ISREG(status.st_mode) && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
  if (isOpenToOthers && ::fchmod(opened.get(), kOwnerOnly) != 0) return nullptr;
  std::FILE* file = ::fdopen(opened.get(), "a");
  if (!file) return nullptr;
  opened.release();
  return {file, &std::fclose};
}

}  // namespace

const std::shared_ptr<ZNLogger>& ZNLogger::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNLogger>());
  return *instance;
}

ZNLogger::ZNLogger() : sinks_(std::make_shared<const Sinks>()) {
  const char* wanted = ::secure_getenv("ZN_LOG");
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
    file = openPrivate(path);
    if (!file) return false;
  }
  changeSinks([&](Sinks& sinks) { sinks.file = std::move(file); });
  return true;
}

void ZNLogger::setStandardError(bool enabled) {
  changeSinks([&](Sinks& sinks) { sinks.standardError = enabled; });
}

void ZNLogger::writeText(int type, std::string text) { write({.type = type, .text = std::move(text)}); }

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
