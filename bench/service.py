# SPDX-License-Identifier: Apache-2.0
"""A private schedd for a benchmark, and requests to it as schedcli_requests.h lays them out."""
import contextlib
import os
import pathlib
import socket
import struct
import subprocess
import time

CONFIG, SHOW, CONTROL = 5950, 5951, 5949
ENABLE = 3  # of CONTROL
CREATE_JOB, DEFINE_JOB, CREATE_SCHEDULE, MODIFY, DELETE_SCHEDULE, SHOW_SCHEDULE, RESIZE_LOG = 0, 1, 3, 4, 5, 6, 9
ADD_JOB, PERIODIC = 999, 7  # what a schedule is changed in
HEADER = struct.Struct("=IHHIIIIII32s32s")
MAGIC, VERSION, REQUEST, MORE = 0x46484353, 1, 1, 1


class Client:
    """One connection; speaks for `user` where it is root's."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.socket.connect(str(path))

    def ask(self, service, message_class, body, user=""):
        header = HEADER.pack(MAGIC, VERSION, REQUEST, service, message_class, 1, 0, 0, len(body), user.encode(), b"")
        self.socket.send(header + body)
        reply = self.socket.recv(70000)
        return HEADER.unpack_from(reply)[7], reply[HEADER.size:]

    def want(self, opcode, payload, user="", service=CONFIG, message_class=3):
        status, reply = self.ask(service, message_class, struct.pack("=II", opcode, len(payload)) + payload, user)
        if status:
            raise RuntimeError(f"request {opcode}: status {status}")
        return reply

    def define_job(self, name, text, user=""):
        head = struct.pack("=II32s", 0, 0, name.encode())
        self.want(CREATE_JOB, head + struct.pack("=II", 0, 0), user)
        self.want(DEFINE_JOB, head + struct.pack("=II", 0, len(text)) + text, user)

    def create_schedule(self, name, job=None, start=None, user=""):
        """Every day from `start` on, which is its first due time."""
        self.want(CREATE_SCHEDULE, struct.pack("=II32s", 0, 0, name.encode()), user)
        if job:
            self.modify(name, ADD_JOB, job, [0] * 9, user)
        if start:
            self.set_time(name, start, user)

    def delete_schedule(self, name):
        self.want(DELETE_SCHEDULE, struct.pack("=II32s", 1, 0, name.encode()))

    def set_time(self, name, start, user=""):
        self.modify(name, PERIODIC, "", [PERIODIC, 0, 1, 0, 0, 0, 0, start, 0], user)

    def modify(self, name, what, job, when, user):
        self.want(MODIFY, struct.pack("=III32s32sI9iI", 0, 0, what, name.encode(), job.encode(), 0, *when, 0), user)

    def show_schedule(self, name):
        return self.want(SHOW_SCHEDULE, struct.pack("=I32si", 0, name.encode(), -1), "", SHOW, 2)

    def resize_log(self, size):
        self.want(RESIZE_LOG, struct.pack("=II256s256sI", 0, 0, b"", b"", size))


class Service:
    """`preload`: a library for its process. Ready when it says so itself."""

    def __init__(self, build, directory, settings="", preload=None):
        self.build, self.directory = build, pathlib.Path(directory)
        self.state = self.directory / "state"
        self.run = self.directory / "run"  # jobs of other users must reach it
        self.settings = self.directory / "schedd.conf"
        self.settings.write_text(settings)
        self.preload = preload
        self.process = None

    def command(self):
        return [self.build / "service/schedd", "--config", self.settings, "--state-dir", self.state]

    def start(self):
        """The milliseconds until it is ready."""
        with contextlib.closing(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)) as told:
            path = self.directory / "notify"
            path.unlink(missing_ok=True)
            told.bind(str(path))
            told.settimeout(60)
            environment = dict(os.environ, NOTIFY_SOCKET=str(path), SCHEDCLI_RUN_DIR=str(self.run), TZ="UTC")
            if self.preload:
                environment["LD_PRELOAD"] = str(self.preload)
            begin = time.monotonic()
            self.process = subprocess.Popen(self.command(), env=environment, stderr=subprocess.DEVNULL)
            while b"READY=1" not in told.recv(4096):
                pass
            return (time.monotonic() - begin) * 1000

    def client(self):
        client = Client(self.run / "schedd.sock")
        client.ask(CONTROL, 0, struct.pack("=I", ENABLE))
        return client

    def shell(self, command):
        """The words that run one command of the shell here, and on any other service no more."""
        os.environ["SCHEDCLI_RUN_DIR"] = str(self.run)
        return [self.build / "shell/schedsh", "-c", command]

    def stop(self):
        if self.process:
            self.process.terminate()
            self.process.wait()
            self.process = None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()
