"""A network of the test's own: a host whose only neighbour is outside, each a network namespace.
Nothing of it is seen by the rest of this machine, and it ends with the test. Needs root."""

import contextlib
import os
import subprocess
import sys
import tempfile

HOST = "198.18.0.2"  # RFC 2544: for tests between devices
OUTSIDE = "198.18.0.1"  # the host's gateway
NAME = "outside.test"  # what the name server there calls it (RFC 6761: for tests)
PASST = "/usr/bin/passt"

# Prints its port, then a line for each connection, which it answers in the way of HTTP.
LISTENER = """
import socket, sys
server = socket.create_server((sys.argv[1], 0))
print(server.getsockname()[1], flush=True)
length = int(sys.argv[2])
while True:
    connection, _ = server.accept()
    print("reached", flush=True)
    connection.recv(4096)
    connection.sendall(f"HTTP/1.0 200 OK\\r\\nContent-Length: {length}\\r\\n\\r\\n".encode())
    piece = bytes(1 << 20)
    for start in range(0, length, len(piece)):
        connection.sendall(piece[:length - start])
    connection.close()
"""

# Answers each question for an IPv4 address with one, and all others with none (RFC 1035, 4.1).
NAME_SERVER = """
import socket, sys
server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
server.bind((sys.argv[1], 53))
print(flush=True)
while True:
    query, sender = server.recvfrom(512)
    end = query.index(0, 12) + 5
    found = query[end - 4:end - 2] == bytes([0, 1])
    header = query[:2] + bytes([0x81, 0x80, 0, 1, 0, found, 0, 0, 0, 0])
    answer = bytes([0xC0, 12, 0, 1, 0, 1, 0, 0, 0, 60, 0, 4]) + socket.inet_aton(sys.argv[1])
    server.sendto(header + query[12:end] + answer * found, sender)
"""


def missing():
    """Why there can be no such network; empty if there can."""
    if os.geteuid() != 0:
        return "a network of its own needs root"
    made = subprocess.run(["unshare", "--net", "--", "ip", "link", "add", "name", "a", "type", "veth"],
                          capture_output=True, text=True)
    return made.stderr.strip() if made.returncode else ""


class PrivateNetwork:
    """A `with` block's network."""

    def __enter__(self):
        self.stack = contextlib.ExitStack()
        with contextlib.ExitStack() as undo:
            undo.callback(self.stack.close)
            self.spaces = {name: self._space() for name in ("host", "outside")}
            self._run("host", "ip", "link", "add", "wire", "type", "veth", "peer", "name", "wire",
                      "netns", str(self.spaces["outside"]))
            for space, address in (("host", HOST), ("outside", OUTSIDE)):
                self._run(space, "ip", "address", "add", address + "/24", "dev", "wire")
                self._run(space, "ip", "link", "set", "wire", "up")
                self._run(space, "ip", "link", "set", "lo", "up")
            self._run("host", "ip", "route", "add", "default", "via", OUTSIDE)
            self.resolver = self._name_server()
            undo.pop_all()
        return self

    def __exit__(self, *_):
        self.stack.close()

    def _space(self):
        """A process in a namespace of its own, which lives as long as it has a process."""
        holder = self.stack.enter_context(subprocess.Popen(
            ["unshare", "--net", "--", "sh", "-c", "echo; exec cat"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE))
        holder.stdout.readline()
        return holder.pid

    def _run(self, space, *command):
        subprocess.run([*self.inside(space), *command], check=True, capture_output=True)

    def inside(self, space):
        """The beginning of a command that is to run there, as the same process."""
        return ["nsenter", f"--net=/proc/{self.spaces[space]}/ns/net", "--"]

    def on_host(self):
        """The same on the host, whose name server is outside."""
        return [*self.inside("host"), "unshare", "--mount", "--", "sh", "-c",
                f'mount --bind {self.resolver} /etc/resolv.conf && exec "$@"', "sh"]

    def _name_server(self):
        """Starts it, and returns the path of a resolv.conf with it."""
        server = self._python("outside", NAME_SERVER, OUTSIDE)
        server.stdout.readline()
        file = self.stack.enter_context(tempfile.NamedTemporaryFile("w"))
        file.write(f"nameserver {OUTSIDE}\n")
        file.flush()
        os.chmod(file.name, 0o644)  # passt reads it as nobody
        return file.name

    def _python(self, space, program, *arguments):
        process = self.stack.enter_context(subprocess.Popen(
            [*self.inside(space), sys.executable, "-c", program, *arguments],
            stdout=subprocess.PIPE, text=True))
        self.stack.callback(process.kill)
        return process

    def listen(self, space, address, length=8):
        """Answers each connection with `length` bytes. Returns the process, whose output gets a
        line for each, and its port."""
        listener = self._python(space, LISTENER, address, str(length))
        return listener, int(listener.stdout.readline())


def without_passt():
    """The beginning of a command that is to find no passt."""
    return ["unshare", "--mount", "--", "sh", "-c",
            f'mount --bind /dev/null {PASST} && exec "$@"', "sh"]
