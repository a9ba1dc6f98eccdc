<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.0" language="it_IT">
<context>
    <name>STKPlugin</name>
    <message>
        <source>IDS_STK_BTN_BACK</source>
        <translation>Indietro</translation>
    </message>
    <message>
        <source>IDS_STK_BTN_SELECT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>IDS_ONLY_HERE</source>
        <translation>Solo qui</translation>
    </message>
</context>
<context>
    <name>XFramePlugin</name>
    <message>
        <source>IDS_YES</source>
        <translation>Sì</translation>
    </message>
</context>
</TS>
