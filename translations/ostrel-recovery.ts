<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1">
<context>
    <name>BootMenu</name>
    <message>
        <source>BOOT ORDER</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Boot First</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Boot Second</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>SWAP</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>CLOSE</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>CommandProcessor</name>
    <message>
        <source>Reset item &quot;%1&quot; names no slot; skipped.
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>
Command Finished.
</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FakeCommandProcessor</name>
    <message>
        <source>Export without carriage
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Prog 0%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Prog 100%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>
Export With carriage
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source><byte value="xd"/>Prog 100%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>
Multiple carriage in one string
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source><byte value="xd"/>     18,823,301 100%   88.20kB/s    0:03:28 (xfr#224, to-chk=0/233)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RebootCalled</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Install Software requested</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>HelpMessageRebootMenu</name>
    <message>
        <source>REBOOT INSTRUMENT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>CONTINUE TO RECOVERY MODE</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RECOVERY MODE</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>You may have entered this screen if a previous boot was interrupted.

 Click %1 to restart. Click %2 to proceed to Recovery Mode.

 If this screen persists after rebooting, please consult the User Guide for details.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>OstrelRecovery</name>
    <message>
        <source>Recovery Mode</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Installing Software
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>This might take some time
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Boot order set %1
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>B to A</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A to B</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>INSTALL SW TO SLOT %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Not Connected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Connected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Status : %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Label : %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Console</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Commands</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>INSTALL SW</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RESET...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>BOOT ORDER...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>REBOOT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Export</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>EXPORT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>CANCEL</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>USB Device</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>EJECT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>REFRESH</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Status</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>QGroupBox</name>
    <message>
        <source>Boot Version</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Model</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Options</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Serial</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>IP Address</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Gateway</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Subnet Mask</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recovery Version</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Boot First</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Boot Second</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Resetmenu</name>
    <message>
        <source>RESET</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RESET SELECTED</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>SlotWidget</name>
    <message>
        <source>Slot:	%1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Version:	%1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Count:	%1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>The hostname of the device in recovery mode to connect to</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
