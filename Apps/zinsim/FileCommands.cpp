// What stands in the device's home folder, as another process or an older version would have left it.

#include <filesystem>

#include "Apps/zinsim/Archive.h"
#include "Apps/zinsim/Commands.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/PropertyList.h"

namespace zinsim {

using zn::Value;

namespace {

std::shared_ptr<NSUserDefaults> storeNamed(const std::string& name) {
  return name == "standard" ? NSUserDefaults::standardUserDefaults() : NSUserDefaults::initWithSuiteName(name);
}

void readDefaults(F fields) {
  const std::string store = fields.text("store");
  const std::string key = fields.text("key");
  fields.session().print("defaults", storeNamed(store)->objectForKey(key), {{"key", key}, {"store", store}});
}

/// A path below the home folder; nothing may lead out of it.
std::string pathIn(F fields) {
  const std::filesystem::path path = fields.text("path");
  bool leadsOut = path.is_absolute() || fields["path"].string().find('\0') != std::string_view::npos;
  for (const auto& component : path) leadsOut = leadsOut || component == "..";
  if (leadsOut)
    throw UsageError("field \"path\" must name a place below the home folder, not " + shown(fields["path"]));
  return fields.device().directories->home() + "/" + path.string();
}

void write(const std::string& path, const zn::Data& bytes) {
  std::string error;
  const std::string folder = std::filesystem::path(path).parent_path();
  if (!zn::createDirectoryAtPath(folder, true, &error) || !zn::replaceFile(path, bytes, &error)) {
    throw UsageError(error);
  }
}

void plist(F fields) {
  const std::string path = pathIn(fields);
  if (fields["holds"].isNull())
    throw UsageError("field \"holds\" of \"plist\" must be a value: a property list has no null");
  write(path, zn::binaryPropertyList(fields["holds"]));
}

}  // namespace

std::vector<Command> fileCommands() {
  return {
      command("defaults",
              {{"store", required, shape::name}, {"key", required, shape::text}, {"value", optional, shape::anything}},
              "Writes a key of a user-defaults store (\"standard\", \"sdk\" or a suite's name) as another process\n"
              "would; null removes it.",
              [](F fields) { storeNamed(fields.text("store"))->setObject(fields.orNil("value"), fields.text("key")); }),
      command("readDefaults", {{"store", required, shape::name}, {"key", required, shape::text}},
              "Prints what a user-defaults store holds under a key.", readDefaults),
      command("plist", {{"path", required, shape::name}, {"holds", required, shape::anything}},
              "Writes a property list at that path below the home folder.", plist),
      command("archive", {{"path", required, shape::name}, {"root", required, shape::dictionary}},
              "Writes a keyed archive; root is {\"$class\": NAME, CODER KEY: value, ...}, records nested\n"
              "likewise.",
              [](F fields) {
                const std::string path = pathIn(fields);
                write(path, archivedRecord(fields["root"]));
              }),
      command("exists", {{"path", required, shape::name}}, "Prints whether there is such a file.",
              [](F fields) {
                fields.session().print("exists", zn::fileExistsAtPath(pathIn(fields)), {{"path", fields["path"]}});
              }),
  };
}

}  // namespace zinsim
