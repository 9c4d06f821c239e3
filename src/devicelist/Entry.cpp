#include "devicelist/Entry.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "devicelist/DevicePoller.h"
#include "devicelist/SwitchPoller.h"
#include "foundation/Translatable.h"

namespace DeviceList {
namespace {

using vorn::Translatable;

template <typename KindOfPoller>
std::unique_ptr<Poller> Make(Entry entry, std::shared_ptr<const LocalHosts> hosts) {
  return std::make_unique<KindOfPoller>(std::move(entry), std::move(hosts));
}

constexpr UnitKind kKinds[] = {
    {
        .type = kTypeDevice,
        .words = Translatable("Core", "audio interface"),
        .column = Translatable("Core", "device"),
        .image = "plexadevice",
        .announced = UnitKind::Announced::kOne,
        .listed = UnitKind::Listed::kAlways,
        .page = UnitKind::Page::kDeviceSection,
        .makePoller = &Make<DevicePoller>,
    },
    {
        .type = kTypeHost,
        .words = Translatable("Core", "host"),
        .column = Translatable("Core", "host"),
        .image = "plexahost",
        .announced = UnitKind::Announced::kUIDList,
        .listed = UnitKind::Listed::kUnlessAnnouncedItself,
        .page = UnitKind::Page::kDeviceSection,
        .makePoller = &Make<DevicePoller>,
    },
    {
        .type = kTypeSwitch,
        .words = Translatable("Core", "AVB switch"),
        .column = Translatable("Core", "switch"),
        .image = "plexaswitch",
        .announced = UnitKind::Announced::kOne,
        .listed = UnitKind::Listed::kWithSwitches,
        .page = UnitKind::Page::kTop,
        .makePoller = &Make<SwitchPoller>,
    },
};

constexpr bool IsWhole(const UnitKind& kind) {
  return !kind.type.empty() && !kind.words.empty() && !kind.column.empty() && !kind.image.empty() &&
         kind.announced != UnitKind::Announced{} && kind.listed != UnitKind::Listed{} &&
         kind.page != UnitKind::Page{} && kind.makePoller != nullptr;
}
static_assert(std::all_of(std::begin(kKinds), std::end(kKinds), IsWhole), "a kind lacks a part");

}  // namespace

bool operator==(const Entry& a, const Entry& b) {
  return a.name == b.name && a.type == b.type && a.uid == b.uid && a.url == b.url;
}

const UnitKind* KindOf(std::string_view type) noexcept {
  const auto* const found = std::find_if(std::begin(kKinds), std::end(kKinds),
                                         [&](const UnitKind& kind) { return kind.type == type; });
  return found == std::end(kKinds) ? nullptr : found;
}

}  // namespace DeviceList
