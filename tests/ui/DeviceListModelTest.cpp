#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <utility>

#include "tests/ui/Devices.h"
#include "ui/DeviceListModel.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;

class DeviceListModelTest : public testing::Test {
 protected:
  std::vector<std::string> shown() const {
    std::vector<std::string> names;
    for (int row = 0; row < fModel.rowCount(); ++row) {
      names.push_back(fModel.index(row).data().toString().toStdString());
    }
    return names;
  }

  void set(List list) { fModel.setList(Shared(std::move(list))); }

  DeviceListModel fModel;
  QAbstractItemModelTester fTester{&fModel, QAbstractItemModelTester::FailureReportingMode::Fatal};
  QSignalSpy fResets{&fModel, &QAbstractItemModel::modelReset};
  QSignalSpy fChanges{&fModel, &QAbstractItemModel::dataChanged};
  QSignalSpy fInsertions{&fModel, &QAbstractItemModel::rowsInserted};
  QSignalSpy fRemovals{&fModel, &QAbstractItemModel::rowsRemoved};
  QSignalSpy fLayouts{&fModel, &QAbstractItemModel::layoutChanged};
};

TEST_F(DeviceListModelTest, EmptyListIsOneUnselectableRowWithoutBadgeOrImage) {
  ASSERT_EQ(fModel.rowCount(), 1);
  const QModelIndex row = fModel.index(0);
  EXPECT_EQ(row.data().toString(), "No Local Devices Found.");
  EXPECT_FALSE(row.flags() & Qt::ItemIsSelectable);
  EXPECT_FALSE(row.data(DeviceListModel::UpdateRole).toBool());
  EXPECT_EQ(row.data(DeviceListModel::ImageNameRole).toString(), "");
  EXPECT_EQ(fModel.deviceAt(0), nullptr);
}

TEST_F(DeviceListModelTest, PlaceholderComesAndGoes) {
  set(Devices(2));
  EXPECT_THAT(shown(), ElementsAre("unit0000", "unit0001"));
  EXPECT_TRUE(fModel.index(0).flags() & Qt::ItemIsSelectable);
  set({});
  EXPECT_THAT(shown(), ElementsAre("No Local Devices Found."));
  EXPECT_TRUE(fModel.isEmpty());
}

TEST_F(DeviceListModelTest, ImageIsNamedAfterTheKnownKindsOnly) {
  set({Device("a", "plexadevice"), Device("b", "plexahost"), Device("c", "plexaswitch"),
       Device("d", "driver"), Device("e", "")});
  std::vector<std::string> images;
  for (int row = 0; row < 5; ++row) {
    images.push_back(fModel.index(row).data(DeviceListModel::ImageNameRole).toString().toStdString());
  }
  EXPECT_THAT(images, ElementsAre("plexadevice", "plexahost", "plexaswitch", "", ""));
}

TEST_F(DeviceListModelTest, BadgeNeedsBothVersionsAndAnOlderFirmware) {
  List list{Device("older", {1, 0, 0, 0}, {1, 0, 0, 1}), Device("same", {1, 0, 0, 0}, {1, 0, 0, 0}),
            Device("newer", {1, 0, 1, 0}, {1, 0, 0, 0}), Device("no-latest", {1, 0, 0, 0}, {2, 0, 0, 0}),
            Device("no-firmware", {1, 0, 0, 0}, {2, 0, 0, 0})};
  list[3].latestVersion.reset();
  list[4].firmwareVersion.reset();
  set(list);
  std::vector<bool> badges;
  for (int row = 0; row < 5; ++row)
    badges.push_back(fModel.index(row).data(DeviceListModel::UpdateRole).toBool());
  EXPECT_THAT(badges, ElementsAre(true, false, false, false, false));
}

TEST_F(DeviceListModelTest, TheSameListAgainAnnouncesNothing) {
  set(Devices(100));
  const auto insertions = fInsertions.count();
  set(Devices(100));
  EXPECT_EQ(fChanges.count() + fLayouts.count() + fResets.count(), 0);
  EXPECT_EQ(fInsertions.count(), insertions);
}

TEST_F(DeviceListModelTest, AnnouncesChangedRowsAsSpansAndNoOthers) {
  set(Devices(10));
  List list = Devices(10);
  for (const std::size_t row : {2U, 3U, 4U, 8U}) {
    list[row].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  }
  set(list);
  ASSERT_EQ(fChanges.count(), 2);
  EXPECT_EQ(fChanges[0][0].toModelIndex().row(), 2);
  EXPECT_EQ(fChanges[0][1].toModelIndex().row(), 4);
  EXPECT_EQ(fChanges[1][0].toModelIndex().row(), 8);
  EXPECT_EQ(fChanges[1][1].toModelIndex().row(), 8);
}

TEST_F(DeviceListModelTest, AnnouncesNewAndGoneRowsAsSpans) {
  set(Devices(10));
  fInsertions.clear();
  fRemovals.clear();
  List list = Devices(10);
  list.erase(list.begin() + 3, list.begin() + 6);
  set(list);
  ASSERT_EQ(fRemovals.count(), 1);
  EXPECT_EQ(fRemovals[0][1].toInt(), 3);
  EXPECT_EQ(fRemovals[0][2].toInt(), 5);
  set(Devices(10));
  ASSERT_EQ(fInsertions.count(), 1);
  EXPECT_EQ(fInsertions[0][1].toInt(), 3);
  EXPECT_EQ(fInsertions[0][2].toInt(), 5);
  EXPECT_EQ(fChanges.count(), 0);
  EXPECT_EQ(fLayouts.count(), 0);
}

TEST_F(DeviceListModelTest, ARenamedUnitKeepsItsRowIdentity) {
  set(Devices(3));
  const QPersistentModelIndex kept(fModel.index(0));
  List list{Devices(3)[1], Devices(3)[2], Devices(3)[0]};
  list[2].name = std::string("zebra");
  set(list);
  EXPECT_EQ(kept.row(), 2);
  EXPECT_EQ(kept.data().toString(), "zebra");
  EXPECT_EQ(fRemovals.count(), 1);  // the placeholder's
}

TEST_F(DeviceListModelTest, ADeviceThatReplacesAnotherIsANewRow) {
  set({Device("a")});
  const QPersistentModelIndex gone(fModel.index(0));
  DeviceList::ExtendedDeviceInfo other = Device("a");
  other.url = "http://other.local/";
  set({other});
  EXPECT_FALSE(gone.isValid());
}

TEST_F(DeviceListModelTest, EntriesOfOneUrlAreToldApartByTheirOrder) {
  List twins{Device("a"), Device("a"), Device("b")};
  twins[1].name = std::string("a again");
  set(twins);
  EXPECT_THAT(shown(), ElementsAre("a", "a again", "b"));
  EXPECT_EQ(fModel.rowOfUrl("http://a.local:80/"), 0);
  const QPersistentModelIndex second(fModel.index(1));
  set({twins[2], twins[0], twins[1]});
  EXPECT_EQ(second.row(), 2);
}

TEST_F(DeviceListModelTest, UidAloneChangesNothingShown) {
  set({Device("a")});
  DeviceList::ExtendedDeviceInfo info = Device("a");
  info.uid = "other";
  set({info});
  EXPECT_EQ(fChanges.count(), 0);
  EXPECT_EQ(fModel.deviceAt(0)->uid, "other");
}

TEST_F(DeviceListModelTest, ShowsTheListItselfAndLetsTheOneBeforeGo) {
  auto first = Shared(Devices(3));
  fModel.setList(first);
  EXPECT_EQ(fModel.deviceAt(1), &(*first)[1]);
  const std::weak_ptr<const List> before = first;
  first.reset();
  EXPECT_FALSE(before.expired());
  const auto second = Shared(Devices(3));
  fModel.setList(second);
  EXPECT_EQ(fModel.deviceAt(1), &(*second)[1]);
  EXPECT_TRUE(before.expired());
}

TEST_F(DeviceListModelTest, CutsANameOnceForAsLongAsItStays) {
  // Texts that share their letters were made once.
  const auto letters = [this] { return fModel.index(1).data().toString().constData(); };
  List list = Devices(3);
  list[1].name = std::string(4096, 'x');
  set(list);
  const QString cut = fModel.index(1).data().toString();
  EXPECT_EQ(letters(), cut.constData());
  list[1].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  set(list);
  EXPECT_EQ(letters(), cut.constData());
  list[1].name = std::string(4096, 'y');
  set(list);
  EXPECT_TRUE(fModel.index(1).data().toString().startsWith("yyy"));
}

TEST_F(DeviceListModelTest, AnnouncesTwoThousandChangedNamesAsOneSpan) {
  List list = Devices(2000);
  set(list);
  for (auto& info : list) *info.name += " again";
  set(list);
  ASSERT_EQ(fChanges.count(), 1);
  EXPECT_EQ(fChanges[0][0].toModelIndex().row(), 0);
  EXPECT_EQ(fChanges[0][1].toModelIndex().row(), 1999);
  EXPECT_EQ(fLayouts.count() + fRemovals.count(), 1);  // the placeholder's
}

// After any change, the rows are the list, every surviving persistent index is at its own device, and the
// announcements alone are enough to keep a mirror of the rows (the model tester checks their form).
TEST_F(DeviceListModelTest, RandomListsKeepEveryRowWithItsDevice) {
  std::mt19937 random(20240611);
  List list;
  for (int round = 0; round < 400; ++round) {
    std::map<std::string, QPersistentModelIndex> before;
    for (int row = 0; row < fModel.deviceCount(); ++row)
      before[fModel.deviceAt(row)->url] = fModel.index(row);

    list = Devices(12);
    std::erase_if(list, [&](const auto&) { return random() % 3 == 0; });
    if (random() % 2 == 0) std::shuffle(list.begin(), list.end(), random);
    for (auto& info : list) {
      if (random() % 4 == 0) info.name = "name" + std::to_string(random() % 100);
    }
    set(list);

    ASSERT_EQ(fModel.deviceCount(), static_cast<int>(list.size()));
    for (int row = 0; row < fModel.deviceCount(); ++row) {
      const auto& info = list[static_cast<std::size_t>(row)];
      ASSERT_EQ(fModel.deviceAt(row)->url, info.url);
      ASSERT_EQ(fModel.index(row).data().toString().toStdString(), *info.name);
      const auto known = before.find(info.url);
      ASSERT_TRUE(known == before.end() || known->second.row() == row);
    }
    for (const auto& [url, index] : before) {
      ASSERT_EQ(index.isValid(), fModel.rowOfUrl(url) >= 0);
    }
  }
  EXPECT_EQ(fResets.count(), 0);
}

TEST_F(DeviceListModelTest, TextOfStrangersIsPlain) {
  set({Device("<b>bold</b>\xE2\x80\xAE")});
  EXPECT_EQ(fModel.index(0).data().toString(), "<b>bold</b>");
  EXPECT_TRUE(fModel.index(0).data(Qt::ToolTipRole).toString().contains("&lt;b&gt;bold"));
}

}  // namespace
}  // namespace vorn::ui
