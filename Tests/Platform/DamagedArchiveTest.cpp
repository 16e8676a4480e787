// Archives that are damaged, hostile, or from elsewhere: laid out by hand, cut and changed.

#include <gtest/gtest.h>

#include <random>

#include "Tests/Support/Note.h"
#include "Tests/Support/RawPropertyList.h"
#include "Tests/Support/StressScale.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/PropertyList.h"

namespace {

using zn::Data;
using zn::NSKeyedUnarchiver;
using zn::Value;
using zn::test::archive;
using zn::test::asNote;
using zn::test::Note;
using zn::test::RawPropertyList;
using zn::test::unarchive;

/// An archive whose root is a Note, laid out by hand.
struct Raw {
  RawPropertyList list;
  std::vector<int> objects;
  int noteClass, arrayClass, dictionaryClass;

  Raw() {
    place(list.string("$null"));
    noteClass = classNamed("Note");
    arrayClass = classNamed("NSArray");
    dictionaryClass = classNamed("NSDictionary");
  }
  int place(int object) {
    objects.push_back(object);
    return list.uid(static_cast<int>(objects.size()) - 1);
  }
  int key(const char* text) { return list.string(text); }
  int classNamed(const char* name) { return place(list.dictionary({{key("$classname"), list.string(name)}})); }
  int arrayOf(int elements) {
    return place(list.dictionary({{key("$class"), arrayClass}, {key("NS.objects"), elements}}));
  }
  int dictionaryOf(int keys, int values) {
    return place(
        list.dictionary({{key("NS.keys"), keys}, {key("$class"), dictionaryClass}, {key("NS.objects"), values}}));
  }
  int note(std::vector<std::pair<int, int>> fields) {
    fields.emplace_back(key("$class"), noteClass);
    return place(list.dictionary(fields));
  }
  Data file(int root) {
    const int top = list.dictionary({{key("root"), root}});
    const int all = list.array(objects);
    return list.file(list.dictionary({{key("$top"), top}, {key("$objects"), all}}));
  }
  NSKeyedUnarchiver::Result read(int root) { return unarchive(file(root)); }
};

TEST(DamagedArchive, AFieldOfAnotherTypeReadsAsNothing) {
  Raw raw;
  const int text = raw.place(raw.list.string("12"));
  const int other = raw.note({});
  const int stranger = raw.place(raw.list.dictionary({{raw.key("$class"), raw.classNamed("Stranger")}}));
  const int elements = raw.list.array({text, other, stranger});
  const auto check = [&](const char* field, int value) {
    Raw copy = raw;
    const auto result = copy.read(copy.note({{copy.key(field), value}}));
    EXPECT_TRUE(result.damaged) << field;
    EXPECT_FALSE(result.error.empty());
    EXPECT_TRUE(result.root);
    return asNote(result.root);
  };
  EXPECT_TRUE(check("text", other)->text.isNil());
  EXPECT_TRUE(check("text", stranger)->text.isNil());
  EXPECT_TRUE(check("text", raw.list.uid(999))->text.isNil());
  EXPECT_TRUE(check("text", raw.list.array({text}))->text.isNil());
  EXPECT_FALSE(check("flag", text)->flag);
  EXPECT_EQ(check("count", text)->count, 0);
  EXPECT_FALSE(check("next", text)->next);
  EXPECT_FALSE(check("next", stranger)->next);
  EXPECT_TRUE(check("parts", text)->partsAreNil);
  EXPECT_EQ(check("parts", raw.arrayOf(elements))->parts.size(), 1u);
  EXPECT_EQ(check("details", raw.arrayOf(elements))->details, Value::array({"12"}));
}

TEST(DamagedArchive, OneLongTextThatManyObjectsMeanIsNoDamage) {
  Raw raw;
  const int bytes = raw.list.string(std::string(5000, 'x'));
  const int stringClass = raw.classNamed("NSMutableString");
  std::vector<int> elements;
  for (int i = 0; i < 200; ++i) {
    elements.push_back(raw.place(bytes));
    elements.push_back(
        raw.place(raw.list.dictionary({{raw.key("$class"), stringClass}, {raw.key("NS.string"), bytes}})));
  }
  const int all = raw.arrayOf(raw.list.array(elements));
  const auto result = raw.read(raw.note({{raw.key("details"), all}}));
  EXPECT_FALSE(result.damaged) << result.error;
  EXPECT_EQ(asNote(result.root)->details, Value::array(std::vector<Value>(400, std::string(5000, 'x'))));
}

TEST(DamagedArchive, DictionariesThatDoNotAddUpKeepWhatIsWhole) {
  Raw raw;
  const int a = raw.place(raw.list.string("a"));
  const int b = raw.place(raw.list.string("b"));
  const int one = raw.place(raw.list.add(std::string("\x10\x01", 2)));
  const auto read = [&](int keys, int values) {
    const auto result = raw.read(raw.note({{raw.key("details"), raw.dictionaryOf(keys, values)}}));
    return std::pair(asNote(result.root)->details, result.damaged);
  };
  using Pair = std::pair<Value, bool>;
  EXPECT_EQ(read(raw.list.array({a, b}), raw.list.array({one})), Pair(Value::dictionary({{"a", 1}}), true));
  EXPECT_EQ(read(raw.list.array({a}), raw.list.array({one, b})), Pair(Value::dictionary({{"a", 1}}), true));
  EXPECT_EQ(read(raw.list.array({one, b}), raw.list.array({a, a})), Pair(Value::dictionary({{"b", "a"}}), true));
  EXPECT_EQ(read(raw.list.array({a, a}), raw.list.array({one, b})), Pair(Value::dictionary({{"a", "b"}}), false));
  EXPECT_EQ(read(raw.list.array({a, b}), one), Pair(Value(), true));
}

TEST(DamagedArchive, ContainersThatContainThemselvesAreCutThere) {
  Raw raw;
  const int elements = raw.list.add("");
  const int array = raw.arrayOf(elements);
  const int text = raw.place(raw.list.string("kept"));
  const int around = raw.dictionaryOf(raw.list.array({text}), raw.list.array({array}));
  raw.list[elements] = raw.list.head(0xA0, 3) + raw.list.references({text, array, around});
  const auto result = raw.read(raw.note({{raw.key("details"), array}}));
  EXPECT_TRUE(result.damaged);
  EXPECT_EQ(asNote(result.root)->details, Value::array({"kept", Value::dictionary()}));
}

TEST(DamagedArchive, ADeepFileIsReadDownToTheLimit) {
  constexpr int kLevels = 200000;
  Raw raw;
  const int keyClass = raw.key("$class"), keyObjects = raw.key("NS.objects");
  const auto reference = [&](std::size_t index) { return raw.list.add('\x83' + RawPropertyList::number(index, 4)); };
  const int root = raw.note({{raw.key("details"), reference(raw.objects.size() + 1)}});
  for (int level = 0; level < kLevels; ++level) {
    const int inner = reference(raw.objects.size() + 1);
    raw.objects.push_back(raw.list.dictionary({{keyClass, raw.arrayClass}, {keyObjects, raw.list.array({inner})}}));
  }
  raw.objects.push_back(raw.list.string("bottom"));
  const auto result = raw.read(root);
  EXPECT_TRUE(result.damaged);
  EXPECT_EQ(asNote(result.root)->details.depth(), Value::maximumReadDepth);

  Raw records;
  const int first = records.list.uid(static_cast<int>(records.objects.size()));
  for (int level = 0; level < kLevels / 10; ++level) {
    const int next = records.list.uid(static_cast<int>(records.objects.size()) + 1);
    records.objects.push_back(
        records.list.dictionary({{records.key("$class"), records.noteClass}, {records.key("next"), next}}));
  }
  const auto chain = records.read(first);
  EXPECT_TRUE(chain.damaged);
  int length = 0;
  for (auto note = asNote(chain.root); note; note = asNote(note->next)) ++length;
  EXPECT_EQ(length, Value::maximumReadDepth);
}

TEST(DamagedArchive, SmallFilesThatMeanHugeValuesAreRefused) {
  {  // 2^100 strings, by way of a hundred arrays that hold the next one twice
    Raw raw;
    int inner = raw.place(raw.list.string("lol"));
    for (int level = 0; level < 100; ++level) inner = raw.arrayOf(raw.list.array({inner, inner}));
    const auto result = raw.read(raw.note({{raw.key("details"), inner}}));
    EXPECT_TRUE(result.damaged);
    EXPECT_TRUE(asNote(result.root)->details.isNil() || asNote(result.root)->details.depth() < 100);
  }
  {  // five thousand arrays, all with the same list of 100,000 elements
    Raw raw;
    const int text = raw.place(raw.list.string("x"));
    const int elements = raw.list.array(std::vector<int>(100000, text));
    std::vector<int> arrays;
    for (int i = 0; i < 5000; ++i) arrays.push_back(raw.arrayOf(elements));
    const int all = raw.arrayOf(raw.list.array(arrays));
    const auto result = raw.read(raw.note({{raw.key("details"), all}, {raw.key("parts"), all}}));
    EXPECT_TRUE(result.damaged);
    EXPECT_LT(asNote(result.root)->details.size(), 10u);
  }
}

TEST(DamagedArchive, WhatIsNoArchiveIsDamagedAndSaysWhy) {
  Raw noRoot;
  EXPECT_TRUE(noRoot.read(noRoot.list.uid(0)).damaged);
  EXPECT_TRUE(noRoot.read(noRoot.list.string("x")).damaged);
  Raw stranger;
  const auto result = stranger.read(stranger.place(stranger.list.dictionary({{stranger.key("a"), stranger.key("b")}})));
  EXPECT_FALSE(result.root);
  EXPECT_TRUE(result.damaged);
  for (const Data& bytes : {Data(), zn::test::bytesOf("bplist00"), zn::test::bytesOf("<plist></plist>"),
                            zn::binaryPropertyList(Value::array({1})),
                            zn::binaryPropertyList(Value::dictionary({{"$objects", 1}, {"$top", 2}}))}) {
    const auto other = unarchive(bytes);
    EXPECT_FALSE(other.root);
    EXPECT_TRUE(other.damaged);
    EXPECT_FALSE(other.error.empty());
  }
}

/// An archive with everything in it.
Data richArchive() {
  auto part = std::make_shared<Note>();
  part->text = "Grüße";
  Note note;
  note.text = "title";
  note.details = Value::dictionary({{"a", Value::array({1, 2.5, "title", Value::null()})},
                                    {"b", Value::dictionary({{"date", zn::Date{5}}, {"data", Value::data({1, 2, 3})}})},
                                    {"long", std::string(40, 'x')}})
                     .mutableCopy();
  note.more = note.details["a"];
  note.next = part;
  note.parts = {part, std::make_shared<Note>()};
  return archive(note);
}

TEST(DamagedArchive, AFileCutAnywhereIsDamaged) {
  const Data whole = richArchive();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    // A copy of exactly that size, so that a sanitizer sees the first byte read beyond it.
    EXPECT_TRUE(unarchive(Data(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))).damaged) << size;
  }
}

TEST(DamagedArchive, ChangedBytesNeverDoHarm) {
  const Data whole = richArchive();
  std::mt19937 random(20240501);
  int intact = 0;
  const int rounds = zn::test::scaled(30000, 1000);
  for (int round = 0; round < rounds; ++round) {
    Data bytes = whole;
    for (unsigned changes = 1 + random() % 3; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
    }
    const auto result = unarchive(bytes);
    if (!result.root) {
      EXPECT_TRUE(result.damaged);
      continue;
    }
    // Whatever was read can be saved again.
    ++intact;
    EXPECT_TRUE(unarchive(archive(*asNote(result.root))).root);
  }
  EXPECT_GT(intact, 1000);  // else only the header would have been tried
}

TEST(DamagedArchive, AClassThatThrowsLeavesOutItsRecordOnly) {
  Note note;
  note.parts = {std::make_shared<Note>(), std::make_shared<Note>()};
  note.text = "outer";
  const zn::ArchivedClass classes[] = {{"Note", [](NSKeyedUnarchiver& coder) -> std::shared_ptr<zn::Coding> {
                                          auto made = Note::initWithCoder(coder);
                                          if (asNote(made)->text.isNil()) throw zn::Exception("no text");
                                          return made;
                                        }}};
  const auto result = NSKeyedUnarchiver::unarchiveObjectWithData(archive(note), classes);
  EXPECT_TRUE(result.damaged);
  EXPECT_NE(result.error.find("no text"), std::string::npos);
  EXPECT_EQ(asNote(result.root)->text, note.text);
  EXPECT_TRUE(asNote(result.root)->parts.empty());
}

}  // namespace
