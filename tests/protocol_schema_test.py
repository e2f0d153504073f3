"""Holds docs/protocol.schema.json against the names in the code, against the tables and the examples
in docs/protocol.md, against what the service accepts, field by field, and against every line that it
writes: as a stub, and after its backend has ended."""

import difflib
import json
import os
import re
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("Skipped: the Python package jsonschema is not installed")
    sys.exit(77)

documents, service = sys.argv[1:]
TOKEN = "0123456789abcdef0123456789abcdef"
REFUSALS = [f"The request could not be read because {reason}." for reason in
            ("it is not in the correct format", "data in it is missing")]
FORMAT, MISSING = REFUSALS


def read(*path):
    with open(os.path.join(documents, *path), encoding="utf-8") as file:
        return file.read()


text = read("protocol.md")
# The lines of the page's blocks, by the kind of a block.
blocks = {kind: [block.splitlines() for block in re.findall(rf"^```{kind}\n(.*?)^```$", text,
                                                            re.M | re.S)]
          for kind in ("json", "text")}
examples = sum(blocks["json"], [])
schema = json.loads(read("protocol.schema.json"))
types = schema["$defs"]


def name_of(value):
    """What the page calls a field's type."""
    if "$ref" in value:
        return f"`{value['$ref'].removeprefix('#/$defs/')}`"
    names = [value["type"]] if isinstance(value["type"], str) else value["type"]
    name = f"array of {name_of(value['items'])}" if names[0] == "array" else names[0]
    return name + (", optional" if "null" in names else "")


def tables():
    """The page's tables of fields and cases, as they follow from the schema."""
    inline = set()
    for name in "BridgeScope", "BridgeConnectionState":
        rows = ""
        for case in types[name]["oneOf"]:
            [(key, reference)] = case["properties"].items()
            record = reference["$ref"].removeprefix("#/$defs/")
            inline.add(record)
            fields = ", ".join(f"`{field}` {name_of(value)}"
                               for field, value in types[record].get("properties", {}).items())
            rows += f"| `{key}` | {fields or 'none'} | {types[record]['description']} |\n"
        yield f"| Case of `{name}` | Fields | Meaning |\n|---|---|---|\n{rows}"
    for name in types.keys() - inline:
        fields = types[name].get("properties", {}).items()
        rows = "".join(f"| `{key}` | {name_of(value)} | {value['description']} |\n"
                       for key, value in fields)
        if rows:
            yield f"| Field of `{name}` | Type | Meaning |\n|---|---|---|\n{rows}"


def validators():
    kind = jsonschema.Draft202012Validator
    kind.check_schema(schema)
    directions = [{"$ref": f"#/$defs/{name}", "$defs": types}
                  for name in ("BridgeRequest", "BridgeEvent")]
    return [kind(each) for each in [schema, *directions]]


def converse(backend, lines):
    """What the service answers to these lines, once it has said all of its greeting."""
    with tempfile.TemporaryDirectory() as directory:
        token = os.path.join(directory, "token")
        with open(token, "w", encoding="ascii") as file:
            file.write(TOKEN)
        environment = {"FERNCREST_HELPER_LAUNCH_TOKEN": TOKEN,
                       "FERNCREST_HELPER_LAUNCH_TOKEN_FILE": token,
                       "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH": backend,
                       "FERNCREST_MANAGED_BRIDGE_DATA_DIR": os.path.join(directory, "data")}
        with subprocess.Popen([service], env=environment, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
            # The greeting, or the report of a backend that has ended.
            start = [process.stdout.readline() for _ in range(2)]
            rest, _ = process.communicate("\n".join(lines).encode())
    assert process.returncode == 0, process.returncode
    return [line.decode() for line in start + rest.splitlines(keepends=True)]


def probes(value):
    """Pairs of a value for this type, the first one complete and right, and how it is refused."""
    if "$ref" in value:
        yield from probes(types[value["$ref"].removeprefix("#/$defs/")])
        return
    if "oneOf" in value:
        yield from (probe for case in value["oneOf"] for probe in probes(case))
        yield {}, FORMAT
        return
    kind = value["type"] if isinstance(value["type"], str) else value["type"][0]
    if kind == "object":
        fields = value.get("properties", {})
        whole = {key: next(probes(field))[0] for key, field in fields.items()}
        yield whole, None
        for key, field in fields.items():
            if value in types.values() or key == "_0":  # not a case
                yield ({other: whole[other] for other in whole if other != key},
                       MISSING if key in value.get("required", ()) else None)
            yield from (({**whole, key: each}, refusal) for each, refusal in probes(field))
    elif kind == "array":
        yield from (([each], refusal) for each, refusal in probes(value["items"]))
    else:
        yield {"string": "x", "boolean": True}[kind], None
    yield 7, FORMAT
    yield None, MISSING if isinstance(value["type"], str) else None


def refusals(lines):
    """How a service refuses each of these lines, or None."""
    mark = '{"startListening":{"_0":{"platform":"whatsapp","scope":{"thread":{"id":"","title":"MARK"}}}}}'
    answers = "".join(converse("", [each for line in lines for each in (line, mark)]))
    return [next((refusal for refusal in REFUSALS if refusal in answer), None)
            for answer in answers.split("'MARK'")[:-1]]


expected = sorted(tables())
found = sorted(re.findall(r"^\| (?:Field|Case) of .*\n(?:\|.*\n)+", text, re.M))
assert found == expected, "\n".join(difflib.ndiff(found, expected))
assert [each["title"] for each in types.values()] == list(types)

in_code = set(re.findall(r'"(\w+)"', read("..", "protocol", "schema.h")))
in_schema = types.keys() - {"BridgeRequest", "BridgeEvent"}
json.loads(json.dumps(schema),
           object_hook=lambda part: in_schema.update(part.get("properties", ())) or part)
assert in_code == in_schema, in_code ^ in_schema

anyone, host, bridge = validators()
requests = []
for line in examples:
    message = json.loads(line)
    anyone.validate(message)
    is_request = host.is_valid(message)
    assert is_request != bridge.is_valid(message), f"not for exactly one direction: {line}"
    requests += [line] if is_request else []
    written = json.dumps(message, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
    assert line == written.replace("/", "\\/"), f"not as the service writes it: {line}"
cases = {key for name in ("BridgeRequest", "BridgeEvent") for case in types[name]["oneOf"]
         for key in case["properties"]}
assert {key for line in examples for key in json.loads(line)} == cases

for line in sum(blocks["text"], []):
    try:
        message = json.loads(line)
        json.dumps(message, ensure_ascii=False).encode()  # fails for a lone surrogate
        assert not anyone.is_valid(message), f"the schema accepts {line}"
    except ValueError:
        pass

rows = [(json.dumps(value), refusal) for value, refusal in probes(schema)]
rows += [(line, None) for line in examples]
rows += [(line, refusal) for block, refusal in zip(blocks["text"], REFUSALS, strict=True) for line in block]
for (line, wanted), refusal in zip(rows, refusals([line for line, _ in rows]), strict=True):
    assert refusal == wanted, f"{line} is refused with {refusal} instead of {wanted}"

seen = set()
for backend in ("", "/bin/false"):
    for line in converse(backend, ["lost"] + requests + sum(blocks["text"], [])):
        event = json.loads(line)
        bridge.validate(event)
        seen |= set(event)
assert seen == {"hello", "stateChanged", "inboundEvent", "error"}, seen
print(f"{len(rows)} lines are taken or refused as documented")
