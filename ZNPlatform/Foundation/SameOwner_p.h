#pragma once

#include <memory>

namespace zn {

/// Whether both belong to the same object, alive or not. Takes no strong reference: it could become the last one, and
/// end the object where its destructor must not run, under a lock for example.
template <class A, class B>
bool sameOwner(const std::weak_ptr<A>& a, const std::shared_ptr<B>& b) {
  return !a.owner_before(b) && !b.owner_before(a);
}

}  // namespace zn
