// What a power cut may leave of a home, from a trace of the operations on its files.

#include <memory>

#include "Tests/Faults/WorkerRuns.h"

namespace {

using zn::test::FolderState;

std::string fromHex(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::string folderOf(const std::string& path) { return std::filesystem::path(path).parent_path(); }

struct Write {
  std::size_t offset = 0;  ///< of a truncation the new size
  std::string bytes{};
  bool isTruncation = false;
};

struct File {
  std::string synced;
  std::vector<Write> pending{};

  std::string contents() const { return contents(pending); }
  std::string contents(const std::vector<Write>& writes) const {
    std::string contents = synced;
    for (const Write& each : writes) {
      const std::size_t end = each.offset + each.bytes.size();
      if (each.isTruncation || contents.size() < end) contents.resize(end);
      contents.replace(each.offset, each.bytes.size(), each.bytes);
    }
    return contents;
  }

  /// What may be left of it, if something was not synced.
  std::vector<std::string> variants() const {
    if (pending.empty()) return {};
    std::vector<std::string> variants{contents(), synced, contents({pending.back()})};
    std::vector<Write> some = pending;
    Write& last = some.back();
    if (!last.isTruncation) {
      for (const std::size_t part : {last.bytes.size() / 2, last.bytes.size() - 1}) {
        const std::string whole = last.bytes;
        last.bytes.resize(part);
        variants.push_back(contents(some));
        last.bytes.resize(whole.size(), '\0');  // the size came to the disk, the end of the data did not
        variants.push_back(contents(some));
        last.bytes = whole;
      }
    }
    some.pop_back();
    variants.push_back(contents(some));
    return variants;
  }
};

/// A journalling file system as far as it promises something: what was synced is there. Data that was not may be there,
/// be missing, be cut short, or have reached the disk before data that was written earlier; names change in the order
/// in which they were changed, but those of one folder may be behind those of others.
class PowerCuts {
 public:
  explicit PowerCuts(const FolderState& start) {
    for (const auto& [path, contents] : start) synced_[path] = std::make_shared<File>(File{contents});
    present_ = synced_;
  }

  /// Takes in the trace's next line. False for one after which nothing new can be left.
  bool add(const std::string& line) {
    std::istringstream fields(line);
    std::string kind, path, to;
    fields >> kind;
    if (kind == "operation") return false;
    if (kind == "note") return true;
    fields >> path;
    path = std::filesystem::path(path).lexically_normal();
    if (path.ends_with('/')) path.pop_back();
    if (kind == "create") {
      change(path, {{path, std::make_shared<File>()}});
    } else if (kind == "rename") {
      fields >> to;
      change(path, {{to, present_.at(path)}, {path, nullptr}});
    } else if (kind == "link") {
      fields >> to;
      change(to, {{to, present_.at(path)}});
    } else if (kind == "unlink") {
      change(path, {{path, nullptr}});
    } else if (kind == "sync") {
      sync(path);
    } else {
      Write write{.isTruncation = kind == "truncate"};
      fields >> write.offset >> write.bytes;
      write.bytes = fromHex(write.bytes);
      present_.at(path)->pending.push_back(write);
    }
    return true;
  }

  /// All that may be left if the power fails now.
  std::set<FolderState> states() const {
    std::set<FolderState> states;
    for (const Names& names : possibleNames()) {
      FolderState now;
      FolderState synced;
      for (const auto& [path, file] : names) {
        now[path] = file->contents();
        synced[path] = file->synced;
      }
      states.insert(now);
      states.insert(synced);
      for (const auto& [path, file] : names) {
        for (const std::string& variant : file->variants()) {
          for (FolderState state : {now, synced}) {
            state[path] = variant;
            states.insert(std::move(state));
          }
        }
      }
    }
    return states;
  }

 private:
  using Names = std::map<std::string, std::shared_ptr<File>>;
  struct Change {
    std::string folder;
    Names names;  // without a file: one that is gone
  };

  static void apply(const Change& change, Names& names) {
    for (const auto& [path, file] : change.names) {
      names[path] = file;
      if (!file) names.erase(path);
    }
  }
  void change(const std::string& path, const Names& names) {
    pending_.push_back({folderOf(path), names});
    apply(pending_.back(), present_);
  }
  void sync(const std::string& path) {
    if (const auto file = present_.find(path); file != present_.end()) {
      file->second->synced = file->second->contents();
      file->second->pending.clear();
      return;
    }
    for (const Change& each : pending_) {
      if (each.folder == path) apply(each, synced_);
    }
    std::erase_if(pending_, [&](const Change& each) { return each.folder == path; });
  }
  std::vector<Names> possibleNames() const {
    std::vector<Names> possible{synced_};
    Names names = synced_;
    std::set<std::string> folders;
    for (const Change& each : pending_) {
      apply(each, names);
      possible.push_back(names);
      folders.insert(each.folder);
    }
    for (const std::string& behind : folders) {
      possible.push_back(synced_);
      for (const Change& each : pending_) {
        if (each.folder != behind) apply(each, possible.back());
      }
    }
    return possible;
  }

  Names synced_;
  Names present_;
  std::vector<Change> pending_;
};

class PowerCut : public zn::test::Works {};

/// A work is recorded, and the power fails after each of its operations: in every state that this may leave, the next
/// start finds all that was there before, and all that the application was told to be stored, once.
TEST_P(PowerCut, LeavesWhatWasAcknowledged) {
  PowerCuts cuts(prepared);
  ASSERT_EQ(runPrepared("ZN_FILES_TRACE='" + trace + "'").status, 0);

  std::size_t found = 0;
  std::size_t tried = 0;
  zn::test::Lines acknowledged;
  std::set<FolderState> known;  // with what is acknowledged now
  std::ifstream lines(trace);
  std::string last;  // of the operations that were to come, for messages
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("operation\t")) last = line;
    if (!cuts.add(line)) continue;
    if (line.starts_with("note\t")) {
      // An event is queued without waiting for the disk.
      if (!line.starts_with("note\ttracked ")) acknowledged.push_back(line.substr(5));
      known.clear();
    }
    for (const FolderState& state : cuts.states()) {
      if (!known.insert(state).second || found++ % stepOf(20) != 0) continue;
      ++tried;
      zn::test::writeFolder(state, home);
      const auto after = run("check");
      EXPECT_EQ(zn::test::problemWith(before, acknowledged, after, false), "") << "after " << last << "\n"
                                                                               << ::testing::PrintToString(after.lines);
    }
  }
  std::cout << GetParam() << ": " << tried << " of " << found << " states" << std::endl;
  EXPECT_GT(found, 20u);
}

INSTANTIATE_TEST_SUITE_P(Works, PowerCut,
                         ::testing::Values("click", "drain", "clickInSync", "triggers", "append", "flush", "day"),
                         [](const auto& each) { return each.param; });

}  // namespace
