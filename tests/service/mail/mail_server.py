#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""mail_server.py DIRECTORY BEHAVIOUR [CERTIFICATE KEY]: an SMTP server on loopback for the tests.

Writes its port to DIRECTORY/port, each message that it accepted to DIRECTORY/N.eml behind a line with sender and
recipients, and ends with its standard input. BEHAVIOUR: take, refuse (550), later (451), drop (closes in the middle),
lie (a reply that is none), tls (offers STARTTLS and wants it)."""
import pathlib
import socket
import ssl
import sys
import threading

from aiosmtpd.controller import Controller


class Handler:
    def __init__(self, directory, behaviour):
        self.directory, self.behaviour, self.count = directory, behaviour, 0

    async def handle_RCPT(self, server, session, envelope, address, options):
        if self.behaviour == "refuse":
            return "550 no such mailbox here"
        if self.behaviour == "later":
            return "451 try again later"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        head = f"{envelope.mail_from} {' '.join(envelope.rcpt_tos)} {'tls' if session.ssl else 'plain'}\n"
        draft = self.directory / f"{self.count}.draft"
        draft.write_bytes(head.encode() + envelope.content)
        draft.rename(self.directory / f"{self.count}.eml")
        self.count += 1
        return "250 OK"


stalled = []


def converse(client, behaviour):
    """Takes everything up to the message; then "lose" is gone without a word and "agree" says what nobody asked."""
    client.sendall(b"220 ready\r\n")
    lines = client.makefile("rb")
    for line in lines:
        word = line[:4].upper()
        if word != b"DATA":
            client.sendall(b"250 OK\r\n" if behaviour == "lose" or word != b"RCPT" else b"220 welcome\r\n")
            continue
        client.sendall(b"354 go on\r\n")
        for text in lines:
            if text == b".\r\n":
                break
        break
    client.close()


def misbehave(listener, behaviour):
    while True:
        client, _ = listener.accept()
        if behaviour == "stall":
            stalled.append(client)
            continue
        if behaviour in ("lose", "agree"):
            threading.Thread(target=converse, args=(client, behaviour), daemon=True).start()
            continue
        client.sendall(b"220 ready\r\n" if behaviour == "drop" else b"\xff\x00 no reply at all\r\n")
        client.settimeout(0.5)
        try:
            client.recv(100)
        except TimeoutError:
            pass
        client.close()


def main():
    directory, behaviour = pathlib.Path(sys.argv[1]), sys.argv[2]
    if behaviour in ("drop", "lie", "stall", "lose", "agree"):
        listener = socket.create_server(("127.0.0.1", 0))
        port = listener.getsockname()[1]
        threading.Thread(target=misbehave, args=(listener, behaviour), daemon=True).start()
    else:
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        options = {}
        if behaviour == "tls":
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(sys.argv[3], sys.argv[4])
            options = {"tls_context": context, "require_starttls": True}
        Controller(Handler(directory, behaviour), hostname="127.0.0.1", port=port, **options).start()
    draft = directory / "port.draft"
    draft.write_text(str(port))
    draft.rename(directory / "port")
    sys.stdin.read()


main()
