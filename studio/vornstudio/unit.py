"""The model of one announced unit: its data and its faults."""

import dataclasses
import re

KINDS = ("plexadevice", "plexahost", "plexaswitch")
RESOURCES = ("apiversion", "caps", "model_name", "firmware_version", "entity_name")
ANNOUNCERS = ("zeroconf", "avahi")


@dataclasses.dataclass
class Device:
    """One audio interface as its datastore shows it. A host has several, any other unit has one."""

    uid: str = ""
    name: str = ""
    model: str = "Vorn 16A"
    firmware: str = "1.0.0+1"
    serial: int = 1

    @property
    def etag(self):
        return f'"{self.uid}-{self.serial}"'

    def rename(self, name):
        self.name = name
        self.serial += 1


@dataclasses.dataclass
class Unit:
    """One DNS-SD service and the web server behind it.

    `announced` follows what happens. `faults` and `statuses` map a resource ("*" for all) to the name of a fault, or
    to the status of the answer.
    """

    id: str
    kind: str
    name: str
    host: str
    port: int = 80
    address: str = ""
    devices: list = dataclasses.field(default_factory=list)
    api: str = "0.9.2"
    datastore: str = "0.4.0"
    etag: bool = True
    delay: float = 0.0
    away: str = "http://10.77.0.2:8080/stolen"
    headers: dict = dataclasses.field(default_factory=dict)
    behind: str = ""
    announced: bool = True
    announcer: str = "zeroconf"
    txt: dict = dataclasses.field(default_factory=dict)
    faults: dict = dataclasses.field(default_factory=dict)
    statuses: dict = dataclasses.field(default_factory=dict)

    @property
    def device(self):
        return self.devices[0]

    @property
    def url(self):
        port = "" if self.port == 80 else f":{self.port}"
        return f"http://{self.host}.local{port}/"

    @property
    def address6(self):
        """An IPv6 address made from the IPv4 one. It is announced if the studio uses IPv6, but not served."""
        return "fd77::{}:{}:{}:{}".format(*self.address.split("."))

    def txt_record(self):
        """The TXT items: those of the kind, then the unit's own, which replace them."""
        record = {"vorn.mdns.type": self.kind}
        if self.kind == "plexahost":
            record["uid_list"] = ":".join(device.uid for device in self.devices)
        else:
            record["uid"] = self.device.uid
        record.update(self.txt)
        return {key: _txt_value(value) for key, value in record.items() if value is not None}

    def device_by_uid(self, uid):
        return next((device for device in self.devices if device.uid == uid), None)

    def fault_of(self, resource):
        return self.faults.get(resource) or self.faults.get("*")

    def status_of(self, resource):
        return self.statuses.get(resource) or self.statuses.get("*")


def _txt_value(value):
    """A value is text, or bytes that are not text as {hex = "ff00"}."""
    return bytes.fromhex(value["hex"]) if isinstance(value, dict) else value


def slug(name):
    """A host label made from a name."""
    return re.sub(r"[^a-z0-9]+", "-", name.lower()).strip("-") or "unit"
