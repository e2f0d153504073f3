"""Holds docs/protocol.schema.json against the names in the code, against the tables and examples in
docs/protocol.md, against what the service accepts when parts of the examples are changed, and against
every line that it writes: as a stub, after its backend has ended, and with the backends in the
arguments."""

import json
import pathlib
import re
import sys

try:
    import jsonschema
except ImportError:
    print("Skipped: the Python package jsonschema is not installed")
    sys.exit(77)

from host import FORMAT, MISSING, converse

documents, service, *backends = sys.argv[1:]


def blocks(kind):
    """The lines of the page's blocks of this kind."""
    return [block.splitlines() for block in re.findall(rf"^```{kind}\n(.*?)^```$", page, re.M | re.S)]


def record_of(reference):
    return reference["$ref"].removeprefix("#/$defs/")


def name_of(value):
    """What the page calls a field's type."""
    if "$ref" in value:
        return f"`{record_of(value)}`"
    name, *null = [value["type"]] if isinstance(value["type"], str) else value["type"]
    name = f"array of {name_of(value['items'])}" if name == "array" else name
    return name + (", optional" if null else "")


def tables():
    """The rows of the page's tables, by the type they are about, as they follow from the schema."""
    rows = {name: [[f"`{field}`", name_of(value), value["description"]]
                   for field, value in kind.get("properties", {}).items()]
            for name, kind in types.items()}
    for name in "BridgeScope", "BridgeConnectionState":
        for case in types[name]["oneOf"]:
            [(key, reference)] = case["properties"].items()
            fields = [f"{field} {kind}" for field, kind, _ in rows.pop(record_of(reference))]
            rows[name].append([f"`{key}`", ", ".join(fields) or "none",
                               types[record_of(reference)]["description"]])
    return {name: rows for name, rows in rows.items() if rows}


def tables_on_page():
    return {name: [row.strip("| ").split(" | ") for row in rows.splitlines()] for name, rows in
            re.findall(r"^\| (?:Field|Case) of `(\w+)` .*\n.*\n((?:\|.*\n)+)", page, re.M)}


def keys_in(value):
    found = set()
    json.loads(json.dumps(value), object_hook=lambda part: found.update(part) or part)
    return found


def changed(value):
    """Copies of a JSON value with one part left out or replaced, and the fault that this may be."""
    yield 7, FORMAT
    yield None, MISSING
    if isinstance(value, list):
        yield from (([each], fault) for each, fault in changed(value[0]))
    elif isinstance(value, dict):
        for key, part in value.items():
            yield ({other: value[other] for other in value if other != key},
                   FORMAT if key in cases else MISSING)
            yield from (({**value, key: each}, fault) for each, fault in changed(part))


documents = pathlib.Path(documents)
page = (documents / "protocol.md").read_text("utf-8")
examples = sum(blocks("json"), [])
refused = [(line, fault) for block, fault in zip(blocks("text"), (FORMAT, MISSING), strict=True)
           for line in block]
schema = json.loads((documents / "protocol.schema.json").read_text("utf-8"))
types = schema["$defs"]
cases = {key for kind in types.values() for case in kind.get("oneOf", ())
         for key in case.get("properties", ())}
jsonschema.Draft202012Validator.check_schema(schema)
anyone, host, bridge = (jsonschema.Draft202012Validator({**schema, **other}) for other in (
    {}, {"$ref": "#/$defs/BridgeRequest"}, {"$ref": "#/$defs/BridgeEvent"}))

shown, expected = tables_on_page(), tables()
assert shown == expected, [(name, shown.get(name)) for name in expected
                           if shown.get(name) != expected[name]]
assert [each["title"] for each in types.values()] == list(types)
in_code = set(re.findall(r'"(\w+)"', (documents / "../protocol/schema.h").read_text("utf-8")))
in_use = types.keys() - {"BridgeRequest", "BridgeEvent"} | keys_in(list(map(json.loads, examples)))
assert in_code == in_use, in_code ^ in_use

rows = [(line, None) for line in examples] + refused
for line in examples:
    message = json.loads(line)
    assert host.is_valid(message) != bridge.is_valid(message), f"not for one direction: {line}"
    written = json.dumps(message, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
    assert line == written.replace("/", "\\/"), f"not as the service writes it: {line}"
    rows += [(json.dumps(each), None if anyone.is_valid(each) else fault)
             for each, fault in changed(message)]
mark = b'{"startListening":{"_0":{"platform":"whatsapp","scope":{"testOnly":{"title":"MARK"}}}}}'
output = converse([each for line, _ in rows for each in (line.encode(), mark)], service)
answers = re.split(rb".*MARK.*\n", b"".join(output[2:]))
for (line, fault), answer in zip(rows, answers[:-1], strict=True):
    refusal = next((each for each in (FORMAT, MISSING) if each.encode() in answer), None)
    assert refusal == fault, f"{line} is answered by {answer} instead of {fault}"
for line, _ in refused:
    # A schema says nothing of what is no JSON value, and of a lone surrogate.
    if line.endswith("}") and "\\u" not in line:
        assert not anyone.is_valid(json.loads(line)), f"the schema accepts {line}"

events = [json.loads(line) for backend in ("", "/usr/bin/false", *backends)
          for line in converse([b"lost", *map(str.encode, examples)], service, backend=backend)]
for event in events:
    bridge.validate(event)
assert keys_in(events) >= {"hello", "stateChanged", "inboundEvent", "error"}, events
