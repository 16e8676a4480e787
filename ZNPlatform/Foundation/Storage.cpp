#include "ZNPlatform/Foundation/Storage.h"

#include <algorithm>
#include <map>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/SameOwner_p.h"

namespace zn {

namespace {

struct State {
  Mutex mutex;
  std::map<std::string, StorageProblem> problems ZN_GUARDED_BY(mutex);
  std::vector<std::weak_ptr<StorageObserver>> observers ZN_GUARDED_BY(mutex);
  std::function<void(const std::string& file)> saveObserver ZN_GUARDED_BY(mutex);

  std::vector<StorageProblem> listLocked() const ZN_REQUIRES(mutex) {
    std::vector<StorageProblem> list;
    for (const auto& [file, problem] : problems) list.push_back(problem);
    return list;
  }
  bool isRegisteredLocked(const std::shared_ptr<StorageObserver>& observer) const ZN_REQUIRES(mutex) {
    return std::any_of(observers.begin(), observers.end(), [&](const auto& each) { return sameOwner(each, observer); });
  }
  void noteChangeLocked() ZN_REQUIRES(mutex) {
    std::erase_if(observers, [](const auto& each) { return each.expired(); });
    // Queued under the lock, so that the changes are told in their order; one task each, so that none stops the others.
    for (const auto& each : observers) {
      dispatchAsync(Queue::main, [this, each, list = listLocked()] {
        const auto observer = each.lock();
        if (observer && isRegistered(observer)) observer->storageChanged(list);
      });
    }
  }
  bool isRegistered(const std::shared_ptr<StorageObserver>& observer) {
    const Lock lock(mutex);
    return isRegisteredLocked(observer);
  }
};

State& state() {
  static NeverDestroyed<State> shared;
  return *shared;
}

}  // namespace

std::vector<StorageProblem> Storage::problems() {
  State& all = state();
  const Lock lock(all.mutex);
  return all.listLocked();
}

void Storage::addObserver(const std::shared_ptr<StorageObserver>& observer) {
  State& all = state();
  const Lock lock(all.mutex);
  if (observer && !all.isRegisteredLocked(observer)) all.observers.emplace_back(observer);
}

void Storage::removeObserver(const std::shared_ptr<StorageObserver>& observer) {
  State& all = state();
  const Lock lock(all.mutex);
  std::erase_if(all.observers, [&](const auto& each) { return each.expired() || sameOwner(each, observer); });
}

void Storage::setSaveObserver(std::function<void(const std::string& file)> observer) {
  State& all = state();
  const Lock lock(all.mutex);
  all.saveObserver.swap(observer);
}

void Storage::didReplace(const std::string& file) {
  State& all = state();
  std::function<void(const std::string& file)> observer;
  {
    const Lock lock(all.mutex);
    observer = all.saveObserver;
  }
  if (observer) observer(file);
}

bool Storage::failed(const std::string& file, const std::string& reason) {
  State& all = state();
  const Lock lock(all.mutex);
  StorageProblem& problem = all.problems[file];
  if (problem.reason == reason) return false;
  problem = {file, reason, Date{secondsSince1970()}};
  all.noteChangeLocked();
  return true;
}

void Storage::succeeded(const std::string& file) {
  State& all = state();
  const Lock lock(all.mutex);
  if (all.problems.erase(file) > 0) all.noteChangeLocked();
}

void Storage::report(const std::vector<std::string>& reports) {
  for (const std::string& each : reports) Device::current().systemLog->diagnostic(each);
}

}  // namespace zn
