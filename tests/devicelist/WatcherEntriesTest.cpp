#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "devicelist/Watcher.h"

namespace DeviceList {
namespace {

using ServiceInfo = vorn::ZeroConfEngine::ServiceInfo;
using Txt = std::vector<vorn::TxtRecordKeyValue>;

ServiceInfo Service(const std::string& name, Txt txt, const std::string& host = "unit.local",
                    std::uint16_t port = 80) {
  ServiceInfo service;
  service.name = name;
  service.host = host;
  service.address = "192.168.1.20";
  service.port = port;
  service.txt = std::move(txt);
  return service;
}

Txt Device(const std::string& uid) {
  return {{"vorn.mdns.type", "plexadevice"}, {"uid", uid}};
}

std::vector<std::string> UrlsOf(const std::vector<Entry>& entries) {
  std::vector<std::string> urls;
  for (const Entry& entry : entries) urls.push_back(entry.url);
  return urls;
}

using Urls = std::vector<std::string>;

TEST(WatcherEntriesTest, DeviceIsNamedByItsServiceAndHasItsUid) {
  const auto entries = EntriesOfServices({Service("Desk", Device("42"))});
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_TRUE((entries[0] == Entry{std::string("Desk"), "plexadevice", "http://unit.local/", "42"}));
}

TEST(WatcherEntriesTest, SwitchIsNamedByItsServiceAndHasItsUid) {
  const auto entries =
      EntriesOfServices({Service("Rack", {{"vorn.mdns.type", "plexaswitch"}, {"uid", "7"}})});
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_TRUE((entries[0] == Entry{std::string("Rack"), "plexaswitch", "http://unit.local/", "7"}));
}

TEST(WatcherEntriesTest, HostGivesANamelessEntryForEachUidInOrder) {
  const auto entries = EntriesOfServices(
      {Service("Host", {{"vorn.mdns.type", "plexahost"}, {"uid_list", "b1:a2"}, {"uid", "9"}})});
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_TRUE((entries[0] == Entry{{}, "plexahost", "http://unit.local/b1/", "b1"}));
  EXPECT_TRUE((entries[1] == Entry{{}, "plexahost", "http://unit.local/a2/", "a2"}));
}

TEST(WatcherEntriesTest, UrlNamesAnyPortButTheDefaultOne) {
  EXPECT_EQ(UrlsOf(EntriesOfServices({Service("a", Device("1"), "a.local", 8080)})),
            Urls{"http://a.local:8080/"});
  EXPECT_EQ(UrlsOf(EntriesOfServices({Service("a", Device("1"), "a.local", 0)})), Urls{"http://a.local:0/"});
  EXPECT_EQ(UrlsOf(EntriesOfServices({Service("a", Device("1"), "a.local", 80)})), Urls{"http://a.local/"});
  EXPECT_EQ(UrlsOf(EntriesOfServices(
                {Service("h", {{"vorn.mdns.type", "plexahost"}, {"uid_list", "1"}}, "h.local", 65535)})),
            Urls{"http://h.local:65535/1/"});
}

TEST(WatcherEntriesTest, HostWithoutUidsContributesNothing) {
  EXPECT_TRUE(EntriesOfServices({Service("h", {{"vorn.mdns.type", "plexahost"}})}).empty());
  EXPECT_TRUE(EntriesOfServices({Service("h", {{"vorn.mdns.type", "plexahost"}, {"uid_list", ""}})}).empty());
}

TEST(WatcherEntriesTest, EmptyElementOfAUidListIsKept) {
  const auto entries =
      EntriesOfServices({Service("h", {{"vorn.mdns.type", "plexahost"}, {"uid_list", "1::2:"}})});
  EXPECT_EQ(UrlsOf(entries), (Urls{"http://unit.local/1/", "http://unit.local//", "http://unit.local/2/"}));
  EXPECT_EQ(entries[1].uid, "");
}

TEST(WatcherEntriesTest, MissingUidIsEmpty) {
  const auto entries = EntriesOfServices({Service("Desk", {{"vorn.mdns.type", "plexadevice"}})});
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].uid, "");
}

TEST(WatcherEntriesTest, ServicesOfNoOrAnotherKindAreSkipped) {
  EXPECT_TRUE(EntriesOfServices({
                                    Service("printer", {}),
                                    Service("empty", {{"vorn.mdns.type", ""}, {"uid", "1"}}),
                                    Service("other", {{"vorn.mdns.type", "plexatoaster"}}),
                                    Service("case", {{"vorn.mdns.type", "PlexaDevice"}}),
                                    Service("key", {{"VORN.MDNS.TYPE", "plexadevice"}}),
                                    Service("nul", {{"vorn.mdns.type", std::string("plexadevice\0", 12)}}),
                                })
                  .empty());
}

TEST(WatcherEntriesTest, FirstItemWithAKeyCounts) {
  const auto entries = EntriesOfServices({Service(
      "a",
      {{"vorn.mdns.type", "plexaswitch"}, {"vorn.mdns.type", "plexadevice"}, {"uid", "1"}, {"uid", "2"}})});
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].type, "plexaswitch");
  EXPECT_EQ(entries[0].uid, "1");
}

TEST(WatcherEntriesTest, FirstServiceOfAUrlWins) {
  const auto entries =
      EntriesOfServices({Service("first", Device("1")), Service("other", Device("2"), "other.local"),
                         Service("second", Device("3"))});
  EXPECT_EQ(UrlsOf(entries), (Urls{"http://unit.local/", "http://other.local/"}));
  EXPECT_EQ(*entries[0].name, "first");
}

TEST(WatcherEntriesTest, UrlsThatDifferInCaseOnlyAreTwo) {
  EXPECT_EQ(
      EntriesOfServices({Service("a", Device("1"), "a.local"), Service("b", Device("1"), "A.local")}).size(),
      2U);
}

TEST(WatcherEntriesTest, BytesThatAreNoTextStayAsTheyCame) {
  const std::string bytes("\xff\xc3\0x", 4);
  const auto entries = EntriesOfServices({Service(bytes, Device(bytes))});
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(*entries[0].name, bytes);
  EXPECT_EQ(entries[0].uid, bytes);
}

}  // namespace
}  // namespace DeviceList
