#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "virtualentity/AVBTool.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::ChildOutput;
using vorn::ReadActiveInterfaces;
using Names = std::vector<std::string>;

Names Read(const std::string& output) {
  const auto names = ReadActiveInterfaces({output, "", false, false});
  EXPECT_TRUE(names);
  return names ? *names : Names{"not usable"};
}

TEST(AVBToolTest, AsksTheShellForTheLinesAfterTheHeading) {
  const auto request = vorn::ActiveInterfacesRequest({});
  EXPECT_EQ(request.program, "/bin/sh");
  EXPECT_THAT(request.arguments,
              ElementsAre("-c", "avbutil --virtual-audio list | awk 'f;/interface/{f=1}'"));
  EXPECT_EQ(request.streams, vorn::ChildProcessRequest::Streams::kCollect);
}

TEST(AVBToolTest, ReadsOneNameALine) {
  EXPECT_THAT(Read("en0\nen5\n"), ElementsAre("en0", "en5"));
}

TEST(AVBToolTest, ReadsNothingFromNothing) {
  EXPECT_THAT(Read(""), IsEmpty());
}

TEST(AVBToolTest, KeepsBlankLinesAsEmptyNames) {
  EXPECT_THAT(Read("en0\n\n \t\nen5\n"), ElementsAre("en0", "", "", "en5"));
  EXPECT_THAT(Read("\n"), ElementsAre(""));
  EXPECT_THAT(Read("en0\n\n"), ElementsAre("en0", ""));
}

TEST(AVBToolTest, TrimsSpacesAndTabsAndNothingElse) {
  EXPECT_THAT(Read("\t en0 \t\n  en 5\nen6\r\n"), ElementsAre("en0", "en 5", "en6\r"));
}

TEST(AVBToolTest, DropsTheLastCharacterWhateverItIs) {
  EXPECT_THAT(Read("en0\nen5"), ElementsAre("en0", "en"));
  EXPECT_THAT(Read("en0\u00e9"), ElementsAre("en0"));
  EXPECT_THAT(Read("x"), ElementsAre(""));
}

TEST(AVBToolTest, IsNotUsableWithAnythingOnStandardError) {
  EXPECT_FALSE(ReadActiveInterfaces({"en0\n", "warning\n", false, false}));
  EXPECT_FALSE(ReadActiveInterfaces({"en0\n", "\xff", false, false}));
}

TEST(AVBToolTest, IsNotUsableWhenLateOrCut) {
  EXPECT_FALSE(ReadActiveInterfaces({"en0\n", "", true, false}));
  EXPECT_FALSE(ReadActiveInterfaces({"en0\n", "", false, true}));
}

TEST(AVBToolTest, IsNotUsableWhenItIsNoText) {
  EXPECT_FALSE(ReadActiveInterfaces({"en0\xff\n", "", false, false}));
}

TEST(AVBToolTest, TogglesAnInterfaceAsItStands) {
  const auto request = vorn::ToggleRequest({}, "$(reboot); en 5", true);
  EXPECT_EQ(request.program, "/usr/bin/avbutil");
  EXPECT_THAT(request.arguments, ElementsAre("--virtual-audio", "enable", "$(reboot); en 5"));
  EXPECT_EQ(request.streams, vorn::ChildProcessRequest::Streams::kDiscard);
  EXPECT_THAT(vorn::ToggleRequest({}, "en5", false).arguments,
              ElementsAre("--virtual-audio", "disable", "en5"));
}

}  // namespace
