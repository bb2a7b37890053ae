# SPDX-License-Identifier: Apache-2.0
"""A private schedd for a benchmark, and requests to it as schedcli_requests.h lays them out."""
import contextlib
import os
import pathlib
import re
import socket
import struct
import subprocess
import time

CONFIG, SHOW, CONTROL = 5950, 5951, 5949
ENABLE, STATUS, PUT_CONFIGURATION, APPLY_CONFIGURATION, METRICS = 3, 26, 60, 61, 76  # of CONTROL
TEXT, OVERLAY = 1, 1  # a configuration is applied from a text; what it does not name stays
PIECE = 60000  # of a text, well below what a frame takes
CREATE_JOB, DEFINE_JOB, CREATE_SCHEDULE, MODIFY, DELETE_SCHEDULE, SHOW_SCHEDULE, RESIZE_LOG = 0, 1, 3, 4, 5, 6, 9
ADD_JOB, PERIODIC = 999, 7  # what a schedule is changed in
HEADER = struct.Struct("=IHHIIIIII32s32s")
MAGIC, VERSION, REQUEST, MORE = 0x46484353, 1, 1, 1


def settings(interpreter, **limits):
    lines = [f"[service]\ninterpreter={interpreter}\n[limits]\nschedules=100000\nschedules-per-user=100000\n[runs]"]
    return "\n".join(lines + [f"{name.replace('_', '-')}={value}" for name, value in limits.items()]) + "\n"


class Client:
    """One connection; speaks for `user` where it is root's."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.socket.connect(str(path))

    def ask(self, service, message_class, body, user=""):
        header = HEADER.pack(MAGIC, VERSION, REQUEST, service, message_class, 1, 0, 0, len(body), user.encode(), b"")
        self.socket.send(header + body)
        reply = b""
        while True:  # a packet has one frame or several, and a long reply several packets
            packet = self.socket.recv(70000)
            if not packet:
                raise RuntimeError("the service hangs up")
            while packet:
                head = HEADER.unpack_from(packet)
                end = HEADER.size + head[8]
                reply += packet[HEADER.size:end]
                packet = packet[end:]
                if not head[6] & MORE:
                    return head[7], reply

    def want(self, opcode, payload, user="", service=CONFIG, message_class=3):
        status, reply = self.ask(service, message_class, struct.pack("=II", opcode, len(payload)) + payload, user)
        if status:
            raise RuntimeError(f"request {opcode}: status {status}")
        return reply

    def control(self, operation, payload=b"", user=""):
        status, reply = self.ask(CONTROL, 0, struct.pack("=I", operation) + payload, user)
        if status:
            raise RuntimeError(f"operation {operation}: status {status}")
        return reply

    def configure(self, text, user=""):
        """A configuration's text is added to the present one, as one change."""
        number = 0
        for place in range(0, len(text), PIECE):
            piece = text[place:place + PIECE].encode()
            number, = struct.unpack("=I", self.control(PUT_CONFIGURATION, struct.pack("=I", number) + piece, user))
        reply = self.control(APPLY_CONFIGURATION, struct.pack("=6IQ", TEXT, number, OVERLAY, 0, 0, 0, 0) + b"\0", user)
        if status := struct.unpack_from("=I", reply)[0]:
            raise RuntimeError(f"a configuration is refused: status {status}, {reply[16:400]}")

    def schedule_counts(self, owners=()):
        """Of all schedules, and of those of each owner."""
        text = self.control(STATUS).decode()
        lines = ["schedules", *(f"share of {owner}: schedules" for owner in owners)]
        found = [re.search(rf"^{line}:? (\d+)", text, re.MULTILINE) for line in lines]
        return [int(count[1]) if count else 0 for count in found]

    def stored_outcomes(self):
        return int(re.search(rb"^schedcli_stored_outcomes_total (\d+)", self.control(METRICS), re.MULTILINE)[1])

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
            environment = dict(self.environment(), NOTIFY_SOCKET=str(path), TZ="UTC")
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

    def environment(self):
        """In which the shell finds this service and no other."""
        return dict(os.environ, SCHEDCLI_RUN_DIR=str(self.run))

    def shell(self, command):
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
