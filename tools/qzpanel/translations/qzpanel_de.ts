<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>qz::panel::connect_dialog</name>
    <message>
        <source>TCP</source>
        <translation>TCP</translation>
    </message>
    <message>
        <source>Serial port (RTU)</source>
        <translation>Serielle Schnittstelle (RTU)</translation>
    </message>
    <message>
        <source>Connect to a device</source>
        <translation>Mit einem Gerät verbinden</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keine</translation>
    </message>
    <message>
        <source>even</source>
        <translation>gerade</translation>
    </message>
    <message>
        <source>odd</source>
        <translation>ungerade</translation>
    </message>
    <message>
        <source> ms</source>
        <translation> ms</translation>
    </message>
    <message>
        <source>Browse...</source>
        <translation>Durchsuchen...</translation>
    </message>
    <message>
        <source>Connection</source>
        <translation>Verbindung</translation>
    </message>
    <message>
        <source>Host</source>
        <translation>Rechner</translation>
    </message>
    <message>
        <source>TCP port</source>
        <translation>TCP-Port</translation>
    </message>
    <message>
        <source>Serial port</source>
        <translation>Serielle Schnittstelle</translation>
    </message>
    <message>
        <source>Baud rate</source>
        <translation>Baudrate</translation>
    </message>
    <message>
        <source>Parity</source>
        <translation>Parität</translation>
    </message>
    <message>
        <source>Unit id</source>
        <translation>Unit-ID</translation>
    </message>
    <message>
        <source>Register map</source>
        <translation>Registerkarte</translation>
    </message>
    <message>
        <source>Time-out of a request</source>
        <translation>Zeitlimit einer Anfrage</translation>
    </message>
    <message>
        <source>Repeats of a request</source>
        <translation>Wiederholungen einer Anfrage</translation>
    </message>
    <message>
        <source>Register maps (*.json);;All files (*)</source>
        <translation>Registerkarten (*.json);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>Choose the device&apos;s register map first.</source>
        <translation>Zuerst die Registerkarte des Geräts wählen.</translation>
    </message>
</context>
<context>
    <name>qz::panel::monitor_tab</name>
    <message>
        <source> ms</source>
        <translation> ms</translation>
    </message>
    <message>
        <source>From the start of one sweep to the start of the next; 0: back to back</source>
        <translation>Vom Beginn eines Durchlaufs bis zum Beginn des nächsten; 0: ohne Pause</translation>
    </message>
    <message>
        <source>Start</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>Record to CSV...</source>
        <translation>Als CSV aufzeichnen...</translation>
    </message>
    <message>
        <source>Not recording</source>
        <translation>Keine Aufzeichnung</translation>
    </message>
    <message>
        <source>Interval:</source>
        <translation>Intervall:</translation>
    </message>
    <message>
        <source>Monitor</source>
        <translation>Überwachung</translation>
    </message>
    <message>
        <source>Tick the parameters to monitor first.</source>
        <translation>Wählen Sie zuerst die zu überwachenden Parameter aus.</translation>
    </message>
    <message>
        <source>Start monitoring first: the file records what is polled.</source>
        <translation>Starten Sie zuerst die Überwachung: die Datei zeichnet die abgefragten Werte auf.</translation>
    </message>
    <message>
        <source>Record to CSV</source>
        <translation>Als CSV aufzeichnen</translation>
    </message>
    <message>
        <source>CSV files (*.csv);;All files (*)</source>
        <translation>CSV-Dateien (*.csv);;Alle Dateien (*)</translation>
    </message>
    <message numerus="yes">
        <source>Recording to %1: %n row(s)</source>
        <translation>
            <numerusform>Aufzeichnung in %1: %n Zeile</numerusform>
            <numerusform>Aufzeichnung in %1: %n Zeilen</numerusform>
        </translation>
    </message>
    <message>
        <source>Stop recording</source>
        <translation>Aufzeichnung beenden</translation>
    </message>
    <message>
        <source>; recording to %1 goes on</source>
        <translation>; die Aufzeichnung in %1 geht weiter</translation>
    </message>
    <message>
        <source>Record to another file...</source>
        <translation>In eine andere Datei aufzeichnen...</translation>
    </message>
</context>
<context>
    <name>qz::panel::panel_window</name>
    <message>
        <source>qzpanel - %1</source>
        <translation>qzpanel - %1</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Save parameters...</source>
        <translation>Parameter &amp;speichern...</translation>
    </message>
    <message>
        <source>&amp;Load parameters...</source>
        <translation>Parameter &amp;laden...</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Save parameters</source>
        <translation>Parameter speichern</translation>
    </message>
    <message>
        <source>Parameter files (*.json);;All files (*)</source>
        <translation>Parameterdateien (*.json);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>Load parameters</source>
        <translation>Parameter laden</translation>
    </message>
    <message>
        <source>qzpanel</source>
        <translation>qzpanel</translation>
    </message>
    <message numerus="yes">
        <source>%n field(s) hold changes that are not on the device. Close and lose them?</source>
        <translation>
            <numerusform>%n Feld enthält eine Änderung, die nicht auf dem Gerät ist. Schließen und sie verwerfen?</numerusform>
            <numerusform>%n Felder enthalten Änderungen, die nicht auf dem Gerät sind. Schließen und sie verwerfen?</numerusform>
        </translation>
    </message>
    <message>
        <source>Parameters</source>
        <translation>Parameter</translation>
    </message>
    <message>
        <source>Monitor</source>
        <translation>Überwachung</translation>
    </message>
    <message>
        <source>&amp;Read</source>
        <translation>&amp;Lesen</translation>
    </message>
    <message>
        <source>&amp;Write</source>
        <translation>&amp;Schreiben</translation>
    </message>
    <message>
        <source>&amp;Discard</source>
        <translation>&amp;Verwerfen</translation>
    </message>
    <message>
        <source>&amp;Stop</source>
        <translation>&amp;Anhalten</translation>
    </message>
    <message>
        <source>Reads every parameter (F5, Ctrl+R)</source>
        <translation>Liest jeden Parameter (F5, Strg+R)</translation>
    </message>
    <message>
        <source>Writes the pending changes (Ctrl+W, Ctrl+Return)</source>
        <translation>Schreibt die offenen Änderungen (Strg+W, Strg+Eingabe)</translation>
    </message>
    <message>
        <source>&amp;Device</source>
        <translation>&amp;Gerät</translation>
    </message>
    <message>
        <source>&amp;Discard changes</source>
        <translation>Änderungen &amp;verwerfen</translation>
    </message>
    <message>
        <source>S&amp;top</source>
        <translation>An&amp;halten</translation>
    </message>
    <message>
        <source>last written at %1</source>
        <translation>zuletzt geschrieben um %1</translation>
    </message>
    <message>
        <source>last read at %1</source>
        <translation>zuletzt gelesen um %1</translation>
    </message>
    <message>
        <source>the device was not reached at %1: %2</source>
        <translation>das Gerät war um %1 nicht erreichbar: %2</translation>
    </message>
    <message>
        <source>Stale: read before the device was lost at %1; Read shows what it holds now.</source>
        <translation>Veraltet: gelesen, bevor das Gerät um %1 verloren ging; Lesen zeigt, was es jetzt hält.</translation>
    </message>
    <message>
        <source>Device lost since %1: %2. The form shows the last values read; polling goes on.</source>
        <translation>Gerät verloren seit %1: %2. Das Formular zeigt die zuletzt gelesenen Werte; die Abfrage läuft weiter.</translation>
    </message>
    <message numerus="yes">
        <source>Polling %n parameter(s) every %1 ms</source>
        <translation>
            <numerusform>Frage %n Parameter alle %1 ms ab</numerusform>
            <numerusform>Frage %n Parameter alle %1 ms ab</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Polling %n parameter(s) every %1 ms; last sweep at %2</source>
        <translation>
            <numerusform>Frage %n Parameter alle %1 ms ab; letzte Abfrage um %2</numerusform>
            <numerusform>Frage %n Parameter alle %1 ms ab; letzte Abfrage um %2</numerusform>
        </translation>
    </message>
    <message>
        <source>Idle</source>
        <translation>Bereit</translation>
    </message>
    <message>
        <source>Idle; %1</source>
        <translation>Bereit; %1</translation>
    </message>
    <message>
        <source>Stale: the last value read; the device is lost since %1.</source>
        <translation>Veraltet: der zuletzt gelesene Wert; das Gerät ist seit %1 verloren.</translation>
    </message>
    <message>
        <source>Reading...</source>
        <translation>Lesen...</translation>
    </message>
    <message>
        <source>Writing...</source>
        <translation>Schreiben...</translation>
    </message>
    <message>
        <source>&amp;Close and lose them</source>
        <translation>&amp;Schließen und verwerfen</translation>
    </message>
    <message>
        <source>&amp;Keep the window open</source>
        <translation>Fenster &amp;offen lassen</translation>
    </message>
</context>
</TS>
