#!/usr/bin/env python3
"""Writes the named seeds of the corpora: exchanges as they happen on the line, in the form that each harness reads.

Run it after changing it; the seeds are kept in the tree, so nobody else needs it. Inputs that a fuzzer found stand
beside them and are left alone.
"""
import pathlib
import struct

CORPUS = pathlib.Path(__file__).parent / "corpus"


def x25(data):
    crc = 0xFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = (crc >> 1) ^ (0x8408 if crc & 1 else 0)
    return crc ^ 0xFFFF


def crc(data):
    return struct.pack(">H", x25(data))


def header(command, length):
    start = struct.pack("<BBH", 0x0A, command, length)
    return start + crc(start)


def frame(command, payload=b""):
    return header(command, len(payload)) + (payload + crc(payload) if payload else b"")


ACK = frame(1)
HEARTBEAT = frame(9, struct.pack("<HHH", 8, 0, 0))


def nack(code):
    return frame(0, bytes([code]))


def write(target, name, content):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(content)


# --- framer: flags, cuts, line ---------------------------------------------------------------------------------------

def line(content, packets=6, cuts=b"", flags=0):
    return bytes([packets | flags, len(cuts)]) + cuts + content


def long_frame(length, flags=0, rest=b"", cuts=b""):
    return bytes([0x27 | flags]) + struct.pack("<HB", length, 40) + bytes([len(cuts)]) + cuts + rest


GOOD_PAYLOAD_CRC = 8
STOPPING = 16


def keep_back(packets):
    return packets << 6


def framer_seeds():
    exchange = HEARTBEAT + ACK + frame(15, bytes([25, 3, 31, 23, 59, 58, 0xE7, 3])) + nack(11)
    broken_header = bytearray(ACK)
    broken_header[5] ^= 0x40
    broken_payload = bytearray(HEARTBEAT)
    broken_payload[8] ^= 1
    short = header(40, 300) + bytes(range(40))
    return {
        "ack": line(ACK),
        "ack-byte-by-byte": line(ACK, cuts=b"\x01"),
        "heartbeat-one-packet": line(HEARTBEAT, packets=1),
        "heartbeat-no-packets": line(HEARTBEAT, packets=0),
        "exchange": line(exchange),
        "exchange-odd-pieces": line(exchange, cuts=bytes([5, 0, 1, 7, 2, 0, 13])),
        "exchange-kept-back": line(exchange * 2, packets=2, flags=keep_back(3)),
        "exchange-while-stopping": line(exchange, flags=STOPPING),
        "garbage-before": line(b"\x00\xff\x55garbage" + exchange),
        "start-bytes-in-payload": line(frame(35, b"\x0a" * 30) + ACK),
        "frame-inside-payload": line(frame(40, ACK + HEARTBEAT)),
        "start-byte-doubled": line(b"\x0a" + HEARTBEAT + ACK),
        "header-crc-wrong": line(bytes(broken_header)),
        "header-crc-wrong-then-good": line(bytes(broken_header) + ACK),
        "payload-crc-wrong": line(bytes(broken_payload)),
        "payload-crc-wrong-then-good": line(bytes(broken_payload) + HEARTBEAT),
        "cut-in-payload-then-good": line(short + HEARTBEAT),
        "header-crc-wrong-then-idle": line(bytes(broken_header) + b"\x00\x00\x0a"),
        "payload-crc-wrong-then-idle": line(bytes(broken_payload) + b"\xff"),
        "header-cut": line(ACK[:4]),
        "announces-65529": line(header(4, 65529) + ACK),
        "announces-65535": line(header(4, 65535)),
        "announces-65528-nothing-follows": line(header(4, 65528)),
        "kilobyte": line(frame(4, bytes(i * 7 & 0xFF for i in range(1024))), cuts=b"\xc8"),
        "longest-frame": long_frame(65528, GOOD_PAYLOAD_CRC, HEARTBEAT),
        "longest-frame-crc-wrong": long_frame(65528, 0, b"\x00\x00" + HEARTBEAT, cuts=b"\xff"),
        "too-long-frame-of-start-bytes": long_frame(65530, 0, HEARTBEAT),
    }


def framer():
    for name, content in framer_seeds().items():
        write("Framer", name, content)
        write("FramerTrustingCrc", name, content)
    # With every CRC taken for right.
    write("FramerTrustingCrc", "no-crc-needed", line(b"\x0a\x09\x06\x00??\x08\x00\x00\x00\x00\x00??"))
    write("FramerTrustingCrc", "zero-length-run", line(b"\x0a\x01\x00\x00??" * 8, packets=1))


# --- link: flags, events ---------------------------------------------------------------------------------------------

def delay(ms):
    return bytes([ms // 4])


def payload(content):
    return bytes([len(content)]) + content


def feed_raw(content, ms=0):
    return b"\x00" + delay(ms) + payload(content)


def feed(command, content=b"", ms=0):
    return b"\x01" + delay(ms) + bytes([command]) + payload(content)


def feed_long(command, length, ms=0):
    return b"\x01" + delay(ms) + bytes([command, 255]) + struct.pack("<H", length)


def feed_damaged(command, content, place, ms=0):
    return b"\x02" + delay(ms) + bytes([place, command]) + payload(content)


def answer(kind, rest=b"", ms=0):
    return b"\x03" + delay(ms) + bytes([kind]) + rest


def usual(kind, rest=b"", ms=0):
    return b"\x04" + delay(ms) + bytes([kind]) + rest


SILENT, PLAIN_ACK, ACK_WITH, NACK, TWICE, DAMAGED, HEARTBEAT_FIRST, OTHER, READY, NACK_THEN_ACK, RAW = range(11)


def poll(count):
    return bytes([5, count - 1])


def command(code, length=0, timeout=200, first=0):
    return bytes([6, code]) + struct.pack("<HHB", length, timeout, first)


def request(code, size=100):
    return bytes([7, code, size])


def bus(kind, fields):
    return bytes([8, kind]) + fields


def update(name, kind, size, seconds):
    return bytes([9, name, kind]) + struct.pack("<HB", size, seconds * 4 - 1)


def led(name, on):
    return bytes([10, name, on])


def threshold(amps):
    return b"\x0b" + struct.pack("<H", amps)


def stray_wait(code, timeout):
    return bytes([12, code]) + struct.pack("<H", timeout)


def passes(ms):
    return b"\x0d" + struct.pack("<H", ms)


def card(kind):
    return bytes([14, kind])


CHECK_IN = b"\x0f"
STOP = b"\x10"
BEAT = feed(9, struct.pack("<HHH", 8, 0, 0))


def first_heartbeat(version=b"531726R"):
    answers = [b"BOOT_1.2\0", version + b"\0", b"\x03"]
    commands = [b"", struct.pack("<f", 3.3), bytes([25, 3, 31, 23, 59, 58, 0xE7, 3])]
    script = b"".join(answer(ACK_WITH, payload(text), 10) for text in answers)
    script += answer(PLAIN_ACK) + b"".join(answer(ACK_WITH, payload(text), 4) for text in commands[1:])
    return script + BEAT + poll(2)


def text(content):
    return bytes([len(content)]) + content


def link():
    core = b"\x04"
    quiet = b"\x00"
    doubles = struct.pack("<d", 12.0)
    seeds = {
        "first-heartbeat": core + first_heartbeat(),
        "first-heartbeat-verbose": b"\x05" + first_heartbeat(),
        "first-heartbeat-other-version": core + first_heartbeat(b"531725Q"),
        "first-heartbeat-clock-refused": b"\x14" + first_heartbeat(),
        "first-heartbeat-silence": quiet + usual(SILENT) + BEAT + poll(1),
        "first-heartbeat-across-wrap": b"\x06" + first_heartbeat() + passes(700) + BEAT + poll(4),
        "heartbeats-reporting": b"\x08" + first_heartbeat() + BEAT + BEAT + poll(8) + CHECK_IN + CHECK_IN,
        "heartbeat-of-four-bytes": quiet + feed(9, b"\x08\x00\x00\x00") + poll(2),
        "heartbeat-other-versions": quiet + feed(9, struct.pack("<HHH", 5, 1, 9)) + poll(2),
        "every-unsolicited-command": quiet + b"".join(feed(code, b"\x01\x02") for code in range(52)) + poll(32),
        "unsolicited-without-payload": quiet + b"".join(feed(code) for code in (0, 1, 3, 11, 13, 15, 41)) + poll(16),
        "carrier-error": quiet + feed(35, b"Flash write failed\0tail") + feed(35) + poll(4),
        "carrier-error-log-turns-over": quiet + feed_long(35, 65000) + feed_long(35, 65000) + feed(35, b"x") + poll(32),
        "power-fail-and-reset": quiet + feed(12) + feed(38) + poll(4),
        "reset-shell-fails": b"\x20" + feed(38) + poll(2),
        "sd-card": quiet + card(1) + feed(43) + poll(2) + card(0) + feed(43) + poll(2) + card(2) + feed(43) + poll(2),
        "comms-test": quiet + feed(40, bytes(range(60))) + feed(40) + feed_long(40, 2500) + poll(8),
        "longest-frame-unsolicited": quiet + feed_long(40, 65528) + poll(2),
        "versions-asked": quiet + feed(44) + poll(2),
        "damaged-heartbeat": quiet + feed_damaged(9, struct.pack("<HHH", 8, 0, 0), 8) + poll(2) + BEAT + poll(2),
        "damaged-header": quiet + feed_damaged(9, b"", 5) + poll(2),
        "too-long-announced": quiet + feed_raw(header(4, 65529)) + poll(2),
        "noise": quiet + feed_raw(b"\x0a\x0a\x00\xff" * 12) + poll(3) + BEAT + poll(3),
        "command-acknowledged": quiet + command(29),
        "command-late-answer": quiet + usual(PLAIN_ACK, ms=300) + command(29) + stray_wait(29, 200) + command(30),
        "command-nacks": quiet + b"".join(usual(NACK, bytes([code])) + command(10, 1) for code in range(17)),
        "command-nacks-at-once": quiet + usual(NACK, b"\x00") + command(10, 1, 20),
        "command-collision": quiet + answer(OTHER, b"\x28" + payload(b"hi")) + command(29),
        "command-acked-twice": quiet + usual(TWICE) + command(29) + command(30) + poll(2),
        "command-damaged-ack": quiet + answer(DAMAGED, b"\x07") + command(29),
        "command-heartbeat-in-wait": quiet + usual(HEARTBEAT_FIRST, ms=20) + command(29) + led(2, 1),
        "command-2500-bytes": quiet + command(49, 2500, 200, 7),
        "command-2500-bytes-lossy": quiet + answer(PLAIN_ACK) + answer(SILENT) + command(49, 2500, 100, 7),
        "file-packet-busy": quiet + answer(NACK_THEN_ACK, b"\x10", 20) + command(4, 100, 5100),
        "file-packet-busy-to-the-end": quiet + usual(NACK, b"\x10", 20) + command(4, 100, 300),
        "file-packet-corrupt": quiet + usual(NACK, b"\x0e") + command(4, 3000, 300),
        "acks-of-every-size": quiet + command(1) + command(1, 1) + command(0, 1) + command(1, 1025),
        "request-answered": quiet + answer(ACK_WITH, payload(b"BOOT_1.2\0"), 10) + request(7),
        "request-answer-too-long": quiet + usual(ACK_WITH, payload(bytes(60))) + request(8, 59) + request(8, 60),
        "request-without-buffer": quiet + usual(ACK_WITH, payload(b"x")) + request(50, 0) + usual(PLAIN_ACK) + request(50),
        "request-refused": quiet + usual(NACK, b"\x00") + request(7),
        "leds": quiet + b"".join(led(name, on) for name in range(6) for on in (1, 1, 0)),
        "leds-unanswered": quiet + usual(SILENT) + led(0, 1) + led(0, 1) + usual(PLAIN_ACK) + led(0, 1),
        "led-status-from-the-bus": quiet + bus(0, b"\1\0\1\1\1\1\0") + BEAT + poll(8) + bus(0, b"\0\1\0\0\0\0\0")
        + bus(0, b"\1\1\1\1\1\1\1"),
        "led-settings": quiet + bus(1, b"".join(struct.pack("<i", i * 100) for i in range(9))) + first_heartbeat()
        + bus(1, b"".join(struct.pack("<i", i) for i in range(9))),
        "tessimor-settings": quiet + bus(2, b"\1" + struct.pack("<i", 2) + b"\1\0" + struct.pack("<iiii", 1, 5, 7, 300)
                                         + b"\x00" + doubles),
        "firmware-end": quiet + bus(3, b"\1") + bus(3, b"\0"),
        "admin-access": quiet + bus(4, b"\xf0\1\0") + bus(4, b"\xf1\1\1") + bus(4, b"\xf4\0\0") + bus(4, text(b"x") + b"\1\1"),
        "incoming-commands": quiet + bus(5, b"\1" + struct.pack("<i", 3) + b"\x00" + doubles) + BEAT + poll(2),
        "time-sync": quiet + bus(6, (63_900_000_000).to_bytes(5, "little") + b"\x05\x00\1") + bus(6, bytes(8)),
        "queries-and-health": quiet + bus(7, b"") + bus(8, b"") + bus(10, text(b"T") + struct.pack("<I", 0x1000)) + BEAT
        + poll(2) + CHECK_IN,
        "power-down": quiet + bus(9, b"\1" + text(b"UI") + text(b"user")) + command(29),
        "weld": quiet + bus(11, struct.pack("<i", 1) + struct.pack("<q", 1_750_000_000) + b"\1\1\1\1")
        + bus(12, struct.pack("<i", 1) + (b"\x00" + doubles) * 3) + bus(13, struct.pack("<i", 1) + b"\1\1\1\1"),
        "thresholds": quiet + b"".join(threshold(amps) for amps in (0, 1, 8, 10, 2000, 65535, 0)),
        "stop-in-a-command": quiet + usual(SILENT) + STOP + command(4, 2000, 5100) + STOP + request(7),
        "stop-in-a-heartbeat": quiet + usual(SILENT) + BEAT + STOP + poll(2),
        "update-application": quiet + usual(READY) + update(4, 0, 2500, 15),
        "update-application-verbose": b"\x01" + usual(READY) + update(3, 4, 2500, 15),
        "update-boot-loader": quiet + usual(READY) + update(2, 0, 1024, 15) + update(0, 0, 1, 15),
        "update-unknown-name": quiet + usual(READY) + update(5, 0, 10, 10) + update(6, 0, 10, 10),
        "update-never-ready": quiet + update(3, 0, 10, 10),
        "update-refused": quiet + answer(PLAIN_ACK) + usual(NACK, b"\x06") + update(3, 0, 10, 10),
        "update-busy-each-time": quiet + answer(PLAIN_ACK) + answer(PLAIN_ACK) + usual(NACK, b"\x10") + update(3, 0, 10, 15),
        "update-crc-failure": quiet + answer(READY) * 3 + usual(NACK, b"\x0e") + update(3, 0, 10, 15),
        "update-silent-carrier": quiet + usual(SILENT) + update(3, 0, 10, 8),
        "update-start-unanswered": quiet + answer(PLAIN_ACK) + usual(SILENT) + update(3, 0, 10, 2),
        "update-missing-file": quiet + update(3, 5, 10, 8) + update(3, 0, 10, 8),
        "update-short-file": quiet + update(3, 12, 10, 8),
        "update-empty-file": quiet + update(3, 0, 0, 8),
        "update-of-a-folder": quiet + update(3, 2, 10, 8),
    }
    for name, content in seeds.items():
        write("Link", name, content)


# --- texts -----------------------------------------------------------------------------------------------------------

BUS_OBJECTS = [
    ("hal-info", b'{"serialNumber":"S-1","machineType":"Kestrum","revisionNumber":3}'),
    ("request", b"{}"),
    ("hal-status", b'{"ready":true}'),
    ("process-ready", b'{"index":512}'),
    ("system-health", b'{"processName":"HAL","code":560}'),
    ("power-down-status", b'{"isPoweringDown":true,"nameOfCaller":"UI","reasonForPowerdown":"user"}'),
    ("carrier-file", b'{"fileSize":70000,"fileName":"VeltrixApp.hex","fileFullPath":"/var/VeltrixApp.hex"}'),
    ("firmware-update-end", b'{"wasUpdateSuccessful":false}'),
    ("carrier-info", b'{"appVersion":"531726R","HALVersion":8}'),
    ("error-log", b'{"code":"SWMismatch_System","message":"x","timestamp":"2027-01-31T23:59:59.999Z"}'),
    ("system-led-status", b'{"ethernetIsUp":true,"wifiIsUp":false,"operatorIsUp":true,"internetIsUp":true,'
                          b'"internetQueried":false,"isAccessingUSB":false,"doNotSendToCarrier":false}'),
    ("led-settings", b'{"cloudGreenLed":1,"cloudYellowLed":-2,"wifiGreenLed":3,"wifiYellowLed":4,"ethernetGreenLed":5,'
                     b'"ethernetYellowLed":6,"usbGreenLed":7,"opIDGreenLed":8,"opIDYellowLed":2147483647}'),
    ("tessimor-settings", b'{"is10KHzRawData":true,"currentSensorType":2,"useWireFeedSensor":true,"useGasSensor":false,'
                          b'"gasType":1,"preWeldDataTenthSeconds":5,"postWeldDataTenthSeconds":7,'
                          b'"weldEndRequirementMSecs":300,"weldStartCurrentThresholdAmps":12.5}'),
    ("admin-access", b'{"expiryDate":"2027-01-31T23:59:59.999Z","enableConsole":true,"enableShell":false}'),
    ("incoming-commands", b'{"currentSensorTypeReceived":true,"currentSensorType":3,"arcStartThreshold":1e1}'),
    ("time-sync", b'{"serverTimestamp":"2026-02-28T00:00:00+02:00","receivedTimeFromCloud":true}'),
    ("device-settings", b'{"batteryVoltage":3.3,"timestamp":"1970-01-01T00:00:00Z"}'),
    ("weld-trigger-start", b'{"tag":1,"timestamp":9007199254740992,"gas":"Ar\\u00e9\\ud83d\\udd25"}'),
    ("weld-trace-data", b'{"sequence":7,"data":{"amps":180.25,"volts":-0.0,"wfs":1.7976931348623157e308}}'),
    ("weld-trigger-end", b'{"tag":1,"metrics":{"ArcDuration":{"unit":"s","value":4.9e-324},"AverageWFS":{"unit":"IPM",'
                         b'"value":300}}}'),
]

BAD_JSON = {
    "empty": b"",
    "no-json": b"ready",
    "list": b'[{"ready":true}]',
    "wrong-type": b'{"ready":1}',
    "null": b'{"ready":null}',
    "twice": b'{"ready":true,"ready":false}',
    "unknown-field": b'{"x":[1,{"y":[]}],"ready":true}',
    "text-behind": b'{"ready":true} x',
    "blanks-around": b' \r\n\t{ "ready" : true } \n',
    "bad-utf8": b'{"re\xffady":"\xc0\x80"}',
    "lone-surrogate": b'{"a":"\\ud800","ready":true}',
    "deep": b'{"ready":' + b"[" * 200 + b"]" * 200 + b"}",
    "cut": b'{"ready":tr',
}


def data_types():
    for index, (name, content) in enumerate(BUS_OBJECTS):
        write("DataTypes", name, bytes([index]) + content)
        write("DataTypes", "written-" + name, bytes([0x80 + index]) + bytes(i * 37 + 5 & 0xFF for i in range(60)))
    for name, content in BAD_JSON.items():
        write("DataTypes", "bad-" + name, b"\x02" + content)
    numbers = ["5.0", "5.5", "4294967295", "4294967296", "-1", "1e400", "-0", "0.1e1", "12345678901234567890", "01", "+1"]
    for number in numbers:
        write("DataTypes", "index-" + number, b'\x03{"index":' + number.encode() + b"}")


def settings(content, other=b"", operations=b""):
    return content + b"\xff" + other + b"\xff" + operations


def configuration():
    typical = b'{"Core":1,"Debug":"enable","a":true,"b":[1,{"x":null}],"c":2.5}'
    every = b"".join(bytes([op, key, 3, 97, 98, 99]) for op in range(13) for key in range(6))
    seeds = {
        "typical": settings(typical, operations=every[:200]),
        "missing-file": settings(b"-", operations=bytes([2, 0, 1, 4, 0, 5, 0])),
        "empty-file": settings(b"", operations=bytes([0, 0, 1, 120, 4, 0])),
        "cut-file": settings(typical[:-3], operations=bytes([4, 0])),
        "list": settings(b"[1,2]", operations=bytes([0, 2, 1, 120, 4, 0])),
        "single-value": settings(b"5", operations=bytes([0, 2, 1, 120, 4, 0])),
        "text-over-number": settings(b'{"a":1}', operations=bytes([0, 2, 1, 120, 0, 2, 1, 120, 1, 2, 3, 4, 0])),
        "key-twice": settings(b'{"a":"1","a":"2","A":"3"}', operations=bytes([0, 2, 1, 50, 3, 2, 4, 0])),
        "merge": settings(typical, b'{"a":"","b":"v","c":3,"d":[]}', bytes([6, 0, 4, 0, 5, 0])),
        "merge-list": settings(typical, b'[1,"x"]', bytes([6, 0])),
        "merge-unreadable": settings(typical, b"{", bytes([6, 0, 4, 0])),
        "numbers": settings(b"{}", operations=b"".join(bytes([1, 2, kind, 4, 0]) for kind in range(8))),
        "number-of-bits": settings(b"{}", operations=bytes([1, 2, 0x80]) + struct.pack("<d", 0.1 + 0.2) + bytes([4, 0])),
        "number-too-large": settings(b'{"a":1e999}', operations=bytes([4, 0, 5, 0])),
        "escapes": settings(b'{"a":"\\u0000x\\ud83d\\udd25\\/\\b","k\\u0041":""}', operations=bytes([4, 0, 5, 0])),
        "enabled": settings(b'{"Core":"TRUE","Debug":"Enable","a":"on","b":2,"c":0}', operations=every),
        "enabled-as-read": settings(b'{"Core":"TRUE","Debug":"Enable","a":"on","b":2,"c":0}', operations=bytes(
            value for key in range(6) for value in (7, key))),
        "free-key": settings(b"{}", operations=bytes([0, 0x80]) + b"key\0\x03abc" + bytes([4, 0])),
    }
    for name, content in seeds.items():
        write("Configuration", name, content)


def identity():
    good = BUS_OBJECTS[0][1]
    seeds = {
        "good": good,
        "with-newlines": good.replace(b",", b",\n    ") + b"\n",
        "no-serial": b'{"machineType":"Kestrum","revisionNumber":3}',
        "revision-as-text": good.replace(b"3}", b'"3"}'),
        "revision-too-large": good.replace(b"3}", b"4294967296}"),
        "empty": b"",
        "cut": good[:-5],
        "byte-ff-behind": good + b"\xffrest",
        "byte-ff-inside": good[:20] + b"\xff" + good[20:],
        "byte-order-mark": b"\xef\xbb\xbf" + good,
    }
    for name, content in seeds.items():
        write("Identity", name, content)


def stored_config():
    files = {
        "as-written": b'{\n\t"ArcStartAmps":\t10\n}',
        "zero": b'{"ArcStartAmps":0}',
        "largest": b'{"ArcStartAmps":65535}',
        "too-large": b'{"ArcStartAmps":65536}',
        "negative": b'{"ArcStartAmps":-1}',
        "fraction": b'{"ArcStartAmps":10.5}',
        "exponent": b'{"ArcStartAmps":1e3}',
        "text": b'{"ArcStartAmps":"10"}',
        "other-case": b'{"arcstartamps":10}',
        "twice": b'{"ArcStartAmps":11,"ArcStartAmps":12}',
        "empty": b"",
        "cut": b'{"ArcStartAmps":1',
        "list": b"[10]",
        "infinite": b'{"ArcStartAmps":1e999}',
    }
    amps = [0, 1, 7, 8, 9, 10, 11, 255, 256, 2000, 32768, 65534, 65535, 5]
    for new, (name, content) in zip(amps, files.items(), strict=True):
        write("StoredConfig", name, struct.pack("<H", new) + content)


def date_time():
    texts = {
        "milliseconds": "2027-01-31T23:59:59.999Z", "seconds": "1970-01-01T00:00:00Z", "ahead": "2026-02-28T00:00:00+02:00",
        "behind": "2026-02-28T00:00:00.5-23:59", "leap-day": "2024-02-29T12:00:00Z", "no-leap-day": "2023-02-29T12:00:00Z",
        "century": "1900-02-29T00:00:00Z", "four-centuries": "2000-02-29T00:00:00Z", "month-13": "2026-13-01T00:00:00Z",
        "hour-24": "2026-01-01T24:00:00Z", "leap-second": "2016-12-31T23:59:60Z", "first": "0000-01-01T00:00:00.000Z",
        "before-first": "0000-01-01T00:00:00+00:01", "last": "9999-12-31T23:59:59.999Z",
        "after-last": "9999-12-31T23:59:59-00:01", "no-zone": "2026-01-01T00:00:00", "behind-it": "2026-01-01T00:00:00Z ",
        "blank": "2026-01-01 00:00:00Z", "two-digits": "2026-01-01T00:00:00.12Z", "empty": "",
    }
    for name, content in texts.items():
        write("DateTime", name, content.encode())


def ifconfig():
    block = (b"eth0      Link encap:Ethernet  HWaddr 00:11:22:33:44:55  \n"
             b"          inet addr:192.168.1.20  Bcast:192.168.1.255  Mask:255.255.255.0\n")
    seeds = {
        "eth0": b"eth0\xff" + block,
        "three": b"wlan0\xff" + block + block.replace(b"eth0", b"eth1") + b"\n" + block.replace(b"eth0", b"wlan0"),
        "no-address": b"eth0\xff" + block.splitlines()[0] + b"\n          UP BROADCAST\n",
        "last-line": b"eth0\xff" + block.splitlines()[0],
        "interface-on-second-line": b"eth0\xff" + b"eth1 HWaddr 1\neth0 inet addr:1 Mask:2\n",
        "labels-at-the-end": b"eth0\xffHWaddr inet addr: Mask:",
        "prefix-24": b"eth0\xff24\n",
        "prefix-33": b"eth0\xff33",
        "prefix-negative": b"eth0\xff-1",
        "prefix-huge": b"eth0\xff99999999999999999999",
        "dhcp": b"eth0\xffdhcp\n",
        "up": b"eth0\xffUP\n",
        "name-for-the-shell": b"eth0;reboot\xffx",
        "name-of-16": b"abcdefghijklmnop\xffx",
        "name-empty": b"\xffx",
        "name-dots": b"..\xffx",
        "yocto": b"eth0\xffDistro: Yocto kirkstone-rc1-4.0.5-r0\nOther\n",
        "yocto-without-revision": b"eth0\xffYocto 4.0\n",
        "yocto-revision-only": b"eth0\xff-r Yocto",
    }
    for name, content in seeds.items():
        write("IfconfigParsers", name, content)


if __name__ == "__main__":
    for make in (framer, link, data_types, configuration, identity, stored_config, date_time, ifconfig):
        make()
