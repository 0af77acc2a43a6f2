<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1">
<context>
    <name>QObject</name>
    <message>
        <source>Copy selected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Clear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>please check com port and device address</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>media not open</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>error while opening media</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>error while reading data</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>error while writing data</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>stopped</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>general error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>command response error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>invalid result value in response</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>parameter error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>CRC error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>PIPE error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>AX25 error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>another command is in progress</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>READ</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>WRITE</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RESET</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>FLASH</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UPLOAD</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>DOWNLOAD</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ERASE</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>DIR</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>begin of %1 operation</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>end of %1 operation</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>error while performing %1 operation</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
