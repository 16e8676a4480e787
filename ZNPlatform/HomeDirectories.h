#pragma once

#include <optional>
#include <string>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/File.h"

namespace zn {

/// The folders below one home, which are made when missing.
class ZN_EXPORT HomeDirectories : public DeviceDirectories {
 public:
  enum class Use {
    alone,   ///< one process a home: a lock file says so, as long as this object lives
    shared,  ///< without the lock, for another process on an application's home
    none     ///< nothing is made; writing fails
  };
  /// Throws Exception when a folder cannot be made, or the home is in use by another process.
  explicit HomeDirectories(std::string home, Use use = Use::alone);
  std::string home() const override { return home_; }

  /// The folder of that name in the user's own folder for data: $XDG_DATA_HOME or ~/.local/share. Throws Exception
  /// where there is none, and for a name that no folder can have.
  static std::string homeOfApplication(const std::string& applicationID);

 private:
  const std::string home_;
  std::optional<FileLock> lock_;
};

}  // namespace zn
