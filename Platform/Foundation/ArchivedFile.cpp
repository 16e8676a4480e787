#include "Platform/Foundation/ArchivedFile.h"

#include <utility>

#include "Platform/Device.h"
#include "Platform/Foundation/File.h"

namespace zn {

ArchivedFile::ArchivedFile(std::function<std::string()> path) : path_(std::move(path)) {}

std::shared_ptr<Coding> ArchivedFile::load(std::span<const ArchivedClass> classes, bool (*isWanted)(const Coding&)) {
  Lock lock(mutex_);
  auto read = NSKeyedUnarchiver::unarchiveObjectWithFile(path_(), classes);
  keepAside_ = read.damaged || (read.root && !isWanted(*read.root));
  return read.root;
}

bool ArchivedFile::save(const std::function<std::shared_ptr<const Coding>()>& newest, std::string& error,
                        const Steps& steps) {
  Lock lock(mutex_);
  const std::string path = path_();
  if (keepAside_ && fileExistsAtPath(path) && keepAside(path, &error).empty()) return false;
  keepAside_ = false;
  const Data bytes = NSKeyedArchiver::archivedDataWithRootObject(*newest());
  if (steps.willReplace && !steps.willReplace(bytes, error)) return false;
  if (!replaceFile(path, bytes, &error)) return false;
  if (steps.didReplace) steps.didReplace();
  Device::current().directories->didWriteFile(path);
  return true;
}

void ArchivedFile::forgetUnreadable() {
  Lock lock(mutex_);
  keepAside_ = false;
  removeKeptAside(path_());
}

}  // namespace zn
