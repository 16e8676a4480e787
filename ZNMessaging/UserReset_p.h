#pragma once

#include <cstdint>

#include "ZNPlatform/Export.h"

namespace zn {

/// The number of user resets (see zn::UserSession) for which the module last forgot everything is kept in the library's
/// own user defaults. It is written once the module's files hold nothing of that user any more: where one could not be
/// saved, after the save that succeeds later. If the process ends before, the next one starts with the reset again.
class ZN_EXPORT UserReset {
 public:
  /// A user left, and what the module holds for that user may still be on the disk.
  static bool isDue();
  /// The stores in memory are cleared for that many resets. Thread: any.
  static void didForget(std::int64_t resets);
};

}  // namespace zn
