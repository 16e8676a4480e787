#include "ZNPlatform/Foundation/KeyedArchive.h"

#include <gtest/gtest.h>

#include "Tests/Support/Note.h"
#include "Tests/Support/RawPropertyList.h"
#include "Tests/Support/TestHome.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using zn::Data;
using zn::NSKeyedArchiver;
using zn::NSKeyedUnarchiver;
using zn::Value;
using zn::test::archive;
using zn::test::asNote;
using zn::test::Note;
using zn::test::outputOfPython;
using zn::test::unarchive;

/// Reads what must be intact.
std::shared_ptr<const Note> reread(const Note& note) {
  const auto result = unarchive(archive(note));
  EXPECT_FALSE(result.damaged) << result.error;
  return asNote(result.root);
}

/// Contents, types and mutability, at every level.
std::string described(const Value& value) {
  std::string text = (value.isMutable() ? "mutable " : "") + std::to_string(static_cast<int>(value.type())) + " ";
  for (const Value& each : value.elements()) text += described(each);
  for (const auto& [key, each] : value.entries()) text += described(key) + described(each);
  return text + zn::jsonText(value) + "\n";
}

TEST(KeyedArchive, KeepsEveryKindOfValue) {
  const auto numbers = Value::array(
      {0, 1, 255, 256, 65535, 65536, 4294967295, 4294967296, -1, INT64_MAX, INT64_MIN, 0.25, -1e300, 1.0, true, false});
  const auto texts = Value::array({"", "$null", std::string(15, 'x'), std::string(300, 'y'), std::string(70000, 'z'),
                                   std::string(70000, 'z') + "é", "Grüße \U0001F600 aus \xE4\xBA\xAC"});
  const auto others = Value::array({Value::null(), zn::Date{1700000000.125}, zn::Date{-5}, Value::data({0, 1, 255}),
                                    Value::data({}), Value::array(), Value::dictionary().mutableCopy()});
  Note note;
  note.details =
      Value::dictionary({{"", numbers}, {"$null", texts}, {"schlüssel", others.mutableCopy()}}).mutableCopy();
  note.flag = true;
  note.count = INT32_MIN;
  const auto copy = reread(note);
  ASSERT_TRUE(copy);
  EXPECT_EQ(described(copy->details), described(note.details));
  EXPECT_TRUE(copy->more.isNil());
  EXPECT_TRUE(copy->flag && copy->count == INT32_MIN && !copy->next && copy->parts.empty() && !copy->partsAreNil);
}

TEST(KeyedArchive, KeepsSharingAndDoesNotGrowWhenSavedAgain) {
  const Value shared = Value::dictionary({{"long", std::string(1000, 'x')}, {"list", Value::array({1, 2})}});
  Note note;
  note.details = Value::array({shared, shared, shared});
  note.more = shared;
  auto part = std::make_shared<Note>();
  part->text = std::string(1000, 'x');
  part->details = shared.mutableCopy();  // the same contents, yet another class
  note.parts = {part, part};
  note.next = part;
  const Data bytes = archive(note);
  EXPECT_LT(bytes.size(), 2500u);
  const auto copy = asNote(unarchive(bytes).root);
  EXPECT_TRUE(copy->parts.at(0) == copy->parts.at(1) && copy->parts.at(0) == copy->next);
  EXPECT_EQ(copy->details.elements()[0].identity(), copy->more.identity());
  EXPECT_TRUE(asNote(copy->next)->details.isMutable() && !copy->more.isMutable());
  EXPECT_EQ(archive(*copy), bytes);
}

/// Values that a record makes while it encodes itself are gone before the archive is complete.
class Fleeting final : public zn::Coding {
 public:
  const char* archivedClassName() const override { return "Note"; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    coder.encodeObject(Value::dictionary({{"n", 1}}), "text");
    coder.encodeObject(Value::dictionary({{"n", 2}}), "details");
    coder.encodeObject(std::make_shared<Note>(), "next");
  }
};

TEST(KeyedArchive, HoldsOnToWhatFieldsHandIn) {
  const auto copy = asNote(unarchive(NSKeyedArchiver::archivedDataWithRootObject(Fleeting())).root);
  EXPECT_TRUE(copy->text["n"] == Value(1) && copy->details["n"] == Value(2) && copy->next && copy->partsAreNil);
}

TEST(KeyedArchive, ReadsBackMoreObjectsThanTwoByteReferencesCount) {
  for (const int count : {10, 300, 70000}) {
    std::vector<Value> texts;
    for (int i = 0; i < count; ++i) texts.push_back(std::to_string(i));
    Note note;
    note.details = Value::array(std::move(texts));
    EXPECT_EQ(reread(note)->details, note.details);
  }
}

TEST(KeyedArchive, ReadsWhatItWritesDownToTheDeepestLevelAndRefusesToWriteMore) {
  Note note;
  note.details = Value::array();
  auto chain = std::make_shared<Note>();
  for (int i = 1; i < Value::maximumReadDepth; ++i) {
    note.details = Value::array({note.details});
    auto outer = std::make_shared<Note>();
    outer->next = chain;
    chain = outer;
  }
  EXPECT_EQ(reread(note)->details, note.details);
  EXPECT_TRUE(reread(*chain));
  note.details = Value::array({note.details});
  EXPECT_THROW(archive(note), zn::Exception);
  Note tooDeep;
  tooDeep.next = chain;
  EXPECT_THROW(archive(tooDeep), zn::Exception);
}

TEST(KeyedArchive, RecordsThatReferToEachOtherAreWrittenOnceAndReadWithoutTheWayBack) {
  const auto first = std::make_shared<Note>();
  const auto second = std::make_shared<Note>();
  first->parts = {second};
  second->next = first;
  for (const std::uint64_t state : {0, 1}) {  // as part of the first, and by itself
    second->state = state;
    const auto result = unarchive(archive(*first));
    EXPECT_TRUE(result.damaged);
    ASSERT_TRUE(result.root && asNote(result.root)->parts.size() == 1);
    EXPECT_FALSE(asNote(asNote(result.root)->parts[0])->next);
  }
  second->next = nullptr;
}

constexpr const char* kDescribe = R"(
import plistlib, sys
raw = open(sys.argv[1], 'rb').read()
archive = plistlib.loads(raw, fmt=plistlib.FMT_BINARY)
objects = archive['$objects']
root = objects[archive['$top']['root'].data]
print(list(archive), archive['$version'], archive['$archiver'], objects[0], objects.count('$null'))
print(*(key if isinstance(value, plistlib.UID) else (key, value) for key, value in root.items()))
print(*sorted('-'.join(o['$classes']) for o in objects if isinstance(o, dict) and '$classname' in o))
print([raw.count(text) for text in (b'twice', 'Zürich'.encode('utf-16-be'), b'NSMutableDictionary', b'details')])
)";

constexpr const char* kLayout =
    R"(['$version', '$archiver', '$top', '$objects'] 100000 NSKeyedArchiver $null 1
text details more ('flag', True) ('count', -7) next parts $class
NSArray-NSObject NSMutableArray-NSArray-NSObject NSMutableDictionary-NSDictionary-NSObject Note-NSObject
[1, 1, 1, 1]
)";
TEST(KeyedArchive, IsLaidOutAsFoundationDoes) {
  auto part = std::make_shared<Note>();
  Note note;
  note.text = "Zürich";
  note.details =
      Value::dictionary({{"a", "twice"}, {"city", "Zürich"}, {"list", Value::array({"twice", true})}}).mutableCopy();
  note.count = -7;
  note.flag = true;
  note.parts = {part, part};
  const zn::test::TemporaryFolder folder;
  ASSERT_TRUE(zn::replaceFile(folder / "archive", archive(note)));
  ASSERT_TRUE(zn::replaceFile(folder / "describe.py", zn::test::bytesOf(kDescribe)));
  EXPECT_EQ(outputOfPython(folder / "describe.py", folder / "archive"), kLayout);
}

// An archive of another system: other classes for the same things, wrapped strings and data, subclasses, objects in
// another order, a root under the older name.
constexpr const char* kForeign = R"(
import plistlib, sys
U = plistlib.UID
objects = ['$null']
def add(o): objects.append(o); return U(len(objects) - 1)
def cls(*names): return add({'$classes': [*names, 'NSObject'], '$classname': names[0]})
date = cls('NSDate')
texts = cls('NSMutableString', 'NSString')
data = cls('NSMutableData', 'NSData')
members = add({'$class': cls('NSSet'), 'NS.objects': [add('one'), U(0)]})
keys = [add('été \U0001F600'), add({'$class': texts, 'NS.string': 'wrapped'}), add('number'), add('when'), add('bytes'),
        add('plain'), add('nil')]
values = [members, add({'$class': texts, 'NS.string': add('inner')}), add(2**63),
          add({'$class': date, 'NS.time': 0}), add({'$class': data, 'NS.data': b'\x07'}), add(b'\x08'), U(0)]
details = add({'NS.keys': keys, 'NS.objects': values, '$class': cls('NSKVODictionary', 'NSMutableDictionary')})
inner = add({'$class': cls('NoteKind', 'Note'), 'text': add('inner note'), 'flag': 1, 'count': 7.9})
root = add({'text': add({'$class': texts, 'NS.string': 'title'}), 'details': details, 'flag': add(True),
            'count': add(2**40), 'parts': add({'$class': cls('NSArray'), 'NS.objects': [inner, U(0), inner]}),
            '$class': cls('Note')})
sys.stdout.buffer.write(plistlib.dumps({'$top': {'$0': root}, '$archiver': 'NSKeyedArchiver', '$version': 100000,
                                        '$objects': objects}, fmt=plistlib.FMT_BINARY))
)";

TEST(KeyedArchive, ReadsArchivesOfOtherSystems) {
  const zn::test::TemporaryFolder folder;
  ASSERT_TRUE(zn::replaceFile(folder / "foreign.py", zn::test::bytesOf(kForeign)));
  const auto result = unarchive(zn::test::bytesOf(outputOfPython(folder / "foreign.py")));
  EXPECT_FALSE(result.damaged) << result.error;
  const auto note = asNote(result.root);
  ASSERT_TRUE(note);
  EXPECT_EQ(note->text, Value("title"));
  EXPECT_TRUE(note->flag);
  EXPECT_EQ(note->count, INT32_MAX);
  EXPECT_EQ(note->details, Value::dictionary({{"été \U0001F600", Value::array({"one"})},
                                              {"wrapped", "inner"},
                                              {"number", 0x1p63},
                                              {"when", zn::Date{978307200}},
                                              {"bytes", Value::data({7})},
                                              {"plain", Value::data({8})}}));
  EXPECT_TRUE(note->details.isMutable());
  ASSERT_EQ(note->parts.size(), 2u);
  const auto part = asNote(note->parts[0]);
  EXPECT_TRUE(part->text == Value("inner note") && part->flag && part->count == 7);
}

}  // namespace
