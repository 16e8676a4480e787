#include <algorithm>

#include "ZNPlatform/Foundation/ArchiveWriter_p.h"
#include "ZNPlatform/Foundation/LoadedArchive_p.h"

namespace zn {

namespace {

/// How deep records' containers may nest here; deeper ones are for the thorough reader, which does not recurse on
/// trust.
constexpr int kDeepest = 64;
/// What a record may unfold to, in bytes; beyond, the thorough reader decides.
constexpr double kLargestRecord = 32e6;

}  // namespace

/// Makes the objects of an archive those of its records.
class RecordSplitter {
 public:
  RecordSplitter(LoadedArchive& archive, std::span<const std::uint32_t> objectStarts, std::size_t fileSize)
      : archive_(archive), objectStarts_(objectStarts), largestKeys_(32 * fileSize) {}

  /// Every record in a list of the root is one by itself, with the objects from its own place to the next one's.
  void run() {
    const auto count = static_cast<std::uint32_t>(objectStarts_.size());
    const EncodedObject root = object(0);
    expectUsual(root.kind == EncodedKind::record);
    std::vector<std::uint32_t> firsts{0};
    std::vector<std::uint32_t> lists;
    forEachField(root, [&](EncodedRef field, std::int32_t) {
      if (ref::how(field) != ref::kOwn) return;
      const EncodedObject list = object(ref::number(field));
      if (list.kind != EncodedKind::array || list.count == 0) return;
      const auto isRecord = [&](EncodedRef each) {
        return ref::how(each) == ref::kOwn && object(ref::number(each)).kind == EncodedKind::record;
      };
      if (!std::all_of(list.body.begin(), list.body.end(), isRecord)) return;
      lists.push_back(ref::number(field));
      for (const EncodedRef each : list.body) {
        expectUsual(ref::number(each) > firsts.back());
        firsts.push_back(ref::number(each));
      }
    });
    for (const std::uint32_t place : lists) expectUsual(firsts.size() == 1 || place < firsts[1]);
    std::uint32_t member = 0;
    for (const std::uint32_t place : lists) {
      const EncodedObject list = object(place);
      std::uint32_t* const elements = wordsOf(list);
      for (std::uint32_t i = 0; i < list.count; ++i) elements[i] = ref::kOther | ++member;
    }
    for (std::size_t i = 0; i < firsts.size(); ++i) {
      const std::uint32_t end = i + 1 < firsts.size() ? firsts[i + 1] : count;
      archive_.starts_.push_back(objectStarts_[firsts[i]]);
      localise(firsts[i], end, i == 0 ? std::span<const std::uint32_t>(lists) : std::span<const std::uint32_t>());
    }
    archive_.starts_.push_back(static_cast<std::uint32_t>(archive_.words_.size()));
  }

 private:
  EncodedObject object(std::uint32_t place) const noexcept {
    const std::uint32_t* at = archive_.words_.data() + objectStarts_[place];
    return nextEncodedObject(at);
  }

  std::uint32_t* wordsOf(const EncodedObject& object) noexcept {
    return &archive_.words_[static_cast<std::size_t>(object.body.data() - archive_.words_.data())];
  }

  /// What is looked at of an object: how deep it nests and how much it unfolds to.
  struct Measure {
    enum : std::uint8_t { fresh, inProgress, done } state = fresh;
    int height = 1;
    std::uint32_t parts = 0;  // where those of its references that mean objects of the record begin in `parts_`
    double weight = 16;
  };

  /// Makes the references of a record's objects those of the record, and looks whether it can be read without care.
  void localise(std::uint32_t first, std::uint32_t end, std::span<const std::uint32_t> memberLists) {
    measures_.assign(end - first + 1, {});
    parts_.clear();
    for (std::uint32_t place = first; place < end; ++place) {
      const EncodedObject each = object(place);
      Measure& measure = measures_[place - first];
      measure.parts = static_cast<std::uint32_t>(parts_.size());
      if (each.kind == EncodedKind::data) measure.weight += each.count;
      if (each.kind > EncodedKind::array) continue;
      if (std::find(memberLists.begin(), memberLists.end(), place) != memberLists.end()) continue;
      std::uint64_t textBytes = 0;
      std::uint32_t* word = wordsOf(each);
      const std::uint32_t* const values = word + (each.kind == EncodedKind::dictionary ? each.count : 0);
      for (const std::uint32_t* const last = word + each.body.size(); word != last; ++word) {
        if (word == values) keyBytes_ += textBytes;
        if (ref::how(*word) == ref::kText) {
          textBytes += textSize(ref::number(*word)) + 16;
        } else if (ref::how(*word) == ref::kOwn) {
          expectUsual(*word >= first && *word < end);
          *word -= first;
          parts_.push_back(*word);
        } else if (*word == (ref::kFixed | ref::kInlineInteger)) {
          ++word;
        }
      }
      measure.weight += static_cast<double>(textBytes);
    }
    measures_[end - first].parts = static_cast<std::uint32_t>(parts_.size());
    expectUsual(keyBytes_ <= largestKeys_);
    measure(0, 0);
    expectUsual(measures_[0].weight <= kLargestRecord);
  }

  void measure(std::uint32_t place, int depth) {
    Measure& own = measures_[place];
    if (own.state == Measure::done) return;
    expectUsual(own.state == Measure::fresh && depth < kDeepest);
    own.state = Measure::inProgress;
    for (std::uint32_t i = own.parts; i < measures_[place + 1].parts; ++i) {
      measure(parts_[i], depth + 1);
      own.weight += measures_[parts_[i]].weight;
      own.height = std::max(own.height, measures_[parts_[i]].height + 1);
    }
    expectUsual(depth + own.height < kDeepest);
    own.state = Measure::done;
  }

  std::uint32_t textSize(ArchiveTexts::Id id) const noexcept {
    return archive_.textStarts_[id + 1] - archive_.textStarts_[id];
  }

  LoadedArchive& archive_;
  const std::span<const std::uint32_t> objectStarts_;  // in words, by place
  const std::size_t largestKeys_;                      // beyond, the thorough reader decides
  std::size_t keyBytes_ = 0;                           // of all dictionaries
  // Of the record that is being looked at.
  std::vector<Measure> measures_;
  std::vector<std::uint32_t> parts_;
};

void LoadedArchive::splitIntoRecords(std::span<const std::uint32_t> objectStarts, std::size_t fileSize) {
  RecordSplitter(*this, objectStarts, fileSize).run();
}

}  // namespace zn
