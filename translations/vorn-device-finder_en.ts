<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>DeviceWords</name>
    <message numerus="yes">
        <source>All Devices (%n)...</source>
        <translation>
            <numerusform>All Devices (%n)...</numerusform>
            <numerusform>All Devices (%n)...</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n device(s)</source>
        <translation>
            <numerusform>%n device</numerusform>
            <numerusform>%n devices</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n update(s) available</source>
        <translation>
            <numerusform>%n update available</numerusform>
            <numerusform>%n updates available</numerusform>
        </translation>
    </message>
</context>
</TS>
