#include "ZNDevices/Freedesktop/DesktopStore_p.h"

#include <cmath>
#include <span>
#include <utility>

#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Storage.h"

namespace zn {

namespace {
constexpr double kPauseInBurst = 0.05;  // seconds between two saves
constexpr double kPauseAfterFailure = 30;
}  // namespace

DesktopStore::DesktopStore(Device& device, SessionBus& bus, std::string path, std::function<Value()> state)
    : device_(device), bus_(bus), path_(std::move(path)), state_(std::move(state)) {
  bus_.performAtEnd([this] {
    if (isScheduled_) save();
  });
}

Value DesktopStore::load() {
  const StateFile file = readStateFile(path_, kMaximumStateFile);
  if (file.outcome == StateFile::Outcome::absent) return Value::dictionary();
  std::string problem = file.error;
  if (file.outcome == StateFile::Outcome::read) {
    JsonError malformed;
    const std::string_view text(reinterpret_cast<const char*>(file.bytes.data()), file.bytes.size());
    const auto state = parseJson(text, &malformed, {.maximumMemory = kMaximumStateFile * 8});
    if (state && state->isDictionary()) return *state;
    problem = "cannot use " + path_ + ": " + (state ? "no JSON object" : malformed.text);
  }
  std::string error;
  const std::string aside = keepAside(path_, &error);
  if (!aside.empty()) error = "it is kept as " + aside;
  device_.systemLog->diagnostic(problem + (error == problem ? "" : "; " + error));
  return Value::dictionary();
}

void DesktopStore::changed(Task saved) {
  if (saved) waiting_.push_back(std::move(saved));
  if (std::exchange(isScheduled_, true)) return;
  const double since = device_.clock->now().secondsSince1970 - lastSave_;
  bus_.performAfter(since >= 0 && since < kPauseInBurst ? kPauseInBurst : 0, [this] { save(); });
}

void DesktopStore::save() {
  isScheduled_ = false;
  const std::string text = jsonText(state_());
  std::string error;
  if (replaceFile(path_, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, &error)) {
    Storage::succeeded(path_);
    Storage::didReplace(path_);
  } else {
    if (Storage::failed(path_, error)) device_.systemLog->diagnostic(error);
    isScheduled_ = true;
    bus_.performAfter(kPauseAfterFailure, [this] { save(); });
  }
  lastSave_ = device_.clock->now().secondsSince1970;
  for (const Task& saved : std::exchange(waiting_, {})) runTask(saved, *device_.systemLog);
}

}  // namespace zn
