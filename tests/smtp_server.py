"""A real SMTP server on loopback for the mail tests and benchmark (Debian's python3-aiosmtpd).

Usage: /usr/bin/python3 smtp_server.py AUTH OUTDIR [LOGIN]
AUTH is none, login or plain: with login or plain that mechanism alone is offered and required, for
the login LOGIN (alice unless given). Prints the port on its first line once it listens. Each accepted
message is written to OUTDIR as N.json: the sender, the recipients and the data exactly as received,
in base64. The mechanism and login of each successful authentication go to OUTDIR/auth.log, every byte
the clients sent to OUTDIR/wire.log. Recipients at refused.test get 550. Ends when stdin closes.
"""
import base64
import json
import os
import socket
import sys

from aiosmtpd.controller import Controller
from aiosmtpd.smtp import SMTP, AuthResult, LoginPassword

mode, outdir = sys.argv[1], sys.argv[2]
USER, PASSWORD = (sys.argv[3] if len(sys.argv) > 3 else "alice").encode(), b"s3cret \xc3\xa9"
count = 0


class Handler:
    async def handle_RCPT(self, server, session, envelope, address, rcpt_options):
        if address.endswith("@refused.test"):
            return "550 5.1.1 no such user"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        global count
        count += 1
        with open(os.path.join(outdir, "%d.json" % count), "w") as f:
            json.dump({"from": envelope.mail_from, "rcpt": envelope.rcpt_tos,
                       "data": base64.b64encode(envelope.original_content).decode()}, f)
        return "250 queued"


def authenticator(server, session, envelope, mechanism, auth_data):
    ok = isinstance(auth_data, LoginPassword) and auth_data.login == USER and auth_data.password == PASSWORD
    if ok:
        with open(os.path.join(outdir, "auth.log"), "a") as f:
            f.write("%s %s\n" % (mechanism, auth_data.login.decode()))
    # Unless handled is false, aiosmtpd leaves a refusal unanswered instead of replying 535.
    return AuthResult(success=ok, handled=False)


class MailServer(SMTP):
    # aiosmtpd writes each line of a multi-line reply on its own, so a busy machine can hand the
    # client half an EHLO reply. Postfix and Exim send a reply in one write; so does this server.
    _held = b""

    def data_received(self, data):
        with open(os.path.join(outdir, "wire.log"), "ab") as f:
            f.write(data)
        super().data_received(data)

    async def push(self, status):
        line = status.encode("utf-8" if self.enable_SMTPUTF8 else "ascii") if isinstance(status, str) else status
        if line[3:4] == b"-":
            self._held += line + b"\r\n"
            return
        line, self._held = self._held + line, b""
        await super().push(line)

    # SASL mechanism names are case-insensitive on real servers (Postfix, Exim); aiosmtpd 1.4 alone
    # compares them as written, and the client names its mechanism in lower case.
    async def smtp_AUTH(self, arg):
        if arg:
            words = arg.split(" ")
            arg = " ".join([words[0].upper()] + words[1:])
        return await super().smtp_AUTH(arg)


class MailController(Controller):
    def factory(self):
        return MailServer(self.handler, **self.SMTP_kwargs)


s = socket.socket()
s.bind(("127.0.0.1", 0))
port = s.getsockname()[1]
s.close()

kwargs = {"command_call_limit": None}
if mode != "none":
    kwargs.update(auth_required=True, auth_require_tls=False, authenticator=authenticator,
                  auth_exclude_mechanism=["PLAIN"] if mode == "login" else ["LOGIN"])
controller = MailController(Handler(), hostname="127.0.0.1", port=port, server_kwargs=kwargs)
controller.start()
print(port, flush=True)
sys.stdin.read()
controller.stop()
