#include <atomic>
#include <utility>

#include "ZNPlatform/Foundation/EncodedRecords_p.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zn {

namespace {

/// The memory of the last archive whose records are not kept, for the next one: to get it page by page and to give it
/// back takes a third of the time of a large one. One that holds very much is not kept.
struct Spare {
  static constexpr std::size_t kMostKept = 8 << 20;

  Mutex mutex;
  std::shared_ptr<EncodedRecords> records ZN_GUARDED_BY(mutex);

  static Spare& shared() {
    static NeverDestroyed<Spare> spare;
    return *spare;
  }
  std::shared_ptr<EncodedRecords> take() {
    Lock lock(mutex);
    return std::move(records);
  }
  void keep(std::shared_ptr<EncodedRecords>& used) {
    used->clear();
    if (used->capacity() > kMostKept) return;
    Lock lock(mutex);
    records.swap(used);
  }
};

}  // namespace

std::uint64_t nextRevision() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

NSKeyedArchiver::NSKeyedArchiver() : records_(Spare::shared().take()), isSpare_(true) {
  if (!records_) records_ = std::make_shared<EncodedRecords>();
}

NSKeyedArchiver::NSKeyedArchiver(std::shared_ptr<EncodedRecords>& kept) {
  if (!kept) kept = std::make_shared<EncodedRecords>();
  records_ = kept;
}

NSKeyedArchiver::~NSKeyedArchiver() {
  if (isSpare_) Spare::shared().keep(records_);
}

std::span<const std::uint8_t> NSKeyedArchiver::archiveRootObject(const Coding& root) {
  return records_->archive(*this, root);
}

Data NSKeyedArchiver::archivedDataWithRootObject(const Coding& root) {
  NSKeyedArchiver archiver;
  const auto archive = archiver.archiveRootObject(root);
  return {archive.begin(), archive.end()};
}

void NSKeyedArchiver::encodeObject(const Value& value, const char* key) {
  records_->addField(key, records_->refOfField(value));
}

void NSKeyedArchiver::encodeObject(const std::shared_ptr<const Coding>& record, const char* key) {
  records_->addField(key, records_->refOf(record));
}

void NSKeyedArchiver::encodeObjects(std::span<const std::shared_ptr<const Coding>> records, bool isMutable,
                                    const char* key) {
  std::vector<const Coding*> present;
  auto owner = std::make_shared<std::vector<std::shared_ptr<const Coding>>>();
  for (const auto& record : records) {
    if (!record) continue;
    present.push_back(record.get());
    owner->push_back(record);
  }
  encodeObjects(std::move(owner), present, isMutable, key);
}

void NSKeyedArchiver::encodeObjects(std::shared_ptr<const void> owner, std::span<const Coding* const> records,
                                    bool isMutable, const char* key) {
  records_->addField(key, records_->refOf(std::move(owner), records, isMutable));
}

void NSKeyedArchiver::encodeBool(bool value, const char* key) {
  records_->addField(key, ref::kFixed | (value ? ref::kInlineTrue : ref::kInlineFalse));
}

void NSKeyedArchiver::encodeInt(std::int32_t value, const char* key) { records_->addInteger(key, value); }

}  // namespace zn
