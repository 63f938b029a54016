// The main interface file: the delegate that an application has, and the fixed items of its menu.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace quorvel {

struct MainInterface {
  struct Item {
    std::string title;
    std::string action;
  };
  std::string delegateClass;
  std::string menuOutlet;
  std::vector<Item> items;  ///< At least two.
};

/// Reads a property list with the texts DelegateClass and MenuOutlet and the array Menu of
/// dictionaries with the texts Title and Action; a text that is not there reads as empty. Throws
/// `brokenInterface` when the file is missing or damaged, or has too few items.
[[nodiscard]] MainInterface readMainInterface(const std::string& path);

/// What to throw where an interface file is not as it was installed: "<path> <complaint>" and what
/// the user can do.
[[nodiscard]] std::runtime_error brokenInterface(const std::string& path,
                                                 const std::string& complaint);

}  // namespace quorvel
