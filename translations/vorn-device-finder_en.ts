<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>DeviceWords</name>
    <message numerus="yes">
        <source>and %n more…</source>
        <translation>
            <numerusform>and %n more…</numerusform>
            <numerusform>and %n more…</numerusform>
        </translation>
    </message>
</context>
</TS>
