// A file of user defaults that another process left, such as a notification service extension: what it holds is seen,
// and a list in it grows by what is appended, in place too. An append in place looks at the file's end alone, so of a
// file that was changed before its end nothing is said.

#include "Fuzz/FuzzDevice.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/PropertyList.h"

namespace {

const std::vector<std::string> kList = {"app-1", "zin_pending_notifications"};

zn::Value contentsOf(NSUserDefaults& store) {
  zn::Value contents;
  store.transaction([&](zn::Value& present) { contents = present; });
  return contents;
}

zn::Value listIn(NSUserDefaults& store) { return store.objectForKey(kList[0])[kList[1]]; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = zn::fuzz::device().directories->preferences() + "/group.fuzz.plist";
  static const auto store = NSUserDefaults::initWithSuiteName("group.fuzz");
  zn::fuzz::writeFile(path, {data, size});
  const zn::Value before = contentsOf(*store);
  const auto parsed = zn::parsePropertyList({data, size});
  const zn::Value expected = parsed && parsed->isDictionary() ? *parsed : zn::Value::dictionary();
  zn::fuzz::require(zn::binaryPropertyList(before) == zn::binaryPropertyList(expected));
  const bool isAnyList = zn::fuzz::textOf({data, size}).ends_with("-->\n");
  const std::size_t count = listIn(*store).size();
  for (std::size_t appended = 1; appended <= 2; ++appended) {  // the first may lay the file out, the second finds it so
    std::string error;
    zn::fuzz::require(store->tryAppend(zn::Value::dictionary({{"number", appended}}), kList, error));
    if (isAnyList) continue;
    const zn::Value list = listIn(*store);
    zn::fuzz::require(list.size() == count + appended);
    zn::fuzz::require(list.elements().back()["number"].longLongValue() == static_cast<std::int64_t>(appended));
  }
  std::string error;
  zn::fuzz::require(store->tryAppend(expected, kList, error));
  // A value whose parts share storage is not the same bytes as one whose parts are merely equal.
  const zn::Value kept = *zn::parsePropertyList(zn::binaryPropertyList(expected));  // without nulls
  if (!isAnyList) zn::fuzz::require(listIn(*store).elements().back() == kept);
  if (!parsed || !parsed->isDictionary()) zn::removeKeptAside(path);
  return 0;
}
