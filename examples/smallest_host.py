#!/usr/bin/env python3
"""The smallest host. smallest_host.py SERVICE sends one message and prints what comes back."""
import json, os, secrets, subprocess, sys, tempfile

with tempfile.NamedTemporaryFile("w") as file:  # readable only by this user
    os.environ["FERNCREST_HELPER_LAUNCH_TOKEN"] = token = secrets.token_hex(32)
    os.environ["FERNCREST_HELPER_LAUNCH_TOKEN_FILE"] = file.name
    print(token, file=file, flush=True)
    service = subprocess.Popen(sys.argv[1:], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def send(request, **fields):
        line = json.dumps({request: {"_0": {"platform": "whatsapp", **fields}}}) + "\n"
        service.stdin.write(line.encode())
        service.stdin.flush()  # otherwise the line may stay in a buffer

    for event in map(json.loads, service.stdout):
        if "hello" in event:
            print("Answered by", event["hello"]["_0"]["bridgeVersion"])
            send("connect")
        elif "stateChanged" in event and "connected" in event["stateChanged"]["_0"]["state"]:
            send("sendMessage", message={"conversationId": "family", "text": "Dinner is ready"})
        elif "inboundEvent" in event:
            print("Received", event["inboundEvent"]["_0"]["event"]["text"])
            service.stdin.close()  # end of input ends the service
sys.exit(service.wait())
