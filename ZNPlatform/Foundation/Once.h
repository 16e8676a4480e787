#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace zn {

/// A completion that passes on its first call only, whichever thread makes it, and none if it is empty: for code that
/// must answer exactly once although it cannot trust all that may answer.
template <class... Arguments>
std::function<void(Arguments...)> once(std::function<void(Arguments...)> completion) {
  return
      [completion = std::move(completion), done = std::make_shared<std::atomic<bool>>(false)](Arguments... arguments) {
        if (!done->exchange(true) && completion) completion(std::forward<Arguments>(arguments)...);
      };
}

}  // namespace zn
