"""Holds docs/protocol.schema.json against the tables and the examples in docs/protocol.md and
against every line that the service writes when those examples are sent to it: as a stub, and after
its backend has ended."""

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
# Lists of a page's lines by the kind of their block.
with open(os.path.join(documents, "protocol.md"), encoding="utf-8") as page:
    text = page.read()
blocks = {kind: [line for block in re.findall(rf"^```{kind}\n(.*?)^```$", text, re.M | re.S)
                 for line in block.splitlines()] for kind in ("json", "text")}


with open(os.path.join(documents, "protocol.schema.json"), encoding="utf-8") as file:
    schema = json.load(file)
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


expected = sorted(tables())
found = sorted(re.findall(r"^\| (?:Field|Case) of .*\n(?:\|.*\n)+", text, re.M))
assert found == expected, "\n".join(difflib.ndiff(found, expected))
assert [each["title"] for each in types.values()] == list(types)

anyone, host, bridge = validators()
requests = []
for line in blocks["json"]:
    message = json.loads(line)
    anyone.validate(message)
    is_request = host.is_valid(message)
    assert is_request != bridge.is_valid(message), f"not for exactly one direction: {line}"
    requests += [line] if is_request else []

for line in blocks["text"]:
    try:
        message = json.loads(line)
        json.dumps(message, ensure_ascii=False).encode()  # fails for a lone surrogate
        assert not anyone.is_valid(message), f"the schema accepts {line}"
    except ValueError:
        pass

seen = set()
for backend in ("", "/bin/false"):
    for line in converse(backend, ["lost"] + requests + blocks["text"]):
        event = json.loads(line)
        bridge.validate(event)
        seen |= set(event)
assert seen == {"hello", "stateChanged", "inboundEvent", "error"}, seen
print(f"{len(requests)} requests and their answers fit the schema")
