#include "ZNPlatform/Foundation/AppendableFile_p.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "ZNPlatform/Foundation/AppendableText_p.h"
#include "ZNPlatform/Foundation/File.h"

namespace zn {

namespace {

constexpr std::uint64_t kLargestFile = 48 << 20;  // readers read 64 MB of XML

/// Less than asked for where the file ends or cannot be read.
std::string readAt(int file, std::uint64_t offset, std::uint64_t size) {
  std::string bytes(size, '\0');
  std::size_t used = 0;
  while (used < bytes.size()) {
    const ssize_t got = ::pread(file, bytes.data() + used, bytes.size() - used, static_cast<off_t>(offset + used));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    used += static_cast<std::size_t>(got);
  }
  bytes.resize(used);
  return bytes;
}

bool writeAt(int file, std::uint64_t offset, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::size_t>(written);
  }
  return true;
}

bool cutTo(int file, std::uint64_t size) {
  int result;
  do result = ::ftruncate(file, static_cast<off_t>(size));
  while (result != 0 && errno == EINTR);
  return result == 0;
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

std::string notePathOf(const std::string& path) {
  return folderOf(path) + "/." + path.substr(path.rfind('/') + 1) + ".append";
}

/// FNV-1a: tells a note that was cut short, or of which a part did not reach the disk.
std::uint64_t checksumOf(std::string_view bytes) {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const char byte : bytes) sum = (sum ^ static_cast<std::uint8_t>(byte)) * 0x100000001b3;
  return sum;
}

}  // namespace

/// What one append does to the file, as it stands in the note.
struct AppendableFile::Change {
  std::string head;  ///< of the file, which tells it from others; a copy from elsewhere is the same file
  std::uint64_t offset = 0;
  std::string bytes;  ///< what stands there from then on, to the end of the file

  static constexpr std::size_t kNumbers = 3;
  using Numbers = std::array<std::uint64_t, kNumbers>;

  std::string note() const {
    const std::string contents = head + bytes;
    Numbers numbers = {checksumOf(contents), offset, bytes.size()};
    numbers[0] ^= checksumOf(textOf(numbers, 1));
    return textOf(numbers, 0) + contents;
  }

  static std::optional<Change> of(std::string_view note) {
    Numbers numbers;
    if (note.size() < sizeof numbers) return std::nullopt;
    std::memcpy(numbers.data(), note.data(), sizeof numbers);
    note.remove_prefix(sizeof numbers);
    const auto [sum, offset, size] = numbers;
    if (size > kLargestFile || note.size() < headSize + size) return std::nullopt;
    const std::string_view contents = note.substr(0, headSize + size);
    if (sum != (checksumOf(contents) ^ checksumOf(textOf(numbers, 1)))) return std::nullopt;
    return Change{std::string(contents.substr(0, headSize)), offset, std::string(contents.substr(headSize))};
  }

  /// Whether the file is the one that was about to be changed, at whatever moment of that.
  bool isOf(int file) const {
    struct stat status {};
    if (::fstat(file, &status) != 0) return false;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    return size >= offset && size <= offset + bytes.size() && readAt(file, 0, headSize) == head;
  }

  bool apply(int file) const { return writeAt(file, offset, bytes) && ::fdatasync(file) == 0; }

 private:
  static std::string textOf(const Numbers& numbers, std::size_t from) {
    return {reinterpret_cast<const char*>(numbers.data() + from), (kNumbers - from) * sizeof numbers[0]};
  }
};

AppendableFile::AppendableFile(std::string path) : path_(std::move(path)), notePath_(notePathOf(path_)) {}

Descriptor AppendableFile::openNote() const {
  if (Descriptor note = openFile(notePath_.c_str(), O_RDWR)) return note;
  Descriptor note = openFile(notePath_.c_str(), O_RDWR | O_CREAT);
  if (!note) return note;
  // Its name must outlive a power cut as surely as what it says; where folders cannot be synced, nothing can do more.
  const Descriptor folder = openFile(folderOf(path_).c_str(), O_RDONLY | O_DIRECTORY);
  if (folder) ::fsync(folder.get());
  return note;
}

AppendableFile::Outcome AppendableFile::append(const ListPath& list, const Value& element, std::string& error) const {
  const Descriptor file = openFile(path_.c_str(), O_RDWR);
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return Outcome::unfit;
  const std::string end = endAfter(list);
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (size < end.size() || size > kLargestFile) return Outcome::unfit;
  const std::uint64_t offset = size - end.size();
  if (readAt(file.get(), offset, end.size()) != end) return Outcome::unfit;
  const std::string head = readAt(file.get(), 0, headSize);
  if (!isHead(head)) return Outcome::unfit;
  const std::optional<std::string> text = elementText(list, element);
  if (!text || text->size() > kLargestFile - size) return Outcome::unfit;

  const Change change{head, offset, *text + end};
  const Descriptor note = openNote();
  const auto failed = [&] {
    error = "cannot write " + path_ + ": " + std::generic_category().message(errno);
    return Outcome::failed;
  };
  if (!note) return failed();
  if (!writeAt(note.get(), 0, change.note()) || ::fdatasync(note.get()) != 0) {
    const Outcome outcome = failed();
    cutTo(note.get(), 0);
    return outcome;
  }
  if (!change.apply(file.get())) {
    const Outcome outcome = failed();
    // With the old end in its place again the note must go; as long as it stands, its change will be made after all.
    if (writeAt(file.get(), offset, end) && cutTo(file.get(), size)) cutTo(note.get(), 0);
    return outcome;
  }
  cutTo(note.get(), 0);
  return Outcome::appended;
}

bool AppendableFile::isInterrupted() const {
  struct stat status {};
  return ::stat(notePath_.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0;
}

bool AppendableFile::finishInterrupted(std::string& error) const {
  if (!isInterrupted()) return true;
  const StateFile noted = readStateFile(notePath_, kMaximumMessageFile);
  if (noted.outcome == StateFile::Outcome::unread) {
    error = noted.error;
    return false;
  }
  const auto change = Change::of({reinterpret_cast<const char*>(noted.bytes.data()), noted.bytes.size()});
  const Descriptor file = openFile(path_.c_str(), O_RDWR);
  if (change && file && change->isOf(file.get()) && !change->apply(file.get())) {
    error = "cannot write " + path_ + ": " + std::generic_category().message(errno);
    return false;
  }
  if (change && !file && errno != ENOENT) {
    error = "cannot read " + path_ + ": " + std::generic_category().message(errno);
    return false;
  }
  if (const Descriptor note = openFile(notePath_.c_str(), O_RDWR)) cutTo(note.get(), 0);
  return true;
}

void AppendableFile::forgetNote() const { ::unlink(notePath_.c_str()); }

}  // namespace zn
