"""The service as a stub. Compares how it reads lines, and what it writes, with what Python's JSON
parser and writer, its UTF-8 decoder and its tables of Unicode make of the same lines."""

import contextlib
import itertools
import json
import os
import re
import select
import subprocess
import sys
import time
import tty
import unicodedata

from host import FORMAT, MISSING, converse, launched

[service] = sys.argv[1:]
MADE_UP = re.compile(rb'([0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12})'
                     rb'(","rawRef.*")(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)(?="}}}}\n$)')
TIME = "%Y-%m-%dT%H:%M:%SZ"
STOP = '{"stopListening":{"_0":{"platform":"whatsapp"}}}'
SYNTAX = "\"'\\/{}[],:+-.01eEtnuU \t\v\f\r\x1f\0\x7f\u00a0\u00e9\ufeff"
BORDERS = b"A\x7f\x80\x8f\x90\x9f\xa0\xbf\xc0\xc1\xc2\xdf\xe0\xe1\xed\xef\xf0\xf1\xf4\xf5\xff"


def written(message):
    """As the service writes it."""
    text = json.dumps(message, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
    return text.replace("/", "\\/").encode() + b"\n"


def request(name, platform="whatsapp", **fields):
    return written({name: {"_0": {"platform": platform, **fields}}})[:-1]


def listen(kind, **fields):
    return request("startListening", scope={kind: fields})


def send(text):
    return request("sendMessage", message={"attachments": [], "conversationId": "c",
                                           "replyToMessageId": "r", "text": text})


def state(name, **fields):
    return written({"stateChanged": {"_0": {"state": {name: fields}}}})


def error(message):
    return [written({"error": {"_0": {"message": message}}})]


def unavailable(title):
    return error("Managed bridge service is running, but real WhatsApp capture for "
                 f"'{title}' is not implemented yet.")


def received(conversation, text, **fields):
    """A message from another, with placeholders for its identifier and time."""
    return [written({"inboundEvent": {"_0": {"event": {
        "conversationId": conversation, "messageId": "ID", "text": text, "timestampISO8601": "TIME",
        "senderDisplayName": "Ferncrest Managed Bridge", **fields}}}})]


def echoed(text):
    return received("c", "echo: " + text, conversationTitle="Managed Bridge Echo",
                    isDirectMessage=False, rawReference="managed-bridge-echo",
                    senderId="managed-bridge-echo")


def is_json(text):
    try:
        # Fails for NaN, and for a lone surrogate.
        return json.dumps(json.loads(text, parse_constant=int), ensure_ascii=False).encode() != b""
    except ValueError:
        return False


def edited(text):
    """The texts in which one character is left out, put in or replaced, but not at the ends."""
    for place in range(1, len(text) - 1):
        yield text[:place] + text[place + 1:]
        for character in SYNTAX:
            yield text[:place] + character + text[place:]
            yield text[:place] + character + text[place + 1:]


def verdicts(texts):
    return [(text.encode(), [] if is_json(text) else error(FORMAT)) for text in texts]


def expect(rows, *launch):
    """Expects these events for each line; messages with an identifier of their own and the time."""
    start = time.strftime(TIME, time.gmtime())
    wanted = [(line, event) for line, events in rows for event in events]
    made_up = []
    output = converse([line for line, _ in rows], *launch)
    for (line, event), found in zip(wanted, output[2:]):
        made_up += MADE_UP.findall(found)
        plain = MADE_UP.sub(rb"ID\2TIME", found)
        assert plain == event, f"{line[:300]} is answered by {found} instead of {event}"
    assert len(output) == 2 + len(wanted), output[2 + len(wanted):]
    assert len({identifier for identifier, _, _ in made_up}) == len(made_up)
    end = time.strftime(TIME, time.gmtime())
    assert all(start <= moment.decode() <= end for _, _, moment in made_up), (start, end)


ACCOUNT = "Ferncrest Managed Bridge (stub)"
CONNECTED = [state("connecting"), state("connected", accountDisplayName=ACCOUNT)]
hello = written({"hello": {"_0": {"bridgeVersion": "managed-process-3", "platform": "whatsapp"}}})
greeting = [hello, state("disconnected")]
assert converse([], service) == greeting

rows = [(request("connect"), CONNECTED), (b" \t" + request("connect") + b"\r", CONNECTED),
        (request("disconnect"), [state("disconnected")]), (request("connect", "WhatsApp"), []),
        (b"", []), (b" \t\r\xe2\x80\xa8", []), (hello, []), (error("x")[0], []),
        (listen("conversation", id="i", title=" 'b'\n"), unavailable(" 'b'\n")),
        (listen("channel", id="", title="/"), unavailable("/")),
        (listen("thread", id="i", title=""), unavailable("")),
        (listen("thread", id="i"), unavailable("Thread")),
        (listen("testOnly", title=" Smoke "), received(
            "managed-test-conversation", "/fern help", conversationTitle=" Smoke ",
            isDirectMessage=True, rawReference="managed-bridge-self-test", senderId="managed-bridge")),
        (b'{"hello":{}}', error(MISSING)), (b"null", error(MISSING))]

# White space, and no other character, is taken off both ends.
ends = [chr(code).encode() for code in {*range(0x3002), 0xfeff} - {ord("\n")}]
ends += [b"\x85", b"\xa0", b"\xc2", b"\xe2\x80", b"\xc0\xa0", b"\xe0\x82\x85", b"\xf0\x9f\x98"]
for end in ends:
    is_white = all(unicodedata.category(each)[0] == "Z" or each in "\t\v\f\r\x85"
                   for each in end.decode(errors="replace"))
    rows += [(line, [] if is_white else error(FORMAT))
             for line in (end + STOP.encode(), STOP.encode() + end)]

# Values where nobody needs them and where a string is needed, and everything that is one edit away.
anything = (r'[-10.50e+1,0,123456789012345678901e999,true,false,null,"\b\ud83d\uDE00\u00e9",'
            r'{"\\":{},"":0},"\/\n\/\r",[[]]]')
string = r'"a\"\\\/\b\f\n\r\t\u0000\ud7ff\ud83d\uDE00\uffff"'
rows += verdicts(f'{{"x":{value},{STOP[1:]}' for value in edited(anything))
rows += verdicts(STOP.replace('"whatsapp"', value) for value in edited(string))
rows += verdicts(STOP[:length] for length in range(1, len(STOP)))
rows += [(f'{{"x":{"[" * depth + inside + "]" * depth},{STOP[1:]}'.encode(), events)
         for depth, inside, events in (
             (1, "[{}]," * 2000 + "0", []), (1023, "", []), (1024, "", error(FORMAT)))]

# Every character that is escaped, at every place of a word, and lines of about the size of a buffer.
tail = "\u00e9\u07ff\u0800\u2028\uffff\U00010000\U0010ffff #[].0"
texts = ["\x7f" * place + chr(code) + after
         for code in range(128) for place in range(18) for after in ("", tail)]
texts += ["x" * (length - len(send(""))) for length in range(131_069, 131_075)]
rows += [(line, echoed(text)) for text in [*texts, "x" * 5_000_000, ""]
         for line in (send(text), json.dumps(json.loads(send(text))).encode())]

# Bytes that are not UTF-8: many in a line, and one at every place of a word.
mixtures = [b"|".join(map(bytes, itertools.product((lead,), BORDERS, BORDERS, BORDERS)))
            for lead in b"a\xe0\xed\xf0\xf1\xf4"]
mixtures += [b"x" * place + b"\xff" + b"x" * (99 - place) for place in range(100)]
rows += [(send("MARK").replace(b"MARK", mixture), echoed(mixture.decode(errors="replace")))
         for mixture in mixtures]
expect(rows, service)

# Requests are for the platform that is canonically equal; each is answered before the next is there.
parts = ["e", "\u00e9", "E\u0301", "\uac01", "\uac00\u11a8", "\u212a", "\u212b", "\u0958",
         "s\u0307\u0323", "a\u0301\u0308", "a\u0308\u0301", "\u0301\u0323b\u0301", "\ufb01", "fi", ""]
rows = []
for place, other, form in itertools.product(range(len(parts)), parts, ("NFC", "NFD")):
    named = "|".join([*parts[:place], unicodedata.normalize(form, other), *parts[place + 1:]])
    same = unicodedata.normalize("NFD", parts[place]) == unicodedata.normalize("NFD", other)
    rows.append((request("disconnect", named), [state("disconnected")] if same else []))
expect(rows, service, b"--platform", "|".join(parts).encode())
with launched(service, b"--platform", b"a/\xff") as process:
    assert process.stdout.readline() == hello.replace(b"whatsapp", b"a\\/\xef\xbf\xbd")
    assert process.stdout.readline() == state("disconnected")
    for _ in range(2):
        process.stdin.write(request("disconnect", "a/\ufffd") + b"\n")
        process.stdin.flush()
        assert process.stdout.readline() == state("disconnected")

refused = subprocess.run([service], env={}, stdin=subprocess.DEVNULL, capture_output=True, check=False)
assert (refused.returncode, refused.stdout) == (64, b""), refused
assert refused.stderr == b"This component must be launched by Ferncrest.\n", refused

# With a closed output the service fails only when it has something to answer.
for asked, status, reason in (b"", 0, b""), (request("connect"), 1, b"Broken pipe"):
    with launched(service) as process:
        assert [process.stdout.readline() for _ in greeting] == greeting
        process.stdout.close()
        process.stdin.write(asked)
        process.stdin.close()
        errors = b"[BridgeService] fatal error: %s\n" % reason
        assert (process.stderr.read(), process.wait()) == (errors if reason else b"", status)

# It does not try for ever to write to a terminal that is full and closed on the other side, where
# Linux neither takes bytes nor reports an error. There may be room for the error event.
if sys.platform == "linux":
    terminal, other = os.openpty()
    tty.setraw(other)
    os.close(other)
    os.set_blocking(terminal, False)
    with launched(service, stdout=terminal) as process:
        _, errors = process.communicate(send("x" * 1_000_000), timeout=60)
        fatal = b"[BridgeService] fatal error: Input/output error\n"
        assert (errors, process.returncode) in ((b"", 0), (fatal, 1)), errors
    os.close(terminal)

# The time is a new one when its second is over.
with launched(service) as process:
    assert [process.stdout.readline() for _ in greeting] == greeting
    moments = set()
    while len(moments) < 2:
        now = time.strftime(TIME, time.gmtime())
        process.stdin.write(send("") + b"\n")
        process.stdin.flush()
        [(_, _, moment)] = MADE_UP.findall(process.stdout.readline())
        assert moment.decode() >= now, (moment, now)
        moments.add(moment)

# On streams in non-blocking mode the service waits: for bytes at first, then for room.
(requests, to_service), (from_service, events) = os.pipe(), os.pipe()
os.set_blocking(requests, False)
os.set_blocking(events, False)
with launched(service, stdin=requests, stdout=events), \
        open(from_service, "rb") as stdout, open(to_service, "wb") as stdin:
    assert [stdout.readline() for _ in greeting] == greeting
    filled = 0
    for size in 4096, 1:
        with contextlib.suppress(BlockingIOError):
            while True:
                filled += os.write(events, bytes(size))
    os.close(events)
    stdin.write((request("connect") + b"\n") * 1000)
    stdin.flush()
    # Once it has read a request, it has to wait for room.
    while select.select([requests], [], [], 0)[0]:
        pass
    stdin.close()
    assert stdout.read(filled) == bytes(filled)
    assert stdout.readlines() == CONNECTED * 1000
os.close(requests)
