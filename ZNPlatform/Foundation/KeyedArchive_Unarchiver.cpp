#include <optional>

#include "ZNPlatform/Foundation/ArchiveObjects_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/LoadedArchive_p.h"

namespace zn {

namespace {

using Token = BinaryListReader::Token;
using Ref = BinaryListReader::Ref;

}  // namespace

/// Where the fields of the record that is being made come from.
struct NSKeyedUnarchiver::State {
  virtual ~State() = default;
  virtual Value value(std::string_view key) = 0;
  virtual Value number(std::string_view key) = 0;
  virtual bool isDictionary(std::string_view key) { return value(key).isDictionary(); }
  virtual std::shared_ptr<Coding> record(NSKeyedUnarchiver& coder, std::string_view key) = 0;
  virtual std::vector<std::shared_ptr<Coding>> records(NSKeyedUnarchiver& coder, std::string_view key, bool& isNil) = 0;
  virtual FieldsForLater later() const { return {}; }
};

/// Any archive, also a damaged one: what cannot be read is left out.
struct NSKeyedUnarchiver::Thorough final : State {
  struct Fields {
    Token dictionary;
    std::size_t next = 0;  // records are mostly asked in the order in which they were written
  };

  ArchiveObjects objects;
  std::span<const ArchivedClass> classes;
  std::vector<std::shared_ptr<Coding>> made;
  Fields* fields = nullptr;  // of the record being made
  int depth = 0;             // of that record

  Thorough(const BinaryListReader& reader, std::span<const ArchivedClass> named)
      : objects(reader, named), classes(named) {}

  std::shared_ptr<Coding> makeRecord(NSKeyedUnarchiver& coder, ArchivePlace& place) {
    objects.describe(place);
    const Ref object = objects.objectOf(place);
    const char* problem = nullptr;
    if (place.species != Species::record) {
      problem = "a value where a record belongs";
    } else if (place.state == ArchivePlace::State::done) {
      return place.record ? made[place.record - 1] : nullptr;
    } else if (place.state == ArchivePlace::State::inProgress) {
      problem = "a record that contains itself";
    } else if (depth >= Value::maximumReadDepth) {
      problem = "records that nest too deep";
    }
    if (problem) {
      objects.fail(problem, object);
      return nullptr;
    }
    place.state = ArchivePlace::State::inProgress;
    auto record = initRecord(coder, classes[place.record], object);
    place.state = ArchivePlace::State::done;
    place.record = 0;
    if (record) {
      made.push_back(record);
      place.record = static_cast<std::uint32_t>(made.size());
    } else {
      objects.fail("a record that refuses its fields", object);
    }
    return record;
  }

  std::shared_ptr<Coding> initRecord(NSKeyedUnarchiver& coder, const ArchivedClass& recordClass, Ref object) {
    Fields own;
    objects.reader().read(object, own.dictionary);
    Fields* const outer = std::exchange(fields, &own);
    ++depth;
    std::shared_ptr<Coding> record;
    try {
      record = recordClass.initWithCoder(coder);
    } catch (...) {
      objects.fail(currentExceptionText().c_str(), object);
    }
    --depth;
    fields = outer;
    return record;
  }

  std::optional<Ref> field(std::string_view key) {
    if (!fields) return std::nullopt;
    const Token& dictionary = fields->dictionary;
    for (std::size_t tried = 0; tried < dictionary.count; ++tried) {
      if (fields->next >= dictionary.count) fields->next = 0;
      const std::size_t at = fields->next++;
      if (objects.reader().isText(objects.reader().elementAt(dictionary, at), key)) {
        return objects.reader().valueAt(dictionary, at);
      }
    }
    return std::nullopt;
  }

  /// The place that a field or an element refers to; null for nil and for what is no reference.
  ArchivePlace* placeOf(Ref object) {
    Token token;
    ArchivePlace* place = objects.reader().read(object, token) ? objects.placeAt(token) : nullptr;
    if (!place) objects.fail("a record or array that is no reference to an object", object);
    return place && !objects.isNil(*place) ? place : nullptr;
  }

  Value value(std::string_view key) override {
    const auto object = field(key);
    return object ? *objects.valueOf(*object, 0).value : Value();
  }

  Value number(std::string_view key) override {
    const auto object = field(key);
    if (!object) return {};
    Value value = *objects.valueOf(*object, 0).value;
    if (value.isNumber()) return value;
    if (!value.isNil() && !value.isNull()) objects.fail("a number or boolean of another type", *object);
    return {};
  }

  std::shared_ptr<Coding> record(NSKeyedUnarchiver& coder, std::string_view key) override {
    const auto object = field(key);
    ArchivePlace* place = object ? placeOf(*object) : nullptr;
    return place ? makeRecord(coder, *place) : nullptr;
  }

  std::vector<std::shared_ptr<Coding>> records(NSKeyedUnarchiver& coder, std::string_view key, bool& isNil) override {
    std::vector<std::shared_ptr<Coding>> found;
    const auto object = field(key);
    ArchivePlace* place = object ? placeOf(*object) : nullptr;
    if (!place) return found;
    objects.describe(*place);
    if (place->species != Species::array) {
      objects.fail("an array of another type", *object);
      return found;
    }
    isNil = false;
    Token list;
    if (!objects.elementsOf(*place, list)) return found;
    found.reserve(list.count);
    for (std::size_t i = 0; i < list.count; ++i) {
      ArchivePlace* element = placeOf(objects.reader().elementAt(list, i));
      auto record = element ? makeRecord(coder, *element) : nullptr;
      if (record) found.push_back(std::move(record));
    }
    return found;
  }
};

/// An intact archive of ours. Whatever is not as a record wants it makes the archive one for the thorough reader, which
/// decides what that means.
struct NSKeyedUnarchiver::Loaded final : State {
  /// The records of an archive; they are made from the root on.
  struct Archive {
    std::shared_ptr<const LoadedArchive> loaded;
    std::span<const ArchivedClass> classes;
    std::vector<std::shared_ptr<Coding>> made;       // by their numbers in the archive
    std::unique_ptr<NSKeyedUnarchiver> member = {};  // reads one record in the root's lists after the other
    bool fits = true;
  };

  Archive& archive;
  std::size_t number_;
  LoadedFields fields;
  EncodedObject present;                          // the record being made, which may be one within another
  std::vector<std::shared_ptr<Coding>> nested{};  // by place

  Loaded(Archive& whole, std::size_t record)
      : archive(whole), number_(record), fields(*whole.loaded, record), present(fields.object(0)) {}

  static std::shared_ptr<Coding> makeRoot(Archive& archive) {
    NSKeyedUnarchiver coder(std::make_unique<Loaded>(archive, 0));
    return static_cast<Loaded&>(*coder.state_).init(coder);
  }

  /// Members refer to no other members, so one is read at a time.
  static std::shared_ptr<Coding> makeMember(Archive& archive, std::size_t number) {
    if (archive.made[number]) return archive.made[number];
    if (!archive.member) archive.member.reset(new NSKeyedUnarchiver(std::make_unique<Loaded>(archive, number)));
    auto& state = static_cast<Loaded&>(*archive.member->state_);
    state.number_ = number;
    state.fields.reset(number);
    state.present = state.fields.object(0);
    state.nested.clear();
    return archive.made[number] = state.init(*archive.member);
  }

  std::shared_ptr<Coding> init(NSKeyedUnarchiver& coder) {
    const std::string& name = archive.loaded->shapes()[present.shape].className;
    for (const ArchivedClass& each : archive.classes) {
      if (name != each.name) continue;
      auto record = each.initWithCoder(coder);
      archive.fits = archive.fits && record;
      return record;
    }
    archive.fits = false;
    return nullptr;
  }

  EncodedRef field(std::string_view key, std::int32_t& integer) {
    EncodedRef ref = ref::kFixed | ref::kNil;
    fields.field(present, key, ref, integer);
    return ref;
  }

  Value value(std::string_view key) override {
    std::int32_t integer = 0;
    const EncodedRef ref = field(key, integer);
    return ref == (ref::kFixed | ref::kInlineInteger) ? Value(integer) : fields.value(ref, archive.fits);
  }

  bool isDictionary(std::string_view key) override {
    std::int32_t integer = 0;
    const EncodedRef ref = field(key, integer);
    return ref::how(ref) == ref::kOwn && fields.object(ref::number(ref)).kind == EncodedKind::dictionary;
  }

  Value number(std::string_view key) override {
    const Value found = value(key);
    if (found.isNumber()) return found;
    archive.fits = archive.fits && (found.isNil() || found.isNull());
    return {};
  }

  std::shared_ptr<Coding> recordOf(NSKeyedUnarchiver& coder, EncodedRef ref) {
    if (ref == (ref::kFixed | ref::kNil)) return nullptr;
    if (ref::how(ref) == ref::kOther) return makeMember(archive, ref::number(ref));
    const std::uint32_t place = ref::number(ref);
    if (ref::how(ref) != ref::kOwn || fields.object(place).kind != EncodedKind::record) {
      archive.fits = false;
      return nullptr;
    }
    nested.resize(fields.size());
    if (nested[place]) return nested[place];
    const EncodedObject outer = std::exchange(present, fields.object(place));
    auto record = init(coder);
    present = outer;
    return nested[place] = std::move(record);
  }

  std::shared_ptr<Coding> record(NSKeyedUnarchiver& coder, std::string_view key) override {
    std::int32_t integer = 0;
    return recordOf(coder, field(key, integer));
  }

  std::vector<std::shared_ptr<Coding>> records(NSKeyedUnarchiver& coder, std::string_view key, bool& isNil) override {
    std::vector<std::shared_ptr<Coding>> found;
    std::int32_t integer = 0;
    const EncodedRef ref = field(key, integer);
    if (ref == (ref::kFixed | ref::kNil)) return found;
    const std::uint32_t place = ref::number(ref);
    if (ref::how(ref) != ref::kOwn || fields.object(place).kind != EncodedKind::array) {
      archive.fits = false;
      return found;
    }
    isNil = false;
    found.reserve(fields.object(place).count);
    for (const EncodedRef element : fields.object(place).body) {
      if (auto record = recordOf(coder, element)) found.push_back(std::move(record));
    }
    return found;
  }

  /// Not of one that holds records: what they are is found out by making them.
  FieldsForLater later() const override {
    FieldsForLater fieldsForLater;
    if (fields.holdsRecords()) return fieldsForLater;
    fieldsForLater.archive_ = archive.loaded;
    fieldsForLater.record_ = number_;
    return fieldsForLater;
  }
};

NSKeyedUnarchiver::NSKeyedUnarchiver(std::unique_ptr<State> state) : state_(std::move(state)) {}
NSKeyedUnarchiver::~NSKeyedUnarchiver() = default;

NSKeyedUnarchiver::Result NSKeyedUnarchiver::unarchiveObjectWithData(std::span<const std::uint8_t> bytes,
                                                                     std::span<const ArchivedClass> classes) {
  Result result;
  return readEncoded(bytes, classes, result) ? result : readThoroughly(bytes, classes);
}

bool NSKeyedUnarchiver::readEncoded(std::span<const std::uint8_t> bytes, std::span<const ArchivedClass> classes,
                                    Result& result) {
  Loaded::Archive archive{LoadedArchive::read(bytes), classes, {}};
  if (!archive.loaded) return false;
  auto encoded = std::make_shared<EncodedRecords>();
  if (!encoded->load(archive.loaded, bytes)) return false;
  archive.made.resize(archive.loaded->records());
  try {
    result.root = Loaded::makeRoot(archive);
  } catch (...) {
    archive.fits = false;
  }
  if (!archive.fits) {
    result.root.reset();
    return false;
  }
  std::vector<std::uint64_t> revisions(archive.made.size() - 1);
  for (std::size_t i = 0; i < revisions.size(); ++i) {
    if (archive.made[i + 1]) revisions[i] = archive.made[i + 1]->revision();
  }
  encoded->setRevisions(revisions);
  result.encoded = std::move(encoded);
  return true;
}

Data NSKeyedUnarchiver::rewritten(std::span<const std::uint8_t> bytes) {
  const auto archive = LoadedArchive::read(bytes);
  if (!archive) return {};
  EncodedRecords encoded;
  encoded.load(archive, bytes);
  const auto written = encoded.written();
  return {written.begin(), written.end()};
}

NSKeyedUnarchiver::Result NSKeyedUnarchiver::readThoroughly(std::span<const std::uint8_t> bytes,
                                                            std::span<const ArchivedClass> classes) {
  Result result;
  const auto reader = BinaryListReader::open(bytes, result.error);
  if (!reader) {
    result.damaged = true;
    return result;
  }
  auto own = std::make_unique<Thorough>(*reader, classes);
  Thorough& state = *own;
  NSKeyedUnarchiver unarchiver(std::move(own));
  if (ArchivePlace* root = state.objects.open()) result.root = state.makeRecord(unarchiver, *root);
  result.error = state.objects.error();
  result.damaged = !result.error.empty();
  return result;
}

NSKeyedUnarchiver::Result NSKeyedUnarchiver::unarchiveObjectWithFile(const std::string& path,
                                                                     std::span<const ArchivedClass> classes,
                                                                     std::size_t maximumSize) {
  const StateFile file = readStateFile(path, maximumSize);
  if (file.outcome == StateFile::Outcome::read) return unarchiveObjectWithData(file.bytes, classes);
  Result result;
  result.error = file.error;
  result.isUnread = file.outcome == StateFile::Outcome::unread;
  result.damaged = file.outcome == StateFile::Outcome::refused;
  return result;
}

void FieldsForLater::read(const std::function<void(NSKeyedUnarchiver& coder)>& decode) const {
  if (!archive_) return;
  NSKeyedUnarchiver::Loaded::Archive archive{archive_, {}, {}};
  NSKeyedUnarchiver coder(std::make_unique<NSKeyedUnarchiver::Loaded>(archive, record_));
  decode(coder);
}

Value NSKeyedUnarchiver::decodeObjectForKey(std::string_view key) { return state_->value(key); }
bool NSKeyedUnarchiver::decodesDictionaryForKey(std::string_view key) { return state_->isDictionary(key); }
bool NSKeyedUnarchiver::decodeBoolForKey(std::string_view key) { return state_->number(key).boolValue(); }
std::int32_t NSKeyedUnarchiver::decodeIntForKey(std::string_view key) { return state_->number(key).intValue(); }

std::shared_ptr<Coding> NSKeyedUnarchiver::decodeRecordForKey(std::string_view key) {
  return state_->record(*this, key);
}

std::vector<std::shared_ptr<Coding>> NSKeyedUnarchiver::decodeRecordsForKey(std::string_view key, bool* isNil) {
  bool isNone = true;
  auto records = state_->records(*this, key, isNone);
  if (isNil) *isNil = isNone;
  return records;
}

FieldsForLater NSKeyedUnarchiver::fieldsForLater() const { return state_->later(); }

}  // namespace zn
