// Disk identifiers in the order in which they were met.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <unordered_set>

namespace quorvel {

/// A list that holds each identifier once and finds it without a walk. One thread at a time.
class IdentifierList {
 public:
  IdentifierList() = default;
  ~IdentifierList() = default;
  IdentifierList(const IdentifierList&) = delete;  // The set points into the list.
  IdentifierList& operator=(const IdentifierList&) = delete;
  IdentifierList(IdentifierList&&) = delete;
  IdentifierList& operator=(IdentifierList&&) = delete;

  using Position = std::list<std::string>::const_iterator;

  [[nodiscard]] bool contains(std::string_view identifier) const {
    return known_.find(identifier) != known_.end();
  }
  [[nodiscard]] Position begin() const { return order_.begin(); }
  [[nodiscard]] Position end() const { return order_.end(); }

  /// Adds an identifier that is not in the list yet.
  void append(std::string_view identifier) { known_.insert(order_.emplace_back(identifier)); }
  /// Removes the identifier at `position`; the position after it.
  Position erase(Position position) {
    known_.erase(*position);
    return order_.erase(position);
  }
  void removeLast() { erase(std::prev(order_.end())); }

 private:
  std::list<std::string> order_;
  std::unordered_set<std::string_view> known_;
};

}  // namespace quorvel
