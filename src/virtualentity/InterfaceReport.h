#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "foundation/Optional.h"
#include "platform/AVBCapability.h"
#include "platform/ChildProcess.h"
#include "platform/NetworkServices.h"
#include "virtualentity/AVBTool.h"

namespace vorn {

/// What the terminal program tells of the workstation's interfaces: each with
/// its user-visible name, whether it can carry AVB or why not, and whether the
/// virtual entity is enabled on it.
///
/// Where the tool is missing, or its answer is not usable, the interfaces are
/// reported all the same and their entities are unknown.
class InterfaceReport {
 public:
  enum class Entity { kEnabled, kNotEnabled, kUnknown };

  struct Row {
    NetworkService service;
    AVBCapability::Answer capability = AVBCapability::Answer::kNoSuchInterface;
    Entity entity = Entity::kUnknown;
  };

  /// Asks the system. Any thread; blocks as long as the services and the tool
  /// take, the tool at most for its patience. Empty optional when the network
  /// services could not be listed.
  static optional<InterfaceReport> Collect(NetworkServices& services, AVBCapability& capability,
                                           ChildProcessLauncher& launcher, const AVBTool& tool = {});

  explicit InterfaceReport(std::vector<Row> rows);

  [[nodiscard]] const std::vector<Row>& Rows() const { return fRows; }

  /// A table with a heading, columns aligned by terminal cells (which needs a
  /// UTF-8 locale for LC_CTYPE); safe for a terminal whatever the names hold.
  void WriteTable(std::ostream& out) const;

  /// One object on one line, whose member "interfaces" is an array of objects
  /// with the keys "name", "interface", "capable" (true or false), "reason"
  /// (text, or null when capable) and "virtualEntity" ("enabled", "not enabled",
  /// "unknown"). Plain ASCII.
  void WriteJSON(std::ostream& out) const;

 private:
  std::vector<Row> fRows;
};

/// Collects and writes the report; the program's exit status: 0, or 1 when the
/// network services could not be listed (which goes to the console) or the
/// stream failed.
int PrintInterfaces(std::ostream& out, bool json, NetworkServices& services, AVBCapability& capability,
                    ChildProcessLauncher& launcher, const AVBTool& tool = {});

}  // namespace vorn
