#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "ZNPlatform/Foundation/KeyedArchive.h"

namespace zn::test {

/// A record with a field of every kind that records have.
class Note final : public Coding {
 public:
  const char* archivedClassName() const override { return "Note"; }
  std::uint64_t revision() const override { return state; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    coder.encodeObject(text, "text");
    coder.encodeObject(details, "details");
    coder.encodeObject(more, "more");
    coder.encodeBool(flag, "flag");
    coder.encodeInt(count, "count");
    coder.encodeObject(next, "next");
    coder.encodeObjects(parts, true, "parts");
  }
  static std::shared_ptr<Coding> initWithCoder(NSKeyedUnarchiver& coder) {
    auto note = std::make_shared<Note>();
    note->text = coder.decodeObjectForKey("text");
    note->details = coder.decodeObjectForKey("details");
    note->more = coder.decodeObjectForKey("more");
    note->flag = coder.decodeBoolForKey("flag");
    note->count = coder.decodeIntForKey("count");
    note->next = coder.decodeRecordForKey("next");
    for (const auto& part : coder.decodeRecordsForKey("parts", &note->partsAreNil)) note->parts.push_back(part);
    return note;
  }
  static std::span<const ArchivedClass> classes() {
    static const ArchivedClass list[] = {{"Note", &Note::initWithCoder}};
    return list;
  }

  Value text, details, more;
  bool flag = false;
  std::int32_t count = 0;
  std::shared_ptr<const Coding> next;
  std::vector<std::shared_ptr<const Coding>> parts;
  bool partsAreNil = false;
  std::uint64_t state = 0;
};

inline std::shared_ptr<const Note> asNote(const std::shared_ptr<const Coding>& record) {
  return std::dynamic_pointer_cast<const Note>(record);
}
inline Data archive(const Note& note) { return NSKeyedArchiver::archivedDataWithRootObject(note); }
inline NSKeyedUnarchiver::Result unarchive(const Data& bytes) {
  return NSKeyedUnarchiver::unarchiveObjectWithData(bytes, Note::classes());
}

}  // namespace zn::test
