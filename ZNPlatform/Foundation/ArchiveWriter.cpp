#include "ZNPlatform/Foundation/ArchiveWriter_p.h"

#include <algorithm>
#include <cstring>

namespace zn {

using namespace list;

namespace {

struct ClassName {
  const char* name;
  const char* parent = nullptr;
};
constexpr std::array<ClassName, kFoundationClasses> kClassNames{{{"NSDictionary"},
                                                                 {"NSMutableDictionary", "NSDictionary"},
                                                                 {"NSArray"},
                                                                 {"NSMutableArray", "NSArray"},
                                                                 {"NSDate"},
                                                                 {"NSNull"}}};

/// What every archive names.
constexpr std::array kNames{"$null",    "$class",   "NS.keys",   "NS.objects",      "NS.time", "$classname", "$classes",
                            "NSObject", "$version", "$archiver", "NSKeyedArchiver", "$top",    "$objects",   "root"};
constexpr std::int64_t kVersion = 100000;

std::size_t uidBytes(std::size_t count) noexcept {
  constexpr std::size_t kOneByte = 1u << 8, kTwoBytes = 1u << 16;
  return 2 * std::min(count, kOneByte) + 3 * (std::clamp(count, kOneByte, kTwoBytes) - kOneByte) +
         5 * (std::max(count, kTwoBytes) - kTwoBytes);
}

}  // namespace

std::optional<FoundationClass> foundationClassNamed(std::string_view name) noexcept {
  for (std::size_t i = 0; i < kClassNames.size(); ++i) {
    if (kClassNames[i].name == name) return static_cast<FoundationClass>(i);
  }
  return std::nullopt;
}

/// Writes objects with references of one width.
template <class Ref>
class ArchiveWriter::Body {
 public:
  Body(const ArchiveWriter& writer, std::uint8_t* begin, std::uint8_t* offsets, std::uint8_t offsetSize)
      : writer_(writer), begin_(begin), at_(begin), offset_(offsets), offsetSize_(offsetSize) {
    std::memcpy(at_, kHeader.data(), kHeaderSize);
    at_ += kHeaderSize;
    for (const EncodedShape& shape : writer.records_.shapes_) {
      std::vector<std::uint32_t> keys;
      for (const ArchiveTexts::Id key : shape.keys) keys.push_back(writer.textObjects_[key]);
      shapeKeys_.push_back(keysOf(keys));
    }
  }

  void uids() {
    const std::uint32_t count = writer_.places_;
    for (std::uint32_t place = 0; place < count; ++place) {
      start();
      at_ = storeUid(at_, place);
    }
  }

  /// Those that lie side by side are copied as one.
  void texts() {
    const ArchiveTexts& all = writer_.texts_;
    std::span<const std::uint8_t> run;
    const auto flush = [&] {
      if (!run.empty()) std::memcpy(at_ - run.size(), run.data(), run.size());
    };
    for (ArchiveTexts::Id id = 0; id < all.size(); ++id) {
      if (!all.isWritten(id)) continue;
      start();
      const auto text = all.written(id);
      if (text.data() == run.data() + run.size()) {
        run = {run.data(), run.size() + text.size()};
      } else {
        flush();
        run = text;
      }
      at_ += text.size();
    }
    flush();
  }

  void fixed(const Fixed& object) {
    start();
    if (object.kind == kInteger) {
      at_ = storeInteger(at_, object.integer);
    } else if (object.kind == kTrue || object.kind == kFalse) {
      *at_++ = object.kind;
    } else {
      at_ = storeHead(at_, object.kind, object.references.size() / (object.kind == kDictionary ? 2 : 1));
      for (const std::uint32_t reference : object.references) put(reference);
    }
  }

  /// `element`: where "$objects" has the record's first place.
  void record(const EncodedRecord& record, std::uint8_t* element) {
    element_ = element;
    firstPlace_ = record.firstPlace;
    const std::uint32_t* const end = record.words.data() + record.words.size();
    for (const std::uint32_t* word = record.words.data(); word != end;) object(nextEncodedObject(word));
  }

  /// "$objects"; its elements are written elsewhere.
  void placeList() {
    start();
    at_ = storeHead(at_, kArray, writer_.places_) + writer_.places_ * sizeof(Ref);
  }

 private:
  void start() noexcept {
    offset_ = storeInWidth(offset_, static_cast<std::uint32_t>(at_ - begin_), offsetSize_);
    ++next_;
  }
  void put(std::uint32_t reference) noexcept { at_ = store(at_, static_cast<Ref>(reference)); }
  void put(const Data& bytes) noexcept {
    std::memcpy(at_, bytes.data(), bytes.size());
    at_ += bytes.size();
  }
  Data keysOf(std::span<const std::uint32_t> objects) const {
    Data bytes(headSize(objects.size()) + objects.size() * sizeof(Ref));
    std::uint8_t* at = storeHead(bytes.data(), kDictionary, objects.size());
    for (const std::uint32_t object : objects) at = store(at, static_cast<Ref>(object));
    return bytes;
  }
  /// Finds the object that a reference of the present record means.
  class Resolver {
   public:
    explicit Resolver(const Body& body) noexcept
        : writer_(body.writer_), textPlaces_(writer_.textPlaces_.data()), firstPlace_(body.firstPlace_) {}
    std::uint32_t operator()(EncodedRef ref) const noexcept {
      const std::uint32_t number = ref::number(ref);
      if (ref::how(ref) == ref::kText) return textPlaces_[number];
      if (ref::how(ref) == ref::kOwn) return firstPlace_ + number;
      if (ref::how(ref) == ref::kFixed) return writer_.fixedRefs_[number];
      const auto& other = writer_.records_.others_[number];
      return writer_.records_.records_[other.slot].firstPlace + other.place;
    }

   private:
    const ArchiveWriter& writer_;
    const std::uint32_t* const textPlaces_;
    const std::uint32_t firstPlace_;
  };
  std::uint32_t classOf(const EncodedObject& object) const noexcept {
    return writer_.classes_[writer_.foundationClasses_[static_cast<std::size_t>(foundationClassOf(object))]].place;
  }

  void object(const EncodedObject& object) {
    start();
    element_ = store(element_, static_cast<Ref>(next_ - 1));
    switch (object.kind) {
      case EncodedKind::record:
        return recordObject(object);
      case EncodedKind::dictionary:
        put(dictionaryKeys_);
        put(next_);
        put(next_ + 1);
        put(classOf(object));
        keys(object.body.first(object.count));
        return list(object.body.last(object.count));
      case EncodedKind::array:
        put(arrayKeys_);
        put(next_);
        put(classOf(object));
        return list(object.body);
      case EncodedKind::date:
        put(dateKeys_);
        put(next_);
        put(classOf(object));
        start();
        [[fallthrough]];
      case EncodedKind::real:
        at_ = storeReal(at_, kReal, object.real());
        return;
      case EncodedKind::integer:
        at_ = storeInteger(at_, object.integer());
        return;
      case EncodedKind::data:
        at_ = storeHead(at_, kData, object.count);
        if (object.count != 0) std::memcpy(at_, object.data().data(), object.count);
        at_ += object.count;
        return;
    }
  }

  // What is stored may be anything for the compiler, members too, so the loops have copies of these.

  void keys(std::span<const EncodedRef> texts) {
    start();
    std::uint8_t* at = storeHead(at_, kArray, texts.size());
    const std::uint32_t* const places = writer_.textPlaces_.data();
    for (const EncodedRef text : texts) at = store(at, static_cast<Ref>(places[ref::number(text)]));
    at_ = at;
  }

  void list(std::span<const EncodedRef> refs) {
    start();
    std::uint8_t* at = storeHead(at_, kArray, refs.size());
    const Resolver resolve(*this);
    for (const EncodedRef ref : refs) at = store(at, static_cast<Ref>(resolve(ref)));
    at_ = at;
  }

  void recordObject(const EncodedObject& record) {
    put(shapeKeys_[record.shape]);
    std::uint32_t integers = 0;
    std::uint8_t* at = at_;
    const Resolver resolve(*this);
    const std::uint32_t next = next_;
    forEachField(record, [&](EncodedRef field, std::int32_t) {
      at = store(at,
                 static_cast<Ref>(field == (ref::kFixed | ref::kInlineInteger) ? next + integers++ : resolve(field)));
    });
    at_ = at;
    put(writer_.classes_[writer_.shapeClasses_[record.shape]].place);
    if (integers == 0) return;
    forEachField(record, [&](EncodedRef field, std::int32_t integer) {
      if (field != (ref::kFixed | ref::kInlineInteger)) return;
      start();
      at_ = storeInteger(at_, integer);
    });
  }

  const ArchiveWriter& writer_;
  std::uint8_t* const begin_;
  std::uint8_t* at_;
  std::uint8_t* offset_;
  const std::uint8_t offsetSize_;
  std::uint8_t* element_ = nullptr;
  std::uint32_t next_ = 0;  // object
  std::uint32_t firstPlace_ = 0;
  // Heads and keys of the dictionaries that objects are.
  std::vector<Data> shapeKeys_;
  const Data dictionaryKeys_ =
      keysOf(std::array{writer_.objectOf("NS.keys"), writer_.objectOf("NS.objects"), writer_.objectOf("$class")});
  const Data arrayKeys_ = keysOf(std::array{writer_.objectOf("NS.objects"), writer_.objectOf("$class")});
  const Data dateKeys_ = keysOf(std::array{writer_.objectOf("NS.time"), writer_.objectOf("$class")});
};

std::size_t ArchiveWriter::Fixed::bytes() const noexcept {
  return kind == kInteger ? integerSize(integer) : headSize(references.size() / (kind == kDictionary ? 2 : 1));
}

/// Which classes and which texts of the source the archive needs.
void ArchiveWriter::collectNames() {
  std::vector<ArchiveTexts::Id> needed;
  const auto need = [&](ArchiveTexts::Id text) {
    needed.push_back(text);
    return text;
  };
  for (const char* const name : kNames) need(literal(name));
  records_.classUsers_[static_cast<std::size_t>(FoundationClass::null)] = records_.fixedUsers_[ref::kNull];
  for (std::size_t i = 0; i < kFoundationClasses; ++i) {
    if (records_.classUsers_[i] == 0) continue;
    foundationClasses_[i] = classes_.size();
    classes_.push_back({need(literal(kClassNames[i].name)), std::nullopt});
    if (kClassNames[i].parent) classes_.back().parent = need(literal(kClassNames[i].parent));
  }
  for (const EncodedShape& shape : records_.shapes_) {
    const auto isSame = [&](const Class& each) { return each.name == shape.classText; };
    const auto known = std::find_if(classes_.begin(), classes_.end(), isSame);
    shapeClasses_.push_back(static_cast<std::size_t>(known - classes_.begin()));
    if (shape.users == 0) continue;
    if (known == classes_.end()) classes_.push_back({need(shape.classText), std::nullopt});
    needed.insert(needed.end(), shape.keys.begin(), shape.keys.end());
  }
  texts_.nameLiterals(needed);
}

/// Gives places and texts their numbers.
void ArchiveWriter::number() {
  const std::uint32_t* const users = records_.fixedUsers_;
  std::uint32_t place = 1 + static_cast<std::uint32_t>(classes_.size());
  for (const auto fixed : {ref::kTrue, ref::kFalse, ref::kNull}) place += users[fixed] != 0 ? 1 : 0;
  textPlaces_.resize(texts_.size());
  for (ArchiveTexts::Id id = 0; id < texts_.size(); ++id) {
    if (texts_.isValue(id)) textPlaces_[id] = place++;
  }
  firstRecordPlace_ = place;
  for (const std::uint32_t slot : records_.order_) {
    records_.records_[slot].firstPlace = place;
    place += records_.records_[slot].places;
  }
  places_ = objects_ = place;
  textObjects_.resize(texts_.size());
  for (ArchiveTexts::Id id = 0; id < texts_.size(); ++id) {
    if (!texts_.isWritten(id)) continue;
    textObjects_[id] = objects_++;
    bytes_ += texts_.written(id).size();
  }
}

std::uint32_t ArchiveWriter::add(Fixed object) {
  fixed_.push_back(std::move(object));
  return objects_++;
}

std::uint32_t ArchiveWriter::place(std::uint32_t object) {
  fixedPlaces_.push_back(object);
  return static_cast<std::uint32_t>(fixedPlaces_.size() - 1);
}

void ArchiveWriter::addFixedObjects() {
  const std::uint32_t* const users = records_.fixedUsers_;
  place(objectOf("$null"));
  const auto addBoolean = [&](std::uint8_t kind, ref::Fixed placed, ref::Fixed inlined) {
    if (users[placed] == 0 && users[inlined] == 0) return;
    fixedRefs_[inlined] = add({kind, {}});
    if (users[placed] != 0) fixedRefs_[placed] = place(fixedRefs_[inlined]);
  };
  addBoolean(kTrue, ref::kTrue, ref::kInlineTrue);
  addBoolean(kFalse, ref::kFalse, ref::kInlineFalse);
  for (Class& each : classes_) {
    std::vector<std::uint32_t> chain{textObjects_[each.name]};
    if (each.parent) chain.push_back(textObjects_[*each.parent]);
    chain.push_back(objectOf("NSObject"));
    const std::uint32_t names = add({kArray, std::move(chain)});
    each.place =
        place(add({kDictionary, {objectOf("$classname"), objectOf("$classes"), textObjects_[each.name], names}}));
  }
  if (users[ref::kNull] == 0) return;
  const std::size_t nullClass = foundationClasses_[static_cast<std::size_t>(FoundationClass::null)];
  fixedRefs_[ref::kNull] = place(add({kDictionary, {objectOf("$class"), classes_[nullClass].place}}));
}

/// What follows "$objects", whose number is `objects_` here.
void ArchiveWriter::addTail() {
  const std::uint32_t list = objects_;
  tail_.push_back({kInteger, {}, kVersion});
  tail_.push_back({kDictionary, {objectOf("root"), firstRecordPlace_}});
  tail_.push_back({kDictionary,
                   {objectOf("$version"), objectOf("$archiver"), objectOf("$top"), objectOf("$objects"), list + 1,
                    objectOf("NSKeyedArchiver"), list + 2, list}});
  objects_ += static_cast<std::uint32_t>(1 + tail_.size());
}

void ArchiveWriter::write(GrowingBuffer<std::uint8_t>& output) {
  collectNames();
  number();
  addFixedObjects();
  std::size_t references = places_;
  bytes_ += kHeaderSize + uidBytes(places_) + headSize(places_);
  for (const std::uint32_t slot : records_.order_) {
    const EncodedRecord& record = records_.records_[slot];
    objects_ += record.objects;
    references += record.references;
    bytes_ += record.bytes;
  }
  addTail();
  for (const auto* const objects : {&fixed_, &tail_}) {
    for (const Fixed& object : *objects) {
      references += object.references.size();
      bytes_ += object.bytes();
    }
  }
  const std::uint8_t referenceSize = widthFor(objects_);
  const std::size_t table = bytes_ + references * referenceSize;
  if (table > kLargestFile) refuseSize();
  const std::uint8_t offsetSize = widthFor(table);
  const std::size_t trailer = table + std::size_t{objects_} * offsetSize;
  output.shrink(0);
  std::uint8_t* const begin = output.extend(trailer + kTrailerSize);
  if (referenceSize == 1) {
    writeObjects<std::uint8_t>(begin, table, offsetSize);
  } else if (referenceSize == 2) {
    writeObjects<std::uint16_t>(begin, table, offsetSize);
  } else {
    writeObjects<std::uint32_t>(begin, table, offsetSize);
  }
  storeTrailer(begin + trailer, offsetSize, referenceSize, objects_, objects_ - 1, table);
}

template <class Ref>
void ArchiveWriter::writeObjects(std::uint8_t* begin, std::size_t table, std::uint8_t offsetSize) {
  std::size_t tail = 0;
  for (const Fixed& object : tail_) tail += object.bytes() + object.references.size() * sizeof(Ref);
  std::uint8_t* const elements = begin + table - tail - places_ * sizeof(Ref);
  std::uint8_t* element = elements;
  for (const std::uint32_t object : fixedPlaces_) element = store(element, static_cast<Ref>(object));
  for (ArchiveTexts::Id id = 0; id < texts_.size(); ++id) {
    if (texts_.isValue(id)) element = store(element, static_cast<Ref>(textObjects_[id]));
  }

  Body<Ref> body(*this, begin, begin + table, offsetSize);
  body.uids();
  body.texts();
  for (const Fixed& object : fixed_) body.fixed(object);
  for (const std::uint32_t slot : records_.order_) {
    const EncodedRecord& record = records_.records_[slot];
    body.record(record, elements + record.firstPlace * sizeof(Ref));
  }
  body.placeList();
  for (const Fixed& object : tail_) body.fixed(object);
}

}  // namespace zn
