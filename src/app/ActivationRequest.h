#pragma once

#include <string>

namespace vorn::app {

/// What somebody on the session bus asks of the running program.
struct ActivationRequest {
  enum class Kind {
    Activate,     ///< the program was started (again): show what there is to show
    ShowDevices,  ///< show the panel
    OpenPage,     ///< open a page; nothing of the program itself appears
  };

  Kind kind = Kind::Activate;
  std::string address;          ///< of the page; whoever is on the bus chose it
  std::string activationToken;  ///< the asker's leave to take the focus; may be empty
};

}  // namespace vorn::app
