#pragma once

#include <cstdint>
#include <string>

#include "ZNPlatform/Foundation/BinaryPropertyList_p.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// What property lists and archives have in common. An object that several places mean is made once and shared. What
/// cannot be made is left out and noted; reading goes on within these limits:
/// - depth: `Value::maximumReadDepth`, also of what is shared, and nothing contains itself;
/// - work: objects of a file do not overlap, so reading each once takes no more than its size; reading ends at twice
///   the size. Keys of dictionaries are compared again by each dictionary that uses them: 64 times the size;
/// - shared objects: a small file can mean a huge value, which costs little here, but whoever prints or compares it
///   would pay for all of it. Unfolded it has at most 64 MB and sixteen times the file.
class ObjectTree {
 public:
  using Token = BinaryListReader::Token;
  using Kind = BinaryListReader::Kind;
  using Ref = BinaryListReader::Ref;

  struct Node {
    enum class State : std::uint8_t { fresh, described, inProgress, done };
    Value value;
    double weight = 0;  ///< bytes of the value, were nothing in it shared
    State state = State::fresh;
  };
  /// What stands in a field or an element.
  struct Found {
    const Value* value = &nil;  ///< valid until the next object is read
    double weight = 0;
  };

  /// Notes that something was left out; the first reason is kept.
  void fail(const char* reason, Ref object);
  const std::string& error() const noexcept { return error_; }
  const BinaryListReader& reader() const noexcept { return reader_; }

 protected:
  /// `tooDeep` is what an error calls too many levels.
  ObjectTree(const BinaryListReader& reader, const char* tooDeep);
  ~ObjectTree() = default;

  /// What a reference in a container stands for, that many levels below the top.
  virtual Found valueOf(Ref object, int depth) = 0;
  /// Makes the value of an object and its weight, once.
  virtual void make(Node& node, Ref object, int depth) = 0;

  Found valueAt(Node& node, Ref object, int depth);
  /// The value of anything but a container or an archive index, which give nil.
  Value scalar(const Token& token);
  void makeArray(Node& node, const Token& list, int depth);
  /// Of as many entries as there are keys.
  void makeDictionary(Node& node, const Token& keys, const Token& values, int depth);
  /// Whether a container may be looked into.
  bool mayNest(int depth, Ref object);
  bool mayRead(const Token& list, Ref object);

 private:
  static bool take(std::size_t bytes, std::size_t& budget) noexcept;

  const BinaryListReader reader_;
  const char* const tooDeep_;
  std::size_t budget_;
  std::size_t keyBudget_;
  const double largestWeight_;
  std::string error_;
};

}  // namespace zn
