#include "virtualentity/AVBTool.h"

#include <cstddef>
#include <string_view>

#include "foundation/Strings.h"

namespace vorn {
namespace {

constexpr const char* kListing = "avbutil --virtual-audio list | awk 'f;/interface/{f=1}'";

}  // namespace

ChildProcessRequest ActiveInterfacesRequest(const AVBTool& tool) {
  return {tool.shell, {"-c", kListing}, tool.environment, ChildProcessRequest::Streams::kCollect};
}

std::optional<std::vector<std::string>> ReadActiveInterfaces(const ChildOutput& answer) {
  if (answer.timedOut || answer.cut || !answer.error.empty() || !IsUTF8(answer.output)) return {};
  std::vector<std::string> names;
  if (answer.output.empty()) return names;
  const std::string text = WithoutLastCharacter(answer.output);  // the final newline
  for (std::size_t start = 0; start != std::string::npos;) {
    const auto end = text.find('\n', start);
    names.emplace_back(Trimmed(std::string_view(text).substr(start, end - start)));
    start = end == std::string::npos ? end : end + 1;
  }
  return names;
}

ChildProcessRequest ToggleRequest(const AVBTool& tool, const std::string& interfaceName, bool enable) {
  return {tool.path,
          {"--virtual-audio", enable ? "enable" : "disable", interfaceName},
          tool.environment,
          ChildProcessRequest::Streams::kDiscard};
}

}  // namespace vorn
