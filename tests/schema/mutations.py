"""Lines that differ from a valid one in one place, and must not be valid any more."""

_EVENTS = {
    '{"type":"ready","proto":1}': [('"proto":1', '"proto":"1"'), ('"proto":1', '"proto":2'), (',"proto":1', ""), ("ready", "Ready")],
    '{"type":"progress","fraction":0.2500}': [("0.2500", '"0.25"'), ("0.2500", "null"), ("0.2500", "NaN"), ("fraction", "percent")],
    '{"type":"state","state":"running"}': [("running", "paused"), ("running", "stopped"), ("running", "")],
    '{"type":"state","state":"stopped","crashed":false,"reason":"x"}': [
        ("false", '"false"'), ("false", "0"), (',"crashed":false', ""), (',"reason":"x"', ""), ('"x"', "null"),
        ("stopped", "starting"), ('"x"', '"x","code":1'), ('"x"', '"x","reason":"y"')],
    '{"type":"guest-power","state":"paused"}': [("paused", "running"), ("paused", "stopped"), ("guest-power", "power")],
    '{"type":"input-done","input":"text"}': [("text", "window"), ('"text"', "[]"), (',"input":"text"', "")],
    '{"type":"window-action","action":"later"}': [("later", "closed"), ("action\":\"later", "state\":\"later")],
    '{"type":"created","bundle":"\\/v"}': [('"\\/v"', '"v"'), ('"\\/v"', '""'), ("bundle", "path"), ("created", "cloned")],
    '{"type":"cloned","from":"\\/a","to":"\\/b","macAddress":"06:97:20:ff:46:ff","machineIdentifier":"kept"}': [
        ("kept", "new"), ("06:97", "6:97"), ("06:97", "06-97"), ("ff\"", "FF\""), ("ff\"", "ff\\n\""), ("06:", "04:"), ('"to":"\\/b",', ""), ('"\\/b"', "null")],
    '{"type":"error","code":"boot-failed","message":"x"}': [
        ("boot-failed", "boot_failed"), ("boot-failed", "failed"), ('"x"', "1"), (',"message":"x"', ""), ('"x"}', '"x"')],
    '{"type":"window-size","content":{"x":74,"y":20,"width":1291,"height":806},"frame":{"x":74,"y":20,"width":1291,"height":834}}': [
        ("74", "74.5"), (',"height":806', ""), ("width", "w")],
}
_COMMANDS = {
    '{"type":"stop"}': [("stop", "STOP"), ("}", ',"force":true}'), ('{"type":"stop"}', '["stop"]')],
    '{"type":"text","text":"ls\\n","delayMs":60}': [
        ("60", "19"), ("60", "1001"), ("60", "50.5"), ("60", '"60"'), ("ls\\n", ""), ("ls\\n", "\\u00e9"), ("ls\\n", "x\\r\\n")],
    '{"type":"key","key":"cmd+shift+t"}': [("cmd", "command"), ("+t", ""), ("+t", "+Return"), ("+t", "+t\\n"), ("cmd+shift+t", "up\\n"), ("cmd+", "+"), ('"cmd+shift+t"', "[]")],
    '{"type":"window","show":true,"title":"a"}': [("true", '"yes"'), ('"a"', "1"), ('"show":true,', "")],
}
_STATUS = {
    '{"auxiliaryStorage":true,"bundle":"\\/v","cpuCount":4,"disk":true,"diskBytes":1,"diskGb":80,"exists":true,"guestConfig":false,"hardwareModel":true,"macAddress":"m","machineIdentifier":true,"memoryBytes":4294967296,"supported":true,"type":"status"}': [
        ('"cpuCount":4,', ""), ('"diskGb":80,', ""), ("4294967296", "-1"), ('"exists":true,', ""), ('"exists":true', '"exists":1'),
        ("4294967296", "4.5"), ('"type":"status"', '"type":"state"')],
}
_VM = {
    '{"cpuCount":4,"diskGb":80,"macAddress":"06:97:20:ff:46:ff","memoryBytes":4294967296}': [
        ("4294967296", '"8 GB"'), ('"diskGb":80,', ""), ("cpuCount", "CpuCount"), (":4,", ":4.5,"), ("06:97", "97"), ("06:", "07:"), ("ff\"", "ff\\n\"")],
}
_SCENARIO = {
    '{"machine":{"startMs":5},"script":[{"atMs":1,"event":"guest-stops"}]}': [
        ("startMs", "startMS"), (":5", ":-1"), (":5", ':"5"'), ("guest-stops", "guest-crashes"), ('"atMs":1,', ""), ("stops\"", 'stops","error":{}')],
    '{"host":{"processorCount":9223372036854775807},"restoreImage":{"error":{"code":-9223372036854775808}}}': [
        ("9223372036854775807", "9223372036854775808"), ("-9223372036854775808", "-9223372036854775809"),
        ("9223372036854775807", "-1")],
}
_TRACE = {
    '{"ms":0.812,"call":"machine.start"}': [("machine.start", "machine.begin"), ('"ms":0.812,', ""), ("0.812", "-1"), ("}", ',"path":"x"}')],
}

LINES = [
    (name, original, original.replace(old, new, 1))
    for name, table in (("event", _EVENTS), ("command", _COMMANDS), ("status", _STATUS), ("vm", _VM),
                        ("scenario", _SCENARIO), ("trace", _TRACE))
    for original, changes in table.items()
    for old, new in changes
]
