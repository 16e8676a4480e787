#pragma once

// What is on its way into the inbox file. Not installed API.

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "Platform/Foundation/Mutex.h"
#include "Platform/Foundation/Value.h"

namespace zn {

struct InboxBatch {
  enum class Source { older, extension, click };
  std::uint64_t number = 0;
  Source source = Source::older;
  Value payloads;       ///< array: legacy entries from the older file, push payloads from elsewhere
  std::string group{};  ///< of the extension: the suite of user defaults that it came from
  double clicked = 0;   ///< of a click: seconds since 1970
};

/// What a synchronisation takes from a source that it empties, and a click that has to wait, is kept here as a file of
/// its own ("Pending/NUMBER.plist" beside the inbox file) until a save of the inbox contains it. So the end of the
/// process, at any moment, neither loses it nor brings it in twice.
///
/// Each save writes a record first: a checksum of the new inbox file and the batches that it contains. The next process
/// compares: where the inbox file is the recorded one, those batches are done; otherwise they are left over.
///
/// Thread: any. `keep`, `willReplace` and `didReplace` block on the disk; the others only look.
class InboxBatches {
 public:
  using Number = std::uint64_t;
  using Numbers = std::vector<Number>;
  using Source = InboxBatch::Source;

  /// `folder` is made when something is kept. Removes what the inbox file contains; the rest waits.
  InboxBatches(std::string folder, const std::string& inboxFile);

  /// Writes a batch and gives it a number, higher than any that is there and than `above`. It counts as taken. Throws
  /// Exception where it cannot be written.
  InboxBatch keep(InboxBatch batch, Number above = 0);
  /// The waiting batches of a source (and group), oldest first. Until they are given back nobody else gets them.
  std::vector<InboxBatch> take(Source source, const std::string& group = {});
  void giveBack(const std::vector<InboxBatch>& batches);
  /// Removes waiting batches; of the extension only those above that number. Throws Exception where one stays.
  void discard(Source source, const std::string& group = {}, Number above = 0);

  // The inbox in memory calls these as one step with its own change.

  void nowContains(const Numbers& numbers);  ///< those that are still there
  void nowContainsAll();
  Numbers contained() const;

  // Steps of a save that contains these.

  bool willReplace(std::span<const std::uint8_t> bytes, const Numbers& contained, std::string& error);
  void didReplace(const Numbers& contained);

 private:
  enum class State { waiting, taken, contained };
  struct Kept {
    State state = State::waiting;
    InboxBatch batch;  ///< its payloads only while it waits
  };

  std::string fileOf(Number number) const;
  std::string recordFile() const;
  void find(const std::string& name);
  Numbers recordedIn(const std::string& inboxFile) const;

  const std::string folder_;
  mutable Mutex mutex_;
  std::map<Number, Kept> kept_ ZN_GUARDED_BY(mutex_);
  Number last_ ZN_GUARDED_BY(mutex_) = 0;
};

}  // namespace zn
