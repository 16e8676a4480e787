#pragma once

#include <string>

#include "ZNPlatform/Export.h"

/// A library's resource files. Thread: any; immutable.
class ZN_EXPORT NSBundle {
 public:
  /// `bundleForClass:`: of the library, or program, that holds this address. Its resources are in "share/zintar" beside
  /// its own folder or above it, wherever the installed tree was moved to; a build folder has one too.
  static NSBundle bundleForAddress(const void* address);
  /// `bundleWithPath:`
  static NSBundle bundleWithPath(std::string folder) { return NSBundle(std::move(folder)); }

  const std::string& resourcePath() const { return resourcePath_; }  ///< "" where no such folder was found
  /// `pathForResource:ofType:`: of the file NAME.TYPE, or "" where there is none.
  std::string pathForResource(const std::string& name, const std::string& type) const;

 private:
  explicit NSBundle(std::string folder) : resourcePath_(std::move(folder)) {}
  std::string resourcePath_;
};
