// What the notifications cost: the store at two sizes beside a bare write and rename
// of as many bytes, and a publish without news beside a bare look-up loop.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "devicelist/Entry.h"
#include "notification/Logic.h"
#include "platform/linux/settings/IniUserDefaults.h"

namespace {

constexpr char kCurrent[] = "1.0.0+5";
constexpr char kLatest[] = "1.1.0+2";

std::string UidOf(std::int64_t index) {
  char uid[32];
  std::snprintf(uid, sizeof uid, "0001f2fffe%06llx", static_cast<unsigned long long>(index));
  return uid;
}

/// A folder with a settings file of `entries` records.
class Store {
 public:
  explicit Store(std::int64_t entries) {
    std::string name = std::filesystem::temp_directory_path() / "vorn-bench-XXXXXX";
    fFolder = ::mkdtemp(name.data());
    std::string text = "[General]\n";
    for (std::int64_t i = 0; i < entries; ++i) {
      text += "notificationrecord-" + UidOf(i) + "=" + kCurrent + ", " + kLatest + "\n";
    }
    std::FILE* file = std::fopen(Path().c_str(), "w");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    fText = std::move(text);
  }
  ~Store() { std::filesystem::remove_all(fFolder); }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  [[nodiscard]] std::filesystem::path Path() const { return fFolder / "settings.conf"; }
  [[nodiscard]] const std::string& Text() const { return fText; }

 private:
  std::filesystem::path fFolder;
  std::string fText;
};

void StoreOpen(benchmark::State& state) {
  const Store store(state.range(0));
  for (auto _ : state) {
    const vorn::IniUserDefaults defaults(store.Path());
    benchmark::DoNotOptimize(defaults.GetStringArray("notificationrecord-" + UidOf(0)));
  }
}

void StoreRead(benchmark::State& state) {
  const Store store(state.range(0));
  const vorn::IniUserDefaults defaults(store.Path());
  std::int64_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(defaults.GetStringArray("notificationrecord-" + UidOf(i)));
    i = (i + 7919) % state.range(0);
  }
}

void BareMapRead(benchmark::State& state) {
  std::map<std::string, std::vector<std::string>> values;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    values["notificationrecord-" + UidOf(i)] = {kCurrent, kLatest};
  }
  std::int64_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::vector<std::string>(values.at("notificationrecord-" + UidOf(i))));
    i = (i + 7919) % state.range(0);
  }
}

// One changed record, saved. There is no event loop here that would collect several.
void StoreWrite(benchmark::State& state) {
  const Store store(state.range(0));
  vorn::IniUserDefaults defaults(store.Path());
  std::int64_t i = 0;
  for (auto _ : state) {
    defaults.SetStringArray("notificationrecord-" + UidOf(i % state.range(0)),
                            {kCurrent, std::to_string(++i)});
  }
}

void BareWriteAndRename(benchmark::State& state) {
  const Store store(state.range(0));
  const std::string name = store.Path().string() + ".bare";
  for (auto _ : state) {
    std::FILE* file = std::fopen(name.c_str(), "w");
    std::fwrite(store.Text().data(), 1, store.Text().size(), file);
    std::fflush(file);
    ::fsync(::fileno(file));
    std::fclose(file);
    std::rename(name.c_str(), store.Path().c_str());
  }
}

class NoCenter final : public vorn::NotificationCenter {
 public:
  void SetDelegate(std::weak_ptr<Delegate>) override {}
  [[nodiscard]] bool DeliverNotification(const vorn::UserNotification&) override {
    ++fDelivered;
    return true;
  }
  void SetOnRoom(std::function<void()>) override {}
  void RemoveDeliveredNotification(const vorn::UserNotification&) override {}
  void ForgetWaitingNotification(const std::string&) override {}
  void ForgetWaitingNotifications() override {}
  int fDelivered = 0;
};

class NoOpener final : public vorn::UrlOpener {
 public:
  void Open(const std::string&, const std::string&) override {}
};

std::vector<DeviceList::ExtendedDeviceInfo> MakeList(std::int64_t units,
                                                     const vorn::FirmwareVersion& latest) {
  std::vector<DeviceList::ExtendedDeviceInfo> list;
  for (std::int64_t i = 0; i < units; ++i) {
    DeviceList::ExtendedDeviceInfo device;
    device.name = "Unit " + std::to_string(i);
    device.type = DeviceList::kTypeDevice;
    device.url = "http://unit-" + std::to_string(i) + ".local:80/";
    device.uid = UidOf(i);
    device.firmwareVersion = vorn::FirmwareVersion{1, 0, 0, 5};
    device.latestVersion = latest;
    list.push_back(std::move(device));
  }
  return list;
}

void MaybeNotify(benchmark::State& state, const vorn::FirmwareVersion& latest) {
  const Store store(10000);
  vorn::IniUserDefaults defaults(store.Path());
  NoCenter center;
  NoOpener opener;
  Notification::Logic logic(defaults, center, opener);
  const auto list = MakeList(1000, latest);
  for (auto _ : state) logic.MaybeNotify(list);
  if (center.fDelivered != 0) state.SkipWithError("there was news");
}

void MaybeNotifyUpToDate(benchmark::State& state) {
  MaybeNotify(state, {1, 0, 0, 5});
}

void MaybeNotifyAllAnnounced(benchmark::State& state) {
  MaybeNotify(state, {1, 1, 0, 2});
}

void BareLookUps(benchmark::State& state) {
  std::map<std::string, std::vector<std::string>> values;
  for (std::int64_t i = 0; i < 10000; ++i) values["notificationrecord-" + UidOf(i)] = {kCurrent, kLatest};
  const auto list = MakeList(1000, {1, 1, 0, 2});
  for (auto _ : state) {
    for (const auto& device : list) {
      benchmark::DoNotOptimize(values.find("notificationrecord-" + device.uid)->second[1] == kLatest);
    }
  }
}

BENCHMARK(StoreOpen)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(StoreRead)->Arg(10)->Arg(10000);
BENCHMARK(BareMapRead)->Arg(10)->Arg(10000);
BENCHMARK(StoreWrite)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BareWriteAndRename)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(MaybeNotifyUpToDate)->Unit(benchmark::kMicrosecond);
BENCHMARK(MaybeNotifyAllAnnounced)->Unit(benchmark::kMicrosecond);
BENCHMARK(BareLookUps)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
