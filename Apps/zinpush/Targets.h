#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Apps/Push/Sender.h"
#include "Apps/zinpush/Options.h"

namespace zinpush {

/// What became of a push to one device.
struct Report {
  std::string device{};  ///< its id; "" where there is but one
  push::Result result{};
};
using Target = std::function<std::vector<Report>(const push::Message& message)>;

/// Where the options say that pushes go. Throws apps::UsageError, or zn::Exception for a key that cannot be used.
Target targetOf(const Options& options);

std::string keyFileOf(const Options& options);

}  // namespace zinpush
