"""Runs the service as a host does."""

import contextlib
import os
import subprocess
import tempfile

TOKEN = "0123456789abcdef0123456789abcdef"
FORMAT = "The request could not be read because it is not in the correct format."
MISSING = "The request could not be read because data in it is missing."


@contextlib.contextmanager
def launched(service, *arguments, backend="", **streams):
    """The running service, with pipes for what is not in `streams`."""
    with tempfile.TemporaryDirectory() as directory:
        token = os.path.join(directory, "token")
        with open(token, "w", encoding="ascii") as file:
            file.write(TOKEN)
        environment = {"FERNCREST_HELPER_LAUNCH_TOKEN": TOKEN,
                       "FERNCREST_HELPER_LAUNCH_TOKEN_FILE": token,
                       "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH": backend,
                       "FERNCREST_MANAGED_BRIDGE_DATA_DIR": os.path.join(directory, "data")}
        pipes = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.PIPE)
        with subprocess.Popen([service, *arguments], env=environment, **{**pipes, **streams}) as process:
            try:
                yield process
            except BaseException:
                process.kill()  # else a service that hangs is waited for without end
                raise


def converse(lines, *launch, **options):
    """Sends these lines, and returns the lines that the service writes, all as bytes."""
    with launched(*launch, **options) as process:
        # The greeting, or the report of a backend that has ended.
        start = [process.stdout.readline() for _ in range(2)]
        rest, _ = process.communicate(b"\n".join(lines))
    assert process.returncode == 0, process.returncode
    return start + rest.splitlines(keepends=True)
