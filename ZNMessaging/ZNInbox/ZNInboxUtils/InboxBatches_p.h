#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

struct InboxBatch {
  enum class Source { older, extension, click };
  static constexpr const char* kSourceNames[] = {"older", "extension", "click"};  ///< in that order, as files have them
  std::uint64_t number = 0;
  Source source = Source::older;
  Value payloads{};      ///< array: legacy entries from the older file, push payloads from elsewhere
  std::string origin{};  ///< of the extension: the suite of user defaults; of the older file: `originOf` its list
  double taken = 0;      ///< when it was kept, for a click also when it was made; seconds since 1970
};

/// What a synchronisation takes from a source that it empties, and a click that has to wait, is kept here as a file of
/// its own ("Pending/NUMBER.plist" beside the inbox file) until a save of the inbox contains it. So the end of the
/// process, at any moment, neither loses it nor brings it in twice.
///
/// Each save writes a record first: a checksum of the new inbox file and the batches that it contains, and the same for
/// the save before, whose file stands until it is replaced. The next process compares: where the inbox file is a
/// recorded one, its batches are done; those that no record of it names are left over.
///
/// What cannot be read now, a batch or the whole folder, stays and is tried again (`lookAgain`). Until the folder could
/// be listed, new batches get numbers that none there can have.
///
/// A batch of the older file outlives its save for as long as that file is there, so that the list in it is known.
///
/// Thread: any. `keep`, `willReplace` and `didReplace` block on the disk; the others only look.
class InboxBatches {
 public:
  using Number = std::uint64_t;
  using Numbers = std::vector<Number>;
  using Source = InboxBatch::Source;

  /// `folder` is made when something is kept. Removes what one of the inbox files (the first that a record tells of)
  /// contains; the rest waits.
  InboxBatches(std::string folder, const std::vector<std::string>& inboxFiles, std::string olderFile);

  /// Reads what could not be read before.
  void lookAgain();
  /// Writes a batch and gives it the time and a number, higher than any that is there and than `above`. It counts as
  /// taken. Throws Exception where it cannot be written.
  InboxBatch keep(InboxBatch batch, Number above = 0);
  /// The waiting batches of a source (and origin), oldest first. Until they are given back nobody else gets them.
  std::vector<InboxBatch> take(Source source, const std::optional<std::string>& origin = {});
  void giveBack(const std::vector<InboxBatch>& batches);
  /// Removes waiting batches above that number. Throws Exception where one stays.
  void discard(Source source, const std::string& origin, Number above);
  /// Whether all that is there is known. Of what is not, it cannot be told whether it came from a list that still has
  /// it. `isListed`: but for single batches that cannot be read.
  bool isComplete() const;
  bool isListed() const;
  /// Whether there is a batch of that origin, in whatever state.
  bool holds(Source source, const std::string& origin) const;
  /// Tells a list from others.
  static std::string originOf(const Value& list);

  // What the list in memory contains. The inbox calls these under the lock under which it changes that list, so that a
  // save writes a list and names just the batches in it.

  void nowContains(const Numbers& numbers);  ///< these were merged; numbers that are gone meanwhile are passed over
  void nowContainsAll();                     ///< the list was cleared, and what is kept goes with it
  Numbers contained() const;

  // Around the moment in which a save puts `bytes`, a list that contains these batches, in the inbox file's place.

  /// Writes the record. False, with the reason, where it cannot: the inbox file must stay then.
  bool willReplace(std::span<const std::uint8_t> bytes, const Numbers& contained, std::string& error);
  void didReplace(const Numbers& contained);  ///< removes the batches' files

 private:
  enum class State { waiting, taken, contained };
  struct Kept {
    State state = State::waiting;
    InboxBatch batch;    ///< its payloads only while it waits
    bool isRead = true;  ///< else only its number is known
  };

  /// A state of the inbox file.
  struct Save {
    std::int64_t checksum = 0;
    Numbers batches;
  };

  std::string fileOf(Number number) const;
  std::string recordFile() const;
  void look(bool isFirst);
  void read(Number number);
  Save recordOf(const std::vector<std::string>& inboxFiles);
  static Save saveFrom(const Value& record);
  static Value recordFor(const Save& save);
  bool isOfOlderFile(Number number) const;

  const std::string folder_;
  const std::string olderFile_;
  mutable Mutex mutex_;
  std::map<Number, Kept> kept_ ZN_GUARDED_BY(mutex_);
  Number last_ ZN_GUARDED_BY(mutex_) = 0;
  bool isListed_ ZN_GUARDED_BY(mutex_) = false;
  bool isVoid_ ZN_GUARDED_BY(mutex_) = false;  // what is still to be found was cleared away
  Save saved_ ZN_GUARDED_BY(mutex_);           // what the file on disk contains of what is there
  Save saving_ ZN_GUARDED_BY(mutex_);          // what takes its place
};

}  // namespace zn
