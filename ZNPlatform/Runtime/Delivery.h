#pragma once

namespace zn {

/// What became of a callback that the platform delivered to a delegate.
enum class Delivery {
  nobody,       ///< there is no delegate, or its class has no entry for the selector
  called,       ///< its implementation ran
  raised,       ///< its implementation raised an exception, which ended the callback
  unrecognized  ///< its class's entry is the missing-method implementation
};

}  // namespace zn
