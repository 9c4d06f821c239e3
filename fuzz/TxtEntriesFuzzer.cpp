// From the bytes of TXT records to the units that they announce. The input is a row of services: port (two
// bytes), name and host (a length byte and the text each), length of the TXT record (two bytes) and the
// record as on the network.

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "AVB/Util/ServiceData.h"
#include "AVB/Util/TxtRecord.h"
#include "devicelist/Watcher.h"
#include "devicelist/http/LocalHosts.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"

namespace {

using vorn::fuzzing::ByteReader;
using vorn::fuzzing::Require;
using ServiceInfo = vorn::ZeroConfEngine::ServiceInfo;

constexpr std::size_t kMaxItemBytes = 255;

ServiceInfo ReadService(ByteReader& reader) {
  ServiceInfo service;
  service.port = reader.Number();
  service.name = reader.Text();
  service.host = vorn::TrimLocalHost(reader.Text());
  service.address = "192.0.2.1";
  const std::string record = reader.Bytes(reader.Number());
  service.txt = vorn::ReadTxtRecord(static_cast<std::uint16_t>(record.size()), record.data());
  for (const auto& item : service.txt) {
    Require(item.key.size() + item.value.size() <= kMaxItemBytes,
            "an item is no longer than its length byte says");
    Require(record.find(item.key) != std::string::npos, "a key's bytes stand in the record");
    Require(record.find(item.value) != std::string::npos, "a value's bytes stand in the record");
  }
  return service;
}

void CheckEntry(const DeviceList::Entry& entry) {
  const bool host = entry.type == DeviceList::kTypeHost;
  Require(DeviceList::KindOf(entry.type) != nullptr, "the kind is known");
  Require(entry.url.starts_with("http://") && entry.url.ends_with("/"), "the URL is a base URL");
  Require(entry.name.has_value() != host, "all but a host's units have their announced name");
  Require(!host || entry.url.ends_with("/" + entry.uid + "/"), "a host's unit has its uid in its URL");
  Require(!host || entry.uid.find(':') == std::string::npos, "a host's unit has one uid");
}

void CheckHosts(const std::vector<ServiceInfo>& services) {
  DeviceList::LocalHosts::Table table;
  for (const auto& service : services) table[service.host].push_back(service.address);
  DeviceList::LocalHosts hosts;
  hosts.Replace(table);
  for (const auto& service : services) {
    Require(hosts.AddressesOf(service.host).empty() != DeviceList::LocalHosts::IsLocal(service.host),
            "the addresses of \".local\" hosts are known, and of no others");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader reader(vorn::fuzzing::AsText(data, size));
  std::vector<ServiceInfo> services;
  while (!reader.AtEnd()) services.push_back(ReadService(reader));
  const auto entries = DeviceList::EntriesOfServices(services);
  std::set<std::string> urls;
  for (const auto& entry : entries) {
    CheckEntry(entry);
    Require(urls.insert(entry.url).second, "no URL comes twice");
  }
  Require(DeviceList::EntriesOfServices(services) == entries, "the same services announce the same units");
  services.insert(services.end(), services.begin(), services.end());
  Require(DeviceList::EntriesOfServices(services) == entries, "services seen twice announce no more units");
  CheckHosts(services);
  return 0;
}
