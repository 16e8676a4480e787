#pragma once

#include <atomic>
#include <cstdint>

namespace zn {

/// Whose a piece of work is that goes on later: taken when it begins, carried along, and asked before it has an effect.
/// What was begun for one user must not reach the next one. Thread: any.
class OwnerToken {
 public:
  static OwnerToken ofUser();      ///< holds until the user is reset
  static OwnerToken ofTriggers();  ///< of device triggers: holds until the user is reset or opts out of push

  bool holds() const { return count_->load() == taken_; }

  static void userWasReset();         ///< voids the tokens of users
  static void triggersWereStopped();  ///< voids those of device triggers

 private:
  explicit OwnerToken(const std::atomic<std::uint64_t>& count) : count_(&count), taken_(count.load()) {}

  const std::atomic<std::uint64_t>* count_;
  std::uint64_t taken_;
};

}  // namespace zn
