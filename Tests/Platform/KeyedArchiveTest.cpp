#include "ZNPlatform/Foundation/KeyedArchive.h"

#include <gtest/gtest.h>

#include "Tests/Support/Note.h"
#include "Tests/Support/PlainDevice.h"
#include "Tests/Support/RawPropertyList.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"

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

Value nested(int levels) {
  Value value = Value::array();
  for (int i = 1; i < levels; ++i) value = Value::array({value});
  return value;
}

/// Equal in contents, types and mutability, at every level.
bool isIdentical(const Value& a, const Value& b) {
  if (a.type() != b.type() || a.isMutable() != b.isMutable() || a != b) return false;
  for (std::size_t i = 0; i < a.elements().size(); ++i) {
    if (!isIdentical(a.elements()[i], b.elements()[i])) return false;
  }
  for (std::size_t i = 0; i < a.entries().size(); ++i) {
    if (!isIdentical(a.entries()[i].value, b.entries()[i].value)) return false;
  }
  return true;
}

TEST(KeyedArchive, KeepsEveryKindOfValue) {
  Note note;
  note.text = "Grüße \U0001F600 aus \xE4\xBA\xAC";
  note.details = Value::dictionary({{"null", Value::null()},
                                    {"true", true},
                                    {"false", false},
                                    {"numbers", Value::array({0, 1, 255, 256, 65535, 65536, 4294967295, 4294967296, -1,
                                                              INT64_MAX, INT64_MIN, 0.25, -1e300})},
                                    {"date", zn::Date{1700000000.125}},
                                    {"before2001", zn::Date{-5}},
                                    {"data", Value::data({0, 1, 255})},
                                    {"no data", Value::data({})},
                                    {"", ""},
                                    {"$null", "$null"},
                                    {"15", std::string(15, 'x')},
                                    {"300", std::string(300, 'y')},
                                    {"70000", std::string(70000, 'z')},
                                    {"wide70000", std::string(70000, 'z') + "é"},
                                    {"empty", Value::array()},
                                    {"mutable", Value::array({Value::dictionary().mutableCopy()}).mutableCopy()},
                                    {"schlüssel", Value::dictionary()}})
                     .mutableCopy();
  note.flag = true;
  note.count = INT32_MIN;
  const auto copy = reread(note);
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->text, note.text);
  EXPECT_TRUE(isIdentical(copy->details, note.details));
  EXPECT_TRUE(copy->more.isNil());
  EXPECT_TRUE(copy->flag);
  EXPECT_EQ(copy->count, INT32_MIN);
  EXPECT_FALSE(copy->next);
  EXPECT_TRUE(copy->parts.empty());
  EXPECT_FALSE(copy->partsAreNil);
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
  ASSERT_EQ(copy->parts.size(), 2u);
  EXPECT_EQ(copy->parts[0], copy->parts[1]);
  EXPECT_EQ(copy->parts[0], copy->next);
  EXPECT_EQ(copy->details.elements()[0].identity(), copy->more.identity());
  EXPECT_TRUE(asNote(copy->next)->details.isMutable());
  EXPECT_FALSE(copy->more.isMutable());
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
  EXPECT_EQ(copy->text["n"], Value(1));
  EXPECT_EQ(copy->details["n"], Value(2));
  EXPECT_TRUE(copy->next);
  EXPECT_TRUE(copy->partsAreNil);
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
  note.details = nested(Value::maximumReadDepth);
  EXPECT_EQ(reread(note)->details.depth(), Value::maximumReadDepth);
  note.details = nested(Value::maximumReadDepth + 1);
  EXPECT_THROW(archive(note), zn::Exception);

  auto chain = std::make_shared<Note>();
  for (int i = 1; i < Value::maximumReadDepth; ++i) {
    auto outer = std::make_shared<Note>();
    outer->next = chain;
    chain = outer;
  }
  EXPECT_TRUE(reread(*chain));
  Note tooDeep;
  tooDeep.next = chain;
  EXPECT_THROW(archive(tooDeep), zn::Exception);
}

TEST(KeyedArchive, RecordsThatReferToEachOtherAreWrittenOnceAndReadWithoutTheWayBack) {
  const auto first = std::make_shared<Note>();
  const auto second = std::make_shared<Note>();
  first->next = second;
  second->next = first;
  const auto result = unarchive(archive(*first));
  second->next = nullptr;
  EXPECT_TRUE(result.damaged);
  ASSERT_TRUE(result.root);
  ASSERT_TRUE(asNote(result.root)->next);
  EXPECT_FALSE(asNote(asNote(result.root)->next)->next);
}

constexpr const char* kDescribe = R"(
import plistlib, sys
raw = open(sys.argv[1], 'rb').read()
archive = plistlib.loads(raw, fmt=plistlib.FMT_BINARY)
objects = archive['$objects']
assert list(archive) == ['$version', '$archiver', '$top', '$objects'], list(archive)
assert archive['$version'] == 100000 and archive['$archiver'] == 'NSKeyedArchiver'
assert objects[0] == '$null'
at = lambda uid: objects[uid.data]
name = lambda o: at(o['$class'])['$classname']
chain = lambda o: at(o['$class'])['$classes']
root = at(archive['$top']['root'])
assert list(root) == ['text', 'details', 'more', 'flag', 'count', 'next', 'parts', '$class'], list(root)
assert chain(root) == ['Note', 'NSObject']
assert at(root['text']) == 'Zürich' and root['text'] != root['more']
assert root['more'].data == 0 and root['next'].data == 0
assert root['flag'] is True and root['count'] == -7
details = at(root['details'])
assert name(details) == 'NSMutableDictionary'
assert chain(details) == ['NSMutableDictionary', 'NSDictionary', 'NSObject']
pairs = dict(zip(map(at, details['NS.keys']), map(at, details['NS.objects'])))
assert list(pairs) == ['a', 'city', 'data', 'date', 'list', 'n', 'none', 'on', 'x'], pairs
assert pairs['a'] == 'twice' and pairs['n'] == 12345678901 and pairs['x'] == 0.5 and pairs['on'] is True
assert pairs['data'] == b'\x01\x02' and pairs['city'] == 'Zürich'
assert name(pairs['date']) == 'NSDate' and pairs['date']['NS.time'] == 1.5
assert name(pairs['none']) == 'NSNull' and chain(pairs['none']) == ['NSNull', 'NSObject']
assert chain(pairs['list']) == ['NSArray', 'NSObject']
assert list(map(at, pairs['list']['NS.objects'])) == ['twice', True]
parts = at(root['parts'])
assert chain(parts) == ['NSMutableArray', 'NSArray', 'NSObject'] and len(parts['NS.objects']) == 2
assert parts['NS.objects'][0] == parts['NS.objects'][1]
for text in (b'twice', 'Zürich'.encode('utf-16-be'), b'NSMutableDictionary', b'details'):
    assert raw.count(text) == 1, text
assert len([o for o in objects if o == 'twice']) == 1
print('as expected')
)";

TEST(KeyedArchive, IsLaidOutAsFoundationDoes) {
  auto part = std::make_shared<Note>();
  Note note;
  note.text = "Zürich";
  note.details = Value::dictionary({{"a", "twice"},
                                    {"city", "Zürich"},
                                    {"list", Value::array({"twice", true})},
                                    {"n", 12345678901},
                                    {"x", 0.5},
                                    {"on", true},
                                    {"none", Value::null()},
                                    {"date", zn::Date{978307201.5}},
                                    {"data", Value::data({1, 2})}})
                     .mutableCopy();
  note.flag = true;
  note.count = -7;
  note.parts = {part, part};
  const zn::test::TemporaryFolder folder;
  ASSERT_TRUE(zn::replaceFile(folder / "archive", archive(note)));
  ASSERT_TRUE(zn::replaceFile(folder / "describe.py", zn::test::bytesOf(kDescribe)));
  EXPECT_EQ(outputOfPython(folder / "describe.py", folder / "archive"), "as expected\n");
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
  EXPECT_EQ(asNote(note->parts[0])->text, Value("inner note"));
  EXPECT_TRUE(asNote(note->parts[0])->flag);
  EXPECT_EQ(asNote(note->parts[0])->count, 7);
}

}  // namespace
