#!/usr/bin/python3
"""A private message bus with a network daemon on it, for one test.

    mock_network_daemon.py none|networkmanager|networkd|hanging

Prints the bus's address and runs until its standard input ends.
"""

import os
import signal
import subprocess
import sys

import dbus
import dbusmock

MOCK = "org.freedesktop.DBus.Mock"
NM = "org.freedesktop.NetworkManager"


def profile(settings, name):
    path = settings.AddConnection(
        {"connection": {"id": name, "type": "802-3-ethernet"}}, dbus_interface=NM + ".Settings"
    )
    return str(path)


def start_network_manager(case):
    """Four devices: connected, configured only, wireless, without a profile."""
    process, manager = case.spawn_server_template("networkmanager", {}, stdout=subprocess.DEVNULL)
    bus = case.get_dbus(system_bus=True)
    settings = bus.get_object(NM, "/org/freedesktop/NetworkManager/Settings")
    mock = dbus.Interface(manager, MOCK)
    studio = profile(settings, "Studio: main line")
    spare = profile(settings, "Spare \u00e9")

    connected = mock.AddEthernetDevice("a", "veth0", 30)
    mock.AddActiveConnection([connected], studio, "/", "active1", 2)
    configured = mock.AddEthernetDevice("b", "veth1", 30)
    device = dbus.Interface(bus.get_object(NM, configured), dbus.PROPERTIES_IFACE)
    device.Set(NM + ".Device", "AvailableConnections", dbus.Array([dbus.ObjectPath(spare)], signature="o"))
    mock.AddWiFiDevice("c", "wlan0", 30)
    mock.AddEthernetDevice("d", "veth2", 10)
    mock.AddEthernetDevice("e", "lo", 100)
    return process


def start_networkd(case):
    process = case.spawn_server(
        "org.freedesktop.network1",
        "/org/freedesktop/network1",
        "org.freedesktop.network1.Manager",
        system_bus=True,
        stdout=subprocess.DEVNULL,
    )
    manager = case.get_dbus(system_bus=True).get_object("org.freedesktop.network1", "/org/freedesktop/network1")
    links = "[(3, 'veth1', '/l/3'), (1, 'lo', '/l/1'), (2, 'veth0', '/l/2')]"
    dbus.Interface(manager, MOCK).AddMethod("", "ListLinks", "", "a(iso)", "ret = " + links)
    return process


def main():
    scenario = sys.argv[1]
    case = dbusmock.DBusTestCase
    case.setUpClass()
    case.start_system_bus()
    process = None
    if scenario == "networkd":
        process = start_networkd(case)
    elif scenario != "none":
        process = start_network_manager(case)
    if scenario == "hanging":
        process.send_signal(signal.SIGSTOP)
    print(os.environ["DBUS_SYSTEM_BUS_ADDRESS"], flush=True)
    sys.stdin.read()
    if process:
        process.kill()
        process.wait()
    case.tearDownClass()


if __name__ == "__main__":
    main()
