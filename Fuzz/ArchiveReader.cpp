// Bytes that somebody else wrote, read as a keyed archive and as a property list. What was read must be writable, and
// read the same again.

#include <cstdint>
#include <cstdlib>

#include "Platform/Foundation/PropertyList.h"
#include "Tests/Support/Note.h"

namespace {

using zn::test::asNote;
using zn::test::Note;

void checkArchive(std::span<const std::uint8_t> bytes) {
  const auto note = asNote(zn::NSKeyedUnarchiver::unarchiveObjectWithData(bytes, Note::classes()).root);
  if (!note) return;
  const zn::Data archive = zn::NSKeyedArchiver::archivedDataWithRootObject(*note);
  const auto result = zn::NSKeyedUnarchiver::unarchiveObjectWithData(archive, Note::classes());
  const auto again = asNote(result.root);
  if (result.damaged || !again || again->count != note->count || again->parts.size() != note->parts.size())
    std::abort();
  if (zn::NSKeyedArchiver::archivedDataWithRootObject(*again) != archive) std::abort();
}

void checkPropertyList(std::span<const std::uint8_t> bytes) {
  const auto value = zn::parsePropertyList(bytes);
  if (!value) return;
  const zn::Data list = zn::binaryPropertyList(*value);
  const auto again = zn::parsePropertyList(list);
  if (!again || zn::binaryPropertyList(*again) != list) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkArchive({data, size});
  checkPropertyList({data, size});
  return 0;
}
