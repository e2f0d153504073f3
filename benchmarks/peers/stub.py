"""The stub's answers from a short Python program: parses a line and writes the answers."""
import json
import os
import sys
import time
import uuid


def emit(case, record):
    os.write(1, (json.dumps({case: {"_0": record}}, separators=(",", ":")) + "\n").encode())


def report(state):
    emit("stateChanged", {"state": state})


emit("hello", {"bridgeVersion": "managed-process-3", "platform": "whatsapp"})
report({"disconnected": {}})
for line in sys.stdin.buffer:
    request = json.loads(line)
    if "connect" in request:
        report({"connecting": {}})
        report({"connected": {"accountDisplayName": "Python"}})
    elif "sendMessage" in request:
        message = request["sendMessage"]["_0"]["message"]
        emit("inboundEvent", {"event": {
            "conversationId": message["conversationId"],
            "conversationTitle": "Managed Bridge Echo",
            "isDirectMessage": False,
            "messageId": str(uuid.uuid4()).upper(),
            "rawReference": "managed-bridge-echo",
            "senderDisplayName": "Ferncrest Managed Bridge",
            "senderId": "managed-bridge-echo",
            "text": "echo: " + message["text"],
            "timestampISO8601": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())}})
