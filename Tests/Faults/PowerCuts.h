#pragma once

// What a power cut may leave of a folder, from a trace of the operations on its files.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace zn::test {

/// The contents of a folder: files by path, below it.
using FolderState = std::map<std::string, std::string>;

FolderState readFolder(const std::string& path);
/// Makes the folder hold that, and nothing else.
void writeFolder(const FolderState& state, const std::string& path);

/// A journalling file system as far as it promises something: what was synced is there. Data that was not may be there,
/// be missing, be cut short, or have reached the disk before data that was written earlier; names change in the order
/// in which they were changed, but those of one folder may be behind those of others.
class PowerCuts {
 public:
  explicit PowerCuts(const FolderState& start);

  /// Takes in the trace's next line. False for one after which nothing new can be left.
  bool add(const std::string& line);
  /// All that may be left if the power fails now.
  std::set<FolderState> states() const;

 private:
  struct Write {
    bool isTruncation = false;
    std::size_t offset = 0;  ///< of a truncation the new size
    std::string bytes{};
  };
  struct File {
    std::string synced;
    std::vector<Write> pending{};
  };
  using FilePtr = std::shared_ptr<File>;
  using Names = std::map<std::string, FilePtr>;
  struct Change {
    enum class Kind { name, rename, unlink } kind = Kind::name;
    std::string path;
    std::string to{};
    FilePtr file{};
  };
  using Changes = std::vector<Change>;

  static void apply(const Change& change, Names& names);
  static std::string folderOf(const std::string& path);
  static std::string contentsOf(const File& file, const std::vector<Write>& writes);
  static std::vector<std::string> variantsOf(const File& file);
  void change(const Change& change);
  void sync(int descriptor);
  std::vector<Names> possibleNames() const;

  Names synced_;
  Names present_;
  Changes pending_;
  std::map<int, FilePtr> open_;
  std::map<int, std::string> openPaths_;
};

}  // namespace zn::test
