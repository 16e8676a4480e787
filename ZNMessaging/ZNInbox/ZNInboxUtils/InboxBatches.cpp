#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxBatches_p.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <random>
#include <system_error>
#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/PropertyList.h"
#include "ZNPlatform/Foundation/Storage.h"

namespace zn {

namespace {

constexpr auto& kSourceNames = InboxBatch::kSourceNames;
constexpr std::string_view kExtension = ".plist";

/// FNV-1a: it has to tell one state of the file from the next, not to withstand anybody.
std::int64_t checksum(std::span<const std::uint8_t> bytes) {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const std::uint8_t byte : bytes) sum = (sum ^ byte) * 0x100000001b3;
  return static_cast<std::int64_t>(sum);
}

Value listOf(const InboxBatch& batch) {
  return Value::dictionary({{"source", kSourceNames[static_cast<int>(batch.source)]},
                            {"payloads", batch.payloads},
                            {"origin", batch.origin},
                            {"taken", batch.taken}});
}

/// Nothing for a file that is none of ours.
std::optional<InboxBatch> batchFrom(InboxBatches::Number number, const Value& list) {
  const auto* const source = std::find(std::begin(kSourceNames), std::end(kSourceNames), list["source"].string());
  if (source == std::end(kSourceNames) || !list["payloads"].isArray() || !list["taken"].isNumber()) {
    return std::nullopt;
  }
  return InboxBatch{number, static_cast<InboxBatch::Source>(source - std::begin(kSourceNames)), list["payloads"],
                    std::string(list["origin"].string()), list["taken"].doubleValue()};
}

/// Nothing for a file that is no batch.
std::optional<InboxBatches::Number> numberOf(const std::string& name) {
  InboxBatches::Number number = 0;
  const char* const end = name.data() + name.size();
  const auto [rest, failure] = std::from_chars(name.data(), end, number);
  if (failure != std::errc{} || std::string_view(rest, static_cast<std::size_t>(end - rest)) != kExtension) return {};
  return number;
}

/// Beyond all that are counted, and never the same twice.
InboxBatches::Number numberOfItsOwn() {
  std::random_device random;
  const InboxBatches::Number bits = (static_cast<InboxBatches::Number>(random()) << 32) | random();
  return (InboxBatches::Number{1} << 60) | (bits >> 4);
}

void tell(const std::string& text) { Device::current().systemLog->diagnostic(text); }

/// True when it is gone afterwards.
bool removeFile(const std::string& path) {
  std::error_code failure;
  std::filesystem::remove(path, failure);
  return !failure;
}

}  // namespace

InboxBatches::InboxBatches(std::string folder, const std::vector<std::string>& inboxFiles, std::string olderFile)
    : folder_(std::move(folder)), olderFile_(std::move(olderFile)) {
  look(true);
  const Save found = recordOf(inboxFiles);
  nowContains(found.batches);
  {
    const Lock lock(mutex_);
    saving_ = found;
  }
  didReplace(found.batches);
}

std::string InboxBatches::fileOf(Number number) const {
  return stringByAppendingPathComponent(folder_, std::to_string(number).append(kExtension));
}

std::string InboxBatches::recordFile() const { return stringByAppendingPathComponent(folder_, "Saved.plist"); }

void InboxBatches::look(bool isFirst) {
  std::error_code failure;
  std::vector<std::string> names;
  for (std::filesystem::directory_iterator each(folder_, failure), end; each != end; each.increment(failure)) {
    names.push_back(each->path().filename());
  }
  if (failure == std::errc::no_such_file_or_directory) failure.clear();
  Numbers numbers;
  for (const std::string& name : names) {
    // Of a process that was killed while it wrote. Later on, this one may be writing.
    if (isFirst && name.starts_with('.')) removeFile(stringByAppendingPathComponent(folder_, name));
    if (const auto number = numberOf(name)) numbers.push_back(*number);
  }
  {
    const Lock lock(mutex_);
    isListed_ = !failure;
    for (const Number number : numbers) {
      last_ = std::max(last_, number);
      const State state = isVoid_ ? State::contained : State::waiting;
      kept_.try_emplace(number, Kept{state, {number, Source::older, nil}, false});
    }
    if (isListed_) isVoid_ = false;
    numbers.clear();
    for (const auto& [number, kept] : kept_) {
      if (!kept.isRead) numbers.push_back(number);
    }
  }
  const std::string problem = failure ? "cannot list " + folder_ + ": " + failure.message() : "";
  if (problem.empty()) {
    Storage::succeeded(folder_);
  } else if (Storage::failed(folder_, problem)) {
    tell(problem + "; what is there comes in when it can be read");
  }
  for (const Number number : numbers) read(number);
}

void InboxBatches::read(Number number) {
  const std::string path = fileOf(number);
  StateFile file = readStateFile(path, kMaximumMessageFile);
  if (file.outcome == StateFile::Outcome::unread) {
    if (Storage::failed(path, file.error)) tell(file.error + "; it comes in when it can be read");
    return;
  }
  Storage::succeeded(path);
  std::string error = std::move(file.error);
  const auto list =
      file.outcome == StateFile::Outcome::read ? parsePropertyList(file.bytes, &error) : std::optional<Value>();
  auto batch = list ? batchFrom(number, *list) : std::nullopt;
  if (file.outcome != StateFile::Outcome::absent && !batch) {
    const std::string aside = keepAside(path);
    if (!aside.empty()) removeFile(path);
    tell("cannot use " + path + (error.empty() ? "" : " (" + error + ")") +
         (aside.empty() ? "; it stays where it is" : "; it is kept as " + aside));
  }
  const Lock lock(mutex_);
  const auto found = kept_.find(number);
  if (found == kept_.end() || found->second.isRead) return;
  if (!batch) {
    kept_.erase(found);
    return;
  }
  found->second.batch = std::move(*batch);
  found->second.isRead = true;
  if (found->second.state != State::waiting) found->second.batch.payloads = nil;
}

void InboxBatches::lookAgain() {
  if (!isComplete()) look(false);
}

bool InboxBatches::isListed() const {
  const Lock lock(mutex_);
  return isListed_;
}

bool InboxBatches::isComplete() const {
  const Lock lock(mutex_);
  return isListed_ && std::all_of(kept_.begin(), kept_.end(), [](const auto& each) { return each.second.isRead; });
}

InboxBatches::Save InboxBatches::recordOf(const std::vector<std::string>& inboxFiles) {
  const Value record = dictionaryWithContentsOfFile(recordFile());
  if (record.isNil()) return {};
  for (const Value& each : record["saves"].elements()) {
    const Save save = saveFrom(each);
    const Lock lock(mutex_);
    for (const Number number : save.batches) last_ = std::max(last_, number);
  }
  for (const std::string& file : inboxFiles) {
    const StateFile read = readStateFile(file, kMaximumMessageFile);
    if (read.outcome != StateFile::Outcome::read) continue;
    const std::int64_t present = checksum(read.bytes);
    for (const Value& each : record["saves"].elements()) {  // the newest first
      if (Save save = saveFrom(each); save.checksum == present) return save;
    }
  }
  return {};
}

InboxBatches::Save InboxBatches::saveFrom(const Value& record) {
  Save save{record["checksum"].integer(), {}};
  for (const Value& number : record["batches"].elements()) {
    save.batches.push_back(static_cast<Number>(number.integer()));
  }
  return save;
}

Value InboxBatches::recordFor(const Save& save) {
  return Value::dictionary(
      {{"checksum", save.checksum}, {"batches", Value::array({save.batches.begin(), save.batches.end()})}});
}

InboxBatch InboxBatches::keep(InboxBatch batch, Number above) {
  batch.taken = secondsSince1970();
  {
    const Lock lock(mutex_);
    const Number next = std::max(last_, above) + 1;
    batch.number = last_ = isListed_ ? next : std::max(next, numberOfItsOwn());
  }
  std::string error;
  if (!createDirectoryAtPath(folder_, true, &error) ||
      !replaceFile(fileOf(batch.number), binaryPropertyList(listOf(batch)), &error)) {
    if (Storage::failed(folder_, error)) tell(error + "; what a synchronisation takes stays where it is, clicks wait");
    throw Exception(error);
  }
  if (isListed()) Storage::succeeded(folder_);
  const Lock lock(mutex_);
  Kept& kept = kept_[batch.number];
  kept = {State::taken, batch};
  kept.batch.payloads = nil;
  return batch;
}

std::vector<InboxBatch> InboxBatches::take(Source source, const std::optional<std::string>& origin) {
  std::vector<InboxBatch> taken;
  const Lock lock(mutex_);
  for (auto& [number, kept] : kept_) {
    if (kept.state != State::waiting || !kept.isRead || kept.batch.source != source) continue;
    if (origin && kept.batch.origin != *origin) continue;
    kept.state = State::taken;
    taken.push_back(kept.batch);
    kept.batch.payloads = nil;
  }
  return taken;
}

void InboxBatches::giveBack(const std::vector<InboxBatch>& batches) {
  const Lock lock(mutex_);
  for (const InboxBatch& batch : batches) {
    const auto found = kept_.find(batch.number);
    if (found != kept_.end() && found->second.state == State::taken) found->second = {State::waiting, batch};
  }
}

void InboxBatches::discard(Source source, const std::string& origin, Number above) {
  Numbers numbers;
  {
    const Lock lock(mutex_);
    for (const auto& [number, kept] : kept_) {
      const bool isMeant =
          kept.state == State::waiting && kept.isRead && kept.batch.source == source && kept.batch.origin == origin;
      if (isMeant && number > above) numbers.push_back(number);
    }
  }
  for (const Number number : numbers) {
    if (!removeFile(fileOf(number))) throw Exception("cannot remove " + fileOf(number));
    const Lock lock(mutex_);
    kept_.erase(number);
  }
}

bool InboxBatches::holds(Source source, const std::string& origin) const {
  const Lock lock(mutex_);
  return std::any_of(kept_.begin(), kept_.end(), [&](const auto& each) {
    return each.second.isRead && each.second.batch.source == source && each.second.batch.origin == origin;
  });
}

std::string InboxBatches::originOf(const Value& list) { return std::to_string(checksum(binaryPropertyList(list))); }

bool InboxBatches::isOfOlderFile(Number number) const {
  const Lock lock(mutex_);
  const auto found = kept_.find(number);
  return found != kept_.end() && (!found->second.isRead || found->second.batch.source == Source::older);
}

void InboxBatches::nowContains(const Numbers& numbers) {
  const Lock lock(mutex_);
  for (const Number number : numbers) {
    const auto found = kept_.find(number);
    if (found != kept_.end()) found->second.state = State::contained;
  }
}

void InboxBatches::nowContainsAll() {
  const Lock lock(mutex_);
  for (auto& [number, kept] : kept_) kept.state = State::contained;
  isVoid_ = !isListed_;
}

InboxBatches::Numbers InboxBatches::contained() const {
  Numbers numbers;
  const Lock lock(mutex_);
  for (const auto& [number, kept] : kept_) {
    if (kept.state == State::contained) numbers.push_back(number);
  }
  return numbers;
}

bool InboxBatches::willReplace(std::span<const std::uint8_t> bytes, const Numbers& contained, std::string& error) {
  if (contained.empty()) return true;
  Value saves = Value::array();
  {
    const Lock lock(mutex_);
    saving_ = {checksum(bytes), contained};
    saves.append(recordFor(saving_));
    if (!saved_.batches.empty()) saves.append(recordFor(saved_));
  }
  return replaceFile(recordFile(), binaryPropertyList(Value::dictionary({{"saves", saves}})), &error);
}

void InboxBatches::didReplace(const Numbers& contained) {
  if (contained.empty()) return;
  const bool olderFileStays = fileExistsAtPath(olderFile_);
  Numbers staying;  // contained, so the next save names them again
  for (const Number number : contained) {
    if ((olderFileStays && isOfOlderFile(number)) || !removeFile(fileOf(number))) staying.push_back(number);
  }
  // Before the next save: the record does not know its file, and a batch that a power cut brought back would come in
  // again. Until then they are named again.
  if (!syncDirectoryAtPath(folder_)) staying = contained;
  if (staying.empty()) removeFile(recordFile());
  const Lock lock(mutex_);
  for (const Number number : contained) {
    if (std::find(staying.begin(), staying.end(), number) == staying.end()) kept_.erase(number);
  }
  saved_ = {saving_.checksum, std::move(staying)};
}

}  // namespace zn
