#include "Tests/Faults/PowerCuts.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace zn::test {

namespace {

std::string fromHex(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

}  // namespace

FolderState readFolder(const std::string& path) {
  FolderState state;
  for (const auto& each : std::filesystem::recursive_directory_iterator(path)) {
    if (!each.is_regular_file()) continue;
    std::ifstream file(each.path(), std::ios::binary);
    state[std::filesystem::relative(each.path(), path)] = {std::istreambuf_iterator<char>(file), {}};
  }
  return state;
}

void writeFolder(const FolderState& state, const std::string& path) {
  std::filesystem::remove_all(path);
  std::filesystem::create_directories(path);
  for (const auto& [name, contents] : state) {
    const std::filesystem::path file = std::filesystem::path(path) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << contents;
  }
}

PowerCuts::PowerCuts(const FolderState& start) {
  for (const auto& [path, contents] : start) synced_[path] = std::make_shared<File>(File{contents});
  present_ = synced_;
}

bool PowerCuts::add(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream text(line);
  for (std::string field; std::getline(text, field, '\t');) fields.push_back(field);
  const std::string& kind = fields.at(0);
  if (kind == "open" || kind == "create" || kind == "empty") {
    const int descriptor = std::stoi(fields.at(1));
    const std::string path = std::filesystem::path(fields.at(2)).lexically_normal();
    openPaths_[descriptor] = path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
    open_.erase(descriptor);
    if (kind == "create") change({Change::Kind::name, path, {}, std::make_shared<File>()});
    if (const auto found = present_.find(path); found != present_.end()) open_[descriptor] = found->second;
    if (kind == "empty") open_.at(descriptor)->pending.push_back({true, 0});
    return kind != "open";
  }
  if (kind == "write") {
    open_.at(std::stoi(fields.at(1)))->pending.push_back({false, std::stoul(fields.at(2)), fromHex(fields.at(3))});
  } else if (kind == "truncate") {
    open_.at(std::stoi(fields.at(1)))->pending.push_back({true, std::stoul(fields.at(2))});
  } else if (kind == "sync") {
    sync(std::stoi(fields.at(1)));
  } else if (kind == "close") {
    open_.erase(std::stoi(fields.at(1)));
    openPaths_.erase(std::stoi(fields.at(1)));
    return false;
  } else if (kind == "rename") {
    change({Change::Kind::rename, fields.at(1), fields.at(2)});
  } else if (kind == "link") {
    change({Change::Kind::name, fields.at(2), {}, present_.at(fields.at(1))});
  } else if (kind == "unlink") {
    change({Change::Kind::unlink, fields.at(1)});
  } else {
    return kind == "note";
  }
  return true;
}

void PowerCuts::apply(const Change& change, Names& names) {
  switch (change.kind) {
    case Change::Kind::name:
      names[change.path] = change.file;
      break;
    case Change::Kind::rename:
      if (const auto found = names.find(change.path); found != names.end()) {
        names[change.to] = found->second;
        names.erase(change.path);
      }
      break;
    case Change::Kind::unlink:
      names.erase(change.path);
  }
}

void PowerCuts::change(const Change& change) {
  apply(change, present_);
  pending_.push_back(change);
}

std::string PowerCuts::folderOf(const std::string& path) { return std::filesystem::path(path).parent_path(); }

void PowerCuts::sync(int descriptor) {
  if (const auto file = open_.find(descriptor); file != open_.end()) {
    file->second->synced = contentsOf(*file->second, file->second->pending);
    file->second->pending.clear();
    return;
  }
  const std::string folder = openPaths_.at(descriptor);
  Changes others;
  for (const Change& each : pending_) {
    if (folderOf(each.path) == folder) {
      apply(each, synced_);
    } else {
      others.push_back(each);
    }
  }
  pending_ = std::move(others);
}

std::string PowerCuts::contentsOf(const File& file, const std::vector<Write>& writes) {
  std::string contents = file.synced;
  for (const Write& each : writes) {
    const std::size_t end = each.offset + each.bytes.size();
    if (each.isTruncation || contents.size() < end) contents.resize(each.isTruncation ? each.offset : end);
    std::copy(each.bytes.begin(), each.bytes.end(), contents.begin() + static_cast<std::ptrdiff_t>(each.offset));
  }
  return contents;
}

/// The first is what the file holds now.
std::vector<std::string> PowerCuts::variantsOf(const File& file) {
  std::vector<std::string> variants{contentsOf(file, file.pending)};
  if (file.pending.empty()) return variants;
  variants.push_back(file.synced);
  variants.push_back(contentsOf(file, {file.pending.back()}));
  std::vector<Write> some = file.pending;
  Write& last = some.back();
  if (!last.isTruncation) {
    for (const std::size_t part : {last.bytes.size() / 2, last.bytes.size() - 1}) {
      const std::string whole = last.bytes;
      last.bytes.resize(part);
      variants.push_back(contentsOf(file, some));
      last.bytes.resize(whole.size(), '\0');  // the size came to the disk, the end of the data did not
      variants.push_back(contentsOf(file, some));
      last.bytes = whole;
    }
  }
  some.pop_back();
  variants.push_back(contentsOf(file, some));
  return variants;
}

std::vector<PowerCuts::Names> PowerCuts::possibleNames() const {
  std::vector<Names> possible{synced_};
  Names names = synced_;
  std::set<std::string> folders;
  for (const Change& each : pending_) {
    apply(each, names);
    possible.push_back(names);
    folders.insert(folderOf(each.path));
  }
  for (const std::string& behind : folders) {
    Names others = synced_;
    for (const Change& each : pending_) {
      if (folderOf(each.path) != behind) apply(each, others);
    }
    possible.push_back(std::move(others));
  }
  return possible;
}

std::set<FolderState> PowerCuts::states() const {
  std::set<FolderState> states;
  for (const Names& names : possibleNames()) {
    FolderState now;
    FolderState synced;
    for (const auto& [path, file] : names) {
      now[path] = contentsOf(*file, file->pending);
      synced[path] = file->synced;
    }
    states.insert(now);
    states.insert(synced);
    for (const auto& [path, file] : names) {
      if (file->pending.empty()) continue;
      for (const std::string& variant : variantsOf(*file)) {
        for (const FolderState* others : {&now, &synced}) {
          FolderState state = *others;
          state[path] = variant;
          states.insert(std::move(state));
        }
      }
    }
  }
  return states;
}

}  // namespace zn::test
