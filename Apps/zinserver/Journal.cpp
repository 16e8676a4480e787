#include "Apps/zinserver/Journal.h"

namespace zinserver {

using zn::Value;

void Journal::add(double time, int service, const Value& body, std::size_t size, const Value& fault) {
  Value entry = Value::dictionary({{"time", time}, {"service", service}, {"body", body}});
  entry.setObjectNilHandled(fault, "fault");
  zn::Lock lock(mutex_);
  entries_.push_back({std::move(entry), size});
  bytes_ += size;
  while (entries_.size() > kMostEntries || bytes_ > kMostBytes) {
    bytes_ -= entries_.front().size;
    entries_.pop_front();
  }
}

Value Journal::entriesLocked() const {
  Value all = Value::array();
  for (const Entry& entry : entries_) all.append(entry.value);
  return all;
}

Value Journal::entries() const {
  zn::Lock lock(mutex_);
  return entriesLocked();
}

Value Journal::take() {
  zn::Lock lock(mutex_);
  Value all = entriesLocked();
  entries_.clear();
  bytes_ = 0;
  return all;
}

}  // namespace zinserver
