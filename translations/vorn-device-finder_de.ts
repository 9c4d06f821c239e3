<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>Core</name>
    <message>
        <source>audio interface</source>
        <translation>Audio-Interface</translation>
    </message>
    <message>
        <source>device</source>
        <translation>Gerät</translation>
    </message>
    <message>
        <source>host</source>
        <translation>Host</translation>
    </message>
    <message>
        <source>AVB switch</source>
        <translation>AVB-Switch</translation>
    </message>
    <message>
        <source>switch</source>
        <translation>Switch</translation>
    </message>
    <message>
        <source>No Local Devices Found.</source>
        <translation>Keine lokalen Geräte gefunden.</translation>
    </message>
    <message>
        <source>Update Available for %1</source>
        <translation>Aktualisierung verfügbar für %1</translation>
    </message>
</context>
<context>
    <name>Desktop</name>
    <message>
        <source>Starts in the status bar at login</source>
        <translation>Startet bei der Anmeldung in der Statusleiste</translation>
    </message>
</context>
<context>
    <name>DeviceWords</name>
    <message>
        <source>update %1 available</source>
        <translation>Aktualisierung %1 verfügbar</translation>
    </message>
    <message>
        <source>Still looking for devices…</source>
        <translation>Geräte werden noch gesucht …</translation>
    </message>
    <message>
        <source>The discovery service (Avahi) is not running.</source>
        <translation>Der Suchdienst (Avahi) läuft nicht.</translation>
    </message>
    <message>
        <source>The discovery service (Avahi) does not answer.</source>
        <translation>Der Suchdienst (Avahi) antwortet nicht.</translation>
    </message>
    <message>
        <source>There is no network connection.</source>
        <translation>Es besteht keine Netzwerkverbindung.</translation>
    </message>
    <message>
        <source>The page could not be opened in a browser.</source>
        <translation>Die Seite konnte nicht im Browser geöffnet werden.</translation>
    </message>
    <message>
        <source>firmware %1</source>
        <translation>Firmware %1</translation>
    </message>
    <message>
        <source>, </source>
        <comment>between the parts of a row that is read aloud</comment>
        <translation>, </translation>
    </message>
    <message numerus="yes">
        <source>All Devices (%n)...</source>
        <translation>
            <numerusform>Alle Geräte (%n) …</numerusform>
            <numerusform>Alle Geräte (%n) …</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n device(s)</source>
        <translation>
            <numerusform>%n Gerät</numerusform>
            <numerusform>%n Geräte</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n update(s) available</source>
        <translation>
            <numerusform>%n Aktualisierung verfügbar</numerusform>
            <numerusform>%n Aktualisierungen verfügbar</numerusform>
        </translation>
    </message>
    <message>
        <source>%1, %2</source>
        <comment>devices, updates</comment>
        <translation>%1, %2</translation>
    </message>
    <message>
        <source>behind %1</source>
        <translation>hinter %1</translation>
    </message>
    <message>
        <source>The program starts at login. You can change that in the settings menu.</source>
        <translation>Das Programm startet bei der Anmeldung. Das lässt sich im Einstellungsmenü ändern.</translation>
    </message>
</context>
<context>
    <name>DisplayText</name>
    <message>
        <source>(unnamed)</source>
        <translation>(ohne Namen)</translation>
    </message>
</context>
<context>
    <name>Notification</name>
    <message>
        <source>Open</source>
        <comment>opens the unit&apos;s page</comment>
        <translation>Öffnen</translation>
    </message>
</context>
<context>
    <name>VirtualEntityMenu</name>
    <message>
        <source>Launch Mac Virtual Entity</source>
        <translation>Virtuelle Mac-Einheit starten</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Usage: %1 [-h | --help | -V | --version]
Shows the Vorn units of the local network in the desktop&apos;s status bar and
announces new firmware. If it already runs, a second start opens its panel.
</source>
        <translation>Aufruf: %1 [-h | --help | -V | --version]
Zeigt die Vorn-Geräte des lokalen Netzwerks in der Statusleiste und meldet neue
Firmware. Läuft das Programm schon, öffnet ein zweiter Start die Geräteliste.
</translation>
    </message>
</context>
<context>
    <name>vorn::ui::DeviceListModel</name>
    <message>
        <source>Firmware %1</source>
        <translation>Firmware %1</translation>
    </message>
    <message>
        <source>, </source>
        <comment>between firmware and update in a tool tip</comment>
        <translation>, </translation>
    </message>
</context>
<context>
    <name>vorn::ui::DeviceListPanel</name>
    <message>
        <source>Devices</source>
        <translation>Geräte</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
</context>
<context>
    <name>vorn::ui::DeviceRowDelegate</name>
    <message>
        <source>Update</source>
        <comment>the badge of a unit: as short as possible</comment>
        <translation>Update</translation>
    </message>
</context>
<context>
    <name>vorn::ui::InformationWindow</name>
    <message>
        <source>About %1</source>
        <translation>Über %1</translation>
    </message>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>It does not ask for new firmware.</source>
        <translation>Es fragt nicht nach neuer Firmware.</translation>
    </message>
    <message>
        <source>It asks for new firmware at %1</source>
        <translation>Es fragt nach neuer Firmware bei %1</translation>
    </message>
    <message>
        <source>Version %1, build %2</source>
        <translation>Version %1, Build %2</translation>
    </message>
    <message>
        <source>It uses these libraries, under these licences:</source>
        <translation>Es nutzt diese Bibliotheken mit diesen Lizenzen:</translation>
    </message>
    <message>
        <source>Up, Down, Home, End</source>
        <translation>Auf, Ab, Pos1, Ende</translation>
    </message>
    <message>
        <source>Move through the list</source>
        <translation>In der Liste bewegen</translation>
    </message>
    <message>
        <source>Letters</source>
        <translation>Buchstaben</translation>
    </message>
    <message>
        <source>Go to the device whose name begins so</source>
        <translation>Zum Gerät gehen, dessen Name so beginnt</translation>
    </message>
    <message>
        <source>Return, Enter</source>
        <translation>Eingabe, Enter</translation>
    </message>
    <message>
        <source>Open the page of the selected device</source>
        <translation>Seite des gewählten Geräts öffnen</translation>
    </message>
    <message>
        <source>Menu, Shift+F10</source>
        <translation>Menü, Umschalt+F10</translation>
    </message>
    <message>
        <source>Open the menu of the selected device</source>
        <translation>Menü des gewählten Geräts öffnen</translation>
    </message>
    <message>
        <source>Tab</source>
        <translation>Tab</translation>
    </message>
    <message>
        <source>Go to the settings button</source>
        <translation>Zum Einstellungsknopf gehen</translation>
    </message>
    <message>
        <source>Escape</source>
        <translation>Esc</translation>
    </message>
    <message>
        <source>Close the panel</source>
        <translation>Das Fenster schließen</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
</context>
<context>
    <name>vorn::ui::SettingsMenu</name>
    <message>
        <source>Launch at Login</source>
        <translation>Bei der Anmeldung starten</translation>
    </message>
    <message>
        <source>Show Switches</source>
        <translation>Switches anzeigen</translation>
    </message>
    <message>
        <source>Notify About Updates</source>
        <translation>Über Aktualisierungen benachrichtigen</translation>
    </message>
    <message>
        <source>Check for New Firmware</source>
        <translation>Nach neuer Firmware suchen</translation>
    </message>
    <message>
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Quit %1</source>
        <translation>%1 beenden</translation>
    </message>
    <message>
        <source>Launch at Login (not installed)</source>
        <translation>Bei der Anmeldung starten (nicht installiert)</translation>
    </message>
</context>
<context>
    <name>vorn::ui::StatusMenu</name>
    <message>
        <source>%1 (%2)</source>
        <comment>a unit&apos;s name, and that there is an update</comment>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>Show Devices</source>
        <translation>Geräte anzeigen</translation>
    </message>
</context>
<context>
    <name>vorn::ui::UnitMenu</name>
    <message>
        <source>Open Page</source>
        <translation>Seite öffnen</translation>
    </message>
    <message>
        <source>Copy Address</source>
        <translation>Adresse kopieren</translation>
    </message>
    <message>
        <source>Copy Name</source>
        <translation>Namen kopieren</translation>
    </message>
    <message>
        <source>Copy Details for Support</source>
        <translation>Angaben für den Support kopieren</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Kind</source>
        <translation>Art</translation>
    </message>
    <message>
        <source>Model</source>
        <translation>Modell</translation>
    </message>
    <message>
        <source>Firmware</source>
        <translation>Firmware</translation>
    </message>
    <message>
        <source>Newest firmware</source>
        <translation>Neueste Firmware</translation>
    </message>
    <message>
        <source>Address</source>
        <translation>Adresse</translation>
    </message>
</context>
</TS>
