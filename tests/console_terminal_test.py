"""Types at the console on a terminal of its own, where the environment names no locale: text beyond
ASCII, and a pasted line so long that work on the whole line at each key would exceed the time that
this test is given."""

import os
import pty
import select
import sys

LONG = "x" * 100_000

console, service = sys.argv[1:]
pid, terminal = pty.fork()
if pid == 0:
    environment = {"PATH": os.environ["PATH"], "TERM": "xterm", "LC_ALL": "C"}
    os.execve(console, [console, "--service", service], environment)
os.set_blocking(terminal, False)


def expect(words, typed=""):
    """Types, and reads what the terminal shows until these words have come."""
    shown, rest = "", typed.encode()
    while words not in shown:
        readable, writable, _ = select.select([terminal], [terminal] if rest else [], [])
        if readable:
            shown += os.read(terminal, 65536).decode(errors="replace")
        if writable:
            rest = rest[os.write(terminal, rest):]


expect("> ")
expect("echo: Gr\u00f6\u00dfe \u20ac", "send family Gr\u00f6\u00dfe \u20ac\r")
expect(f"echo: {LONG}", f"send family {LONG}\r")
expect("\x1b[J", "\x04")
status = os.waitpid(pid, 0)[1]
sys.exit(f"The console ended with wait status {status}." if status != 0 else 0)
