// Archives that are damaged, hostile, or from elsewhere: laid out by hand, cut and changed.

#include <gtest/gtest.h>

#include <random>

#include "Tests/Support/Note.h"
#include "Tests/Support/RawPropertyList.h"
#include "Tests/Support/StressScale.h"
#include "ZNPlatform/Foundation/ArchiveReaders_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
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
struct Raw : RawPropertyList {
  std::vector<int> objects;
  int noteClass, arrayClass, dictionaryClass;

  Raw() {
    place(string("$null"));
    noteClass = classNamed("Note");
    arrayClass = classNamed("NSArray");
    dictionaryClass = classNamed("NSDictionary");
  }
  int place(int object) {
    objects.push_back(object);
    return uid(static_cast<int>(objects.size()) - 1);
  }
  int text(std::string_view text) { return place(string(text)); }
  int classNamed(const char* name) { return place(dictionary({{string("$classname"), string(name)}})); }
  int arrayOf(int elements) {
    return place(dictionary({{string("$class"), arrayClass}, {string("NS.objects"), elements}}));
  }
  int dictionaryOf(int keys, int values) {
    return place(
        dictionary({{string("NS.keys"), keys}, {string("$class"), dictionaryClass}, {string("NS.objects"), values}}));
  }
  int note(std::vector<std::pair<int, int>> fields) {
    fields.emplace_back(string("$class"), noteClass);
    return place(dictionary(fields));
  }
  Data archiveOf(int root) {
    const int top = dictionary({{string("root"), root}});
    const int all = array(objects);
    return file(dictionary({{string("$top"), top}, {string("$objects"), all}}));
  }
  NSKeyedUnarchiver::Result read(int root) { return unarchive(archiveOf(root)); }
};

TEST(DamagedArchive, AFieldOfAnotherTypeReadsAsNothing) {
  Raw raw;
  const int text = raw.text("12");
  const int other = raw.note({});
  const int stranger = raw.place(raw.dictionary({{raw.string("$class"), raw.classNamed("Stranger")}}));
  const int elements = raw.array({text, other, stranger});
  const auto check = [&](const char* field, int value) {
    Raw copy = raw;
    const auto result = copy.read(copy.note({{copy.string(field), value}}));
    EXPECT_TRUE(result.damaged && !result.error.empty() && result.root) << field;
    return asNote(result.root);
  };
  for (const int odd : {other, stranger, raw.uid(999), raw.array({text})}) {
    EXPECT_TRUE(check("text", odd)->text.isNil());
  }
  EXPECT_FALSE(check("flag", text)->flag);
  EXPECT_EQ(check("count", text)->count, 0);
  EXPECT_FALSE(check("next", text)->next || check("next", stranger)->next);
  EXPECT_TRUE(check("parts", text)->partsAreNil);
  EXPECT_EQ(check("parts", raw.arrayOf(elements))->parts.size(), 1u);
  EXPECT_EQ(check("details", raw.arrayOf(elements))->details, Value::array({"12"}));
}

TEST(DamagedArchive, OneLongTextThatManyObjectsMeanIsNoDamage) {
  Raw raw;
  const int bytes = raw.string(std::string(5000, 'x'));
  const int wrapped =
      raw.dictionary({{raw.string("$class"), raw.classNamed("NSString")}, {raw.string("NS.string"), bytes}});
  std::vector<int> elements;
  for (int i = 0; i < 400; ++i) elements.push_back(raw.place(i % 2 ? bytes : wrapped));
  const auto result = raw.read(raw.note({{raw.string("details"), raw.arrayOf(raw.array(elements))}}));
  EXPECT_FALSE(result.damaged) << result.error;
  EXPECT_EQ(asNote(result.root)->details, Value::array(std::vector<Value>(400, std::string(5000, 'x'))));
}

TEST(DamagedArchive, DictionariesThatDoNotAddUpKeepWhatIsWhole) {
  Raw raw;
  const int a = raw.text("a");
  const int b = raw.text("b");
  const int one = raw.place(raw.add(std::string("\x10\x01", 2)));
  const auto read = [&](const std::vector<int>& keys, int values) {
    const auto result = raw.read(raw.note({{raw.string("details"), raw.dictionaryOf(raw.array(keys), values)}}));
    return zn::jsonText(asNote(result.root)->details) + (result.damaged ? " damaged" : "");
  };
  EXPECT_EQ(read({a, b}, raw.array({one})), R"({"a":1} damaged)");
  EXPECT_EQ(read({a}, raw.array({one, b})), R"({"a":1} damaged)");
  EXPECT_EQ(read({one, b}, raw.array({a, a})), R"({"b":"a"} damaged)");
  EXPECT_EQ(read({a, a}, raw.array({one, b})), R"({"a":"b"})");
  EXPECT_EQ(read({a, b}, one), "null damaged");
}

TEST(DamagedArchive, ContainersThatContainThemselvesAreCutThere) {
  Raw raw;
  const int elements = raw.add("");
  const int array = raw.arrayOf(elements);
  const int text = raw.text("kept");
  const int around = raw.dictionaryOf(raw.array({text}), raw.array({array}));
  raw[elements] = raw.head(0xA0, 3) + raw.references({text, array, around});
  const auto result = raw.read(raw.note({{raw.string("details"), array}}));
  EXPECT_TRUE(result.damaged);
  EXPECT_EQ(asNote(result.root)->details, Value::array({"kept", Value::dictionary()}));
}

TEST(DamagedArchive, ADeepFileIsReadDownToTheLimit) {
  for (const bool ofRecords : {false, true}) {
    Raw raw;
    const int first = raw.uid(static_cast<int>(raw.objects.size()));
    const int keyClass = raw.string("$class"), keyNext = raw.string(ofRecords ? "next" : "NS.objects");
    for (int level = 0; level < 20000; ++level) {
      const int next = raw.uid(static_cast<int>(raw.objects.size()) + 1);
      raw.objects.push_back(raw.dictionary(
          {{keyClass, ofRecords ? raw.noteClass : raw.arrayClass}, {keyNext, ofRecords ? next : raw.array({next})}}));
    }
    const auto result = raw.read(ofRecords ? first : raw.note({{raw.string("details"), first}}));
    EXPECT_TRUE(result.damaged);
    int length = 0;
    for (auto note = asNote(result.root); note; note = asNote(note->next)) ++length;
    EXPECT_EQ(ofRecords ? length : asNote(result.root)->details.depth(), Value::maximumReadDepth);
  }
}

TEST(DamagedArchive, AListOfManyArraysMustNotMeanAHugeValue) {
  Raw raw;
  const int text = raw.text("x");
  const int elements = raw.array(std::vector<int>(100000, text));
  std::vector<int> arrays;
  for (int i = 0; i < 5000; ++i) arrays.push_back(raw.arrayOf(elements));
  const int all = raw.arrayOf(raw.array(arrays));
  const auto result = raw.read(raw.note({{raw.string("details"), all}, {raw.string("parts"), all}}));
  EXPECT_TRUE(result.damaged);
  EXPECT_LT(asNote(result.root)->details.size(), 10u);
}

TEST(DamagedArchive, WhatIsNoArchiveIsDamagedAndSaysWhy) {
  Raw raw;
  const int stranger = raw.place(raw.dictionary({{raw.string("a"), raw.string("b")}}));
  for (const Data& bytes : {raw.archiveOf(raw.uid(0)), raw.archiveOf(raw.string("x")), raw.archiveOf(stranger), Data(),
                            zn::test::bytesOf("<plist></plist>"), zn::binaryPropertyList(Value::array({1})),
                            zn::binaryPropertyList(Value::dictionary({{"$objects", 1}, {"$top", 2}}))}) {
    const auto result = unarchive(bytes);
    EXPECT_TRUE(!result.root && result.damaged && !result.error.empty());
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

TEST(DamagedArchive, ChangedBytesNeverDoHarmAndAreNotTakenForIntact) {
  Note plain;  // one that is read without making its values
  plain.text = "title";
  plain.details = Value::dictionary({{"numbers", Value::array({1, 2.5, 300000})}, {"bytes", Value::data({1, 2})}});
  const Data archives[] = {richArchive(), archive(plain)};
  NSKeyedUnarchiver::Result quick;
  EXPECT_TRUE(zn::ArchiveReaders::readEncoded(archives[1], Note::classes(), quick));
  std::mt19937 random(20240501);
  int intact = 0;
  for (int round = zn::test::scaled(30000, 1000); round > 0; --round) {
    Data bytes = archives[round % 2];
    for (unsigned changes = 1 + random() % 3; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
    }
    const auto result = unarchive(bytes);
    EXPECT_TRUE(result.root ? unarchive(archive(*asNote(result.root))).root != nullptr : result.damaged);
    EXPECT_EQ(result.damaged, zn::ArchiveReaders::readThoroughly(bytes, Note::classes()).damaged);
    intact += result.root != nullptr;  // and can be saved again
  }
  EXPECT_GT(intact, 500);  // else only the header would have been tried
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
  EXPECT_NE(result.error.find("no text"), std::string::npos);
  EXPECT_TRUE(asNote(result.root)->text == note.text && asNote(result.root)->parts.empty());
}

}  // namespace
