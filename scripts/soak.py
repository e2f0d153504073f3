"""Runs the service under load and checks that nothing is lost and nothing leaks.

    soak.py SERVICE [--quick]
"""

import hashlib
import os
import random
import subprocess
import sys
import tempfile
import threading
import time

SERVICE, QUICK = sys.argv[1], "--quick" in sys.argv
REQUESTS = 20_000 if QUICK else 1_000_000
BACKENDS = 40 if QUICK else 1_000
BYTES = (16 << 20) if QUICK else (1 << 30)
TOKEN = os.urandom(16).hex()

# Each request with the number of events that answer it.
REQUESTS_AND_ANSWERS = [
    (b'{"connect":{"_0":{"platform":"whatsapp"}}}\n', 2),
    (b'{"disconnect":{"_0":{"platform":"whatsapp"}}}\n', 1),
    (b'{"sendMessage":{"_0":{"platform":"whatsapp","message":{"conversationId":"c","text":"\xff/"}}}}\n', 1),
    (b'{"startListening":{"_0":{"platform":"whatsapp","scope":{"testOnly":{"title":"t"}}}}}\n', 1),
    (b'{"startListening":{"_0":{"platform":"whatsapp","scope":{"thread":{"id":"1"}}}}}\n', 1),
    (b'{"connect":{"_0":{"platform":"other"}}}\n', 0),
    (b'{"hello":{}}\n', 1),
    (b"[[[[\n", 1),
    (b"  \r\n", 0),
]


class Service:
    def __init__(self, directory, backend=None):
        environment = {
            "PATH": os.environ["PATH"],
            "FERNCREST_HELPER_LAUNCH_TOKEN": TOKEN,
            "FERNCREST_HELPER_LAUNCH_TOKEN_FILE": os.path.join(directory, "token"),
            "FERNCREST_MANAGED_BRIDGE_DATA_DIR": os.path.join(directory, "data"),
            "FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND": "" if backend else "1",
            "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH": backend or "",
        }
        self.process = subprocess.Popen([SERVICE], env=environment, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    def footprint(self):
        """Memory in KiB, descriptors and threads."""
        root = f"/proc/{self.process.pid}"
        status = dict(line.split(":", 1) for line in open(f"{root}/status"))
        return (int(status["VmRSS"].split()[0]), len(os.listdir(f"{root}/fd")), int(status["Threads"]))

    def settled_footprint(self, early):
        """Waits until memory is back near `early`: it is released just after the last event."""
        deadline = time.monotonic() + 30
        while True:
            now = self.footprint()
            if now[1:] == early[1:] and now[0] < early[0] + 512:
                return now
            assert time.monotonic() < deadline, f"the footprint has grown: {early}, now {now}"
            time.sleep(0.05)

    def end(self):
        self.process.stdin.close()
        assert self.process.wait(timeout=30) == 0, self.process.returncode
        self.process.stdout.close()


def in_background(work):
    thread = threading.Thread(target=work)
    thread.start()
    return thread


def requests(directory):
    service = Service(directory)
    for _ in range(2):
        service.process.stdout.readline()
    before = service.footprint()
    choice = random.Random(1).choices(range(len(REQUESTS_AND_ANSWERS)), k=REQUESTS)
    expected = sum(REQUESTS_AND_ANSWERS[index][1] for index in choice)

    def write():
        for start in range(0, REQUESTS, 1000):
            service.process.stdin.write(b"".join(REQUESTS_AND_ANSWERS[i][0] for i in choice[start:start + 1000]))
        service.process.stdin.flush()

    writer = in_background(write)
    for count in range(expected):
        assert service.process.stdout.readline().endswith(b"}\n"), count
    writer.join()
    # The memory of a long line has to be released before the service waits again.
    service.process.stdin.write(b"\xff" * (8 << 20) + b"\n[\n")
    service.process.stdin.flush()
    for _ in range(2):
        service.process.stdout.readline()
    after = service.settled_footprint(before)
    service.process.stdin.close()
    assert service.process.stdout.read() == b""
    service.end()
    print(f"{REQUESTS} requests, {expected} events; KiB, descriptors, threads: {before} before, {after} after")


def processes_of(directory):
    """The processes with this directory in their environment: services, backends, children."""
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/environ", "rb") as file:
                found += [pid] if directory.encode() in file.read() else []
        except OSError:
            pass  # it has exited, or belongs to another user
    return found


def backends(directory):
    scripts = ["exit 3", "echo x; kill -9 $$", "exec cat", "exec sleep 1000", "exec <&-; exec sleep 1000",
               "head -c 300000 /dev/zero; exit 0", "trap '' TERM; read end; exit 1"]
    for index in range(BACKENDS):
        path = os.path.join(directory, f"backend{index % len(scripts)}")
        if index < len(scripts):
            with open(path, "w") as file:
                file.write(f"#!/bin/sh\n{scripts[index]}\n")
            os.chmod(path, 0o700)
        service = Service(directory, path)
        if index % 3:
            service.process.stdin.write(b"a line\n")
        reader = in_background(service.process.stdout.read)
        service.process.stdin.close()
        assert service.process.wait(timeout=30) == 0, scripts[index % len(scripts)]
        reader.join()
        service.process.stdout.close()
    deadline = time.monotonic() + 30
    while left := processes_of(directory):
        assert time.monotonic() < deadline, f"still running: {left}"
        time.sleep(0.05)
    print(f"{BACKENDS} backends started and ended; no process is left")


def relay(directory):
    path = os.path.join(directory, "cat")
    with open(path, "w") as file:
        file.write("#!/bin/sh\nexec cat\n")
    os.chmod(path, 0o700)
    service = Service(directory, path)
    random_source = random.Random(2)
    block = b"".join(b"x%07d" % index * random_source.randrange(1, 40) + b"\n" for index in range(5000))
    blocks = BYTES // len(block) + 1
    sent, received = hashlib.sha256(), hashlib.sha256()

    def write():
        for _ in range(blocks):
            sent.update(block)
            service.process.stdin.write(block)
            service.process.stdin.flush()

    writer = in_background(write)
    left = blocks * len(block)
    before = None
    while left > 0:
        if random_source.random() < 0.001:
            time.sleep(random_source.random() / 50)
        data = os.read(service.process.stdout.fileno(), 65536)
        assert data
        before = before or service.footprint()
        received.update(data)
        left -= len(data)
    writer.join()
    after = service.settled_footprint(before)
    service.end()
    assert sent.digest() == received.digest(), "the checksums differ"
    print(f"{blocks * len(block)} bytes each way, checksums agree; KiB, descriptors, threads: {before} early, {after} after")


with tempfile.TemporaryDirectory() as scratch:
    with open(os.path.join(scratch, "token"), "w") as token_file:
        token_file.write(TOKEN)
    for part in (requests, backends, relay):
        part(scratch)
