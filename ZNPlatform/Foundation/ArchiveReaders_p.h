#pragma once

#include "ZNPlatform/Foundation/KeyedArchive.h"

namespace zn {

/// The two readers of archives, one by one, for who compares them: what the first takes must be intact for the second,
/// and mean the same records.
struct ArchiveReaders {
  /// False, and `result` is left alone, where the archive is not one that NSKeyedArchiver writes, byte for byte.
  static bool readEncoded(std::span<const std::uint8_t> bytes, std::span<const ArchivedClass> classes,
                          NSKeyedUnarchiver::Result& result) {
    return NSKeyedUnarchiver::readEncoded(bytes, classes, result);
  }
  /// Any archive, also a damaged one.
  static NSKeyedUnarchiver::Result readThoroughly(std::span<const std::uint8_t> bytes,
                                                  std::span<const ArchivedClass> classes) {
    return NSKeyedUnarchiver::readThoroughly(bytes, classes);
  }
  /// What readEncoded compares an archive with; empty where it does not come to that.
  static Data rewritten(std::span<const std::uint8_t> bytes) { return NSKeyedUnarchiver::rewritten(bytes); }
};

}  // namespace zn
