#include "Apps/zinserver/Journal.h"

namespace zinserver {

using zn::Value;

void Journal::add(double time, int service, const Value& body, std::size_t size) {
  Value entry = Value::dictionary({{"time", time}, {"service", service}, {"body", body}});
  zn::Lock lock(mutex_);
  entries_.push_back({std::move(entry), size});
  bytes_ += size;
  while (entries_.size() > kMostEntries || bytes_ > kMostBytes) {
    bytes_ -= entries_.front().size;
    entries_.pop_front();
  }
}

Value Journal::entries() const {
  zn::Lock lock(mutex_);
  Value all = Value::array();
  for (const Entry& entry : entries_) all.append(entry.value);
  return all;
}

void Journal::clear() {
  zn::Lock lock(mutex_);
  entries_.clear();
  bytes_ = 0;
}

}  // namespace zinserver
