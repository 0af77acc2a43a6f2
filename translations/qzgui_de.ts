<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>QObject</name>
    <message>
        <source>Copy selected</source>
        <translation>Auswahl kopieren</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>no error</source>
        <translation>kein Fehler</translation>
    </message>
    <message>
        <source>please check com port and device address</source>
        <translation>bitte COM-Port und Geräteadresse prüfen</translation>
    </message>
    <message>
        <source>media not open</source>
        <translation>Medium nicht geöffnet</translation>
    </message>
    <message>
        <source>error while opening media</source>
        <translation>Fehler beim Öffnen des Mediums</translation>
    </message>
    <message>
        <source>error while reading data</source>
        <translation>Fehler beim Lesen der Daten</translation>
    </message>
    <message>
        <source>error while writing data</source>
        <translation>Fehler beim Schreiben der Daten</translation>
    </message>
    <message>
        <source>stopped</source>
        <translation>angehalten</translation>
    </message>
    <message>
        <source>general error</source>
        <translation>allgemeiner Fehler</translation>
    </message>
    <message>
        <source>command response error</source>
        <translation>Fehler in der Befehlsantwort</translation>
    </message>
    <message>
        <source>invalid result value in response</source>
        <translation>ungültiger Ergebniswert in der Antwort</translation>
    </message>
    <message>
        <source>parameter error</source>
        <translation>Parameterfehler</translation>
    </message>
    <message>
        <source>CRC error</source>
        <translation>CRC-Fehler</translation>
    </message>
    <message>
        <source>PIPE error</source>
        <translation>PIPE-Fehler</translation>
    </message>
    <message>
        <source>AX25 error</source>
        <translation>AX25-Fehler</translation>
    </message>
    <message>
        <source>another command is in progress</source>
        <translation>ein anderer Befehl wird gerade ausgeführt</translation>
    </message>
    <message>
        <source>READ</source>
        <translation>LESEN</translation>
    </message>
    <message>
        <source>WRITE</source>
        <translation>SCHREIBEN</translation>
    </message>
    <message>
        <source>RESET</source>
        <translation>ZURÜCKSETZEN</translation>
    </message>
    <message>
        <source>FLASH</source>
        <translation>FLASHEN</translation>
    </message>
    <message>
        <source>UPLOAD</source>
        <translation>HOCHLADEN</translation>
    </message>
    <message>
        <source>DOWNLOAD</source>
        <translation>HERUNTERLADEN</translation>
    </message>
    <message>
        <source>ERASE</source>
        <translation>LÖSCHEN</translation>
    </message>
    <message>
        <source>DIR</source>
        <translation>VERZEICHNIS</translation>
    </message>
    <message>
        <source>begin of %1 operation</source>
        <translation>Beginn des Vorgangs %1</translation>
    </message>
    <message>
        <source>end of %1 operation</source>
        <translation>Ende des Vorgangs %1</translation>
    </message>
    <message>
        <source>error while performing %1 operation</source>
        <translation>Fehler beim Ausführen des Vorgangs %1</translation>
    </message>
</context>
</TS>
