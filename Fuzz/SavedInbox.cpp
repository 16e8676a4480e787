// An inbox made of the input, which is changed and saved round after round with what the saves before left encoded, and
// read again in between. Every save means the inbox as it stands, holds what an archive made afresh holds, and no more.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <set>
#include <stdexcept>

#include "Fuzz/SameRecords.h"
#include "Tests/Support/EntryProperties.h"
#include "ZNPlatform/Foundation/ArchiveReaders_p.h"

namespace {

using zn::Value;
using zn::fuzz::require;
using Bytes = std::span<const std::uint8_t>;
using Entry = std::shared_ptr<ZNInboxModel>;
using zn::test::kEntryProperties;
constexpr std::size_t kContents = 11;  // the first ones; dates and the campaign are read at once

/// The objects of a binary property list, each without the numbers by which it refers to others, in an order of theirs.
std::vector<std::string> objectsOf(Bytes archive) {
  const auto number = [&](std::size_t at, std::size_t size) {
    std::size_t value = 0;
    while (size-- != 0) value = value << 8 | archive[at++];
    return value;
  };
  const std::size_t trailer = archive.size() - 32, offsetSize = archive[trailer + 6];
  const std::size_t count = number(trailer + 8, 8), table = number(trailer + 24, 8);
  std::vector<std::string> objects;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t begin = number(table + i * offsetSize, offsetSize);
    const std::size_t end = i + 1 < count ? number(table + (i + 1) * offsetSize, offsetSize) : table;
    const bool isList = archive[begin] >= 0xA0;
    objects.emplace_back(archive.begin() + static_cast<std::ptrdiff_t>(begin),
                         archive.begin() + static_cast<std::ptrdiff_t>(end));
    if (isList) objects.back() = objects.back()[0] + std::to_string(end - begin);
  }
  std::sort(objects.begin(), objects.end());
  return objects;
}

/// Encodes what it stands for, and then fails.
struct Failing final : zn::Coding {
  explicit Failing(const zn::Coding& data) : data(data) {}
  const char* archivedClassName() const override { return "ZNInboxData"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override {
    data.encodeWithCoder(coder);
    throw std::runtime_error("no more");
  }
  const zn::Coding& data;
};

class Run {
 public:
  Run(const std::uint8_t* data, std::size_t size) : choices_(data, size) {
    for (int count = choices_.ConsumeIntegralInRange(0, 12); count > 0; --count) add();
    save();
    for (int rounds = 0; rounds < 24 && choices_.remaining_bytes() != 0; ++rounds) {
      for (int changes = choices_.ConsumeIntegralInRange(0, 3); changes >= 0; --changes) change();
      if (choices_.ConsumeIntegralInRange(0, 15) == 0) failToSave();
      save();
      if (choices_.ConsumeIntegralInRange(0, 3) == 0) relaunch();
    }
  }

 private:
  int upTo(int most) { return choices_.ConsumeIntegralInRange(0, most); }

  Value text() {
    static const std::vector<std::string> known{"",
                                                "$null",
                                                "cid",
                                                "NS.keys",
                                                "ZNInboxModel",
                                                "Grüße",
                                                "\U0001F600",
                                                std::string(14, 'x'),
                                                std::string(15, 'y'),
                                                std::string(300, 'z')};
    const auto which = static_cast<std::size_t>(upTo(static_cast<int>(known.size()) + 2));
    if (which < known.size()) return known[which];
    std::string fresh = choices_.ConsumeRandomLengthString(12);
    for (char& c : fresh) c = static_cast<char>(c & 0x7F);
    return which == known.size() ? fresh + "é" : fresh;
  }

  Value value(int depth = 0) {
    switch (upTo(depth < 4 ? 11 : 7)) {
      case 0:
        return Value::null();
      case 1:
        return choices_.ConsumeBool();
      case 2:
        return choices_.ConsumeIntegral<std::int64_t>() >> upTo(63);
      case 3:
        return choices_.ConsumeFloatingPoint<double>();
      case 4:
        return date();
      case 5: {
        const auto bytes = choices_.ConsumeBytes<std::uint8_t>(static_cast<std::size_t>(upTo(20)));
        return Value::data({bytes.begin(), bytes.end()});
      }
      case 8:
      case 9:
        return container(depth);
      case 10:
      case 11:
        if (!seen_.empty()) return seen_[static_cast<std::size_t>(upTo(static_cast<int>(seen_.size()) - 1))];
        [[fallthrough]];
      default:
        return text();
    }
  }

  Value container(int depth) {
    Value made;
    if (choices_.ConsumeBool()) {
      std::vector<Value> elements;
      for (int count = upTo(depth == 0 ? 20 : 4); count > 0; --count) elements.push_back(value(depth + 1));
      made = Value::array(std::move(elements));
    } else {
      std::vector<Value::Entry> entries;
      for (int count = upTo(depth == 0 ? 20 : 4); count > 0; --count) entries.push_back({text(), value(depth + 1)});
      made = Value::dictionary(std::move(entries));
    }
    if (choices_.ConsumeBool()) made = made.mutableCopy();
    if (seen_.size() < 8) seen_.push_back(made);
    return made;
  }

  /// One that stays the same between its counts from 1970 and from 2001.
  Value date() { return zn::Date{1.7e9 + upTo(1 << 24) / 4.0}; }

  void set(ZNInboxModel& entry) {
    const auto which = static_cast<std::size_t>(upTo(std::size(kEntryProperties) - 1));
    const bool isDate = which > kContents;
    const bool isDictionary = which == 0 || which == 2;
    Value next = upTo(7) == 0 ? Value(zn::nil) : isDate ? date() : isDictionary ? container(0) : value();
    if (isDictionary && !next.isDictionary()) next = Value::dictionary({{"in", next}});
    (entry.*kEntryProperties[which].second)(next);
  }

  void add() {
    auto entry = std::make_shared<ZNInboxModel>();
    for (int count = upTo(6); count > 0; --count) set(*entry);
    if (choices_.ConsumeBool()) entry = ZNInboxModel::initWithNotificationPayload(entry->notificationPayloadDict());
    entries_.insert(entries_.begin() + upTo(static_cast<int>(entries_.size())), entry);
  }

  void change() {
    if (entries_.empty()) return add();
    Entry& entry = entries_[static_cast<std::size_t>(upTo(static_cast<int>(entries_.size()) - 1))];
    switch (upTo(9)) {
      case 0:
        return add();
      case 1:
        entries_.erase(entries_.begin() + (&entry - entries_.data()));
        return;
      case 2:
        return std::swap(entry, entries_.front());
      case 3:
        return entries_.push_back(Entry(entry));
      case 4:
        entry->markClickedIfUnread();
        return;
      case 5:
        return entry->setIsRead(choices_.ConsumeBool());
      case 6:
        return share(*entry, *entries_.back());
      case 7:
        if (upTo(7) == 0) entries_.clear();
        return;
      default:
        return set(*entry);
    }
  }

  void share(const ZNInboxModel& from, ZNInboxModel& to) {
    const auto property = kEntryProperties[static_cast<std::size_t>(upTo(kContents - 1))];
    (to.*property.second)((from.*property.first)());
  }

  void failToSave() {
    data_->setInboxMessages(std::make_shared<const zn::InboxList>(entries_));
    zn::NSKeyedArchiver archiver(kept_);
    try {
      archiver.archiveRootObject(Failing(*data_));
      require(false);
    } catch (const std::runtime_error&) {
    }
  }

  void save() {
    data_->setInboxMessages(std::make_shared<const zn::InboxList>(entries_));
    if (upTo(7) == 0) data_->setLastUpdatedFromServerSync(date());
    {
      zn::NSKeyedArchiver archiver(kept_);
      const Bytes saved = archiver.archiveRootObject(*data_);
      file_.assign(saved.begin(), saved.end());
    }
    const auto classes = ZNInboxData::archivedClasses();
    const auto thorough = zn::ArchiveReaders::readThoroughly(file_, classes);
    require(thorough.root && !thorough.damaged);
    const auto asRead = std::dynamic_pointer_cast<ZNInboxData>(thorough.root);
    require(asRead && zn::fuzz::isSame(*asRead, *data_));
    zn::NSKeyedUnarchiver::Result quick;
    const bool isTaken = zn::ArchiveReaders::readEncoded(file_, classes, quick);
    const bool shares = sharesAnything();
    require(isTaken || shares);
    if (isTaken) require(zn::fuzz::isSame(*std::dynamic_pointer_cast<ZNInboxData>(quick.root), *data_));
    // What was read knows no more which of its containers are those that somebody was given since.
    if (wasRead_ && shares) return;
    require(objectsOf(file_) == objectsOf(zn::NSKeyedArchiver::archivedDataWithRootObject(*data_)));
  }

  /// Goes on with what the file holds.
  void relaunch() {
    auto result = zn::NSKeyedUnarchiver::unarchiveObjectWithData(file_, ZNInboxData::archivedClasses());
    data_ = std::dynamic_pointer_cast<ZNInboxData>(result.root);
    entries_ = *data_->inboxMessages();
    kept_ = result.encoded;
    seen_.clear();
    wasRead_ = wasRead_ || kept_;
  }

  /// An entry that stands twice, or a container of two entries.
  bool sharesAnything() const {
    std::set<const void*> others;
    for (const Entry& entry : entries_) {
      std::set<const void*> own{entry.get()};
      for (std::size_t i = 0; i < kContents + 1; ++i) collect((entry.get()->*kEntryProperties[i].first)(), own);
      for (const void* each : own) {
        if (!others.insert(each).second) return true;
      }
    }
    return false;
  }
  static void collect(const Value& value, std::set<const void*>& found) {
    if (!value.isContainer() || !found.insert(value.identity()).second) return;
    for (const Value& each : value.elements()) collect(each, found);
    for (const Value::Entry& each : value.entries()) collect(each.value, found);
  }

  FuzzedDataProvider choices_;
  std::shared_ptr<ZNInboxData> data_ = std::make_shared<ZNInboxData>();
  zn::InboxList entries_;
  std::vector<Value> seen_;  // containers that other values may hold, too
  std::shared_ptr<zn::EncodedRecords> kept_;
  zn::Data file_;
  bool wasRead_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zn::fuzz::device();
  Run(data, size);
  return 0;
}
