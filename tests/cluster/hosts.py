"""A small cluster on 127.0.0.2 and up: real sshd, a stand-in daemon for each node, and nodes
that fail in the ways of real ones. An ordinary user can start it, and so can root. All its
files are in one folder; nothing waits by the clock, and nothing leaves 127.0.0.0/8."""

import collections
import json
import os
import pathlib
import pwd
import selectors
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import threading

SSHD = shutil.which("sshd", path=f"{os.environ['PATH']}:/usr/sbin:/sbin")

# The script of each daemon; None: no daemon on the socket.
DAEMONS = {
    "node-good-1": {"rules": []},
    "node-good-2": {"rules": []},
    "node-silent": {"rules": [{"reply": {"silent": True}}]},
    "node-refusing": {"rules": [{"reply": {"status": 5, "text": "not now"}}]},
    # Its exit value is 0, the low 8 bits of 256.
    "node-refusing-256": {"rules": [{"reply": {"status": 256, "text": "not now"}}]},
    "node-early": {"rules": [{"reply": {"close": "after-request"}}]},
    "node-partial": {"rules": [{"reply": {"text": "ten bytes.", "cutPayload": 4}}]},
    "node-idle": None,
    "node-bare": None,  # nor a client
    "node-cut": {"rules": [{"reply": {"silent": True}}]},  # its link goes with the request
}
UNREACHED = [
    "node-closed",  # no sshd: the connection is refused
    "node-down",  # packets are dropped
    "node-hung",  # sshd listens and never speaks
]
GOOD = ["node-good-1", "node-good-2"]
# What a daemon receives a request of, whatever the client then says.
REACHED = [name for name, script in DAEMONS.items() if script]
# One of each kind, as the tests of whole clusters use them.
ALL = [*DAEMONS, *UNREACHED]

# Far beyond what a recipe takes: only one that hangs needs so many seconds.
DEADLINE = 100

Result = collections.namedtuple("Result", "value out err")

WRAPPER = """#!/bin/sh
read -r parent </proc/$PPID/comm
echo $$ "$parent" "$@" >>{socket}.clients
exec {client} -s {socket} "$@"
"""


class Link:
    """Two sockets that hand on each other's bytes until the link is cut: then both sides
    stay open and hear nothing, as behind a switch that lost its power."""

    def __init__(self, selector, outer, inner):
        self.selector, self.ends = selector, (outer, inner)
        for end, other in (self.ends, self.ends[::-1]):
            selector.register(end, selectors.EVENT_READ, lambda e=end, o=other: self.pass_on(e, o))

    def pass_on(self, end, other):
        try:
            data = end.recv(65536)
            if data:
                other.sendall(data)
                return
        except OSError:
            pass
        self.cut()
        self.close()

    def cut(self):
        for end in self.ends:
            if end.fileno() in self.selector.get_map():
                self.selector.unregister(end)

    def close(self):
        for end in self.ends:
            end.close()


class Node:
    """A node: its address, its daemon and what that has received."""

    def __init__(self, name, address, folder):
        self.name, self.address, self.folder = name, address, folder
        self.socket = folder / name
        self.requests, self.standin, self.links = [], None, []
        self.changed = threading.Condition()
        self.listener = socket.socket()
        self.listener.bind((address, 0))
        self.port = self.listener.getsockname()[1]

    def start_daemon(self, program, script):
        path = self.folder / f"{self.name}.json"
        path.write_text(json.dumps(script))
        # It ends with the tests, also when those are killed.
        self.standin = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", program, "--socket",
                                         self.socket, "--script", path],
                                        stdout=subprocess.PIPE, text=True)
        if not self.standin.stdout.readline():
            raise RuntimeError(f"the stand-in of {self.name} did not start")
        self.reader = threading.Thread(target=self.read_log, daemon=True)
        self.reader.start()

    def stop_daemon(self):
        self.standin.terminate()
        self.standin.wait()
        self.reader.join()
        self.standin.stdout.close()
        with self.changed:
            self.standin = None
            self.changed.notify_all()

    def read_log(self):
        for line in self.standin.stdout:
            event = json.loads(line)
            if event["event"] == "request":
                with self.changed:
                    self.requests.append(event)
                    self.changed.notify_all()

    def received(self, count=1):
        """Waits until that many requests have arrived; returns their command words."""
        with self.changed:
            self.changed.wait_for(lambda: len(self.requests) >= count, 30)
            return [request["command"] for request in self.requests]


class Cluster:
    """The nodes of the given names. `path` is the PATH in which the recipes find ssh and
    the other programs; `environment` is that of a run."""

    def __init__(self, client, standin, config="", names=None):
        self.client, self.standin = client, standin
        # A socket's path has 107 bytes at most; that of a shared ssh connection ends with
        # 60 of its own.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="trel-"))
        if len(str(self.folder)) > 40:
            self.folder.rmdir()
            self.folder = pathlib.Path(tempfile.mkdtemp(prefix="trel-", dir="/tmp"))
        self.nodes, self.servers, self.open = {}, [], []
        self.selector = selectors.DefaultSelector()
        self.wake, self.woken = socket.socketpair()
        try:
            self.start(config, names or ALL)
        except BaseException:
            self.close()
            raise

    def start(self, config, names):
        os.chmod(self.folder, 0o700)
        for name in ("bin", "home", "work"):
            (self.folder / name).mkdir()
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "", "-f",
                        self.folder / "key"], check=True)
        if os.geteuid() == 0:
            # sshd shuts its unprivileged part up here, and root's refuses to start without
            # it. The service makes it at each start of the machine.
            os.makedirs("/run/sshd", 0o755, exist_ok=True)
        for index, name in enumerate(names):
            self.nodes[name] = self.make_node(name, f"127.0.0.{index + 2}")
        self.write_config(config)
        (self.folder / "work/nodes").write_text("".join(f"{name}\n" for name in names))
        self.selector.register(self.woken, selectors.EVENT_READ, lambda: None)
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def make_node(self, name, address):
        node = Node(name, address, self.folder)
        if name == "node-closed":
            node.listener.close()
        elif name == "node-down":
            self.fill(node)
        elif name == "node-hung":
            node.listener.listen()
        else:
            node.listener.listen(64)
            self.selector.register(node.listener, selectors.EVENT_READ, lambda: self.accept(node))
            programs = self.folder / f"{name}.bin"
            programs.mkdir()
            # As on a small system, whatever this one has.
            self.write_program(programs / "sudo", "#!/bin/sh\nexit 127\n")
            if name != "node-bare":
                self.write_program(programs / "trel-tool", WRAPPER.format(
                    client=self.client, socket=node.socket))
            script = DAEMONS.get(name, {"rules": []})
            if script:
                node.start_daemon(self.standin, script)
        return node

    def fill(self, node):
        """Fills the queue of the listener, so that the system drops what comes next."""
        node.listener.listen(0)
        while True:
            end = socket.socket()
            self.open.append(end)
            end.settimeout(0.5)
            try:
                end.connect((node.address, node.port))
            except TimeoutError:
                return

    @staticmethod
    def write_program(path, text):
        path.write_text(text)
        path.chmod(0o755)

    def write_config(self, config):
        key = (self.folder / "key.pub").read_text()
        (self.folder / "known_hosts").write_text(f"* {key}")
        text = config.replace("~/.ssh/", f"{self.folder}/")
        for node in self.nodes.values():
            text += f"Host {node.name}\n  HostName {node.address}\n  Port {node.port}\n"
        text += (f"Host *\n  IdentityFile {self.folder}/key\n  IdentitiesOnly yes\n"
                 f"  UserKnownHostsFile {self.folder}/known_hosts\n"
                 "  GlobalKnownHostsFile /dev/null\n  HostKeyAlias node\n"
                 f"  User {pwd.getpwuid(os.geteuid()).pw_name}\n")
        (self.folder / "config").write_text(text)
        ssh = shutil.which("ssh")
        self.write_program(self.folder / "bin/ssh",
                           f'#!/bin/sh\nexec {ssh} -F {self.folder}/config "$@"\n')
        self.path = f"{self.folder}/bin:{os.environ['PATH']}"
        self.environment = dict(os.environ, PATH=self.path, HOME=f"{self.folder}/home",
                                TMPDIR=str(self.folder), LC_ALL="C.UTF-8")

    def serve(self):
        while True:
            for key, _ in self.selector.select():
                if key.fileobj is self.woken:
                    if not self.woken.recv(1):
                        return
                elif key.fileobj.fileno() >= 0:
                    key.data()

    def accept(self, node):
        connection, _ = node.listener.accept()
        if node.name == "node-cut":
            inner, outer = connection, None
            outer, connection = socket.socketpair()
            link = Link(self.selector, inner, outer)
            node.links.append(link)
            threading.Thread(target=self.cut_after_request, args=(node, link), daemon=True).start()
        environment = f"NODE={node.name} HOME={self.folder}/home " \
                      f"TMPDIR={self.folder} PATH={self.folder}/{node.name}.bin:/usr/bin:/bin"
        if node.name != "node-bare":  # where this machine's client may be
            environment += ":/usr/sbin:/sbin"
        # One process for one connection, as an internet superserver starts it: the listening
        # sockets are the tests' own, so that no port has to be guessed.
        with open(self.folder / "sshd.log", "ab") as log:
            self.servers.append(subprocess.Popen(
                [SSHD, "-i", "-e", "-f", "/dev/null", "-h", self.folder / "key",
                 "-o", "PidFile=none", "-o", "UsePAM=no", "-o", "StrictModes=no",
                 "-o", f"AuthorizedKeysFile={self.folder}/key.pub", "-o", "PermitUserRC=no",
                 "-o", "Subsystem=sftp internal-sftp", "-o", f"SetEnv={environment}"],
                stdin=connection, stdout=connection, stderr=log))
        connection.close()

    def cut_after_request(self, node, link):
        count = len(node.requests)
        with node.changed:
            node.changed.wait_for(lambda: len(node.requests) > count or not node.standin)
        link.cut()

    def clients(self, name):
        """Process, parent's name and words of each client that was started on the node."""
        path = self.folder / f"{name}.clients"
        lines = path.read_text().splitlines() if path.exists() else []
        return [line.split(" ") for line in lines]

    def clients_left(self, name):
        """The clients that still run on the node."""
        return [pid for pid, *_ in self.clients(name) if self.state(pid) not in ("", "Z")]

    def run(self, script, **variables):
        """Runs a shell script in the folder `work`; it may leave shared connections behind,
        which keep its descriptors open. One that hangs is ended, with exit value None."""
        with open(self.folder / "out", "w+") as out, open(self.folder / "err", "w+") as err:
            shell = subprocess.Popen(
                ["bash", "-uc", script], cwd=self.folder / "work", stdin=subprocess.DEVNULL,
                stdout=out, stderr=err, env=dict(self.environment, **variables),
                start_new_session=True)
            try:
                value = shell.wait(DEADLINE)
            except subprocess.TimeoutExpired:
                os.killpg(shell.pid, signal.SIGKILL)
                shell.wait()
                value = None
        return Result(value, self.read("../out"), self.read("../err"))

    def read(self, name):
        return (self.folder / "work" / name).read_text()

    def write(self, name, text):
        path = self.folder / "work" / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)

    @staticmethod
    def state(pid):
        try:
            return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(") ")[2][:1]
        except OSError:
            return ""

    def close(self):
        if not self.folder.exists():
            return
        for node in self.nodes.values():
            for pid in self.clients_left(node.name):
                os.kill(int(pid), signal.SIGTERM)
            if node.standin:
                node.stop_daemon()
        self.wake.close()
        if hasattr(self, "thread"):
            self.thread.join()
        for node in self.nodes.values():
            node.listener.close()
            for link in node.links:
                link.close()
        for end in self.open:
            # Reset, not closed: no port is left waiting.
            end.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            end.close()
        # Shared connections of ssh end with the servers, which end their own children.
        for server in self.servers:
            server.terminate()
            server.wait()
        self.selector.close()
        self.woken.close()
        # The ssh processes of shared connections remove their sockets meanwhile.
        shutil.rmtree(self.folder, onerror=self.unless_gone)

    @staticmethod
    def unless_gone(function, path, error):
        if error[0] is not FileNotFoundError:
            raise error[1]
