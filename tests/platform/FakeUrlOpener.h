#pragma once

#include <string>
#include <vector>

#include "platform/UrlOpener.h"

namespace vorn::testing {

/// Records what would have been opened.
class FakeUrlOpener final : public UrlOpener {
 public:
  void Open(const std::string& url, const std::string& activationToken) override {
    fUrls.push_back(url);
    fTokens.push_back(activationToken);
  }

  std::vector<std::string> fUrls;
  std::vector<std::string> fTokens;
};

}  // namespace vorn::testing
