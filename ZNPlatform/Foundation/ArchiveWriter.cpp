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
  }

  void uids() {
    for (std::uint32_t place = 0; place < writer_.places_; ++place) {
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

  void prepareRecords(const std::vector<EncodedShape>& shapes, std::span<const std::uint32_t> dictionaryKeys,
                      std::span<const std::uint32_t> arrayKeys, std::span<const std::uint32_t> dateKeys) {
    for (const EncodedShape& shape : shapes) {
      std::vector<std::uint32_t> keys;
      for (const ArchiveTexts::Id key : shape.keys) keys.push_back(writer_.textObjects_[key]);
      shapeKeys_.push_back(keysOf(keys));
    }
    dictionaryKeys_ = keysOf(dictionaryKeys);
    arrayKeys_ = keysOf(arrayKeys);
    dateKeys_ = keysOf(dateKeys);
  }

  /// `element`: where "$objects" has the record's first place.
  void record(const EncodedRecord& record, std::uint8_t* element) {
    element_ = element;
    firstPlace_ = record.firstPlace;
    const std::uint32_t* const end = record.words.data() + record.words.size();
    for (const std::uint32_t* word = record.words.data(); word != end;) object(nextEncodedObject(word));
  }

  /// The head of "$objects"; its elements are written elsewhere.
  std::uint8_t* placeList() {
    start();
    at_ = storeHead(at_, kArray, writer_.places_);
    std::uint8_t* const elements = at_;
    at_ += writer_.places_ * sizeof(Ref);
    return elements;
  }

  std::uint8_t* at() const noexcept { return at_; }

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
  std::uint32_t resolved(EncodedRef ref) const noexcept {
    const std::uint32_t number = ref::number(ref);
    switch (ref::how(ref)) {
      case ref::kOwn:
        return firstPlace_ + number;
      case ref::kText:
        return writer_.textPlaces_[number];
      case ref::kFixed:
        return writer_.fixedRefs_[number];
      default: {
        const auto& other = writer_.records_.others_[number];
        return writer_.records_.records_[other.slot].firstPlace + other.place;
      }
    }
  }
  std::uint32_t classOf(const EncodedObject& object) const noexcept {
    return writer_.classPlaces_[static_cast<std::size_t>(foundationClassOf(object))];
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
        list(object.body.first(object.count));
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

  void list(std::span<const EncodedRef> refs) {
    start();
    at_ = storeHead(at_, kArray, refs.size());
    for (const EncodedRef ref : refs) put(resolved(ref));
  }

  void recordObject(const EncodedObject& record) {
    put(shapeKeys_[record.shape]);
    std::uint32_t integers = 0;
    forEachField(record, [&](EncodedRef field, std::int32_t) {
      put(field == (ref::kFixed | ref::kInlineInteger) ? next_ + integers++ : resolved(field));
    });
    put(writer_.shapeClassPlaces_[record.shape]);
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
  std::vector<Data> shapeKeys_;
  Data dictionaryKeys_, arrayKeys_, dateKeys_;  // with the heads of their dictionaries
};

ArchiveTexts::Id ArchiveWriter::literal(const char* text) { return texts_.idOfLiteral(text); }

void ArchiveWriter::nameLiterals() {
  std::vector<ArchiveTexts::Id> needed;
  for (const char* name : kNames) needed.push_back(literal(name));
  for (std::size_t i = 0; i < kFoundationClasses; ++i) {
    if (records_.classUsers_[i] == 0) continue;
    needed.push_back(literal(kClassNames[i].name));
    if (kClassNames[i].parent) needed.push_back(literal(kClassNames[i].parent));
  }
  for (const EncodedShape& shape : records_.shapes_) {
    if (shape.users == 0) continue;
    needed.push_back(shape.classText);
    needed.insert(needed.end(), shape.keys.begin(), shape.keys.end());
  }
  texts_.nameLiterals(needed);
}

/// The places and objects that are not records', in the order in which they are written.
void ArchiveWriter::number() {
  const std::uint32_t* const users = records_.fixedUsers_;
  records_.classUsers_[static_cast<std::size_t>(FoundationClass::null)] = users[ref::kNull];
  nameLiterals();
  std::vector<const std::string*> recordClasses;
  for (const EncodedShape& shape : records_.shapes_) {
    const auto isSame = [&](const std::string* known) { return *known == shape.className; };
    if (shape.users != 0 && std::none_of(recordClasses.begin(), recordClasses.end(), isSame))
      recordClasses.push_back(&shape.className);
  }
  const auto isUsed = [](std::uint32_t count) { return count != 0; };
  firstTextPlace_ = static_cast<std::uint32_t>(
      1 + isUsed(users[ref::kTrue]) + isUsed(users[ref::kFalse]) + isUsed(users[ref::kNull]) +
      std::count_if(std::begin(records_.classUsers_), std::end(records_.classUsers_), isUsed) +
      static_cast<std::ptrdiff_t>(recordClasses.size()));

  std::uint32_t place = firstTextPlace_;
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
    textBytes_ += texts_.written(id).size();
  }
}

std::uint32_t ArchiveWriter::add(Fixed object) {
  fixed_.push_back(std::move(object));
  return objects_++;
}

void ArchiveWriter::placeObject(std::uint32_t object) { fixedPlaces_.push_back(object); }

void ArchiveWriter::addClass(const std::string&, ArchiveTexts::Id text, std::optional<ArchiveTexts::Id> parent,
                             std::uint32_t& place) {
  std::vector<std::uint32_t> chain{textObjects_[text]};
  if (parent) chain.push_back(textObjects_[*parent]);
  chain.push_back(objectOf("NSObject"));
  const std::uint32_t names = add({.kind = kArray, .references = std::move(chain)});
  place = static_cast<std::uint32_t>(fixedPlaces_.size());
  placeObject(add(
      {.kind = kDictionary, .references = {objectOf("$classname"), objectOf("$classes"), textObjects_[text], names}}));
}

void ArchiveWriter::addFixedObjects() {
  const std::uint32_t* const users = records_.fixedUsers_;
  placeObject(objectOf("$null"));
  const auto addBoolean = [&](std::uint8_t kind, ref::Fixed placed, ref::Fixed inlined) {
    if (users[placed] == 0 && users[inlined] == 0) return;
    fixedRefs_[inlined] = add({.kind = kind, .references = {}});
    if (users[placed] == 0) return;
    fixedRefs_[placed] = static_cast<std::uint32_t>(fixedPlaces_.size());
    placeObject(fixedRefs_[inlined]);
  };
  addBoolean(kTrue, ref::kTrue, ref::kInlineTrue);
  addBoolean(kFalse, ref::kFalse, ref::kInlineFalse);
  for (std::size_t i = 0; i < kFoundationClasses; ++i) {
    if (records_.classUsers_[i] == 0) continue;
    const ClassName& each = kClassNames[i];
    std::optional<ArchiveTexts::Id> parent;
    if (each.parent) parent = literal(each.parent);
    addClass(each.name, literal(each.name), parent, classPlaces_[i]);
  }
  if (users[ref::kNull] != 0) {
    fixedRefs_[ref::kNull] = static_cast<std::uint32_t>(fixedPlaces_.size());
    placeObject(
        add({.kind = kDictionary,
             .references = {objectOf("$class"), classPlaces_[static_cast<std::size_t>(FoundationClass::null)]}}));
  }
  shapeClassPlaces_.resize(records_.shapes_.size());
  for (std::size_t i = 0; i < records_.shapes_.size(); ++i) {
    const EncodedShape& shape = records_.shapes_[i];
    if (shape.users == 0) continue;
    const auto same =
        std::find_if(records_.shapes_.begin(), records_.shapes_.begin() + static_cast<std::ptrdiff_t>(i),
                     [&](const EncodedShape& each) { return each.users != 0 && each.className == shape.className; });
    if (same != records_.shapes_.begin() + static_cast<std::ptrdiff_t>(i)) {
      shapeClassPlaces_[i] = shapeClassPlaces_[static_cast<std::size_t>(same - records_.shapes_.begin())];
    } else {
      addClass(shape.className, shape.classText, std::nullopt, shapeClassPlaces_[i]);
    }
  }
}

/// What follows "$objects", whose number is `objects_` here.
void ArchiveWriter::addTail() {
  const std::uint32_t list = objects_;
  tail_.push_back({.kind = kInteger, .references = {}, .integer = kVersion});
  tail_.push_back({.kind = kDictionary, .references = {objectOf("root"), firstRecordPlace_}});
  tail_.push_back({.kind = kDictionary,
                   .references = {objectOf("$version"), objectOf("$archiver"), objectOf("$top"), objectOf("$objects"),
                                  list + 1, objectOf("NSKeyedArchiver"), list + 2, list}});
  objects_ += static_cast<std::uint32_t>(1 + tail_.size());
}

void ArchiveWriter::write(GrowingBuffer<std::uint8_t>& output) {
  number();
  addFixedObjects();
  std::size_t references = places_;
  std::size_t bytes = kHeaderSize + uidBytes(places_) + textBytes_ + headSize(places_);
  for (const std::uint32_t slot : records_.order_) {
    const EncodedRecord& record = records_.records_[slot];
    objects_ += record.objects;
    references += record.references;
    bytes += record.bytes;
  }
  addTail();
  for (const auto* const objects : {&fixed_, &tail_}) {
    for (const Fixed& object : *objects) {
      references += object.references.size();
      bytes += object.kind == kInteger ? integerSize(object.integer)
                                       : headSize(object.references.size() / (object.kind == kDictionary ? 2 : 1));
    }
  }
  const std::uint8_t referenceSize = widthFor(objects_);
  const std::size_t table = bytes + references * referenceSize;
  if (table > kLargestFile) refuseSize();
  const std::uint8_t offsetSize = widthFor(table);
  output.shrink(0);
  std::uint8_t* const begin = output.extend(table + std::size_t{objects_} * offsetSize + kTrailerSize);

  const auto writeAll = [&]<class Ref>(Ref) {
    Body<Ref> body(*this, begin, begin + table, offsetSize);
    body.uids();
    body.texts();
    for (const Fixed& object : fixed_) body.fixed(object);
    body.prepareRecords(records_.shapes_, std::array{objectOf("NS.keys"), objectOf("NS.objects"), objectOf("$class")},
                        std::array{objectOf("NS.objects"), objectOf("$class")},
                        std::array{objectOf("NS.time"), objectOf("$class")});
    std::size_t tail = 0;
    for (const Fixed& object : tail_) {
      tail += object.references.size() * sizeof(Ref) +
              (object.kind == kInteger ? integerSize(object.integer) : headSize(object.references.size() / 2));
    }
    std::uint8_t* const elements = begin + table - tail - places_ * sizeof(Ref);
    std::uint8_t* element = elements;
    for (const std::uint32_t object : fixedPlaces_) element = store(element, static_cast<Ref>(object));
    for (ArchiveTexts::Id id = 0; id < texts_.size(); ++id) {
      if (texts_.isValue(id)) element = store(element, static_cast<Ref>(textObjects_[id]));
    }
    for (const std::uint32_t slot : records_.order_) {
      const EncodedRecord& record = records_.records_[slot];
      body.record(record, elements + record.firstPlace * sizeof(Ref));
    }
    body.placeList();
    for (const Fixed& object : tail_) body.fixed(object);
  };
  if (referenceSize == 1) {
    writeAll(std::uint8_t{});
  } else if (referenceSize == 2) {
    writeAll(std::uint16_t{});
  } else {
    writeAll(std::uint32_t{});
  }
  storeTrailer(begin + table + std::size_t{objects_} * offsetSize, offsetSize, referenceSize, objects_, objects_ - 1,
               table);
}

}  // namespace zn
