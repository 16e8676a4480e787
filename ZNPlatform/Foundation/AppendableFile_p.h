#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// The keys that lead to a list in a store, each one below the one before.
using ListPath = std::vector<std::string>;

/// The bytes of a store whose file ends with that list (made where there is none): a property list in XML, which every
/// reader of property lists reads, and whose end is all that an append has to change. Nothing where XML cannot hold the
/// contents exactly, such as a control character or a fraction of a second.
std::optional<Data> appendableList(const Value& contents, const ListPath& list);

/// Appends at the end of such a file. What is about to be written is first noted in ".NAME.append" beside it, and
/// synced: an append that is interrupted, by a power cut too, is brought to its end by whoever comes next.
///
/// Thread: any; the caller excludes other writers of the file, and calls `finishInterrupted` before it reads.
class AppendableFile {
 public:
  explicit AppendableFile(std::string path);

  enum class Outcome {
    appended,
    failed,  ///< with `error` filled; nothing is changed
    unfit    ///< the file is none that ends with this list, or the element none that XML can hold
  };
  Outcome append(const ListPath& list, const Value& element, std::string& error) const;

  /// Whether an append has begun and not come to its end, also one that is going on now.
  bool isInterrupted() const;
  /// False, with `error` filled, where the file stands in the middle of an append and cannot be written.
  bool finishInterrupted(std::string& error) const;
  /// Before the file is replaced: what was noted about it is then of no use.
  void forgetNote() const;

 private:
  struct Change;
  Descriptor openNote() const;

  const std::string path_;
  const std::string notePath_;
};

}  // namespace zn
