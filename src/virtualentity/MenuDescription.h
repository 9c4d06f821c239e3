#pragma once

#include <string>
#include <vector>

namespace vorn {

/// A menu as plain data, from which the user interface makes the toolkit's on
/// its own thread.
struct MenuDescription {
  struct Item {
    std::string title;  ///< literal text; no character has a meaning of its own
    bool on = false;    ///< whether it carries a check mark

    friend bool operator==(const Item&, const Item&) = default;
  };

  std::string title;
  std::vector<Item> items;
};

}  // namespace vorn
