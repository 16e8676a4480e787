#include <algorithm>
#include <cstring>
#include <optional>

#include "ZNPlatform/Foundation/ArchiveCursor_p.h"
#include "ZNPlatform/Foundation/ArchiveWriter_p.h"
#include "ZNPlatform/Foundation/LoadedArchive_p.h"

namespace zn {

using namespace list;

namespace {

/// Pairs of surrogates are whole, and the text could not have been written as ASCII.
bool isWellFormedUtf16(std::span<const std::uint8_t> text) noexcept {
  bool isAscii = true;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const unsigned unit = text[i] << 8 | text[i + 1];
    isAscii = isAscii && unit < 0x80;
    if ((unit & 0xF800) != 0xD800) continue;
    if ((unit & 0x0400) != 0 || i + 4 > text.size() || (text[i + 2] & 0xFC) != 0xDC) return false;
    i += 2;
  }
  return !isAscii;
}

/// How many texts an archive may name; each is looked for among them.
constexpr std::size_t kMostLiterals = 1024;

}  // namespace

/// Reads the objects in the order in which ArchiveWriter writes them.
class ArchiveParser : ArchiveCursor {
 public:
  ArchiveParser(std::span<const std::uint8_t> bytes, LoadedArchive& archive)
      : ArchiveCursor(bytes), archive_(archive) {}

  /// The result: where each object begins in the words, by place.
  std::vector<std::uint32_t> run() {
    expectUsual(objects_ >= 8);
    if (referenceSize_ == 1) {
      readAll<std::uint8_t>();
    } else if (referenceSize_ == 2) {
      readAll<std::uint16_t>();
    } else {
      readAll<std::uint32_t>();
    }
    return std::move(objectStarts_);
  }

 private:
  using Id = ArchiveTexts::Id;
  /// Marks the places of classes in `meanings_`: no value refers to them.
  static constexpr std::uint32_t kClass = ref::kOther;
  static constexpr std::uint32_t kNone = UINT32_MAX;

  struct Class {
    Id name;
    std::optional<FoundationClass> foundation;
  };

  template <class Ref>
  void readAll() {
    readPlaces<Ref>();
    readTexts();
    readFixed<Ref>();
    readMeanings<Ref>();
    const std::uint8_t* const list = objectAt(objects_ - 4);
    for (std::uint32_t place = firstRecordPlace_; place < places_; ++place) readObject<Ref>();
    expectUsual(at_ == list);
  }

  /// "$objects" and the root, which stand at the end of the file.
  template <class Ref>
  void readPlaces() {
    const std::uint8_t* const begin = at_;
    at_ = objectAt(objects_ - 4);
    elements_ = list<Ref>(kArray, places_);
    at_ = objectAt(objects_ - 2);
    std::uint32_t count = 0;
    const std::uint8_t* const top = list<Ref>(kDictionary, count);
    expectUsual(count == 1);
    firstRecordPlace_ = load<Ref>(top + sizeof(Ref));
    expectUsual(firstRecordPlace_ > 0 && firstRecordPlace_ < places_ && places_ < objects_);
    literalObjects_.push_back(load<Ref>(top));
    at_ = objectAt(objects_ - 1);
    const std::uint8_t* const all = list<Ref>(kDictionary, count);
    expectUsual(count == 4);
    for (std::size_t i = 0; i < 4; ++i) literalObjects_.push_back(load<Ref>(all + i * sizeof(Ref)));
    literalObjects_.push_back(load<Ref>(all + 5 * sizeof(Ref)));
    at_ = begin;
    for (std::uint32_t place = 0; place < places_; ++place) {  // their references
      need(1);
      at_ += 2 + (*at_ & 0x0F);
      expectUsual(at_ <= end_);
    }
  }

  template <class Ref>
  std::uint32_t objectOfPlace(std::uint32_t place) const noexcept {
    return load<Ref>(elements_ + std::size_t{place} * sizeof(Ref));
  }

  void readTexts() {
    const std::uint8_t* const begin = at_;
    std::size_t count = 0;
    archive_.textStarts_.push_back(0);
    while (at_ < end_ && ((*at_ & 0xF0) == kAscii || (*at_ & 0xF0) == kUtf16)) {
      const bool isWide = (*at_ & 0xF0) == kUtf16;
      const std::uint64_t size = std::uint64_t{head(isWide ? kUtf16 : kAscii)} * (isWide ? 2 : 1);
      need(size);
      const std::span text{at_, static_cast<std::size_t>(size)};
      expectUsual(isWide ? isWellFormedUtf16(text) : isAscii(text));
      at_ += size;
      archive_.textStarts_.push_back(static_cast<std::uint32_t>(at_ - begin));
      ++count;
    }
    archive_.textBytes_.append({begin, at_});
    expectUsual(count < objects_ - places_);
    texts_ = static_cast<std::uint32_t>(count);
    for (const std::uint32_t object : literalObjects_) literal(object);
  }

  bool isText(std::uint32_t object) const noexcept { return object >= places_ && object - places_ < texts_; }
  Id textOf(std::uint32_t object) const {
    expectUsual(isText(object));
    return object - places_;
  }
  /// A text that the writer's source names.
  Id literal(std::uint32_t object) {
    const Id id = textOf(object);
    auto& known = archive_.literals_;
    if (std::find(known.begin(), known.end(), id) == known.end()) {
      expectUsual(known.size() < kMostLiterals);
      known.push_back(id);
    }
    return id;
  }
  bool isNamed(std::uint32_t object, std::string_view name, std::uint32_t& known) {
    if (object == known) return true;
    if (known != kNone || !isText(object) || !archive_.isText(object - places_, name)) return false;
    known = object;
    literal(object);
    return true;
  }

  /// Booleans, classes and null: the objects between texts and records.
  template <class Ref>
  void readFixed() {
    const std::uint32_t first = places_ + texts_;
    const std::uint32_t end = objectOfPlace<Ref>(firstRecordPlace_);
    expectUsual(end >= first && end < objects_);
    for (std::uint32_t object = first; object < end; ++object) {
      need(1);
      std::uint32_t meaning = kClass;
      std::uint32_t count = 0;
      if (*at_ == kTrue || *at_ == kFalse) {
        (*at_ == kTrue ? true_ : false_) = object;
        meaning = ref::kFixed | (*at_++ == kTrue ? ref::kTrue : ref::kFalse);
      } else if ((*at_ & 0xF0) == kArray) {
        const std::uint8_t* const names = list<Ref>(kArray, count);
        for (std::uint32_t i = 0; i < count; ++i) literal(load<Ref>(names + i * sizeof(Ref)));
        meaning = kNone;
      } else {
        const std::uint8_t* const entries = list<Ref>(kDictionary, count);
        expectUsual(count == 1 || count == 2);
        if (count == 1) {
          meaning = ref::kFixed | ref::kNull;
        } else {
          literal(load<Ref>(entries));
          literal(load<Ref>(entries + sizeof(Ref)));
          const Id name = literal(load<Ref>(entries + 2 * sizeof(Ref)));
          meaning = kClass | static_cast<std::uint32_t>(classes_.size());
          classes_.push_back({name, foundationClassNamed(archive_.text(name).string())});
        }
      }
      fixed_.push_back(meaning);
    }
  }

  /// What references to the places before those of records mean.
  template <class Ref>
  void readMeanings() {
    const std::uint32_t firstFixed = places_ + texts_;
    meanings_.push_back(ref::kFixed | ref::kNil);
    literal(objectOfPlace<Ref>(0));
    for (std::uint32_t place = 1; place < firstRecordPlace_; ++place) {
      const std::uint32_t object = objectOfPlace<Ref>(place);
      if (isText(object)) {
        meanings_.push_back(ref::kText | (object - places_));
      } else {
        expectUsual(object >= firstFixed && object - firstFixed < fixed_.size() &&
                    fixed_[object - firstFixed] != kNone);
        meanings_.push_back(fixed_[object - firstFixed]);
      }
    }
  }

  /// A reference to a place, as records have it; other records are told apart later.
  std::uint32_t meaning(std::uint32_t reference) const {
    if (reference >= firstRecordPlace_) {
      expectUsual(reference < places_);
      return ref::kOwn | (reference - firstRecordPlace_);
    }
    const std::uint32_t meaning = meanings_[reference];
    expectUsual(ref::how(meaning) != ref::kOther);
    return meaning;
  }
  const Class& classAt(std::uint32_t reference) const {
    expectUsual(reference < firstRecordPlace_ && ref::how(meanings_[reference]) == kClass);
    return classes_[ref::number(meanings_[reference])];
  }
  /// Whether objects of that class are mutable.
  bool isMutable(std::uint32_t reference, FoundationClass plain, FoundationClass changeable) const {
    const auto foundation = classAt(reference).foundation;
    expectUsual(foundation == plain || foundation == changeable);
    return foundation == changeable && plain != changeable;
  }

  void put(std::uint32_t word) { archive_.words_.push_back(word); }
  void putInteger(EncodedKind kind, std::uint64_t bits) {
    put(encodedHead(kind, false, 0));
    put(static_cast<std::uint32_t>(bits));
    put(static_cast<std::uint32_t>(bits >> 32));
  }

  template <class Ref>
  void readObject() {
    need(1);
    objectStarts_.push_back(static_cast<std::uint32_t>(archive_.words_.size()));
    switch (*at_ & 0xF0) {
      case kDictionary:
        return readDictionary<Ref>();
      case kInteger:
        return putInteger(EncodedKind::integer, static_cast<std::uint64_t>(integer()));
      case kReal & 0xF0:
        return putInteger(EncodedKind::real, real());
      case kData: {
        const std::uint32_t count = head(kData);
        need(count);
        expectUsual(count <= kLargestEncodedCount);
        put(encodedHead(EncodedKind::data, false, count));
        std::uint32_t* const words = archive_.words_.extend((std::size_t{count} + 3) / 4);
        if (count != 0) words[(count - 1) / 4] = 0;
        std::memcpy(words, at_, count);
        at_ += count;
        return;
      }
      default:
        throw UnusualArchive();
    }
  }

  template <class Ref>
  void readDictionary() {
    std::uint32_t count = 0;
    const std::uint8_t* const entries = list<Ref>(kDictionary, count);
    expectUsual(count != 0);
    const auto value = [&](std::uint32_t i) { return load<Ref>(entries + (std::size_t{count} + i) * sizeof(Ref)); };
    const std::uint32_t firstKey = load<Ref>(entries);
    if (count == 3 && isNamed(firstKey, "NS.keys", keysKey_)) {
      const bool changes = isMutable(value(2), FoundationClass::dictionary, FoundationClass::mutableDictionary);
      return readElements<Ref>(EncodedKind::dictionary, changes);
    }
    if (count == 2 && isNamed(firstKey, "NS.objects", objectsKey_)) {
      const bool changes = isMutable(value(1), FoundationClass::array, FoundationClass::mutableArray);
      return readElements<Ref>(EncodedKind::array, changes);
    }
    if (count == 2 && isNamed(firstKey, "NS.time", timeKey_)) {
      isMutable(value(1), FoundationClass::date, FoundationClass::date);
      return putInteger(EncodedKind::date, real());
    }
    readRecord<Ref>(entries, count);
  }

  template <class Ref>
  void readElements(EncodedKind kind, bool isMutable) {
    std::uint32_t keyCount = 0;
    const std::uint8_t* keys = nullptr;
    if (kind == EncodedKind::dictionary) keys = list<Ref>(kArray, keyCount);
    std::uint32_t count = 0;
    const std::uint8_t* const elements = list<Ref>(kArray, count);
    expectUsual(count <= kLargestEncodedCount && (!keys || keyCount == count));
    put(encodedHead(kind, isMutable, count));
    std::uint32_t* word = archive_.words_.extend(std::size_t{count} + keyCount);
    for (std::uint32_t i = 0; i < keyCount; ++i) {
      const std::uint32_t key = meaning(load<Ref>(keys + i * sizeof(Ref)));
      expectUsual(ref::how(key) == ref::kText);
      *word++ = key;
    }
    for (std::uint32_t i = 0; i < count; ++i) *word++ = meaning(load<Ref>(elements + i * sizeof(Ref)));
  }

  template <class Ref>
  void readRecord(const std::uint8_t* entries, std::uint32_t count) {
    const std::size_t half = std::size_t{count} * sizeof(Ref);
    const std::uint32_t shape = shapeOf<Ref>({entries, half}, load<Ref>(entries + 2 * half - sizeof(Ref)));
    const std::size_t head = archive_.words_.size();
    put(0);
    put(shape);
    std::uint32_t integers = 0;
    for (std::uint32_t i = 0; i + 1 < count; ++i) {
      const std::uint32_t object = load<Ref>(entries + half + i * sizeof(Ref));
      if (object < places_) {
        put(meaning(object));
      } else if (object == true_ || object == false_) {
        put(ref::kFixed | (object == true_ ? ref::kInlineTrue : ref::kInlineFalse));
      } else {
        put(ref::kFixed | ref::kInlineInteger);
        put(integers++);
      }
    }
    archive_.words_[head] =
        encodedHead(EncodedKind::record, false, static_cast<std::uint32_t>(archive_.words_.size() - head - 2));
    for (std::size_t i = head + 2; integers != 0; ++i) {  // they follow in this order
      if (archive_.words_[i] != (ref::kFixed | ref::kInlineInteger)) continue;
      const std::int64_t number = integer();
      expectUsual(number >= INT32_MIN && number <= INT32_MAX);
      archive_.words_[++i] = static_cast<std::uint32_t>(number);
      --integers;
    }
  }

  template <class Ref>
  std::uint32_t shapeOf(std::span<const std::uint8_t> keys, std::uint32_t classPlace) {
    for (std::uint32_t i = 0; i < shapeKeys_.size(); ++i) {
      const auto& known = shapeKeys_[i];
      if (known.place == classPlace && std::ranges::equal(known.keys, keys)) return i;
    }
    expectUsual(shapeKeys_.size() < 64);
    const Class& recordClass = classAt(classPlace);
    expectUsual(!recordClass.foundation);
    EncodedShape shape{.className = std::string(archive_.text(recordClass.name).string()),
                       .keys = {},
                       .classText = recordClass.name,
                       .literals = {}};
    for (std::size_t i = 0; i < keys.size(); i += sizeof(Ref)) shape.keys.push_back(literal(load<Ref>(&keys[i])));
    expectUsual(archive_.isText(shape.keys.back(), "$class"));
    for (auto key = shape.keys.begin(); key != shape.keys.end(); ++key) {  // which of two fields counts is not said
      const auto isSame = [&](Id other) {
        return std::ranges::equal(archive_.written(other).bytes, archive_.written(*key).bytes);
      };
      expectUsual(std::none_of(key + 1, shape.keys.end(), isSame));
    }
    archive_.shapes_.push_back(std::move(shape));
    shapeKeys_.push_back({classPlace, keys});
    return static_cast<std::uint32_t>(shapeKeys_.size() - 1);
  }

  LoadedArchive& archive_;
  const std::uint8_t* elements_ = nullptr;
  std::uint32_t places_ = 0;
  std::uint32_t firstRecordPlace_ = 0;
  std::uint32_t texts_ = 0;
  std::uint32_t true_ = kNone, false_ = kNone, keysKey_ = kNone, objectsKey_ = kNone, timeKey_ = kNone;
  std::vector<std::uint32_t> literalObjects_;
  std::vector<Class> classes_;
  std::vector<std::uint32_t> fixed_;
  std::vector<std::uint32_t> meanings_;
  std::vector<std::uint32_t> objectStarts_;
  struct ShapeKeys {
    std::uint32_t place;
    std::span<const std::uint8_t> keys;
  };
  std::vector<ShapeKeys> shapeKeys_;
};

std::shared_ptr<const LoadedArchive> LoadedArchive::read(std::span<const std::uint8_t> bytes) {
  auto archive = std::make_shared<LoadedArchive>();
  try {
    const auto starts = ArchiveParser(bytes, *archive).run();
    archive->splitIntoRecords(starts, bytes.size());
  } catch (const UnusualArchive&) {
    return nullptr;
  }
  return archive;
}

}  // namespace zn
