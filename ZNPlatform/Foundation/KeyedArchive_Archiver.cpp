#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <deque>

#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zn {

namespace {

using Ref = BinaryListWriter::Ref;
constexpr Ref kNone = BinaryListWriter::kNone;

/// Finds the reference that belongs to an address.
class AddressTable {
 public:
  AddressTable() : places_(256) {}

  /// kNone at first; the caller sets it. Valid until the next call.
  Ref& operator[](std::uintptr_t address) {
    if (2 * count_ >= places_.size()) grow();
    Place& place = find(address);
    if (place.ref == kNone) {  // new, or never set by the caller
      count_ += place.address == 0;
      place.address = address;
    }
    return place.ref;
  }

  void clear() {
    std::fill(places_.begin(), places_.end(), Place{});
    count_ = 0;
  }
  std::size_t capacity() const noexcept { return places_.capacity() * sizeof(Place); }

 private:
  struct Place {
    std::uintptr_t address = 0;
    Ref ref = kNone;
  };
  Place& find(std::uintptr_t address) {
    const std::size_t mask = places_.size() - 1;
    std::size_t i = (address * 0x9E3779B97F4A7C15) >> 32 & mask;
    while (places_[i].address != 0 && places_[i].address != address) i = (i + 1) & mask;
    return places_[i];
  }
  void grow() {
    std::vector<Place> old(2 * places_.size());
    old.swap(places_);
    for (const Place& place : old) {
      if (place.address != 0) find(place.address) = place;
    }
  }

  std::vector<Place> places_;
  std::size_t count_ = 0;
};

}  // namespace

/// What is referenced is given its place in "$objects" at once and written later, so nesting costs no stack: records in
/// their order, the containers of each right after it, while they are at hand. What fields handed in is kept until the
/// end: `containers` points into it, and addresses in `seen` stay those of living objects.
struct NSKeyedArchiver::State {
  struct Record {
    std::uint32_t index;  // in "$objects"
    int level;
    const Coding* record;
  };
  struct Container {
    std::uint32_t index;
    const Value* container;
  };

  BinaryListWriter writer;
  GrowingBuffer<Ref> objects;           // what "$objects" holds
  GrowingBuffer<Record> records;        // also those that are written already
  GrowingBuffer<Container> containers;  // still to be written
  std::deque<Value> keptValues;
  std::vector<std::shared_ptr<const Coding>> keptRecords;
  AddressTable seen;      // containers and records: their references
  AddressTable literals;  // keys
  std::vector<std::pair<const char*, Ref>> classes;
  GrowingBuffer<Ref> keys, values;  // of the record that is being encoded
  GrowingBuffer<Ref> references;    // of the container that is being written
  int level = 0;                    // of that record
  Ref nil, truth[2] = {kNone, kNone}, null = kNone;
  Ref containerClasses[2][2] = {{kNone, kNone}, {kNone, kNone}};  // dictionaries and arrays, immutable and mutable
  Ref classKey, keysKey, objectsKey, timeKey;
  Ref dateClass = kNone;

  State() { begin(); }

  void begin() {
    classKey = writer.string("$class");
    keysKey = writer.string("NS.keys");
    objectsKey = writer.string("NS.objects");
    timeKey = writer.string("NS.time");
    nil = place(writer.string("$null"));
  }

  /// Lets go of all that was archived and keeps the memory.
  void clear() {
    writer.clear();
    objects.shrink(0);
    records.shrink(0);
    containers.shrink(0);
    keptValues.clear();
    keptRecords.clear();
    seen.clear();
    literals.clear();
    classes.clear();
    level = 0;
    truth[0] = truth[1] = null = dateClass = kNone;
    for (auto& each : containerClasses) each[0] = each[1] = kNone;
    begin();
  }

  std::size_t capacity() const noexcept {
    return writer.capacity() + objects.capacity() + records.capacity() + containers.capacity() +
           keptRecords.capacity() * sizeof keptRecords[0] + seen.capacity() + literals.capacity() + keys.capacity() +
           values.capacity() + references.capacity();
  }

  /// Gives an object its place; the result refers to it.
  Ref place(Ref object) {
    objects.push_back(object);
    return writer.uid(static_cast<std::uint32_t>(objects.size() - 1));
  }

  Ref literal(const char* text) {
    Ref& known = literals[reinterpret_cast<std::uintptr_t>(text)];
    if (known == kNone) known = writer.string(text);
    return known;
  }

  Ref classNamed(const char* name, const char* parent = nullptr) {
    for (const auto& [known, ref] : classes) {
      if (known == name || std::strcmp(known, name) == 0) return ref;
    }
    const Ref text = writer.string(name);
    std::vector<Ref> chain{text};
    if (parent) chain.push_back(writer.string(parent));
    chain.push_back(writer.string("NSObject"));
    const std::array keyList{writer.string("$classname"), writer.string("$classes")};
    const std::array valueList{text, writer.array(chain)};
    const Ref ref = place(writer.dictionary(keyList, valueList));
    classes.emplace_back(name, ref);
    return ref;
  }

  Ref containerClass(bool isArray, bool isMutable) {
    constexpr const char* kNames[2][2] = {{"NSDictionary", "NSMutableDictionary"}, {"NSArray", "NSMutableArray"}};
    Ref& known = containerClasses[isArray][isMutable];
    if (known == kNone) known = classNamed(kNames[isArray][isMutable], isMutable ? kNames[isArray][0] : nullptr);
    return known;
  }

  /// A field's value, which the caller may let go of afterwards.
  Ref referenceToField(const Value& value) {
    return referenceTo(value.isContainer() ? keptValues.emplace_back(value) : value);
  }

  Ref referenceTo(const Value& value) {
    switch (value.type()) {
      case Value::Type::nil:
        return nil;
      case Value::Type::null:
        return null == kNone ? null = place(objectWithClass(classNamed("NSNull"))) : null;
      case Value::Type::boolean: {
        Ref& known = truth[value.boolean()];
        return known == kNone ? known = place(writer.boolean(value.boolean())) : known;
      }
      case Value::Type::integer:
        return place(writer.integer(value.integer()));
      case Value::Type::real:
        return place(writer.real(value.real()));
      case Value::Type::string: {
        BinaryListWriter::Text& text = writer.intern(value.string());
        return text.note == kNone ? text.note = place(text.object) : text.note;
      }
      case Value::Type::date:
        return place(dateObject(value.date()));
      case Value::Type::data:
        return place(writer.data(value.data()));
      case Value::Type::array:
      case Value::Type::dictionary:
        break;
    }
    // A mutable container and an immutable one are two objects, even where they share what they hold.
    Ref& known = seen[reinterpret_cast<std::uintptr_t>(value.identity()) | (value.isMutable() ? 1 : 0)];
    if (known != kNone) return known;
    containers.push_back({static_cast<std::uint32_t>(objects.size()), &value});
    return known = place(kNone);
  }

  Ref referenceTo(const Coding& record) {
    Ref& known = seen[reinterpret_cast<std::uintptr_t>(&record) | 2];
    if (known != kNone) return known;
    if (level >= Value::maximumReadDepth) throw Exception("records nest too deep to be archived");
    records.push_back({static_cast<std::uint32_t>(objects.size()), level + 1, &record});
    return known = place(kNone);
  }

  Ref referenceTo(const std::shared_ptr<const Coding>& record) {
    if (!record) return nil;
    const std::size_t before = records.size();
    const Ref reference = referenceTo(*record);
    if (records.size() > before) keptRecords.push_back(record);
    return reference;
  }

  Ref objectWithClass(Ref objectClass) { return writer.dictionary({&classKey, 1}, {&objectClass, 1}); }

  Ref dateObject(Date date) {
    if (dateClass == kNone) dateClass = classNamed("NSDate");
    const std::array keyList{timeKey, classKey};
    const std::array valueList{writer.real(date.secondsSince1970 - kSecondsFrom1970To2001), dateClass};
    return writer.dictionary(keyList, valueList);
  }

  /// The object of an array whose elements are `references`.
  Ref arrayObject(bool isMutable) {
    const std::array keyList{objectsKey, classKey};
    const std::array valueList{writer.array(references), containerClass(true, isMutable)};
    return writer.dictionary(keyList, valueList);
  }

  Ref containerObject(const Value& container) {
    references.shrink(0);
    if (container.isArray()) {
      for (const Value& element : container.elements()) references.push_back(referenceTo(element));
      return arrayObject(container.isMutable());
    }
    for (const Value::Entry& entry : container.entries()) references.push_back(referenceTo(entry.key));
    for (const Value::Entry& entry : container.entries()) references.push_back(referenceTo(entry.value));
    const std::span<const Ref> all = references;
    const std::array keyList{keysKey, objectsKey, classKey};
    const std::size_t count = container.entries().size();
    const std::array valueList{writer.array(all.first(count)), writer.array(all.subspan(count)),
                               containerClass(false, container.isMutable())};
    return writer.dictionary(keyList, valueList);
  }

  void writeContainers() {
    while (containers.size() > 0) {
      const Container next = containers[containers.size() - 1];
      containers.shrink(containers.size() - 1);
      const Ref object = containerObject(*next.container);
      objects[next.index] = object;
    }
  }

  Ref recordObject(NSKeyedArchiver& coder, const Coding& record) {
    keys.shrink(0);
    values.shrink(0);
    record.encodeWithCoder(coder);
    addField("$class", classNamed(record.archivedClassName()));
    return writer.dictionary(keys, values);
  }

  void addField(const char* key, Ref value) {
    keys.push_back(literal(key));
    values.push_back(value);
  }

  std::span<const std::uint8_t> archive(NSKeyedArchiver& coder, const Coding& root) {
    const Ref rootReference = referenceTo(root);
    for (std::size_t next = 0; next < records.size(); ++next) {
      const Record record = records[next];  // the list grows below
      level = record.level;
      const Ref object = recordObject(coder, *record.record);
      objects[record.index] = object;
      writeContainers();
    }
    const Ref rootKey = writer.string("root");
    const std::array keyList{writer.string("$version"), writer.string("$archiver"), writer.string("$top"),
                             writer.string("$objects")};
    const std::array valueList{writer.integer(100000), writer.string("NSKeyedArchiver"),
                               writer.dictionary({&rootKey, 1}, {&rootReference, 1}), writer.array(objects)};
    return writer.finish(writer.dictionary(keyList, valueList));
  }
};

/// The memory of the last archive, for the next one: to get it page by page and to give it back takes a third of the
/// time of a large one. One that holds very much is not kept.
struct NSKeyedArchiver::Spare {
  static constexpr std::size_t kMostKept = 8 << 20;

  Mutex mutex;
  std::unique_ptr<State> state ZN_GUARDED_BY(mutex);

  static Spare& shared() {
    static NeverDestroyed<Spare> spare;
    return *spare;
  }
  std::unique_ptr<State> take() {
    Lock lock(mutex);
    return std::move(state);
  }
  void keep(std::unique_ptr<State>& used) {
    if (used->capacity() > kMostKept) return;
    used->clear();
    Lock lock(mutex);
    state.swap(used);
  }
};

std::uint64_t nextRevision() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

NSKeyedArchiver::NSKeyedArchiver() : state_(Spare::shared().take()) {
  if (!state_) state_ = std::make_unique<State>();
}

NSKeyedArchiver::~NSKeyedArchiver() { Spare::shared().keep(state_); }

std::span<const std::uint8_t> NSKeyedArchiver::archiveRootObject(const Coding& root) {
  return state_->archive(*this, root);
}

Data NSKeyedArchiver::archivedDataWithRootObject(const Coding& root) {
  NSKeyedArchiver archiver;
  const auto archive = archiver.archiveRootObject(root);
  return {archive.begin(), archive.end()};
}

void NSKeyedArchiver::encodeObject(const Value& value, const char* key) {
  if (value.isContainer() && value.depth() > Value::maximumReadDepth)
    throw Exception("a value nests too deep to be archived");
  state_->addField(key, state_->referenceToField(value));
}

void NSKeyedArchiver::encodeObject(const std::shared_ptr<const Coding>& record, const char* key) {
  state_->addField(key, state_->referenceTo(record));
}

void NSKeyedArchiver::encodeObjects(std::span<const std::shared_ptr<const Coding>> records, bool isMutable,
                                    const char* key) {
  State& state = *state_;
  state.references.shrink(0);
  for (const auto& record : records) {
    if (record) state.references.push_back(state.referenceTo(record));
  }
  state.addField(key, state.place(state.arrayObject(isMutable)));
}

void NSKeyedArchiver::encodeBool(bool value, const char* key) { state_->addField(key, state_->writer.boolean(value)); }

void NSKeyedArchiver::encodeInt(std::int32_t value, const char* key) {
  state_->addField(key, state_->writer.integer(value));
}

}  // namespace zn
