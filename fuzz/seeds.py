#!/usr/bin/env python3
"""Makes what the fuzz targets begin with: seeds.py DIRECTORY toolkit.json PROFILE...

One folder for each target, and profile.dict with the words of profiles."""

import json
import pathlib
import re
import sys


def block(data):
    return bytes([len(data)]) + data


def answer(data=b"", status=b"\x90\x00"):
    return block(data) + status


def announced(command):
    return answer(status=bytes([0x91, len(command) & 0xFF]))


def brought(command):
    """Answers to what comes before FETCH, and to FETCH; a longer command comes in two parts."""
    head, rest = command[:200], command[200:]
    if not rest:
        return announced(command) + answer(command)
    return announced(command) + answer(head, bytes([0x61, len(rest)])) + answer(rest)


MENU = bytes.fromhex("D017 8103012500 82028182 850441424344 8F020141 8F020242")
YES = bytes([1] * 8)


def sessions(command):
    """At the start, after a choice from the main menu, and with a user who enters digits."""
    end = answer()
    yield block(YES) + block(b"") + b"\x00" + brought(command) + end
    yield block(YES) + block(b"\x01\x00") + b"\x00" + brought(MENU) + end + brought(command) + end
    yield block(b"\x04\x00\x31\x00\x32\x01" * 4) + block(b"") + b"\x00" + brought(command) + brought(MENU) + end


def raw(apdu):
    return b"\x00" + block(apdu)


START, FETCH = b"\x05", b"\x01"


def respond(result=0, item=0, text=b""):
    return b"\x02" + bytes([result, item, len(text)]) + text


def card_inputs(items, commands):
    for item in items:
        session = START + FETCH + respond() + (FETCH + respond()) * 6 + b"\x03" + bytes([item])
        yield session + (FETCH + respond(item=1, text=b"1234")) * 8
        yield session + (FETCH + respond(item=2)) * 4 + FETCH + respond(result=0x11)
    for command in [each for each in commands if len(each) < 0x100][::4]:
        yield START + FETCH + respond() + b"\x04" + block(command) + FETCH + FETCH + respond()
    yield raw(bytes.fromhex("801000000101")) + raw(bytes.fromhex("8012000020")) + raw(bytes.fromhex("80F2000C00"))


def texts(vectors):
    """The values of the text objects in the commands: a text string with its coding, or an alpha identifier."""
    for command in vectors:
        place = 3 if command[1] == 0x81 else 2
        while place + 2 <= len(command) and command[place + 1] < 0x80:
            size = command[place + 1]
            value = command[place + 2:place + 2 + size]
            yield value
            if command[place] & 0x7F in (0x0A, 0x0D, 0x0F, 0x17):
                yield value[1:]
            place += 2 + size


def profile_inputs(profiles):
    """The profiles themselves, and one for each item of their main menus."""
    for whole in profiles:
        yield whole
        for item in re.split(rb"\n(?=    - )", whole)[1:]:
            yield b"name: One item\nmenu:\n  title: One item\n  items:\n" + item + b"\n"


def write(directory, inputs):
    directory.mkdir(parents=True, exist_ok=True)
    for number, data in enumerate(sorted(set(inputs))):
        (directory / f"{number:04}").write_bytes(data)


def main():
    out = pathlib.Path(sys.argv[1])
    table = json.loads(pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))
    profiles = [pathlib.Path(name).read_bytes() for name in sys.argv[3:]]
    commands = [bytes.fromhex(row["pdu_hex"]) for row in table["proactive"]]
    commands += [bytes.fromhex(row["request_hex"]) for row in table["sessions"]]
    responses = [bytes.fromhex(row["response_hex"]) for row in table["sessions"]]
    selections = [bytes.fromhex("D30782020181900112"), bytes.fromhex("D309820201819001021500")]
    write(out / "command", commands + responses + selections)
    write(out / "text", texts(commands))
    write(out / "profile", profile_inputs(profiles))
    write(out / "card", card_inputs(range(1, 32), commands))
    write(out / "session", [each for command in commands for each in sessions(command)])
    words = sorted({word for whole in profiles for word in re.findall(rb"\b[a-z][a-z0-9-]*:?", whole)})
    (out / "profile.dict").write_bytes(b"".join(b'"' + word + b'"\n' for word in words))


main()
